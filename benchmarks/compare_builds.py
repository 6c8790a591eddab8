#!/usr/bin/env python3
"""Says how two builds compare on the adversarial families: whether what hurts a reader hurts the new
one more than the old, and whether it still takes time in proportion to the input.

    compare_builds.py OLD NEW [--rounds 9] [--families huge-value,many-names] [--work FOLDER]

OLD and NEW are build folders of `cmake --preset bench`, each of its own commit. A load is counted in
instructions (callgrind), which no other job disturbs, and timed in turns with that of the other
build; a ratio of times is the median of the ratios of single rounds. Growth is what a further byte
takes, in instructions, against a byte of a small document. The exit status is 1 where a family takes
the new build over a tenth longer in both, or grows over a tenth faster than its input.
"""

import argparse
import pathlib
import re
import statistics
import subprocess
import sys
import tempfile

import compare
import make_catalogue

SCALES = (1, 16)
MOST = 1.10  # What another load may take, as a part of the old one.


def instructions(command):
    """Those of one run."""
    done = subprocess.run(["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null",
                           *map(str, command)], check=True, capture_output=True, text=True)
    return int(re.search(r"Collected : (\d+)", done.stderr).group(1))


def compare_family(builds, folders, rounds):
    """One row: what the family takes the two builds."""
    sizes = [(folder / "index.xml").stat().st_size for folder in folders]
    counts = [[instructions(build.load(folder)) for folder in folders] for build in builds]
    samples = builds[0].side_by_side({number: build.load(folders[-1])
                                      for number, build in enumerate(builds)}, rounds)
    old, new = counts
    return {"bytes": sizes[1], "old": old[1], "new": new[1], "counted": new[1] / old[1],
            "timed": compare.ratio(samples[1], samples[0]),
            "seconds": [compare.median(samples[number], "seconds") for number in (0, 1)],
            "growth": (new[1] / new[0] - 1) / (sizes[1] / sizes[0] - 1)}


def is_worse(row):
    return min(row["counted"], row["timed"]) > MOST or row["growth"] > MOST


def print_rows(rows):
    print("| family | file | instructions, old and new | new / old | time, old and new | new / old |"
          " growth |")
    print("|---|---|---|---|---|---|---|")
    for family, row in rows.items():
        old, new = row["seconds"]
        print(f"| {family} | {row['bytes'] / compare.MIB:.1f} MiB | {row['old'] / 1e6:.1f}, "
              f"{row['new'] / 1e6:.1f} million | {row['counted']:.2f} | {old * 1e3:.1f}, "
              f"{new * 1e3:.1f} ms | {row['timed']:.2f} | {row['growth']:.2f} |")
    over = [family for family, row in rows.items() if is_worse(row)]
    print(f"\nworse: {', '.join(over) or 'none'}; median of new / old: "
          f"{statistics.median(row['counted'] for row in rows.values()):.2f}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("old", type=pathlib.Path)
    parser.add_argument("new", type=pathlib.Path)
    parser.add_argument("--rounds", type=int, default=9)
    parser.add_argument("--families", default=",".join(sorted(make_catalogue.FAMILIES)))
    parser.add_argument("--work", type=pathlib.Path, help="keep what is made here")
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory() as temporary:
        work = arguments.work or pathlib.Path(temporary)
        work.mkdir(parents=True, exist_ok=True)
        builds = [compare.Bench(build.resolve(), work) for build in (arguments.old, arguments.new)]
        rows = {}
        for family in arguments.families.split(","):
            folders = [builds[0].catalogue(f"{family}-{scale}", "--family", family, "--scale",
                                           str(scale)) for scale in SCALES]
            rows[family] = compare_family(builds, folders, arguments.rounds)
    print_rows(rows)
    return int(any(is_worse(row) for row in rows.values()))


if __name__ == "__main__":
    sys.exit(main())
