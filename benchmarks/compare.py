#!/usr/bin/env python3
"""Runs whole processes side by side and says how they compare.

    compare.py --build build/bench [--sizes 1000,10000,100000] [--json FILE] [--docs docs]

Programs take turns, so that what else the machine does meets all of them; figures are medians, and
a ratio is the median of the ratios of single rounds. With --docs the plots are written to
docs/performance/ and the tables are printed as Markdown.
"""

import argparse
import json
import math
import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
BASE = "pugixml, document only"
OURS = "svcheck query"
IN_HALVES = "svcheck query, two threads"
LOAD = "our load alone"
STORE = "xb-tool compile and query"
# The drivers among the elements. A machine type cannot be asked for: its brackets end the query.
STORE_QUERY = ("CIM/DECLARATION/DECLGROUP/VALUE.OBJECT/INSTANCE/PROPERTY[@NAME='category']/"
               "VALUE[text()='Device driver']")
MIB = 1 << 20


class Bench:
    """The programs to measure, and the folders that they work in."""

    def __init__(self, build, work):
        self.bin = build / "bin"
        self.work = work
        self.data = HERE.parent / "data"

    def catalogue(self, name, *arguments):
        folder = self.work / name
        if not (folder / "inventory.xml").exists():
            subprocess.run([sys.executable, HERE / "make_catalogue.py", folder, *arguments],
                           check=True)
        return folder

    def query(self, folder, *more, threads=1):
        return [self.bin / "svcheck", "query", "--inventory", folder / "inventory.xml",
                "--data-dir", self.data, "--context", f"svPath={folder}",
                "--records", os.devnull, "--threads", str(threads), *more]

    def load(self, folder):
        return [self.bin / "load_catalogue", self.data / "sv" / "sv.definitions.xml",
                folder / "index.xml"]

    def programs(self, folder):
        file = folder / "index.xml"
        found = {
            BASE: [self.bin / "rival_pugixml_dom", file],
            OURS: self.query(folder),
            IN_HALVES: self.query(folder, threads=2),
            LOAD: self.load(folder),
            "read alone": [self.bin / "rival_read_only", file],
            "libxml2, events": [self.bin / "rival_libxml2_events", file],
            "libxml2, document": [self.bin / "rival_libxml2_dom", file],
            "expat, events": [self.bin / "rival_expat_events", file],
            "Python etree": [sys.executable, HERE / "rivals" / "etree.py", file],
        }
        if shutil.which("xb-tool"):
            # It leaves a store that is newer than its source as it is.
            store = self.work / "out.xmlb"
            compiles = 'rm -f "$1" && xb-tool compile "$1" "$2"'
            found["xb-tool compile"] = ["sh", "-c", compiles, "sh", store, file]
            found[STORE] = ["sh", "-c", compiles + ' && exec xb-tool query "$1" "$3"', "sh", store,
                            file, STORE_QUERY]
        return {name: command for name, command in found.items()
                if shutil.which(str(command[0]))}

    def drivers(self):
        """Milliseconds of 100,000 offered and 300 installed drivers, and of a hash join of them."""
        done = subprocess.run([self.bin / "drivers_benchmark", "--benchmark_format=json"],
                              check=True, capture_output=True, text=True)
        return {b["name"]: b["real_time"] for b in json.loads(done.stdout)["benchmarks"]}

    def measure(self, command):
        done = subprocess.run([self.bin / "measure", *map(str, command)], check=True,
                              capture_output=True, text=True)
        result = json.loads(done.stdout)
        if result["exit"] != 0:
            raise SystemExit(f"{' '.join(map(str, command))}: exit status {result['exit']}\n"
                             f"{done.stderr}")
        return result

    def copying(self, file):
        """Nanoseconds that memcpy takes for each byte of a file."""
        done = subprocess.run([self.bin / "rival_copy_bytes", file], check=True,
                              capture_output=True, text=True)
        return float(done.stdout)

    def side_by_side(self, commands, rounds, log=None, cold=None):
        """Samples of each command. A log that they write is a new file each time; the file `cold`
        is out of the system's cache when they begin."""
        samples = {name: [] for name in commands}
        for round_number in range(rounds + 1):
            for name, command in commands.items():
                if log:
                    log.unlink(missing_ok=True)
                if cold:
                    forget(cold)
                sample = self.measure(command)
                if round_number:  # The first one warms up.
                    samples[name].append(sample)
        return samples


