"""Runs every command and compiles every piece of code in the README and in docs/, so that none of them is out of date.
  run-snippets.py BUILD-FOLDER SOURCE-FOLDER [--strict]

Each page has a folder of its own, with some sounds in it, where its blocks run in order, on an installed tree:
  sh      runs under bash and must succeed; `... | aplay` and the like go nowhere
  cpp, c  is compiled with all warnings: inside a function, after all headers of the engine; alone if it has a main
  toml    is rendered as a scene, and must be heard
  cmake   configures and builds a consumer of the installed package
  text    is for people
A comment of its own line above a block changes that:
  <!-- snippet: skip REASON -->        neither run nor compiled
  <!-- snippet: given DECLARATIONS --> what stands in front of a piece of code
  <!-- snippet: run NAME [PACKAGE...] --> a program that is built as NAME and run, if those pkg-config packages are there
  <!-- snippet: file NAME -->          is stored under that name, for the blocks that follow
Commands outside of such blocks, and blocks in other languages, are refused. --strict refuses missing packages as well.
"""
import math
import os
import pathlib
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import wave

build, source = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
is_strict = "--strict" in sys.argv[3:]
pages = [source / "README.md", source / "CONTRIBUTING.md", *sorted((source / "docs").glob("*.md"))]
headers = "".join(f"#include <ringmix/{path.name}>\n" for path in sorted((source / "include/ringmix").glob("*.h")))
failures, counts, skipped = [], {}, []
environment = dict(os.environ, SDL_AUDIODRIVER="dummy", SDL_VIDEODRIVER="dummy", ALSOFT_DRIVERS="null",
                   XDG_RUNTIME_DIR="/nonexistent")


class Block:
    def __init__(self, page, line, language, directive, text):
        self.page, self.line, self.language, self.text = page, line, language, text
        self.verb, _, self.rest = directive.partition(" ")

    def __str__(self):
        return f"{self.page.relative_to(source)}:{self.line}"


def blocks_of(page):
    lines, blocks, directive, i = page.read_text().splitlines(), [], "", 0
    while i < len(lines):
        fence = re.match(r"(\s*)```(\S*)", lines[i])
        comment = re.match(r"\s*<!-- snippet: (.*) -->$", lines[i])
        if comment:
            directive = comment[1]
        elif fence:
            end = next(j for j in range(i + 1, len(lines)) if lines[j].strip() == "```")
            text = "\n".join(line[len(fence[1]):] for line in lines[i + 1:end])
            blocks.append(Block(page, i + 2, fence[2], directive, text + "\n"))
            i, directive = end, ""
        elif re.match(r"(    )+(\$ |ringmix |scripts/|\./|cmake |sudo |c\+\+ |cc )", lines[i]):
            failures.append(f"{page.name}:{i + 1}: a command outside of a block that is run")
        i += 1
    return blocks


def run(block, command, folder, **options):
    try:
        done = subprocess.run(command, cwd=folder, env=environment, capture_output=True, text=True, timeout=300, **options)
    except subprocess.TimeoutExpired:
        failures.append(f"{block}: does not end")
        return None
    if done.returncode != 0:
        failures.append(f"{block}: status {done.returncode}\n{done.stdout}{done.stderr}".rstrip())
        return None
    return done.stdout


def compile_and_run(block, folder):
    name, *packages = block.rest.split()
    flags = subprocess.run(["pkg-config", "--cflags", "--libs", "ringmix", *packages], env=environment, capture_output=True,
                           text=True)
    if flags.returncode != 0:
        return skip(block, f"{' or '.join(packages)} is not installed", is_missing=True)
    suffix, compiler = (".c", ["cc"]) if block.language == "c" else (".cpp", ["c++", "-std=c++20"])
    (folder / (name + suffix)).write_text(f'#line {block.line} "{block.page.name}"\n{block.text}')
    if run(block, [*compiler, "-Wall", "-Wextra", "-Werror", name + suffix, "-o", name, *flags.stdout.split()], folder) is not None:
        run(block, ["./" + name], folder)


def check_pieces(blocks, folder):
    """All pieces of a page in one go: they cost little more than one."""
    text = "".join(f"#include <{name}>\n" for name in ("chrono", "cstdint", "cstdio", "memory", "thread")) + headers
    for number, block in enumerate(blocks):
        given = f"{block.rest};" if block.verb == "given" else ""
        text += f'namespace piece{number} {{\n{given}\n'
        is_whole = re.search(r"^(int main\(|class |struct |void )", block.text, re.M)
        body = block.text if is_whole else f"{block.text}\n}}"
        text += ("" if is_whole else "[[maybe_unused]] void Piece() {\n") + f'#line {block.line} "{block.page.name}"\n{body}\n}}\n'
    (folder / "pieces.cpp").write_text(text)
    run(blocks[0], ["c++", "-std=c++20", "-Wall", "-Wextra", "-Werror", "-Wno-unused-variable", "-Wno-unused-but-set-variable",
                    "-Wno-unused-function", "-fsyntax-only", f"-I{prefix / 'include'}", "pieces.cpp"], folder)


