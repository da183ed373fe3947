#!/usr/bin/env bash
# consumers.sh BUILD_DIR SOURCE_DIR SCRATCH STEP: installs what was built, moves the tree, and builds and runs programs
# with it there, each in the way that its step names. Nothing helps them: no LD_LIBRARY_PATH, no path given by hand.
set -euo pipefail
build=$1 source=$2 scratch=$3 step=$4
unset LD_LIBRARY_PATH PKG_CONFIG_PATH CMAKE_PREFIX_PATH
prefix=$scratch/moved work=$scratch/$step
rm -rf "$work" && mkdir -p "$work" && cd "$work"

fail() { echo "$*"; exit 1; }
run() { "$@" >log 2>&1 || { cat log; fail "failed: $*"; }; }
usePkgConfig() { PKG_CONFIG_PATH=$(dirname "$(find "$1" -name zelj.pc)"); export PKG_CONFIG_PATH; }
needs() { readelf -d "$1" | sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p'; }

# The README's example, and a project that builds it: project LANGUAGES SUFFIX TARGET, with the lines before from stdin.
example() {
  awk '/^```c$/ {on = 1; next} /^```$/ {on = 0} on' "$source/README.md" >"$1"
  [ -s "$1" ] || fail "no example in README.md"
}
project() {
  example "example.$2"
  { echo 'cmake_minimum_required(VERSION 3.22)' && echo "project(example $1)" && cat
    printf 'add_executable(example example.%s)\ntarget_link_libraries(example PRIVATE %s)\n' "$2" "$3"; } >CMakeLists.txt
}
small=(-DZELJ_BUILD_TESTS=OFF -DZELJ_BUILD_CODECS=OFF -DZELJ_BUILD_TOOLS=OFF)  # the library alone, built anew
packing() { cat <<'C'
#include <string.h>
#include <zelj.h>

int main(void) {
  uint8_t row[300] = {1, 2, 3}, packed[400], back[300];
  int length = 0, position = 0;
  if (zeliPackBitsRow_TIFF_8u_C1(row, 300, packed, &length, 400) != zelStsNoErr) return 1;
  if (zeliUnpackBitsRow_TIFF_8u_C1(packed, &position, length, back, 300) != zelStsNoErr) return 2;
  return length > 20 || memcmp(row, back, 300) != 0;
}
C
}
configure() { run cmake -S . -B out -G Ninja -DCMAKE_PREFIX_PATH="$prefix" "$@"; }
buildAndRun() {
  run cmake --build out
  run out/example
}
try() {
  configure "$@"
  buildAndRun
}

case $step in
  tree)
    rm -rf "$prefix" && run cmake --install "$build" --prefix "$work/first" && mv "$work/first" "$prefix"
    libdir=$(dirname "$(find "$prefix" -name libzeljy8.so.6.1)")
    ! grep -rlF "$work" "$prefix" || fail "a file tells where the tree stood"
    for library in "$libdir"/libzeljy8.so.6.1 "$libdir"/libzelcore.so; do
      readelf -d "$library" | grep -q 'RUNPATH.*\[$ORIGIN\]' || fail "$library does not look beside itself"
      ! ldd "$library" | grep 'not found' || fail "$library lacks what it needs"
    done
    for component in runtime development codecs tools python documentation; do  # each file is in one, and no file in none
      run cmake --install "$build" --prefix "$work/parts" --component $component
      run cmake --install "$build" --prefix "$work/$component" --component $component
    done
    files() { (cd "$1" && find . ! -type d ! -path '*zelcodecs*' ! -path '*python*' | sort); }
    diff <(files "$prefix") <(files "$work/parts") || fail "the components are not the whole"
    [ "$(files "$work/runtime" | wc -l)" = 2 ] || fail "runtime is more than two libraries"
    ;;
  tool)
    tool=$prefix/bin/zelcodec
    [ -x "$tool" ] || exit 77
    "$tool" encode "$(find "$source/images" -name '*.png' | sort | head -1)" picture.jpg
    "$tool" info picture.jpg | grep -qi jpeg || fail "no JPEG file"
    [ -s "$prefix/share/bash-completion/completions/zelcodec" ] || fail "no completion"
    grep -q 'keep.*going' "$prefix/share/man/man1/zelcodec.1" || fail "no manual page"
    ;;
  c)
    cp -a "$prefix" "a tree"
    prefix=$work/a\ tree
    project C c zelj::zelj <<<'find_package(zelj 6.1 REQUIRED COMPONENTS jpeg)'
    try
    for wrong in 'zelj 7' 'zelj 6.9' 'zelj 5' 'zelj COMPONENTS gif'; do
      project C c zelj::zelj <<<"find_package($wrong REQUIRED)"
      ! cmake -S . -B wrong -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >log 2>&1 || fail "found: $wrong"
    done
    ;;
  cxx)
    project CXX cpp zelj::zelj <<<'find_package(zelj 6.1 REQUIRED)'
    try
    ;;
  cmake_static)
    project C c zelj::zelj_static <<<'find_package(zelj 6.1 REQUIRED)'
    try
    ! needs out/example | grep -E 'zelj|zelcore|stdc' || fail "the archive is not whole"
    try -DCMAKE_EXE_LINKER_FLAGS=-static
    [ -z "$(needs out/example)" ] || fail "not static"
    ;;
  pkg_config)
    usePkgConfig "$prefix"
    example program.c
    cc program.c $(pkg-config --cflags --libs zelj) -o program
    ./program
    LD_BIND_NOW=1 ./program >/dev/null
    pkg-config --exact-version=6.1 zelj
    ;;
  pkg_config_static)
    usePkgConfig "$prefix"
    example program.c
    cc -static program.c $(pkg-config --static --cflags --libs zelj) -o program
    ./program
    [ -z "$(needs program)" ] || fail "not static"
    # The archive by its path, and what a static link needs besides.
    libdir=$(pkg-config --variable=libdir zelj)
    besides=$(pkg-config --static --libs-only-l zelj | sed 's/-lzeljy8//')
    cc program.c $(pkg-config --cflags zelj) "$libdir/libzeljy8.a" $besides -o one
    ./one
    ! needs one | grep -E 'zelj|zelcore' || fail "the archive is not whole"
    ;;
  ctypes)
    # An interpreter that knows nothing of the prefix loads the library by its path; it finds its core layer by itself.
    /usr/bin/env python3 - "$(find "$prefix" -name libzeljy8.so.6.1)" <<'PYTHON'
