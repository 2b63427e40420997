#!/usr/bin/env python3
"""Makes the trees that the benchmarks work on. Names, sizes and contents are the same on every machine.

    bench/trees.py                       lists the shapes
    bench/trees.py SHAPE FOLDER [SCALE]  makes one; SCALE (default 1) multiplies the number of small files, or the size of large ones
"""

import itertools
import os
import random
import sys
from dataclasses import dataclass
from typing import Callable, Iterator, NamedTuple

PIECE = 4 << 20
MB = 1 << 20


class File(NamedTuple):
    path: str
    size: int
    content: int  # equal numbers and sizes: equal bytes


@dataclass(frozen=True)
class Shape:
    words: str
    files: Callable[[float], Iterator[File]]


@dataclass
class Made:
    files: int = 0
    folders: int = 1
    bytes: int = 0
    distinct_bytes: int = 0  # what a program must store that stores equal files once


# Weights of the sizes 2^n .. 2^(n+1) in a tree of sources, settings and notes. The mean is 13.8 KB, the median 2.5 KB.
SMALL_SIZES = {8: 10, 9: 10, 10: 14, 11: 16, 12: 16, 13: 14, 14: 10, 15: 6, 16: 3, 17: 1}


def small_sizes(source: random.Random) -> Iterator[int]:
    while True:
        for power in source.choices(list(SMALL_SIZES), list(SMALL_SIZES.values()), k=1000):
            yield source.randrange(1 << power, 2 << power)


def at_least(minimum: int, count: float) -> int:
    return max(minimum, round(count))


def small(scale: float) -> Iterator[File]:
    sizes = small_sizes(random.Random(1))
    for number in range(at_least(100, 66_000 * scale)):
        folder = f"project {number // 1000:02}/part {number // 100 % 10}"
        yield File(f"{folder}/file {number:06} of some kind.dat", next(sizes), number)


def million(scale: float) -> Iterator[File]:
    for number in range(at_least(1000, 1_000_000 * scale)):
        yield File(f"{number // 100_000:02}/{number // 1000 % 100:02}/entry{number:07}.txt", 1024, number)


