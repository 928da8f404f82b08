#!/usr/bin/env bash
# From real recordings to a mix: builds the release program, imports some sounds of the freedesktop.org theme, puts them
# into an archive, and renders examples/demo.toml into out/demo.wav. On a Debian machine it installs what is missing.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh demo
echo "== building (build/release)"
cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc)" --target ringmix_program
ringmix=build/release/ringmix
recordings=/usr/share/sounds/freedesktop/stereo
mkdir -p out/demo

# RECORDING SOUND.sn|SOUND.isn [options]: what the recording is and what it becomes is what the program prints.
import() {
  local recording=$1 sound=$2
  shift 2
  "$ringmix" import "$recordings/$recording.oga" "out/demo/$sound" --name "${sound%.*}" "$@"
}
rm -f out/demo/*.sn out/demo/*.isn
echo "== importing recordings (Ogg Vorbis, 8 to 96 kHz) from $recordings"
import service-login chime.sn
import alarm-clock-elapsed alarm.sn
import phone-outgoing-busy busy.sn --volume 0.5
import camera-shutter shutter.sn --mono
import bell bell.sn --8bit --rate 22050
import phone-incoming-call telephone.isn --volume 0.6
import audio-channel-front-left left.isn
import audio-channel-front-right right.isn
import audio-channel-front-center center.isn
import message message.isn
import complete complete.isn

echo "== one archive: what slides or is short as samples, what is long as ADPCM"
"$ringmix" archive create out/demo/demo.archive out/demo/*.sn out/demo/*.isn
"$ringmix" archive list out/demo/demo.archive

echo "== rendering examples/demo.toml"
"$ringmix" render examples/demo.toml -o out/demo.wav

# The result as a sound of its own, to look at its level.
"$ringmix" import out/demo.wav out/demo-mix.sn --name demo-mix >/dev/null
peak=$("$ringmix" info --json out/demo-mix.sn | sed -n 's/.*"peak_dbfs": \(.*\),/\1/p')
rm out/demo-mix.sn
if [ "$peak" = null ]; then
  echo "demo.sh: out/demo.wav is silent" >&2
  exit 1
fi

cat <<EOF

out/demo.wav: 12 seconds, 16-bit stereo, 44,100 Hz, peak $peak dBFS. In the order in which it is heard:
   0.0 s  a login chime that fades in
   0.5 s  a telephone to the left that rings in a loop until 7 s
   1.0 s  "front left", "front right", "front center": three recordings in the queue of one voice
   2.5 s  an alarm clock that wanders from the left to the right
   4.0 s  the same bell at five pitches
   6.0 s  camera shutters and messages as one-shots, over all the others
   8.0 s  a busy line, to the right, whose pitch falls
  10.0 s  the end
Listen with:  aplay out/demo.wav     (or paplay, pw-play, ffplay, any player)
EOF
