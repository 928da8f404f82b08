#!/usr/bin/env bash
# Builds one preset and runs all its tests: scripts/test.sh [release|debug|clang|asan|tsan], release by default.
# Installs what is missing on a Debian machine.
set -euo pipefail
cd "$(dirname "$0")/.."
preset=${1:-release}

scripts/install-deps.sh "$preset"
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" -j "$(nproc)"
ctest --preset "$preset" -j "$(nproc)"
