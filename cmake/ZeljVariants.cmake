# The variants of this processor, the best one last: each is all of src/ but the binding, compiled with its own flags.
#   ZELJ_VARIANTS, ZELJ_BEST_VARIANT, ZELJ_FLAGS_<variant>, ZELJ_DEFINITIONS_<variant>
#   ZELJ_SOLE_VARIANT_DEFINITIONS    those of the variant, where there is but one
#   ZELJ_BRANCH_PROTECTION    flags that let indirect branches land where they should alone
# Several of them are bound when the library is loaded; a sole one has the exported names itself.

option(ZELJ_PORTABLE "Compile for any processor, without intrinsics: slower, with the same results" OFF)

set(ZELJ_BRANCH_PROTECTION)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64)$" AND CMAKE_SIZEOF_VOID_P EQUAL 8)
  set(ZELJ_VARIANTS sse41 avx2)
  set(ZELJ_FLAGS_sse41 -msse4.1)
  set(ZELJ_FLAGS_avx2 -mavx2 -mbmi -mbmi2)
  set(ZELJ_BRANCH_PROTECTION -fcf-protection)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64|ARM64)$")
  set(ZELJ_VARIANTS neon)
  set(ZELJ_BRANCH_PROTECTION -mbranch-protection=standard)
elseif(NOT ZELJ_PORTABLE)
  message(FATAL_ERROR "There are no kernels for '${CMAKE_SYSTEM_PROCESSOR}' (x86-64 and ARM64 of 64 bits have some). "
                      "-DZELJ_PORTABLE=ON compiles the library without intrinsics, for any little-endian processor.")
endif()
if(ZELJ_PORTABLE)
  if(CMAKE_CXX_BYTE_ORDER STREQUAL "BIG_ENDIAN")
    message(FATAL_ERROR "The library is for little-endian processors.")
  endif()
  set(ZELJ_VARIANTS portable)
  add_compile_definitions(ZEL_PORTABLE)
endif()

foreach(variant IN LISTS ZELJ_VARIANTS)
  set(ZELJ_DEFINITIONS_${variant} ZEL_VARIANT=${variant})
endforeach()
list(GET ZELJ_VARIANTS -1 ZELJ_BEST_VARIANT)
list(LENGTH ZELJ_VARIANTS count)
set(ZELJ_SOLE_VARIANT_DEFINITIONS)
if(count EQUAL 1)
  list(APPEND ZELJ_DEFINITIONS_${ZELJ_BEST_VARIANT} ZEL_SOLE_VARIANT)
  set(ZELJ_SOLE_VARIANT_DEFINITIONS ${ZELJ_DEFINITIONS_${ZELJ_BEST_VARIANT}})
endif()
