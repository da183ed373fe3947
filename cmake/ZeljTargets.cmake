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

# What makes a fault harder to use: checked copies, a guard word above arrays on the stack, landing pads for indirect
# branches, and a table of addresses that is filled and sealed at load. The sanitizers watch the plain copies.
# Checked copies need an optimiser, and whoever asks for them in his own flags has his own degree.
if(NOT ZELJ_SANITIZE AND NOT ZELJ_BUILD_FUZZ)
  set(ZELJ_HARDENING -fstack-protector-strong ${ZELJ_BRANCH_PROTECTION})
  if(NOT CMAKE_CXX_FLAGS MATCHES "_FORTIFY_SOURCE|-O0|-Og")
    set(optimised $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
    list(APPEND ZELJ_HARDENING $<${optimised}:-U_FORTIFY_SOURCE> $<${optimised}:-D_FORTIFY_SOURCE=2>)
  endif()
endif()
set(ZELJ_LINK_HARDENING LINKER:-z,relro,-z,now,-z,noexecstack)

# OpenMP, or nothing where it is not wanted. For the archive: options that compile its core, and the libraries that a
# program with the archive needs, as any linker takes them.
add_library(zelj_openmp INTERFACE)
set(ZELJ_STATIC_LIBRARIES)
if(ZELJ_OPENMP)
  find_package(OpenMP REQUIRED COMPONENTS CXX)
  target_link_libraries(zelj_openmp INTERFACE OpenMP::OpenMP_CXX)
  separate_arguments(ZELJ_OPENMP_OPTIONS NATIVE_COMMAND "${OpenMP_CXX_FLAGS}")
  foreach(name IN LISTS OpenMP_CXX_LIB_NAMES)
    get_filename_component(folder ${OpenMP_${name}_LIBRARY} DIRECTORY)
    if(NOT folder IN_LIST CMAKE_CXX_IMPLICIT_LINK_DIRECTORIES)
      list(APPEND ZELJ_STATIC_LIBRARIES -L${folder})
    endif()
    list(APPEND ZELJ_STATIC_LIBRARIES -l${name})
  endforeach()
else()
  # The core layer then tells of one thread, and nobody comes to what is divided.
  target_compile_options(zelj_openmp INTERFACE -Wno-unknown-pragmas)
endif()
list(APPEND ZELJ_STATIC_LIBRARIES -lm)

# The sanitizers' runtime, for a target that is linked from objects alone.
function(zelj_link_sanitizers target)
  target_link_options(${target} PRIVATE ${ZELJ_SANITIZE_FLAGS})
endfunction()

# Warnings, hidden visibility, hardening, sanitizers; and products are rounded before they are added, also where the processor
# could do both in one, so that every processor computes the same.
function(zelj_defaults target)
  set_target_properties(${target} PROPERTIES CXX_VISIBILITY_PRESET hidden C_VISIBILITY_PRESET hidden
                                             VISIBILITY_INLINES_HIDDEN ON)
  target_compile_options(${target} PRIVATE -ffp-contract=off ${ZELJ_WARNINGS} ${ZELJ_HARDENING} ${ZELJ_SANITIZE_FLAGS})
  target_link_options(${target} PRIVATE ${ZELJ_LINK_HARDENING})
  zelj_link_sanitizers(${target})
endfunction()

# A shared library that stays when it is closed: threads of its teams and handlers of fork() outlive a call.
function(zelj_keep_loaded target)
  target_link_options(${target} PRIVATE LINKER:-z,nodelete)
endfunction()

# The dynamic symbols of a shared library are exactly the given names.
function(zelj_export_only target)
  set(script ${CMAKE_CURRENT_BINARY_DIR}/${target}.map)
  list(JOIN ARGN ";\n    " names)
  file(CONFIGURE OUTPUT ${script} CONTENT "{\n  global:\n    @names@;\n  local: *;\n};\n" @ONLY)
  target_link_options(${target} PRIVATE LINKER:--version-script=${script})
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${script})
endfunction()
