#!/usr/bin/env bash
# The long forms of what the ordinary run does briefly: scripts/long.sh [STEP...], all steps by default. A step goes
# by itself, too, and may be repeated. What takes its time, on top of building:
#   release    half an hour on the null device, a simulated day of ticks, 10,000 model programs
#   clang      the same with the other compiler
#   no-alsa    the same without the system's sound output
#   debug      the short soaks, with every assertion
#   asan       every fault at every call, under the address and undefined-behaviour sanitizers
#   tsan       twice five minutes of host, loader and mixing thread
#   demo       the demo scene, played
#   same-bits  some twenty builds of thirty scenes, AArch64 under emulation last
#   fuzz       twenty minutes for each of the seven targets
set -euo pipefail
cd "$(dirname "$0")/.."
steps=("$@")
[ ${#steps[@]} -gt 0 ] || steps=(release clang no-alsa debug asan tsan demo same-bits fuzz)

export RINGMIX_LONG=1
for step in "${steps[@]}"; do
  echo "== $step, $(date +%H:%M)"
  case $step in
    release | clang | no-alsa | debug | asan | tsan) scripts/test.sh "$step" ;;
    demo) scripts/demo.sh ;;
    same-bits) scripts/same-bits.sh all ;;
    fuzz) scripts/fuzz.sh 1200 ;;
    *)
      echo "long.sh: no step is called $step" >&2
      exit 2
      ;;
  esac
done
echo "== done, $(date +%H:%M)"
