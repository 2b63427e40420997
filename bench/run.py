#!/usr/bin/env python3
"""Measures tvcmd and its peers on the same trees, one after the other, several times.

    bench/run.py [--scale S] [--rounds N] [--folder F] [ROW...]

Without ROW every row is run. Each row makes its tree, runs every program once unmeasured (so that the tree is in memory) and checks what
it wrote, then measures N rounds; the order rotates. Time on a busy machine says little: the ratios are medians over the rounds, each
against the run of the same round, and CPU seconds count everything a program started.
"""

import argparse
import math
import os
import resource
import shlex
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
from dataclasses import dataclass, field
from typing import Callable, Optional

import trees

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
PROGRAMS = f"{ROOT}/build/release/bin"
MB = 1 << 20
SECTOR = 2048


class Wrong(Exception):
    """A program failed, or did not write what it should."""


@dataclass
class Figures:
    wall: float  # seconds until the program ended
    settled: float  # seconds until its output was on the disk
    cpu: float  # user and system seconds of the program and all that it started
    memory: int  # bytes, of the largest process
    phases: dict = field(default_factory=dict)


@dataclass(frozen=True)
class Program:
    name: str
    words: Callable[[str, str], list]  # of tree and output
    check: Optional[Callable[[str, trees.Made], None]] = None


# What an image holds, asked of a program that wrote none of them.

def count_lines(words: list) -> int:
    result = subprocess.run(words, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False)
    return result.stdout.count(b"\n")


def expect(condition: bool, words: str) -> None:
    if not condition:
        raise Wrong(words)


def check_image(path: str, made: trees.Made) -> None:
    size = os.path.getsize(path)
    expect(size >= made.distinct_bytes, f"the image of {size} bytes cannot hold the tree")
    with open(path, "rb") as image:
        image.seek(16 * SECTOR)
        descriptor = image.read(SECTOR)
    expect(descriptor[1:6] == b"CD001", "the output is no image")
    volume = int.from_bytes(descriptor[80:84], "little") * SECTOR
    expect(volume <= size, f"the volume has {volume} bytes, the file {size}")
    listed = count_lines(["isoinfo", "-f", "-R", "-i", path])
    expect(listed + 1 >= made.files, f"the image lists {listed} names, {made.files} files were given")


def check_own_image(path: str, made: trees.Made) -> None:
    check_image(path, made)
    # Directories and the padding of each file's last sector come on top of the contents.
    limit = made.distinct_bytes + made.files * (SECTOR + 1024) + made.folders * 3 * SECTOR + MB
    size = os.path.getsize(path)
    expect(size <= limit, f"the image has {size} bytes: equal files are stored more than once")


def check_tar(path: str, made: trees.Made) -> None:
    expect(os.path.getsize(path) >= made.bytes, "the archive is smaller than the files")
    expect(count_lines(["tar", "tf", path]) >= made.files, "the archive lists fewer names than there are files")


def check_folder(path: str, made: trees.Made) -> None:
    sizes = [os.lstat(f"{folder}/{name}").st_size for folder, _, names in os.walk(path) for name in names]
    expect(len(sizes) == made.files and sum(sizes) == made.bytes, f"{len(sizes)} files with {sum(sizes)} bytes were copied")


def check_copy(path: str, made: trees.Made) -> None:
    expect(os.path.getsize(path) == made.distinct_bytes, "the copy has another size")


def check_listing(path: str, made: trees.Made) -> None:
    with open(path, "rb") as lines:
        listed = sum(1 for _ in lines)
    expect(listed >= made.files, f"{listed} lines were printed for {made.files} files")


def check_image_copy(path: str, made: trees.Made) -> None:
    expect(os.path.getsize(path) >= made.distinct_bytes, "the copy is smaller than the files")


def check_implanted(path: str, made: trees.Made) -> None:
    check_image(path, made)
    done = subprocess.run(["checkisomd5", path], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False)
    expect(done.returncode == 0, "checkisomd5 finds another checksum than the implanted one")


def check_digest(path: str, _: trees.Made) -> None:
    expect(os.path.getsize(path) > 32, "no digest was printed")


def create(tree: str, out: str, *switches: str) -> list:
    return [f"{PROGRAMS}/tvcmd", "create", "-y", "-o", out, *switches, "-add", f"{tree}/.", "/"]


def image_of(tree: str) -> str:
    """The image that a row makes of its tree before it measures."""
    return f"{tree}.iso"


