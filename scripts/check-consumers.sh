#!/usr/bin/env bash
# Checks that what is installed serves hosts: shared and static, by CMake, by pkg-config, as Debian packages, and with
# the sources as a subdirectory. Each host plays a sound.
#   check-consumers.sh BUILD-FOLDER SCRATCH-FOLDER
set -euo pipefail
build=$(realpath "$1")
stage=$(realpath "$2")
cd "$(dirname "$0")/.."
sources=$PWD

"$build/ringmix" import tests/data/golden/bell.wav "$stage/bell.sn" --name bell >/dev/null
must_play() { # PROGRAM...
  "$@" >"$stage/heard"
  [ "$(stat -c %s "$stage/heard")" -gt 20000 ] || { echo "$1: plays next to nothing"; exit 1; }
}

mkdir "$stage/consumer"
cp examples/minimal_host.cpp examples/c_host.c "$stage/consumer"
cat >"$stage/consumer/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(consumer LANGUAGES C CXX)
if(RINGMIX_SOURCES)
  add_subdirectory(${RINGMIX_SOURCES} ringmix)
  if(TARGET ringmix_tests OR TARGET ringmix_program OR TARGET ringmix_bench OR CMAKE_BUILD_TYPE OR BUILD_TESTING)
    message(FATAL_ERROR "ringmix as a subdirectory has side effects")
  endif()
else()
  find_package(ringmix 0.1 REQUIRED)
endif()
add_executable(consumer minimal_host.cpp)
add_executable(c_consumer c_host.c)
foreach(host consumer c_consumer)
  target_link_libraries(${host} PRIVATE ringmix::ringmix)
endforeach()
CMAKE

consume_with_cmake() { # NAME CMAKE-ARGUMENT...
  local name=$1
  shift
  cmake -S "$stage/consumer" -B "$stage/$name" "$@" >/dev/null
  cmake --build "$stage/$name" -j "$(nproc)" >/dev/null
  must_play "$stage/$name/consumer" "$stage/bell.sn" bell
  must_play "$stage/$name/c_consumer" "$stage/bell.sn"
}
consume_with_pkg_config() { # NAME LIBRARY-FOLDER
  local flags
  flags=$(PKG_CONFIG_PATH=$2/pkgconfig pkg-config --cflags --libs ringmix)
  # shellcheck disable=SC2086
  c++ "$stage/consumer/minimal_host.cpp" -o "$stage/$1-cpp" $flags
  # shellcheck disable=SC2086
  cc -std=c99 "$stage/consumer/c_host.c" -o "$stage/$1-c" $flags
  LD_LIBRARY_PATH=$2 must_play "$stage/$1-cpp" "$stage/bell.sn" bell
  LD_LIBRARY_PATH=$2 must_play "$stage/$1-c" "$stage/bell.sn"
}

cmake --install "$build" --prefix "$stage/first" >/dev/null
mv "$stage/first" "$stage/prefix"  # whatever names its own place is wrong from here on
if grep -rl "$stage/first" "$stage/prefix"; then
  echo "the installed tree knows where it was installed"
  exit 1
fi
consume_with_cmake installed -DCMAKE_PREFIX_PATH="$stage/prefix"
consume_with_pkg_config shared "$(dirname "$(find "$stage/prefix" -name libringmix.so)")"

cmake -S . -B "$stage/static-build" -DCMAKE_BUILD_TYPE=Debug -DBUILD_SHARED_LIBS=OFF -DRINGMIX_TOOLS=OFF \
  -DRINGMIX_TESTS=OFF -DRINGMIX_BENCH=OFF -DRINGMIX_EXAMPLES=OFF >/dev/null
cmake --build "$stage/static-build" -j "$(nproc)" --target ringmix >/dev/null
cmake --install "$stage/static-build" --prefix "$stage/static" >/dev/null
consume_with_cmake statically -DCMAKE_PREFIX_PATH="$stage/static"
consume_with_pkg_config static "$(dirname "$(find "$stage/static" -name libringmix.a)")"

consume_with_cmake subdirectory -DRINGMIX_SOURCES="$sources"

# The manual page and the completion come from the program's own help: that they come at all is what can go wrong.
MANPATH=$stage/prefix/share/man man --warnings -P cat ringmix >"$stage/page" 2>"$stage/warnings"
grep -q 'ringmix archive extract' "$stage/page" || { echo "the manual page lacks subcommands"; exit 1; }
[ ! -s "$stage/warnings" ] || { cat "$stage/warnings"; exit 1; }
completed=$(PATH=$build:$PATH bash -c '. completions/ringmix; COMP_WORDS=(ringmix archive ex); COMP_CWORD=2
  _ringmix; echo "${COMPREPLY[@]}"; COMP_WORDS=(ringmix archive extract --t); COMP_CWORD=3; _ringmix
  echo "${COMPREPLY[@]}"; COMP_WORDS=(ringmix render tests/data/golden/); COMP_CWORD=2; _ringmix
  echo "${COMPREPLY[@]}"')
[ "$completed" = $'extract\n--to\ntests/data/golden/scene.toml' ] || { echo "completion of ringmix: $completed"; exit 1; }

# Debian packages, where there is what makes them.
if command -v dpkg-shlibdeps >/dev/null; then
  (cd "$build" && cpack -G DEB -B "$stage/packages" >/dev/null)
  for package in "$stage"/packages/*.deb; do dpkg-deb -x "$package" "$stage/unpacked"; done
  for file in bin/ringmix include/ringmix/host.h share/man/man1/ringmix.1 \
    share/bash-completion/completions/ringmix share/doc/libringmix-dev/copyright; do
    [ -e "$stage/unpacked/usr/$file" ] || { echo "no package has /usr/$file"; exit 1; }
  done
  libraries=$(dirname "$(find "$stage/unpacked" -name 'libringmix.so.?.?')")
  LD_LIBRARY_PATH=$libraries must_play "$stage/shared-c" "$stage/bell.sn"
fi
