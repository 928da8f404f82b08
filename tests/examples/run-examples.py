"""Runs every example host without a person, a screen or a sound card, and looks at what it plays, prints and draws.
  run-examples.py BUILD-FOLDER SOURCE-FOLDER
"""
import collections
import os
import pathlib
import struct
import subprocess
import sys
import tempfile

build, source = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
ringmix, examples, data = build / "ringmix", build / "examples", source / "tests/data/golden"
environment = dict(os.environ, SDL_VIDEODRIVER="dummy", SDL_RENDER_DRIVER="software")


def run(*command, status=0):
    done = subprocess.run([str(part) for part in command], capture_output=True, env=environment, timeout=120)
    assert done.returncode == status, f"{command}: status {done.returncode}\n{done.stderr.decode()}"
    return done


def rendered(scene):
    pathlib.Path("scene.toml").write_text(scene)
    run(ringmix, "render", "scene.toml", "-o", "scene.wav")
    return pathlib.Path("scene.wav").read_bytes()[44:]


def check_sounds_as(scene, heard):
    """A host and a scene that do the same in the same frames give the same bytes."""
    expected = rendered(scene)
    length = min(len(expected), len(heard))
    assert length > 4 * 10_000 and any(heard), "next to nothing is heard"
    assert heard[:length] == expected[:length], "heard otherwise than rendered"


def colours_of(path):
    """How often each colour stands in a BMP file of 24 bits without compression."""
    picture = path.read_bytes()
    start, = struct.unpack_from("<I", picture, 10)
    width, height, _, bits = struct.unpack_from("<iiHH", picture, 18)
    assert bits == 24 and width * 3 % 4 == 0
    pixels = picture[start:start + width * abs(height) * 3]
    return collections.Counter(zip(pixels[2::3], pixels[1::3], pixels[0::3]))


def minimal_and_c_host():
    scene = 'duration = 0.5\n[[sound]]\nfile = "bell.sn"\n[[event]]\nat = 0.0\nsound = "bell"\n'
    check_sounds_as(scene + 'do = "one-shot"', run(examples / "c_host", "bell.sn").stdout)
    voice = 'voice = "one"\nvolume = [1.0, 0.7]\ndo = "play"'
    check_sounds_as(scene + voice, run(examples / "minimal_host", "bell.sn", "bell").stdout)
    for host, arguments in {"c_host": ["none.sn"], "minimal_host": ["none.sn", "none"]}.items():
        assert b"none.sn" in run(examples / host, *arguments, status=1).stderr


def offline_test():
    run(examples / "offline_test", "bell.sn")
    other = run(examples / "offline_test", "first.sn", status=1)
    assert b"expected 0x" in other.stderr
    assert len(run(examples / "offline_test", "bell.sn", "--listen").stdout) == 4 * 44100


def streaming_host():
    """Two formats in the queue of one voice, read by a thread of their own, for a second of real time."""
    told = run(examples / "streaming_host", "first.ssn", "second.ssn", "bell.sn", 1, "null").stdout.decode().split()
    assert told[-4:-1] == ["music", "at", "frame"] and int(told[-1]) > 0, told


def sdl_host():
    if not (examples / "sdl_host").exists():
        return print("sdl_host: not built, as SDL2 is not installed")
    keys = "2:F2,10:1,40:Space,50:F2,52:F1,58:1,59:S"
    told = run(examples / "sdl_host", "--backend", "manual", "--frames", 60, "--keys", keys, "--picture", "ring.bmp",
               "bell.sn", "first.sn").stdout.decode()
    assert told == "started 5, ended 2, stopped 1, underruns 0\n", told
    colours = colours_of(pathlib.Path("ring.bmp"))
    wanted = {"queued": (45, 178, 160), "mixed": (226, 163, 60), "silent": (42, 47, 60), "play cursor": (255, 255, 255),
              "horizon": (232, 88, 88), "first loop": (158, 220, 110), "second loop": (206, 147, 255)}
    for name, colour in wanted.items():
        assert colours[colour] > 200, f"the picture does not show: {name}"
    told = run(examples / "sdl_host", "--frames", 999999, "--keys", "3:Escape", "--backend", "null", "bell.sn").stdout
    assert told.startswith(b"started 0"), told


with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    run(ringmix, "import", data / "bell.wav", "bell.sn", "--name", "bell")
    run(ringmix, "import", data / "expected.wav", "first.sn", "--name", "first")
    run(ringmix, "import", data / "expected.wav", "first.ssn", "--name", "first")
    run(ringmix, "import", data / "expected.wav", "second.ssn", "--name", "second", "--mono", "--8bit", "--rate", "22050")
    for check in (minimal_and_c_host, offline_test, streaming_host, sdl_host):
        check()
        print(check.__name__, "is good to copy")