OURS = Program("tvcmd create", create, check_own_image)
UDF = Program("tvcmd -udf on", lambda tree, out: create(tree, out, "-udf", "on"), check_image)
# With the settings that `main` makes beside the tree.
IMPLANT = Program("tvcmd implanting", lambda tree, out: ["env", f"XDG_CONFIG_HOME={os.path.dirname(tree)}/implanting", *create(tree, out)],
                  check_implanted)
LIST = Program("tvcmd list", lambda tree, out: ["sh", "-c", '"$0" list "$1" / -r >"$2"', f"{PROGRAMS}/tvcmd", image_of(tree), out],
               check_listing)
EXTRACT = Program("tvcmd extract", lambda tree, out: [f"{PROGRAMS}/tvcmd", "extract", image_of(tree), "/", "-od", out], check_folder)
EDIT = Program("tvcmd edit", lambda tree, out: [f"{PROGRAMS}/tvcmd", "edit", image_of(tree), "-o", out, "-add", __file__, "/"],
               check_image)
TAR_LIST = Program("bsdtar -tvf", lambda tree, out: ["sh", "-c", 'bsdtar -tvf "$0" >"$1"', image_of(tree), out], check_listing)
TAR_EXTRACT = Program("bsdtar -x", lambda tree, out: ["sh", "-c", 'mkdir "$1" && bsdtar -xf "$0" -C "$1"', image_of(tree), out],
                      check_folder)
MD5 = Program("md5sum", lambda tree, out: ["sh", "-c", 'md5sum "$0" >"$1"', image_of(tree), out], check_digest)
CP_IMAGE = Program("cp", lambda tree, out: ["cp", "--reflink=never", image_of(tree), out], check_image_copy)
XORRISO = Program("xorriso", lambda tree, out: ["xorriso", "-as", "mkisofs", "-quiet", "-J", "-R", "-o", out, tree], check_image)
GENISOIMAGE = Program("genisoimage", lambda tree, out: ["genisoimage", "-quiet", "-J", "-R", "-o", out, tree], check_image)
TAR = Program("tar", lambda tree, out: ["tar", "cf", out, "-C", tree, "."], check_tar)
CP = Program("cp", lambda tree, out: ["cp", "-r", "--reflink=never", tree, out], check_folder)
COMPARE = Program("cp, cmp, cmp",
                  lambda tree, out: ["sh", "-c", 'cp --reflink=never "$0/a.bin" "$1" && cmp "$0/a.bin" "$0/b.bin" && cmp "$0/a.bin" "$0/c.bin"',
                                     tree, out], check_copy)


@dataclass
class Result:
    made: trees.Made
    figures: dict = field(default_factory=dict)  # by program: one per round
    failures: dict = field(default_factory=dict)  # by program: why there are none

    def median(self, program: Program, of: str) -> float:
        return statistics.median(getattr(run, of) for run in self.figures[program.name])

    def ratio(self, peer: Program, of: str, program: Program = OURS) -> float:
        """The median over the rounds of a program of ours against a peer; nan when one of them failed."""
        if program.name in self.failures or peer.name in self.failures:
            return float("nan")
        pairs = zip(self.figures[program.name], self.figures[peer.name])
        return statistics.median(getattr(ours, of) / getattr(other, of) for ours, other in pairs)


@dataclass(frozen=True)
class Row:
    shape: str  # of its tree
    programs: tuple  # the first is the one that is measured against the others
    of_image: bool = False  # the programs read an image of the tree
    keeps_outputs: bool = False


ALL = (OURS, TAR, XORRISO, GENISOIMAGE, CP)
# Extracting comes first and deletes nothing between its rounds: ext4 leaves the number of a deleted file unused for a minute and searches
# past all of those, which would be most of the time measured.
ROWS = {
    "extract": Row("small", (EXTRACT, TAR_EXTRACT), of_image=True, keeps_outputs=True),
    "list": Row("small", (LIST, TAR_LIST), of_image=True),
    "small": Row("small", ALL),
    "udf": Row("small", (UDF, OURS)),
    "home": Row("home", ALL),
    "deep": Row("deep", ALL),
    "duplicates": Row("duplicates", ALL),
    "clashing": Row("clashing", ALL),
    "large": Row("large", ALL),
    "edit": Row("large", (EDIT, CP_IMAGE), of_image=True),
    "implant": Row("large", (IMPLANT, OURS, MD5), of_image=True),
    "copies": Row("copies", (OURS, COMPARE)),
    "million": Row("million", (OURS, TAR)),
}
STARTUP = "startup"
DRIVE = "drive"
BURN = "burn"


