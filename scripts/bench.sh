#!/usr/bin/env bash
# Runs the benchmarks and prints one table: nanoseconds per voice and output frame of each kernel and variant (blocks of
# 735 frames), then the time of a whole tick by number of voices. Medians of 5 repetitions; more arguments go to the
# benchmark program.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh release
cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc)" --target ringmix_bench >/dev/null

echo "$(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2 | xargs), $(nproc) cores, $(date -I)"
build/release/bench/ringmix_bench --benchmark_filter='frames:735|^Tick' --benchmark_min_time=0.05 \
  --benchmark_repetitions=5 --benchmark_report_aggregates_only=true --benchmark_format=csv "$@" 2>/dev/null |
  awk -F, '
    function unquote(text) { gsub(/"/, "", text); return text }
    /^"?name/ {
      for (i = 1; i <= NF; i++) column[unquote($i)] = i
      next
    }
    unquote($1) !~ /_median$/ { next }
    {
      name = unquote($1)
      sub(/_median$/, "", name)
      if (split(name, part, "/") == 5 && part[1] == "kernels") {
        row = part[3] " " part[4]
        if (!(row in seen)) { seen[row] = 1; rows[++rowCount] = row }
        if (!(part[2] in known)) { known[part[2]] = 1; sets[++setCount] = part[2] }
        cost[row, part[2]] = $(column["ns/frame"])
      } else {
        sub(/\/iterations:[0-9]+/, "", name)
        sub(/\/manual_time/, "", name)
        perVoice = $(column["ns/frame"])  # of one voice; one counter name, as the CSV has one header
        ticks[++tickCount] = sprintf("%-34s %10.1f %14s", name, $(column["real_time"]),
                                     perVoice + 0 == 0 ? "" : sprintf("%.3f", perVoice))
      }
    }
    END {
      printf "\n%-34s", "ns per voice-frame"
      for (s = 1; s <= setCount; s++) printf " %10s", sets[s]
      print ""
      for (r = 1; r <= rowCount; r++) {
        printf "%-34s", rows[r]
        for (s = 1; s <= setCount; s++) printf " %10.3f", cost[rows[r], sets[s]]
        print ""
      }
      printf "\n%-34s %10s %14s\n", "whole tick of 735 frames", "us", "ns/voice-frame"
      for (t = 1; t <= tickCount; t++) print ticks[t]
    }'