def forget(file):
    """Takes a file out of the system's cache, once its bytes are on the disk."""
    with open(file, "rb") as opened:
        os.fsync(opened.fileno())
        os.posix_fadvise(opened.fileno(), 0, 0, os.POSIX_FADV_DONTNEED)


def median(samples, key):
    return statistics.median(sample[key] for sample in samples)


def ratio(samples, base):
    return statistics.median(a["seconds"] / b["seconds"] for a, b in zip(samples, base))


def compare_sizes(bench, sizes, rivals_up_to):
    results = []
    for size in sizes:
        folder = bench.catalogue(f"catalogue-{size}", "--elements", str(size))
        file_size = (folder / "index.xml").stat().st_size
        programs = bench.programs(folder)
        quick = {name: programs[name] for name in (BASE, OURS, IN_HALVES, LOAD, "read alone")
                 if name in programs}
        rest = {name: command for name, command in programs.items() if name not in quick or
                name == BASE}
        samples = bench.side_by_side(quick, 15 if size < 100_000 else 5)
        rows = [row(name, samples[name], samples[BASE], file_size) for name in quick]
        rest_of_query = after_loading(samples)
        if size <= rivals_up_to:
            samples = bench.side_by_side(rest, 5)
            rows += [row(name, samples[name], samples[BASE], file_size)
                     for name in rest if name != BASE]
        results.append({"elements": size, "bytes": file_size, "programs": rows,
                        "afterLoading": rest_of_query})
    return results


def compare_kinds(bench):
    """Whole queries of other catalogues than the usual ones against pugixml: of small elements, of
    texts that repeat, and of the usual ones from the disk instead of the system's cache."""
    rows = []
    for title, kind, elements, is_cold in (("600 bytes an element", "small", 100_000, False),
                                           ("texts that repeat", "shared", 10_000, False),
                                           ("the usual ones", "usual", 10_000, False),
                                           ("not in the cache", "usual", 10_000, True)):
        folder = bench.catalogue(f"{kind}-{elements}", "--elements", str(elements), "--kind", kind)
        file = folder / "index.xml"
        programs = {name: command for name, command in bench.programs(folder).items()
                    if name in (BASE, OURS, IN_HALVES)}
        samples = bench.side_by_side(programs, 5, cold=file if is_cold else None)
        size = file.stat().st_size
        copying = bench.copying(file)
        rows += [row(name, samples[name], samples[BASE], size) |
                 {"kind": title, "elements": elements, "copying": copying,
                  "nanoseconds": median(samples[name], "seconds") * 1e9 / size}
                 for name in programs]
    return rows


def after_loading(samples):
    """What a query takes beyond the loading, against the base: the median of the rounds."""
    if not {OURS, LOAD} <= samples.keys():
        return None
    return statistics.median((query["seconds"] - load["seconds"]) / base["seconds"] for
                             query, load, base in zip(samples[OURS], samples[LOAD], samples[BASE]))


def row(name, samples, base, file_size):
    return {"name": name, "seconds": median(samples, "seconds"), "user": median(samples, "user"),
            "system": median(samples, "system"), "ratio": ratio(samples, base),
            "peak": median(samples, "peak"), "peakPerByte": median(samples, "peak") / file_size}