@dataclass(frozen=True)
class Goal:
    row: str
    what: str
    limit: float
    value: Callable[[dict], float]  # of all results; one that it needs may be missing


def seconds_a_file(result: Result) -> float:
    return result.median(OURS, "wall") / result.made.files


GOALS = (
    Goal("extract", "wall against bsdtar -x", 1.3, lambda of: of["extract"].ratio(TAR_EXTRACT, "wall", EXTRACT)),
    Goal("list", "wall against bsdtar -tvf", 2, lambda of: of["list"].ratio(TAR_LIST, "wall", LIST)),
    Goal("udf", "wall against without", 1.15, lambda of: of["udf"].ratio(OURS, "wall", UDF)),
    Goal("implant", "wall against the slower of both", 1.1,
         lambda of: min(of["implant"].ratio(peer, "wall", IMPLANT) for peer in (OURS, MD5))),
    Goal("edit", "wall against cp", 1.15, lambda of: of["edit"].ratio(CP_IMAGE, "wall", EDIT)),
    Goal("small", "wall against tar", 1.3, lambda of: of["small"].ratio(TAR, "wall")),
    Goal("small", "wall against xorriso", 1 / 3, lambda of: of["small"].ratio(XORRISO, "wall")),
    Goal("small", "wall against genisoimage", 1 / 3, lambda of: of["small"].ratio(GENISOIMAGE, "wall")),
    Goal("small", "peak memory, MB", 64, lambda of: of["small"].median(OURS, "memory") / MB),
    Goal("large", "wall against cp", 1.15, lambda of: of["large"].ratio(CP, "wall")),
    Goal("large", "CPU seconds against cp", 1.5, lambda of: of["large"].ratio(CP, "cpu")),
    Goal("copies", "wall against cp, cmp, cmp", 1.2, lambda of: of["copies"].ratio(COMPARE, "wall")),
    Goal("million", "peak memory, MB", 1024, lambda of: of["million"].median(OURS, "memory") / MB),
    Goal("million", "wall a file against small", 1.5, lambda of: seconds_a_file(of["million"]) / seconds_a_file(of["small"])),
    Goal(STARTUP, "ms beyond the wait", 50, lambda of: of[STARTUP]),
    Goal(DRIVE, "wall of WRITE(10) against cp", 1 / 0.7, lambda of: of[DRIVE].writing),
    Goal(DRIVE, "wall of READ(10) against cp", 1 / 0.7, lambda of: of[DRIVE].reading),
    Goal(DRIVE, "microseconds of its own a command", 3, lambda of: of[DRIVE].own),
    Goal(BURN, "wall of burn-image against cp", 1.6, lambda of: of[BURN].burning),
    Goal(BURN, "wall of burn-image -verify against cp", 2.6, lambda of: of[BURN].verified),
)


def remove(path: str) -> None:
    if os.path.isdir(path):
        shutil.rmtree(path)
    elif os.path.exists(path):
        os.remove(path)


def settle(path: str) -> None:
    """Waits until an output is on the disk."""
    if os.path.isdir(path):
        os.sync()
        return
    descriptor = os.open(path, os.O_RDONLY)
    try:
        os.fsync(descriptor)
    finally:
        os.close(descriptor)


# What tvcmd prints when a step begins, and the step's name here.
STEPS = ((b"Adding", "adding"), (b"Scanning", "scanning"), (b"Writing", "writing"), (b"done.", "closing"))


def follow(output) -> dict:
    """Seconds of each step that tvcmd names. Reads to the end of the output."""
    waiting, begins, seen = list(STEPS), [], b""
    while piece := os.read(output.fileno(), 65536):
        seen += piece
        while waiting and waiting[0][0] in seen:
            word, name = waiting.pop(0)
            seen = seen.partition(word)[2]
            begins.append((name, time.perf_counter()))
    ends = [at for _, at in begins[1:]] + [time.perf_counter()]
    return {name: end - at for (name, at), end in zip(begins, ends)}


def cpu_of_children() -> float:
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return used.ru_utime + used.ru_stime


