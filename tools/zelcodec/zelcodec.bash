# Completion of zelcodec for bash: the commands, and what --help says of the options of each.
_zelcodec() {
  local word=${COMP_WORDS[COMP_CWORD]} command= i
  for ((i = 1; i < COMP_CWORD; ++i)); do
    case ${COMP_WORDS[i]} in encode | decode | info | compare) command=${COMP_WORDS[i]} ;; esac
  done
  if [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$({ zelcodec --help; [ -z "$command" ] || zelcodec "$command" --help; } 2>/dev/null |
      grep -oE -- '--[a-z0-9-]+' | sort -u)" -- "$word")
  elif [ -z "$command" ]; then
    mapfile -t COMPREPLY < <(compgen -W "encode decode info compare" -- "$word")
  else
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
    compopt -o filenames 2>/dev/null
  fi
}
complete -F _zelcodec zelcodec
