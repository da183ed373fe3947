#!/usr/bin/env bash
# same_files.sh TOOL OTHER...: two builds of zelcodec make the same files of the same pictures, and the same pictures of
# those files, byte for byte. OTHER is a command with its first arguments, an emulator and the tool, say.
set -euo pipefail
tool=$1
shift
other=("$@")
images=$(cd "$(dirname "$0")/../../images" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

count=0
both() { # both OUTPUT ARGUMENT...: by both tools; their exit status too
  local output=$1 first=0 second=0
  shift
  "$tool" "$@" "a-$output" 2>a.err || first=$?
  "${other[@]}" "$@" "b-$output" 2>b.err || second=$?
  sed -i 's/[ab]-//g' a.err b.err
  [ $first = $second ] && cmp a.err b.err && { [ $first != 0 ] || cmp "a-$output" "b-$output"; } ||
    { echo "differ: zelcodec $* ($first and $second)"; exit 1; }
  count=$((count + 1))
}

"$tool" encode --crop 301,200,333,245 "$images/canyon.png" small.ppm
"$tool" encode --depth 16 small.ppm deep.png
"$tool" encode --grey small.ppm grey.pgm
cp "$images/coffee.png" large.png

# A line: the ending of the output, the picture, options of encoding, and after "|" those of decodings.
while IFS='|' read -r encoding decodings; do
  read -r ending input options <<<"$encoding"
  # shellcheck disable=SC2086
  both "picture.$ending" encode $options "$input"
  IFS=',' read -ra each <<<",$decodings"
  for decoding in "${each[@]}"; do
    # shellcheck disable=SC2086
    both picture.pnm decode $decoding "a-picture.$ending"
  done
done <<'END'
jpg small.ppm -q 90|--scale 1/2,--scale 1/4,--scale 1/8,--fast,--components,--grey,--crop 17,9,100,90
jpg large.png -q 75 -s 444|--scale 1/2
jpg large.png -s 422 --optimise|--fast
jpg small.ppm -q 100 -s 444 --by-plane -r 5|
jpg large.png --progressive -q 85|--scale 1/4
jpg small.ppm --progressive -s 444 --restart-rows 1|
jpg grey.pgm -q 20|--scale 1/2
jpg deep.png --lossless --predictor 4|
jpg small.ppm --lossless --predictor 7 --point-transform 2|
jp2 small.ppm|--reduce 2
jp2 deep.png --lossless|--depth 8
jp2 large.png --rate 1.5 --layers 4|--max-layers 2,--reduce 1
jp2 deep.png --psnr 45 --tile 100,77|
j2k small.ppm --rate 2 --style bypass+terminate+causal --sop --eph|
j2k grey.pgm --psnr 38 --style reset+predictable+segmentation --block 16,32 --progression rpcl|
dds large.png --texture dxt1 --mips 0|--mip 3
dds large.png --texture dxt3|
dds large.png --texture dxt5|
dds large.png --texture ycocg|
tif small.ppm --compression lzw|
tif grey.pgm --compression packbits|
tif deep.png --compression deflate --tile 64,64|--depth 8
png deep.png --depth 8|--background #336699
END
for damaged in "$(dirname "$images")"/fuzz/seeds/*_fuzz/*; do
  both seed.pnm decode --keep-going "$damaged"
done
echo "$count outputs are the same"