def measure(program: Program, tree: str, out: str, environment: dict) -> Figures:
    """Runs a program once. GNU time starts it, for a process inherits the peak memory of the one that starts it."""
    memory_file = f"{os.path.dirname(out)}/memory"
    words = ["time", "-q", "-f", "%M", "-o", memory_file, *program.words(tree, out)]
    with tempfile.TemporaryFile() as errors:
        before = cpu_of_children()
        began = time.perf_counter()
        with subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=errors, env=environment) as process:
            phases = follow(process.stdout)
        wall = time.perf_counter() - began
        cpu = cpu_of_children() - before
        if process.returncode != 0:
            errors.seek(0)
            lines = errors.read().decode(errors="replace").strip().splitlines() or ["it said nothing"]
            raise Wrong(f"status {process.returncode}: {lines[-1]}")
    with open(memory_file, encoding="ascii") as lines:
        memory = int(lines.read()) * 1024
    expect(os.path.exists(out), "it ended well and wrote nothing")
    settle(out)
    settled = time.perf_counter() - began
    return Figures(wall, settled, cpu, memory, phases)


def need_space(row: Row, folder: str, scale: float, rounds: int) -> None:
    files, size = trees.planned(row.shape, scale)
    state = os.statvfs(folder)
    # The tree, its image and one output, cp's being as large, folders and some room to work.
    outputs = (rounds + 1) * len(row.programs) if row.keeps_outputs else 1
    wanted = (1.1 + row.of_image + outputs) * size + (1024 if outputs == 1 else 4096 * outputs) * files + 64 * MB
    free = state.f_bavail * state.f_frsize
    expect(free >= wanted, f"needs {wanted / 1e9:.1f} GB in {folder}, {free / 1e9:.1f} GB are free")
    wanted_files = (1.2 + outputs) * files
    expect(state.f_files == 0 or state.f_favail > wanted_files, f"needs room for {wanted_files:.0f} files in {folder}")


def run_row(row: Row, folder: str, scale: float, rounds: int, environment: dict) -> Result:
    need_space(row, folder, scale, rounds)
    tree, made = f"{folder}/tree", []

    def next_output() -> str:
        made.append(f"{folder}/out{len(made)}")
        return made[-1]

    def done_with(out: str) -> None:
        if not row.keeps_outputs:
            remove(out)

    try:
        result = Result(trees.make(row.shape, tree, scale))
        if row.of_image:
            subprocess.run(create(tree, image_of(tree), "-udf", "on"), stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, env=environment,
                           check=True)
        os.sync()
        for program in row.programs:
            out = next_output()
            try:
                measure(program, tree, out, environment)
                program.check(out, result.made)
                result.figures[program.name] = []
            except Wrong as reason:
                result.failures[program.name] = str(reason)
            done_with(out)
        turn = [program for program in row.programs if program.name in result.figures]
        for number in range(rounds if turn else 0):
            for program in turn[number % len(turn):] + turn[:number % len(turn)]:
                out = next_output()
                os.sync()
                result.figures[program.name].append(measure(program, tree, out, environment))
                done_with(out)
    finally:
        for path in (*made, image_of(tree), tree):
            remove(path)
    return result


def print_row(name: str, result: Result) -> None:
    row, made = ROWS[name], result.made
    print(f"\n{name}: {trees.SHAPES[row.shape].words}\n  {made.files:,} files, {made.folders:,} folders, {made.bytes / 1e9:.3f} GB, "
          f"{made.distinct_bytes / 1e9:.3f} GB without repetitions")
    widths = (8, 8, 8, 8, 8, 8, 10)
    print(f"  {'':<16} " + " ".join(f"{head:>{width}}" for head, width in zip(("wall", "ours", "on disk", "ours", "CPU", "ours", "peak"), widths)))
    for program in row.programs:
        if program.name in result.failures:
            print(f"  {program.name:<16} cannot: {result.failures[program.name]}")
            continue
        cells = []
        for of in ("wall", "settled", "cpu"):
            cells.append(f"{result.median(program, of):.2f} s")
            cells.append("" if program is row.programs[0] else f"{result.ratio(program, of, row.programs[0]):.2f} x")
        cells.append(f"{result.median(program, 'memory') / MB:.1f} MB")
        print(f"  {program.name:<16} " + " ".join(f"{cell:>{width}}" for cell, width in zip(cells, widths)))
    runs = result.figures.get(OURS.name, [])
    if runs:
        spent = (f"{phase} {statistics.median(run.phases.get(phase, 0) for run in runs):.2f} s" for phase in runs[0].phases)
        print("  steps of tvcmd create: " + ", ".join(spent), flush=True)