def home(scale: float) -> Iterator[File]:
    source = random.Random(2)
    sizes = small_sizes(source)
    numbers = itertools.count()

    def some(count: float, path: Callable[[int], str], size: Callable[[], int]) -> Iterator[File]:
        for number in range(at_least(1, count * scale)):
            yield File(path(number), size(), next(numbers))

    yield from some(9000, lambda n: f".cache/things/{n % 256:02x}/{n:08x}", lambda: next(sizes) // 4)
    yield from some(6000, lambda n: f"src/project{n // 500}/module{n // 25 % 20}/unit{n:05}.cpp", lambda: next(sizes))
    yield from some(200, lambda n: f".config/program {n}/settings.ini", lambda: source.randrange(100, 5000))
    yield from some(2000, lambda n: f"Documents/{2010 + n % 14}/Rechnung {n:04} – März.pdf",
                    lambda: source.randrange(20_000, 400_000))
    photos = list(some(300, lambda n: f"Pictures/{2015 + n % 9}-07 Überfahrt/IMG_{n:04}.JPG",
                       lambda: source.randrange(MB, 4 * MB)))
    yield from photos
    for photo in photos[::3]:
        yield photo._replace(path="Backup of the phone/" + photo.path.split("/", 1)[1])
    yield from some(6, lambda n: f"Videos/日本の夏 {n}.mp4", lambda: source.randrange(20 * MB, 60 * MB))


def deep(scale: float) -> Iterator[File]:
    numbers = itertools.count()
    for chain in range(at_least(1, 100 * scale)):
        folder = f"chain {chain:03}"
        for level in range(40):
            folder += f"/level {level:02}"
            for _ in range(4):
                number = next(numbers)
                yield File(f"{folder}/file {number:06}.dat", 5000, number)


def duplicates(scale: float) -> Iterator[File]:
    source = random.Random(3)
    sizes = list(itertools.islice(small_sizes(source), at_least(10, 2000 * scale)))
    for number in range(10 * len(sizes)):
        content = source.randrange(len(sizes))
        yield File(f"copy {number // 500:02}/file {number:05}.dat", sizes[content], content)


def clashing(scale: float) -> Iterator[File]:
    long = "The same beginning, longer than any limit on the names of a disc, "
    for number in range(at_least(100, 20_000 * scale)):
        folder = f"folder {number // 400:03}"
        name = f"{long}{number}.txt" if number % 2 else f"{'rR'[number // 2 % 2]}eadme.part.{number // 4}.txt"
        yield File(f"{folder}/{name}", 1000, number)


def large(scale: float) -> Iterator[File]:
    for number in range(8):
        yield File(f"film {number}.mkv", at_least(MB, (1 << 30) * scale), number)


def copies(scale: float) -> Iterator[File]:
    # ISO 9660 holds a little less than 4 GB in a file; 2 GB is far enough from it.
    for name in "abc":
        yield File(f"{name}.bin", at_least(MB, (2 << 30) * scale), 0)


SHAPES = {
    "small": Shape("many small files, as in a tree of sources", small),
    "home": Shape("mixed as a home folder is", home),
    "deep": Shape("40 folders deep", deep),
    "duplicates": Shape("every file about ten times", duplicates),
    "clashing": Shape("names that clash when shortened or without regard to case", clashing),
    "large": Shape("8 large files", large),
    "copies": Shape("a large file three times", copies),
    "million": Shape("a million files of 1 KB", million),
}


class Contents:
    """Bytes that no file shares with one of another number: every piece begins with number and position."""

    def __init__(self) -> None:
        self.pool = memoryview(random.Random(0).randbytes(PIECE + 4096))

    def pieces(self, file: File) -> Iterator[list]:
        for offset in range(0, file.size, PIECE):
            length = min(PIECE, file.size - offset)
            head = file.content.to_bytes(8, "big") + offset.to_bytes(8, "big")
            start = file.content * 61 % 4096
            yield [head[:length], self.pool[start:start + max(0, length - len(head))]]


def make(shape: str, folder: str, scale: float = 1) -> Made:
    """Fills a folder, which is made; it must not exist."""
    contents, made, seen, folders = Contents(), Made(), set(), {""}
    os.mkdir(folder)
    for file in SHAPES[shape].files(scale):
        parent = file.path.rpartition("/")[0]
        if parent not in folders:
            os.makedirs(f"{folder}/{parent}", exist_ok=True)
            while parent not in folders:
                folders.add(parent)
                parent = parent.rpartition("/")[0]
        descriptor = os.open(f"{folder}/{file.path}", os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o644)
        try:
            for piece in contents.pieces(file):
                if os.writev(descriptor, piece) != sum(map(len, piece)):
                    raise OSError(f"{file.path}: not written whole")
        finally:
            os.close(descriptor)
        made.files += 1
        made.bytes += file.size
        if (file.content, file.size) not in seen:
            seen.add((file.content, file.size))
            made.distinct_bytes += file.size
    made.folders = len(folders)
    return made


def planned(shape: str, scale: float) -> tuple[int, int]:
    """Files, and bytes on the disk in blocks of 4 KB."""
    count = size = 0
    for file in SHAPES[shape].files(scale):
        count += 1
        size += -(-file.size // 4096) * 4096
    return count, size


def main() -> None:
    if len(sys.argv) not in (3, 4) or sys.argv[1] not in SHAPES:
        print(__doc__)
        for name, shape in SHAPES.items():
            print(f"  {name:<11} {shape.words}")
        sys.exit(0 if len(sys.argv) == 1 else 2)
    made = make(sys.argv[1], sys.argv[2], float(sys.argv[3]) if len(sys.argv) == 4 else 1)
    print(f"{made.files:,} files in {made.folders:,} folders, {made.bytes / 1e9:.3f} GB "
          f"({made.distinct_bytes / 1e9:.3f} GB without what is there twice)")


if __name__ == "__main__":
    main()
