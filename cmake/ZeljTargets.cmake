# What the project's targets share.

set(ZELJ_WARNINGS -Wall -Wextra -Wconversion $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>)
if(ZELJ_WERROR)
  list(APPEND ZELJ_WARNINGS -Werror)
endif()
if(ZELJ_SANITIZE)
  set(ZELJ_SANITIZE_FLAGS -fsanitize=${ZELJ_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
endif()
if(ZELJ_COVERAGE)
  list(APPEND ZELJ_SANITIZE_FLAGS -fprofile-instr-generate -fcoverage-mapping)
endif()

# The sanitizers' runtime, for a target that is linked from objects alone.
function(zelj_link_sanitizers target)
  target_link_options(${target} PRIVATE ${ZELJ_SANITIZE_FLAGS})
endfunction()

# Warnings, hidden visibility, sanitizers.
function(zelj_defaults target)
  set_target_properties(${target} PROPERTIES CXX_VISIBILITY_PRESET hidden C_VISIBILITY_PRESET hidden
                                             VISIBILITY_INLINES_HIDDEN ON)
  target_compile_options(${target} PRIVATE ${ZELJ_WARNINGS} ${ZELJ_SANITIZE_FLAGS})
  zelj_link_sanitizers(${target})
endfunction()

# The dynamic symbols of a shared library are exactly the given names.
function(zelj_export_only target)
  set(script ${CMAKE_CURRENT_BINARY_DIR}/${target}.map)
  list(JOIN ARGN ";\n    " names)
  file(CONFIGURE OUTPUT ${script} CONTENT "{\n  global:\n    @names@;\n  local: *;\n};\n" @ONLY)
  target_link_options(${target} PRIVATE LINKER:--version-script=${script})
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${script})
endfunction()