def run_startup(rounds: int, environment: dict) -> float:
    """Milliseconds that `tvcmd -?` takes beyond the 300 ms that it waits on purpose."""
    times = []
    for _ in range(rounds + 1):
        began = time.perf_counter()
        done = subprocess.run([f"{PROGRAMS}/tvcmd", "-?"], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, env=environment, check=True)
        times.append((time.perf_counter() - began) * 1000)
        expect(b"<Switches>" in done.stdout, "tvcmd -? did not print the switches")
    beyond = statistics.median(times[1:]) - 300
    print(f"\n{STARTUP}: tvcmd -?\n  {beyond:.0f} ms beyond the 300 ms that it waits")
    return beyond


@dataclass(frozen=True)
class DriveFigures:
    writing: float  # wall of writing a simulated disc against cp of a cached file of that size
    reading: float  # the same of reading it
    own: float  # microseconds that a command takes beyond moving its 64 KiB


def run_drive(folder: str, scale: float, rounds: int) -> DriveFigures:
    megabytes = max(16, min(4096, round(1024 * scale)))
    state = os.statvfs(folder)
    expect(state.f_bavail * state.f_frsize > 3.5 * megabytes * MB, f"needs {3.5 * megabytes / 1000:.1f} GB in {folder}")
    place, source, copy = f"{folder}/drive", f"{folder}/drive-source", f"{folder}/drive-copy"
    figures = []
    try:
        with open(source, "wb") as file:
            for _ in range(megabytes):
                file.write(b"\xa5" * MB)
        for number in range(rounds + 1):
            remove(place)
            os.makedirs(place)
            os.sync()
            done = subprocess.run([f"{PROGRAMS}/drive_bench", place, str(megabytes)], stdout=subprocess.PIPE, check=True)
            remove(copy)
            os.sync()
            began = time.perf_counter()
            subprocess.run(["cp", "--reflink=never", source, copy], check=True)
            copying = time.perf_counter() - began
            writing, reading, own = (float(word) for word in done.stdout.split())
            if number > 0:
                figures.append((writing / copying, reading / copying, own))
    finally:
        for path in (place, source, copy):
            remove(path)
    result = DriveFigures(*(statistics.median(column) for column in zip(*figures)))
    print(f"\n{DRIVE}: {megabytes} MB in commands of 64 KiB to a simulated DVD+R, against cp of a cached file\n"
          f"  WRITE(10) {result.writing:.2f} x, READ(10) {result.reading:.2f} x, {result.own:.2f} microseconds of its own a command")
    return result


@dataclass(frozen=True)
class BurnFigures:
    burning: float  # wall of burn-image on a simulated DVD+R against cp of the image
    verified: float  # the same with -verify


def run_burn(work: str, scale: float, rounds: int, environment: dict) -> BurnFigures:
    megabytes = max(16, min(4400, round(4100 * scale)))
    state = os.statvfs(work)
    expect(state.f_bavail * state.f_frsize > 2.5 * megabytes * MB, f"needs {2.5 * megabytes / 1000:.1f} GB in {work}")
    image, disc, copy = f"{work}/burn-image", f"{work}/burn.tvdisc", f"{work}/burn-copy"

    def call(*words: str) -> float:
        began = time.perf_counter()
        subprocess.run(words, env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, check=True)
        return time.perf_counter() - began

    def burn(*switches: str) -> float:
        remove(disc)
        call(f"{PROGRAMS}/tvdrive", "new", disc, "--media", "DVD+R")
        call(f"{PROGRAMS}/tvdrive", "insert", "F:", disc)
        os.sync()
        taken = call(f"{PROGRAMS}/tvcmd", "burn-image", image, "F:", *switches)
        call(f"{PROGRAMS}/tvdrive", "eject", "F:")
        remove(disc)
        return taken

    def copying() -> float:
        os.sync()
        taken = call("cp", "--reflink=never", image, copy)
        remove(copy)
        return taken

    figures = []
    try:
        with open(image, "wb") as file:
            for _ in range(megabytes):
                file.write(os.urandom(MB))
        call(f"{PROGRAMS}/tvdrive", "add", "F:")
        for number in range(rounds + 1):
            runs = (copying, burn, lambda: burn("-verify"))
            taken = {}
            for turn in range(3):  # the order rotates: whoever comes first pays for memory that has to be found
                place = (number + turn) % 3
                taken[place] = runs[place]()
            if number > 0:
                figures.append((taken[1] / taken[0], taken[2] / taken[0]))
        call(f"{PROGRAMS}/tvdrive", "remove", "F:")
    finally:
        for path in (image, disc, copy):
            remove(path)
    result = BurnFigures(*(statistics.median(column) for column in zip(*figures)))
    print(f"\n{BURN}: an image of {megabytes} MB burned on a simulated DVD+R in fast mode, against cp --reflink=never of it\n"
          f"  burn-image {result.burning:.2f} x, with -verify {result.verified:.2f} x")
    return result


