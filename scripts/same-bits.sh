#!/usr/bin/env bash
# Renders thirty scenes with many builds of the library and compares what was played, bit by bit: scripts/same-bits.sh
# takes the release build and its kernels, g++ without optimisation, and clang; scripts/same-bits.sh all both compilers
# at every optimisation, with and without FMA code generation, the address sanitizer, and AArch64 under emulation.
set -euo pipefail
cd "$(dirname "$0")/.."
extent=${1:-short}

scripts/install-deps.sh clang
out=out/same-bits
mkdir -p "$out"
rm -f "$out"/*.txt

# NAME CMAKE-OPTION...: builds the scenes alone, in build/same-bits/NAME.
build() {
  local name=$1
  shift
  cmake -S . -B "build/same-bits/$name" -G Ninja -DRINGMIX_TOOLS=OFF -DRINGMIX_TESTS=OFF -DRINGMIX_BENCH=OFF \
    -DCMAKE_BUILD_TYPE=None "$@" >/dev/null
  cmake --build "build/same-bits/$name" -j "$(nproc)" --target ringmix_same_bits >/dev/null
}
# NAME RUNNER... PROGRAM: one set of hashes for each set of kernels that the program can run.
render() {
  local name=$1
  shift
  local kernels
  for kernels in $("$@" list); do
    "$@" "$kernels" >"$out/$name-$kernels.txt"
    echo "$name, $kernels kernels: $(sha256sum <"$out/$name-$kernels.txt" | cut -c1-16)"
  done
}
build_and_render() {
  build "$@"
  render "$1" "build/same-bits/$1/tests/same_bits/ringmix_same_bits"
}

cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc)" --target ringmix_same_bits >/dev/null
render release build/release/tests/same_bits/ringmix_same_bits
if [ "$extent" != all ]; then
  build_and_render g++-O0 -DCMAKE_CXX_COMPILER=g++ -DCMAKE_CXX_FLAGS=-O0
  build_and_render clang++-O2 -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_CXX_FLAGS=-O2
else
  for compiler in g++ clang++; do
    for level in 0 1 2 3; do
      build_and_render "$compiler-O$level" "-DCMAKE_CXX_COMPILER=$compiler" "-DCMAKE_CXX_FLAGS=-O$level"
    done
    if grep -qw fma /proc/cpuinfo; then
      build_and_render "$compiler-fma" "-DCMAKE_CXX_COMPILER=$compiler" "-DCMAKE_CXX_FLAGS=-O3 -mavx2 -mfma"
    fi
  done
  build_and_render asan -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_CXX_FLAGS=-O1 -DRINGMIX_SANITIZE=address,undefined
  scripts/install-deps.sh aarch64
  build aarch64 -DCMAKE_SYSTEM_NAME=Linux -DCMAKE_SYSTEM_PROCESSOR=aarch64 \
    -DCMAKE_CXX_COMPILER=aarch64-linux-gnu-g++ "-DCMAKE_CXX_FLAGS=-O2 -static"
  render aarch64 qemu-aarch64 build/same-bits/aarch64/tests/same_bits/ringmix_same_bits
fi

first=$out/release-reference.txt
for hashes in "$out"/*.txt; do
  if ! diff "$first" "$hashes"; then
    echo "same-bits.sh: $hashes differs from $first" >&2
    exit 1
  fi
done
echo "$(find "$out" -name '*.txt' | wc -l) renderings of $(wc -l <"$first") scenes are equal"
