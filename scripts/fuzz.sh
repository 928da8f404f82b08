#!/usr/bin/env bash
# Fuzzes each target in turn: scripts/fuzz.sh [SECONDS [TARGET...]], 10 seconds and all of them by default. Prints
# executions and coverage of each. What it finds lands in out/fuzz/ and ends the run; what it learns is kept in
# build/fuzz/corpus, beside which fuzz/corpus stays as it is.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-10}
shift || true
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(sound_file archive wave_import binary_stream ima_codec scene host_program)

scripts/install-deps.sh fuzz
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j "$(nproc)"

# In memory if there is such a place: some targets write a file for each input.
TMPDIR=$(mktemp -d -p "$([ -d /dev/shm ] && echo /dev/shm || echo "${TMPDIR:-/tmp}")" ringmix-fuzz-XXXXXX)
export TMPDIR
trap 'rm -rf "$TMPDIR"' EXIT
mkdir -p out/fuzz
for target in "${targets[@]}"; do
  learned=build/fuzz/corpus/$target
  mkdir -p "$learned"
  log=out/fuzz/$target.log
  # The limits are those of a small machine: an input that takes longer or more is a fault, too.
  if ! build/fuzz/fuzz/ringmix_fuzz "--target=$target" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=2048 \
    -artifact_prefix="out/fuzz/$target-" -print_final_stats=1 "$learned" "fuzz/corpus/$target" >"$log" 2>&1; then
    tail -40 "$log"
    echo "fuzz.sh: $target has failed; its input is in out/fuzz/" >&2
    exit 1
  fi
  awk -v target="$target" '
    /DONE/ { for (i = 1; i < NF; i++) if ($i == "cov:") edges = $(i + 1) }
    /number_of_executed_units/ { runs = $2 }
    /average_exec_per_sec/ { rate = $2 }
    END { printf "%-14s %10d runs %7d a second %6d edges\n", target, runs, rate, edges }' "$log"
done
