#!/usr/bin/env bash
# Checks what no test sees: formatting, the library's exports, and that an installed package serves a consumer.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh check
cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc)" >/dev/null

git ls-files '*.cpp' '*.h' | xargs clang-format --dry-run -Werror

symbols=$(nm -DC --defined-only build/release/src/libringmix.so | cut -d' ' -f3-)
exports=$(printf '%s\n' "$symbols" |
  grep -vE '^((vtable|typeinfo|typeinfo name) for )?(Audio|Base|Sound|Voice)Wrapper_t|^OutputSelection_t::' || true)
if [ -n "$exports" ]; then
  echo "libringmix shows more than its interface:"
  echo "$exports"
  exit 1
fi

# A consumer outside the tree, through the CMake package and through pkg-config.
stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT
cmake --install build/release --prefix "$stage/prefix" >/dev/null
mkdir "$stage/consumer"
cp examples/minimal_host.cpp "$stage/consumer/"
cat >"$stage/consumer/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(consumer LANGUAGES CXX)
find_package(ringmix REQUIRED)
add_executable(consumer minimal_host.cpp)
target_link_libraries(consumer PRIVATE ringmix::ringmix)
CMAKE
cmake -S "$stage/consumer" -B "$stage/build" -DCMAKE_PREFIX_PATH="$stage/prefix" >/dev/null
cmake --build "$stage/build" >/dev/null
libraries=$(dirname "$(find "$stage/prefix" -name libringmix.so)")
export PKG_CONFIG_PATH="$libraries/pkgconfig"
# shellcheck disable=SC2046
c++ -std=c++20 examples/minimal_host.cpp -o "$stage/by-pkg-config" $(pkg-config --cflags --libs ringmix)
build/release/ringmix import tests/data/golden/bell.wav "$stage/click.sn" --name click >/dev/null
for program in "$stage/build/consumer" "$stage/by-pkg-config"; do
  LD_LIBRARY_PATH=$libraries "$program" "$stage/click.sn" click >/dev/null
done

# The streaming example: two formats in one queue, read by its own thread. A sound file's extension picks the class.
ringmix=build/release/ringmix
wide=tests/data/golden/expected.wav
"$ringmix" import "$wide" "$stage/wide.sn" --name wide >/dev/null
"$ringmix" import "$wide" "$stage/narrow.sn" --name narrow --mono --8bit --rate 22050 >/dev/null
mv "$stage/wide.sn" "$stage/wide.ssn"
mv "$stage/narrow.sn" "$stage/narrow.ssn"
played=$(build/release/examples/streaming_host "$stage/wide.ssn" wide "$stage/narrow.ssn" narrow \
  "$stage/click.sn" click 2 null)
if ! grep -q 'at frame [1-9]' <<<"$played"; then
  echo "streaming_host: its music has not moved"
  exit 1
fi

echo "formatting, exports and installed package are in order"