def growth(results):
    """Exponents of time and memory of our query from each size to the next."""
    steps = []
    for small, large in zip(results, results[1:]):
        scale = math.log(large["bytes"] / small["bytes"])
        rows = [{r["name"]: r for r in result["programs"]} for result in (small, large)]
        for name in (OURS, IN_HALVES):
            if name not in rows[0] or name not in rows[1]:
                continue
            steps.append({"name": name, "from": small["elements"], "to": large["elements"]} |
                         {key: math.log(rows[1][name][key] / rows[0][name][key]) / scale
                          for key in ("seconds", "peak")})
    return steps


def compare_families(bench):
    sys.path.insert(0, str(HERE))
    import make_catalogue  # pylint: disable=import-outside-toplevel
    rows = []
    for family in sorted(make_catalogue.FAMILIES):
        folders = [bench.catalogue(f"{family}-{scale}", "--family", family, "--scale", str(scale))
                   for scale in (1, 16)]
        samples = bench.side_by_side({i: bench.load(f) for i, f in enumerate(folders)}, 5)
        sizes = [(f / "index.xml").stat().st_size for f in folders]
        rows.append({"family": family, "bytes": sizes[1], "input": sizes[1] / sizes[0],
                     "time": median(samples[1], "seconds") / median(samples[0], "seconds"),
                     "peak": median(samples[1], "peak"),
                     "allowed": 10 * sizes[1] + 8 * MIB})
    return rows


def compare_rest(bench):
    """The full trace against none, drivers against a hash join, and an empty catalogue against
    /bin/true."""
    if not (bench.bin / "svcheck").exists():
        return {}
    folder = bench.catalogue("catalogue-10000", "--elements", "10000")
    empty = bench.catalogue("catalogue-0", "--elements", "0")
    log = bench.work / "trace.jsonl"
    # Into a file that is new: emptying a large one makes some file systems write it out at once, and
    # removing it, which takes half as long as writing it, is no part of the query.
    samples = bench.side_by_side(
        {"plain": bench.query(folder), "formatted": bench.query(folder, "--log", os.devnull),
         "trace": bench.query(folder, "--log", log)}, 7, log)
    start = bench.side_by_side({"true": ["/bin/true"], "empty": bench.query(empty)}, 15)
    drivers = bench.drivers()
    return {"traceRatio": ratio(samples["trace"], samples["plain"]),
            "traceToNowhereRatio": ratio(samples["formatted"], samples["plain"]),
            "traceBytes": log.stat().st_size,
            "driversRatio": drivers["BM_CompareDrivers"] / drivers["BM_HashJoin"],
            "driversSeconds": drivers["BM_CompareDrivers"] / 1e3,
            "startRatio": ratio(start["empty"], start["true"]),
            "startSeconds": median(start["empty"], "seconds")}


def print_tables(report):
    for result in report["sizes"]:
        print(f"\n### {result['elements']:,} elements, {result['bytes'] / 1e6:.1f} MB\n")
        print("| program | seconds | against pugixml | peak memory | peak / file |")
        print("|---|---|---|---|---|")
        for r in result["programs"]:
            print(f"| {r['name']} | {r['seconds']:.3f} | {r['ratio']:.2f} | "
                  f"{r['peak'] / MIB:.1f} MiB | {r['peakPerByte']:.2f} |")
        if result["afterLoading"] is not None:
            print(f"\nEverything after loading, against pugixml: {result['afterLoading']:.2f}")
    if report["growth"]:
        print("\n| program | from | to | exponent of time | of memory |\n|---|---|---|---|---|")
        for step in report["growth"]:
            print(f"| {step['name']} | {step['from']:,} | {step['to']:,} | "
                  f"{step['seconds']:.2f} | {step['peak']:.2f} |")
    if report["families"]:
        print("\n| family | file | input × | time × | peak memory | allowed |")
        print("|---|---|---|---|---|---|")
        for r in report["families"]:
            print(f"| {r['family']} | {r['bytes'] / MIB:.1f} MiB | {r['input']:.1f} | "
                  f"{r['time']:.1f} | {r['peak'] / MIB:.1f} MiB | {r['allowed'] / MIB:.0f} MiB |")
    print("\n| catalogue | program | seconds | against pugixml | ns a byte | memcpy's |")
    print("|---|---|---|---|---|---|")
    for r in report["kinds"]:
        print(f"| {r['elements']:,}, {r['kind']} | {r['name']} | {r['seconds']:.3f} | "
              f"{r['ratio']:.2f} | {r['nanoseconds']:.2f} | {r['copying']:.2f} |")
    for key, value in report["rest"].items():
        print(f"\n{key}: {value:.3f}")


