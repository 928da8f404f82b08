#!/usr/bin/env bash
# Makes the first inputs of the fuzzer, with the program of this tree: fuzz/corpus/TARGET/seed-*. What the fuzzer adds to
# them bears a hash for a name.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh release
cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc)" --target ringmix_program >/dev/null
ringmix=$PWD/build/release/ringmix
corpus=$PWD/fuzz/corpus
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$corpus"/{sound_file,archive,wave_import,binary_stream,ima_codec,scene,host_program}
bell=$PWD/tests/data/golden/bell.wav
cd "$work"

# FROM COUNT FILE: so many bytes of a file.
slice() { dd if="$3" bs=1 skip="$1" count="$2" status=none; }
cp "$bell" long.wav
slice 0 300 "$bell" >short.wav  # cut short, with the sizes as they were

"$ringmix" import long.wav plain.sn --name plain >/dev/null
"$ringmix" import short.wav small.sn --name small --8bit --mono --rate 11025 --volume 0.5 >/dev/null
"$ringmix" import long.wav locked.sn --name locked --lock volume,pan,frequency --mono >/dev/null
"$ringmix" import long.wav packed.isn --name packed >/dev/null
"$ringmix" import short.wav mono.isn --name mono --mono --rate 22050 >/dev/null
cp plain.sn streamed.ssn
cp packed.isn streamed.iss
for sound in plain.sn small.sn locked.sn packed.isn mono.isn; do cp "$sound" "$corpus/sound_file/seed-$sound"; done

"$ringmix" archive create one.archive small.sn >/dev/null
"$ringmix" archive create many.archive small.sn mono.isn locked.sn >/dev/null
"$ringmix" archive create streams.archive small.sn streamed.ssn streamed.iss >/dev/null 2>&1 || true
"$ringmix" archive create empty.archive small.sn >/dev/null
"$ringmix" archive remove empty.archive small >/dev/null
for archive in *.archive; do cp "$archive" "$corpus/archive/seed-$archive"; done

"$ringmix" export small.sn mono8.wav >/dev/null
"$ringmix" export mono.isn decoded.wav >/dev/null
for wave in long.wav short.wav mono8.wav decoded.wav; do cp "$wave" "$corpus/wave_import/seed-$wave"; done

# Calls and blocks as they come: bytes of a sound, of its blocks, and of the program itself, which differ in kind.
for at in 1 2 3 4; do
  slice $((at * 400)) 400 plain.sn >"$corpus/binary_stream/seed-$at"
  slice $((at * 100)) 1500 packed.isn >"$corpus/ima_codec/seed-$at"
done
for at in 1 2 3 4 5 6; do
  slice $((at * 40000)) 300 "$ringmix" >"$corpus/host_program/seed-$at"
done

cp "$OLDPWD/examples/demo.toml" "$corpus/scene/seed-demo"
cp "$OLDPWD/tests/data/golden/scene.toml" "$corpus/scene/seed-golden"
cat >"$corpus/scene/seed-all-keys" <<'TOML'
frame_rate = 60
worst_case_frame_rate = 30
duration = 4.0
[[sound]]
file = "rain.wav"
name = "rain"
archive = "weather"
store = "adpcm-stream"
[[archive]]
file = "effects.archive"
name = "effects"
[device]
write_lead_bytes = 8
emulated = true
[memory]
stream_page_bytes = 4096
stream_pages_ahead = 32
decoded_page_bytes = 16384
[loader]
mode = "delayed"
delay_frames = 3
[[event]]
at = 0.5
voice = "rain-1"
sound = "rain"
mix_mode = 0
sliding = true
queue = ["rain", "rain"]
slide_frequency = [0, 44100, 1.0, 2.0]
slide_volume = [0, 44100, 0.0, 1.0, 0.0, 1.0]
volume = [0.8, 0.3]
frequency = 1.25
loop = true
position = 22050
do = "play"
TOML
printf 'duration = 1e9\nframe_rate = "x"\n' >"$corpus/scene/seed-wrong"
du -sk "$corpus" | cut -f1