def machine(folder: str) -> str:
    with open("/proc/cpuinfo", encoding="utf-8") as lines:
        model = next((line.split(":", 1)[1].strip() for line in lines if line.startswith("model name")), "unknown processor")
    kind = subprocess.run(["df", "--output=fstype", folder], capture_output=True, text=True, check=False).stdout.split()[-1]
    system = os.uname()
    return f"{os.cpu_count()} x {model}, {os.sysconf('SC_PAGE_SIZE') * os.sysconf('SC_PHYS_PAGES') / 2**30:.0f} GB, " \
           f"{system.sysname} {system.release}, {kind}; load {os.getloadavg()[0]:.1f} at the start"


def print_goals(results: dict, scale: float) -> None:
    lines = []
    for goal in GOALS:
        try:
            value = goal.value(results)
        except KeyError:
            continue
        verdict = "not measured" if math.isnan(value) else "met" if value <= goal.limit else "MISSED"
        lines.append(f"  {goal.row + ': ' + goal.what:<41} {value:8.2f}   at most {goal.limit:8.2f}   {verdict}")
    if lines:
        print("\nGoals" + ("" if scale == 1 else f" (meant for scale 1, this is {scale:g})"), *lines, sep="\n")


def read_words() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    names = [*ROWS, STARTUP, DRIVE, BURN]
    parser.add_argument("--scale", type=float, default=1, help="shrinks every tree (default 1)")
    parser.add_argument("--rounds", type=int, default=5, help="measured runs of each program (default 5)")
    parser.add_argument("--folder", default=os.environ.get("TMPDIR") or f"{ROOT}/build/bench", help="where trees and outputs are made")
    parser.add_argument("rows", nargs="*", metavar="ROW", help=f"one or more of: {' '.join(names)} (default all)")
    words = parser.parse_args()
    for name in words.rows:
        if name not in names:
            parser.error(f"no row '{name}' (there are: {' '.join(names)})")
    if not 0 < words.scale <= 100 or words.rounds < 1:
        parser.error("the scale is above 0 and at most 100, there is at least one round")
    words.rows = words.rows or names
    return words


def main() -> int:
    words = read_words()
    os.makedirs(words.folder, exist_ok=True)
    work = tempfile.mkdtemp(prefix="tovlark-bench-", dir=words.folder)
    # Nobody's settings: those of a fresh user, and no locale.
    environment = {**os.environ, "XDG_CONFIG_HOME": f"{work}/settings", "LC_ALL": "C.UTF-8"}
    subprocess.run([f"{PROGRAMS}/tvset", "set", "ImplantChecksum", "1"], env={**environment, "XDG_CONFIG_HOME": f"{work}/implanting"},
                   stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, check=True)
    print(machine(words.folder))
    print("wall: until the program ends; on disk: until its output is, too; CPU: user and system, of all processes;\n"
          f"peak: memory of the largest process; ours: what the first line's program takes of it. Medians of {words.rounds}.")
    results, status = {}, 0
    try:
        for name in (name for name in ROWS if name in words.rows):
            try:
                results[name] = run_row(ROWS[name], work, words.scale, words.rounds, environment)
            except (Wrong, subprocess.CalledProcessError) as reason:
                print(f"\n{name}: {reason}")
                status = 1
                continue
            print_row(name, results[name])
            if ROWS[name].programs[0].name in results[name].failures:
                status = 1
        if STARTUP in words.rows:
            results[STARTUP] = run_startup(words.rounds, environment)
        if DRIVE in words.rows:
            results[DRIVE] = run_drive(work, words.scale, words.rounds)
        if BURN in words.rows:
            results[BURN] = run_burn(work, words.scale, words.rounds, environment)
    finally:
        shutil.rmtree(work, ignore_errors=True)
    print_goals(results, words.scale)
    print("\nMade by: " + shlex.join(["bench/run.py", *sys.argv[1:]]))
    return status


if __name__ == "__main__":
    try:
        sys.exit(main())
    except KeyboardInterrupt:
        sys.exit("interrupted")
