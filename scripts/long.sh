#!/usr/bin/env bash
# The long forms of what the ordinary run does briefly: every preset, the soaks at full length, the fuzzer.
set -euo pipefail
cd "$(dirname "$0")/.."

export RINGMIX_LONG=1
for preset in release debug clang asan tsan; do
  echo "== $preset"
  scripts/test.sh "$preset"
done
scripts/demo.sh
scripts/same-bits.sh all
scripts/fuzz.sh 1200