def bars(title, rows, unit):
    """An SVG with one bar a row: (label, value)."""
    width, left, height = 760, 190, 26
    most = max(value for _, value in rows)
    lines = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" '
             f'height="{50 + height * len(rows)}" font-family="sans-serif" font-size="13">',
             f'<rect width="100%" height="100%" fill="white"/>'
             f'<text x="10" y="24" font-size="15">{title}</text>']
    for number, (label, value) in enumerate(rows):
        y = 40 + number * height
        length = max(1, (width - left - 90) * value / most)
        colour = "#2a6fb0" if label in (OURS, LOAD) else "#b8b8b8"
        lines.append(f'<text x="{left - 8}" y="{y + 15}" text-anchor="end">{label}</text>'
                     f'<rect x="{left}" y="{y}" width="{length:.0f}" height="{height - 6}" '
                     f'fill="{colour}"/>'
                     f'<text x="{left + length + 6:.0f}" y="{y + 15}">{value:.2f}{unit}</text>')
    return "\n".join(lines + ["</svg>", ""])


def write_plots(report, folder):
    folder.mkdir(parents=True, exist_ok=True)
    # The largest catalogue that the most programs were measured with.
    largest = max(report["sizes"], key=lambda size: (len(size["programs"]), size["elements"]))
    told = f"{largest['elements']:,} elements, {largest['bytes'] / 1e6:.0f} MB"
    for key, title, unit in (("ratio", "Time against pugixml", " ×"),
                             ("peakPerByte", "Peak memory against the file", " ×")):
        rows = sorted(((r["name"], r[key]) for r in largest["programs"]), key=lambda r: r[1])
        (folder / f"{key}.svg").write_text(bars(f"{title} ({told})", rows, unit), encoding="utf-8")
    grown = [(f"{r['elements']:,} elements", p["seconds"] * 1e9 / r["bytes"])
             for r in report["sizes"] for p in r["programs"] if p["name"] == OURS]
    if grown:
        (folder / "growth.svg").write_text(
            bars("Time of a whole query per byte of the catalogue", grown, " ns"),
            encoding="utf-8")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", type=pathlib.Path, default=HERE.parent / "build" / "bench")
    parser.add_argument("--sizes", default="1000,10000,100000")
    parser.add_argument("--work", type=pathlib.Path, help="keep what is made here")
    parser.add_argument("--rivals-up-to", type=int, default=100_000, metavar="ELEMENTS",
                        help="leave the slow rivals out for larger catalogues")
    parser.add_argument("--json", type=pathlib.Path)
    parser.add_argument("--docs", type=pathlib.Path)
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory() as temporary:
        bench = Bench(arguments.build.resolve(), arguments.work or pathlib.Path(temporary))
        bench.work.mkdir(parents=True, exist_ok=True)
        sizes = compare_sizes(bench, [int(s) for s in arguments.sizes.split(",")],
                              arguments.rivals_up_to)
        report = {"sizes": sizes, "growth": growth(sizes), "families": compare_families(bench),
                  "kinds": compare_kinds(bench), "rest": compare_rest(bench)}
    print_tables(report)
    if arguments.json:
        arguments.json.write_text(json.dumps(report, indent=1) + "\n", encoding="utf-8")
    if arguments.docs:
        write_plots(report, arguments.docs / "performance")
    return 0


if __name__ == "__main__":
    sys.exit(main())