import ctypes, sys
zelj = ctypes.CDLL(sys.argv[1])
source = bytes([7] * 100)
packed, unpacked, position = (ctypes.c_ubyte * 200)(), (ctypes.c_ubyte * 100)(), ctypes.c_int(0)
assert zelj.zeliPackBitsRow_TIFF_8u_C1(source, 100, packed, ctypes.byref(position), 200) == 0
length, position.value = position.value, 0
assert zelj.zeliUnpackBitsRow_TIFF_8u_C1(packed, ctypes.byref(position), length, unpacked, 100) == 0
assert length == 2 and bytes(unpacked) == source, (length, bytes(unpacked))
PYTHON
    ;;
  prefixes)
    small+=(-G Ninja -DZELJ_FAMILIES=tiff)
    packing >example.c
    # A prefix chosen at installation; the folders where the loader looks by itself; absolute ones.
    run cmake -S "$source" -B parts "${small[@]}" -DCMAKE_INSTALL_PREFIX=/usr \
      -DCMAKE_INSTALL_LIBDIR=lib/x86_64-linux-gnu
    run cmake --build parts
    run cmake --install parts --prefix "$work/chosen"
    usePkgConfig chosen
    cc example.c $(pkg-config --cflags --libs zelj) -o program
    ./program
    DESTDIR=$work/system run cmake --install parts
    usePkgConfig system
    ! pkg-config --libs zelj | grep rpath || fail "a path for the loader where it looks by itself"
    # (CMake takes none that lies in the sources, as this build may.)
    outside=$(mktemp -d)
    trap 'rm -rf "$outside"' EXIT
    run cmake -S "$source" -B parts "${small[@]}" "-DCMAKE_INSTALL_LIBDIR=$outside/lib" \
      "-DCMAKE_INSTALL_INCLUDEDIR=$outside/wide/include"
    run cmake --build parts
    run cmake --install parts --prefix "$work/third"
    usePkgConfig "$outside"
    cc example.c $(pkg-config --cflags --libs zelj) -o program
    ./program
    project C c zelj::zelj <<<'find_package(zelj 6.1 REQUIRED COMPONENTS tiff)'
    packing >example.c
    try "-DCMAKE_PREFIX_PATH=$outside"
    ;;
  subproject)
    # Inside a project that has chosen its own flags, standard and folders, and finds them as they were afterwards.
    packing >example.c
    cat >CMakeLists.txt <<CMAKE
