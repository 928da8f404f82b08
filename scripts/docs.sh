#!/usr/bin/env bash
# Makes the reference of the headers in build/release/docs/html. A warning of Doxygen is an error.
set -euo pipefail
cd "$(dirname "$0")/.."
command -v doxygen >/dev/null || scripts/install-deps.sh check
output=${1:-build/release/docs}
mkdir -p "$output"
(cat docs/Doxyfile; echo "OUTPUT_DIRECTORY = $output") | doxygen -
echo "$output/html/index.html"