def render(block, folder):
    (folder / "snippet.toml").write_text(block.text)
    if run(block, ["ringmix", "render", "snippet.toml", "-o", "snippet.wav"], folder) is not None:
        if not any((folder / "snippet.wav").read_bytes()[44:]):
            failures.append(f"{block}: the scene is silent")


def consume(block, folder):
    consumer = folder / "consumer"
    consumer.mkdir(exist_ok=True)
    (consumer / "game.cpp").write_text((source / "examples/minimal_host.cpp").read_text())
    (consumer / "CMakeLists.txt").write_text("cmake_minimum_required(VERSION 3.25)\nproject(game LANGUAGES CXX)\n"
                                             "add_executable(game game.cpp)\n" + block.text)
    run(block, ["cmake", "-S", consumer, "-B", consumer / "build", f"-DCMAKE_PREFIX_PATH={prefix}"], folder)
    run(block, ["cmake", "--build", consumer / "build"], folder)


def skip(block, reason, is_missing=False):
    skipped.append(f"{block}: {reason}")
    if is_missing and is_strict:
        failures.append(f"{block}: {reason}; scripts/install-deps.sh installs it")


def check_page(page, folder):
    pieces = []
    for block in blocks_of(page):
        counts[block.language] = counts.get(block.language, 0) + 1
        if block.verb == "skip":
            skip(block, block.rest or failures.append(f"{block}: skipped without a reason"))
        elif block.verb == "file":
            (folder / block.rest).write_text(block.text)
        elif block.verb == "run":
            compile_and_run(block, folder)
        elif block.language == "sh":
            run(block, ["bash", "-euo", "pipefail", "-c", block.text], folder, stdin=subprocess.DEVNULL)
        elif block.language == "cpp":
            pieces.append(block)
        elif block.language == "toml":
            render(block, folder)
        elif block.language == "cmake":
            consume(block, folder)
        elif block.language != "text":
            failures.append(f"{block}: nothing is known of blocks in \"{block.language}\"")
    if pieces:
        check_pieces(pieces, folder)


def write_wave(path, seconds, frequency):
    """A decaying tone, so that every sound of the pages can be told from the others."""
    with wave.open(str(path), "wb") as file:
        file.setnchannels(2)
        file.setsampwidth(2)
        file.setframerate(44100)
        samples = (int(12000 * math.exp(-i / 60000) * math.sin(i * frequency * 2 * math.pi / 44100))
                   for i in range(int(seconds * 44100)))
        file.writeframes(b"".join(struct.pack("<hh", sample, sample // 2) for sample in samples))


def make_sounds(folder):
    """rain, thunder and music, in every form that the pages speak of."""
    program = prefix / "bin/ringmix"
    for name, frequency in (("rain", 440), ("thunder", 110), ("music", 660)):
        write_wave(folder / f"{name}.wav", 0.6, frequency)
        for extension in ("sn", "isn", "ssn", "iss"):
            subprocess.run([program, "import", f"{name}.wav", f"{name}.{extension}", "--name", name], cwd=folder,
                           check=True, capture_output=True)
    subprocess.run([program, "archive", "create", "effects.archive", "thunder.sn"], cwd=folder, check=True,
                   capture_output=True)


with tempfile.TemporaryDirectory() as scratch:
    scratch = pathlib.Path(scratch)
    prefix, players, sounds = scratch / "prefix", scratch / "players", scratch / "sounds"
    subprocess.run(["cmake", "--install", build, "--prefix", prefix], check=True, stdout=subprocess.DEVNULL)
    library = next(prefix.rglob("libringmix.so")).parent
    players.mkdir()
    for player in ("aplay", "paplay", "xdg-open"):  # what is piped into them is for ears and eyes
        (players / player).write_text("#!/bin/sh\n[ -t 0 ] || cat >/dev/null\n")
        (players / player).chmod(0o755)
    environment.update(PATH=f"{players}:{prefix / 'bin'}:{environment['PATH']}", LD_LIBRARY_PATH=str(library),
                       PKG_CONFIG_PATH=str(library / "pkgconfig"))
    sounds.mkdir()
    make_sounds(sounds)
    for page in pages:
        folder = scratch / page.stem
        shutil.copytree(sounds, folder)
        shutil.copytree(source / "examples", folder / "examples")
        check_page(page, folder)

    (scratch / "images").mkdir()
    subprocess.run([sys.executable, source / "docs/images/draw.py", scratch / "images"], check=True)
    for drawn in (scratch / "images").iterdir():
        if drawn.read_bytes() != (source / "docs/images" / drawn.name).read_bytes():
            failures.append(f"docs/images/{drawn.name} is not what docs/images/draw.py draws")

for reason in skipped:
    print("skipped:", reason)
print(", ".join(f"{count} {language}" for language, count in sorted(counts.items())), f"blocks in {len(pages)} pages")
if failures:
    sys.exit("\n".join(failures))