cmake_minimum_required(VERSION 3.22)
project(parent VERSION 1.2.3.4 DESCRIPTION mine LANGUAGES C)
set(CMAKE_C_STANDARD 11)
set(CMAKE_MODULE_PATH \${CMAKE_CURRENT_SOURCE_DIR}/modules)
set(ZELJ_FAMILIES tiff CACHE STRING "")
set(ZELJ_OPENMP OFF CACHE BOOL "")
enable_language(CXX)
function(remember kind name)
  get_cmake_property(names \${kind})
  list(FILTER names EXCLUDE REGEX "^(ARG|names|kind|name\$|before|after)")
  set(all)
  foreach(each IN LISTS names)
    list(APPEND all "\${each}=[\${\${each}}]")
  endforeach()
  set(\${name} "\${all}" PARENT_SCOPE)
endfunction()
remember(CACHE_VARIABLES beforeCache)
remember(VARIABLES beforeAll)
add_subdirectory("$source" zelj)
remember(CACHE_VARIABLES afterCache)
remember(VARIABLES afterAll)
foreach(kind Cache All)
  set(gone \${before\${kind}})
  set(new \${after\${kind}})
  list(REMOVE_ITEM gone \${after\${kind}})
  list(REMOVE_ITEM new \${before\${kind}})
  list(FILTER new EXCLUDE REGEX "^(ZELJ_|zelj_)")
  if(gone OR new)
    message(FATAL_ERROR "\${kind} of the parent: \${gone} became \${new}")
  endif()
endforeach()
get_property(targets DIRECTORY "$source" PROPERTY BUILDSYSTEM_TARGETS)
list(REMOVE_ITEM targets zelcore zelj_sse41 zelj_avx2 zelj_bind zelj_openmp zeljy8 zeljy8_static)
if(targets)
  message(FATAL_ERROR "not asked for: \${targets}")
endif()
add_executable(example example.c)
target_link_libraries(example PRIVATE zelj::zelj)
install(TARGETS example)
CMAKE
    try -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS=-O1 -DCMAKE_CXX_FLAGS_RELEASE=-O3
    ! ldd out/example | grep gomp || fail "OpenMP is off, and its runtime loaded"
    [ "$(nm -D --defined-only out/zelj/libzeljy8.so | grep -c ' i ')" = 5 ] || fail "more is exported than the family"
    run cmake --install out --prefix "$work/parent"
    [ "$(find parent -type f)" = parent/bin/example ] || fail "the parent installs what is not its own"
    ;;
  fetch_content)
    packing >example.c
    cat >CMakeLists.txt <<CMAKE
cmake_minimum_required(VERSION 3.22)
project(example C)
include(FetchContent)
set(ZELJ_FAMILIES tiff)
FetchContent_Declare(zelj SOURCE_DIR "$source")
FetchContent_MakeAvailable(zelj)
add_executable(example example.c)
target_link_libraries(example PRIVATE zelj::zelj_static)
CMAKE
    try
    ! needs out/example | grep zelj || fail "not from the archive"
    ;;
  options)
    # What a user sets is what compilers get, and what cannot be is refused.
    expectFlags() {
      run cmake -S "$source" -B flags -G Ninja "${small[@]}" -DCMAKE_EXPORT_COMPILE_COMMANDS=ON "${@:2}"
      flags=$(grep -m1 '"command"' flags/compile_commands.json | tr ' ' '\n' | grep -xE -- '-(O[0-9gs]*|g)' | xargs)
      [ "$flags" = "$1" ] || fail "expected flags $1, got $flags"
      rm -rf flags
    }
    expectFlags "-O2"
    expectFlags "-O3" -DCMAKE_CXX_FLAGS=-O3
    expectFlags "-O1" -DCMAKE_CXX_FLAGS_RELEASE=-O1
    expectFlags "-O2 -g" -DCMAKE_BUILD_TYPE=RelWithDebInfo
    expectFlags "-g" -DCMAKE_BUILD_TYPE=Debug
    for wrong in '-DZELJ_FAMILIES=gif' '-DZELJ_FAMILIES=jpeg -DZELJ_BUILD_CODECS=ON'; do
      ! cmake -S "$source" -B wrong -G Ninja $wrong >log 2>&1 || fail "taken: $wrong"
      grep -q ZELJ_FAMILIES log || fail "no reason is given for $wrong"
    done
    ;;
  *) fail "no step $step" ;;
esac
