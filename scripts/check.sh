#!/usr/bin/env bash
# Checks what no test sees: formatting, the library's exports, that an installed package serves a consumer, and the documents.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh check
stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT
cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc)" >/dev/null

find bench examples fuzz include src tests tools -name '*.cpp' -o -name '*.h' | xargs clang-format --dry-run -Werror

# What the library shows is what hosts build on: a change of src/api/exports.txt is a change of the interface.
if ! nm -DC --defined-only build/release/src/libringmix.so | cut -d' ' -f3- | LC_ALL=C sort -u |
  diff src/api/exports.txt - >"$stage/exports"; then
  echo "libringmix does not show what src/api/exports.txt lists (< missing, > too much):"
  cat "$stage/exports"
  exit 1
fi

# Consumers outside the tree, in C++ and in C: through the CMake package, through pkg-config, and with the sources as
# a subdirectory. The prefix has moved since the installation.
scripts/check-consumers.sh build/release "$stage"

# The reference of the headers: a comment that has lost its argument is a warning, and a warning is an error.
scripts/docs.sh >/dev/null
python3 tests/docs/run-snippets.py build/release . --strict >/dev/null

echo "formatting, exports, installed package and documents are in order"
