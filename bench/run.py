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


OURS = Program("tvcmd create", lambda tree, out: [f"{PROGRAMS}/tvcmd", "create", "-y", "-o", out, "-add", f"{tree}/.", "/"],
               check_own_image)
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

    def ratio(self, peer: Program, of: str) -> float:
        """The median over the rounds of ours against a peer; nan when one of them failed."""
        if OURS.name in self.failures or peer.name in self.failures:
            return float("nan")
        pairs = zip(self.figures[OURS.name], self.figures[peer.name])
        return statistics.median(getattr(ours, of) / getattr(other, of) for ours, other in pairs)


ALL = (OURS, TAR, XORRISO, GENISOIMAGE, CP)
ROWS = {
    "small": ALL,
    "home": ALL,
    "deep": ALL,
    "duplicates": ALL,
    "clashing": ALL,
    "large": ALL,
    "copies": (OURS, COMPARE),
    "million": (OURS, TAR),
}
STARTUP = "startup"


@dataclass(frozen=True)
class Goal:
    row: str
    what: str
    limit: float
    value: Callable[[dict], float]  # of all results; one that it needs may be missing


def seconds_a_file(result: Result) -> float:
    return result.median(OURS, "wall") / result.made.files


GOALS = (
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


def need_space(shape: str, folder: str, scale: float) -> None:
    files, size = trees.planned(shape, scale)
    state = os.statvfs(folder)
    # The tree and one output, cp's being as large, folders and some room to work.
    wanted = 2.1 * size + 1024 * files + 64 * MB
    free = state.f_bavail * state.f_frsize
    expect(free >= wanted, f"needs {wanted / 1e9:.1f} GB in {folder}, {free / 1e9:.1f} GB are free")
    expect(state.f_files == 0 or state.f_favail > 2.2 * files, f"needs room for {2.2 * files:.0f} files in {folder}")


def run_row(shape: str, folder: str, scale: float, rounds: int, environment: dict) -> Result:
    need_space(shape, folder, scale)
    tree, out = f"{folder}/tree", f"{folder}/out"
    programs = ROWS[shape]
    try:
        result = Result(trees.make(shape, tree, scale))
        os.sync()
        for program in programs:
            try:
                measure(program, tree, out, environment)
                program.check(out, result.made)
                result.figures[program.name] = []
            except Wrong as reason:
                result.failures[program.name] = str(reason)
            remove(out)
        turn = [program for program in programs if program.name in result.figures]
        for number in range(rounds if turn else 0):
            for program in turn[number % len(turn):] + turn[:number % len(turn)]:
                os.sync()
                result.figures[program.name].append(measure(program, tree, out, environment))
                remove(out)
    finally:
        remove(out)
        remove(tree)
    return result


def print_row(shape: str, result: Result) -> None:
    made = result.made
    print(f"\n{shape}: {trees.SHAPES[shape].words}\n  {made.files:,} files, {made.folders:,} folders, {made.bytes / 1e9:.3f} GB, "
          f"{made.distinct_bytes / 1e9:.3f} GB without repetitions")
    widths = (8, 8, 8, 8, 8, 8, 10)
    print(f"  {'':<13} " + " ".join(f"{head:>{width}}" for head, width in zip(("wall", "ours", "on disk", "ours", "CPU", "ours", "peak"), widths)))
    for program in ROWS[shape]:
        if program.name in result.failures:
            print(f"  {program.name:<13} cannot: {result.failures[program.name]}")
            continue
        cells = []
        for of in ("wall", "settled", "cpu"):
            cells.append(f"{result.median(program, of):.2f} s")
            cells.append("" if program is OURS else f"{result.ratio(program, of):.2f} x")
        cells.append(f"{result.median(program, 'memory') / MB:.1f} MB")
        print(f"  {program.name:<13} " + " ".join(f"{cell:>{width}}" for cell, width in zip(cells, widths)))
    if OURS.name in result.figures:
        runs = result.figures[OURS.name]
        spent = (f"{name.lower()} {statistics.median(run.phases.get(name, 0) for run in runs):.2f} s" for name in runs[0].phases)
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
        lines.append(f"  {goal.row + ': ' + goal.what:<36} {value:8.2f}   at most {goal.limit:8.2f}   {verdict}")
    if lines:
        print("\nGoals" + ("" if scale == 1 else f" (meant for scale 1, this is {scale:g})"), *lines, sep="\n")


def read_words() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    names = [*ROWS, STARTUP]
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
    print(machine(words.folder))
    print("wall: until the program ends; on disk: until its output is, too; CPU: user and system, of all processes;\n"
          f"peak: memory of the largest process; ours: what tvcmd takes of it. Medians of {words.rounds}.")
    results, status = {}, 0
    try:
        for shape in (shape for shape in ROWS if shape in words.rows):
            try:
                results[shape] = run_row(shape, work, words.scale, words.rounds, environment)
            except Wrong as reason:
                print(f"\n{shape}: {reason}")
                status = 1
                continue
            print_row(shape, results[shape])
            if OURS.name in results[shape].failures:
                status = 1
        if STARTUP in words.rows:
            results[STARTUP] = run_startup(words.rounds, environment)
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
