#!/usr/bin/env bash
# Installs the Debian packages that a task needs and that are missing; says nothing and takes no time if none is.
#   scripts/install-deps.sh [release|debug|no-alsa|asan|tsan|clang|fuzz|aarch64|check|demo|bench]
set -euo pipefail

packages=(cmake ninja-build g++ pkg-config libgtest-dev libbenchmark-dev libcli11-dev libtomlplusplus-dev
  nlohmann-json3-dev libsndfile1-dev libsamplerate0-dev libmd-dev libcairo2-dev libfftw3-dev libebur128-dev
  libasound2-dev libasound2-plugins pulseaudio pulseaudio-utils libsdl2-dev python3)
case ${1:-release} in
  clang | asan | fuzz) packages+=(clang libclang-rt-dev) ;;
  aarch64) packages+=(g++-aarch64-linux-gnu qemu-user) ;;
  check) packages+=(clang-format man-db dpkg-dev doxygen libsdl2-mixer-dev libopenal-dev) ;;
  demo) packages+=(sound-theme-freedesktop) ;;
  bench) packages+=(libsdl2-mixer-dev libopenal-dev libavcodec-dev) ;;
  release | debug | no-alsa | tsan) ;;
  *)
    echo "install-deps.sh: unknown task $1" >&2
    exit 2
    ;;
esac

if ! command -v dpkg-query >/dev/null; then
  echo "install-deps.sh: this is no Debian machine; it needs what these packages hold: ${packages[*]}" >&2
  exit 0
fi
missing=()
for package in "${packages[@]}"; do
  status=$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null || true)
  [ "$status" = installed ] || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
  if ! command -v sudo >/dev/null; then
    echo "install-deps.sh: needs root or sudo to install: ${missing[*]}" >&2
    exit 1
  fi
  as_root=(sudo)
fi
echo "installing ${missing[*]}"
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
