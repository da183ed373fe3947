# Cross compilation for ARM64 by Debian's g++-aarch64-linux-gnu; programs and tests run under qemu-aarch64.
#   -DCMAKE_TOOLCHAIN_FILE=cmake/aarch64-linux-gnu.cmake
# ZELJ_ARM64_ROOT is a folder with further ARM64 libraries, laid out as a system's root (tools/arm64.sh makes one); without it
# the C library alone is there, which is enough for the library of primitives.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L /usr/aarch64-linux-gnu)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ZELJ_ARM64_ROOT)
if(ZELJ_ARM64_ROOT)
  list(PREPEND CMAKE_FIND_ROOT_PATH ${ZELJ_ARM64_ROOT})
  set(ZELJ_ARM64_LIBRARIES ${ZELJ_ARM64_ROOT}/usr/lib/aarch64-linux-gnu)
  list(APPEND CMAKE_CROSSCOMPILING_EMULATOR -E LD_LIBRARY_PATH=${ZELJ_ARM64_LIBRARIES})
  set(CMAKE_EXE_LINKER_FLAGS_INIT -Wl,-rpath-link,${ZELJ_ARM64_LIBRARIES})
  set(CMAKE_SHARED_LINKER_FLAGS_INIT -Wl,-rpath-link,${ZELJ_ARM64_LIBRARIES})
endif()
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# pkg-config answers for the folder alone.
set(ENV{PKG_CONFIG_LIBDIR} ${ZELJ_ARM64_LIBRARIES}/pkgconfig)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${ZELJ_ARM64_ROOT})
