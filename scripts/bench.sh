#!/usr/bin/env bash
# Measures the engine beside SDL_mixer, OpenAL Soft, libsndfile and libavcodec in one run, on an otherwise idle machine:
#   scripts/bench.sh            tables: mixing, ADPCM, ticks, starts, memory; takes a few minutes
#   scripts/bench.sh --json     the same, one object a line
#   scripts/bench.sh --smoke    seconds: whether everything works and is heard; its figures mean nothing
#   scripts/bench.sh --kernels  each kernel of each variant, and the loading of archives; more arguments go to Google Benchmark
# docs/performance.md says how to read them.
set -euo pipefail
cd "$(dirname "$0")/.."

{
  scripts/install-deps.sh bench
  cmake --preset release >/dev/null
  cmake --build --preset release -j "$(nproc)" --target ringmix_bench ringmix_compare >/dev/null
} >&2

echo "$(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2 | xargs), $(nproc) cores, $(date -I)" >&2
if [ "${1:-}" = --kernels ]; then
  shift
  exec build/release/bench/ringmix_bench --benchmark_filter='frames:735|^taps|Archive|ReadAndFlip' --benchmark_min_time=0.05 \
    --benchmark_repetitions=5 --benchmark_report_aggregates_only=true "$@"
fi
exec build/release/bench/ringmix_compare "$@"
