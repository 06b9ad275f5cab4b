#!/usr/bin/env python3
"""Prints one table of Google Benchmark's results. With --svg, draws a picture. With --document, also
writes what it prints between two marks of a document.

    bench/report.py [--svg FILE] [--document FILE] RESULTS.json ...

A counter NAME holds the seconds of one unit of work, NAME_ratio the plug-in's
time divided by it, NAME_target the ratio to reach.
"""
import argparse
import contextlib
import io
import json
import math
import pathlib
import re
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).parent


def read(files):
    """The benchmarks by name, in their order; medians where there are several."""
    rows = {}
    for file in files:
        for run in json.loads(pathlib.Path(file).read_text())["benchmarks"]:
            if run.get("error_occurred"):
                sys.exit(f"{run['name']}: {run['error_message']}")
            name = re.sub("/(manual_time|iterations:1|repeats:[0-9]+)", "", run["run_name"])
            if run["run_type"] == "iteration" or run["aggregate_name"] == "median":
                rows[name] = run
    return rows


def time(seconds):
    for unit, factor in (("ns", 1e9), ("µs", 1e6), ("ms", 1e3)):
        if seconds * factor < 1000:
            return f"{seconds * factor:.3g} {unit}"
    return f"{seconds:.3g} s"


def comparisons(rows):
    """(name, baseline, plug-in's time, baseline's time, ratio, target or None)"""
    for name, run in rows.items():
        for key in sorted(run, key=lambda key: (key != "floor_ratio", key)):
            if key.endswith("_ratio"):
                baseline = key[: -len("_ratio")]
                target = run.get(baseline + "_target") or None
                yield name, baseline, run["plugin"], run[baseline], run[key], target


def verdict(ratio, target):
    if target is None:
        return ""
    return "reached" if ratio <= target else "missed"


def print_table(rows):
    lines = [("", "plug-in", "beside", "takes", "ratio", "target", "")]
    previous = None
    for name, baseline, plugin, other, ratio, target in comparisons(rows):
        wanted = "" if target is None else f"≤ {target:.3g}"
        lines.append(("" if name == previous else name, time(plugin), baseline, time(other),
                      f"{ratio:.3f}", wanted, verdict(ratio, target)))
        previous = name
    print_columns(lines, left=(0, 2, 6))


def print_columns(lines, left):
    widths = [max(len(line[i]) for line in lines) for i in range(len(lines[0]))]
    for line in lines:
        cells = [cell.ljust(width) if i in left else cell.rjust(width)
                 for i, (cell, width) in enumerate(zip(line, widths))]
        print("  ".join(cells).rstrip())


def print_values_per_second(rows):
    parsers = {name: run for name, run in rows.items() if name.startswith("parser/")}
    if parsers:
        print("\nValues per second (plug-in)")
    for name, run in parsers.items():
        print(f"  {name}: {1 / run['plugin'] / 1e6:.1f} million")


def print_spread(rows):
    """How much the time per change differs between the sizes of an edit."""
    groups = {}
    for name, run in rows.items():
        if name.startswith("change/"):
            groups.setdefault(name.rsplit("/", 1)[0], []).append(run)
    if groups:
        print("\nTime per change, largest / smallest over the four sizes (target: ≤ 1.1)")
    for name, runs in groups.items():
        def spread(counter):
            times = [run[counter] for run in runs]
            return max(times) / min(times)
        print(f"  {name}: plug-in {spread('plugin'):.2f}, floor {spread('floor'):.2f}")


def fit(points):
    """a and b of t = a n + b n², by least squares of the relative error."""
    sums = [[0.0] * 3 for _ in range(2)]
    for n, t in points:
        row = (n / t, n * n / t)
        for i in range(2):
            sums[i][0] += row[i] * row[0]
            sums[i][1] += row[i] * row[1]
            sums[i][2] += row[i]
    (p, q, u), (_, s, v) = sums
    determinant = p * s - q * q
    return (u * s - v * q) / determinant, (p * v - q * u) / determinant


def entries_within(seconds, a, b):
    if b <= 0:
        return seconds / a
    return (math.sqrt(a * a + 4 * b * seconds) - a) / (2 * b)


def print_sizes(rows):
    """How large an answer fits a client's time limit."""
    groups = {}
    for name, run in rows.items():
        if "entries" in run:
            groups.setdefault(name.split("/")[1], []).append(run)
    if not groups:
        return
    print("\nEntries of an answer within a time limit, and the datastore's own share of the time")
    for name, runs in groups.items():
        points = [(run["entries"], run["plugin"]) for run in runs]
        share = sum(run["sysrepo"] for run in runs) / sum(run["plugin"] for run in runs)
        if len(points) < 2:
            continue
        a, b = fit(points)
        print(f"  {name}: 2 s {entries_within(2, a, b):.0f}, 10 s {entries_within(10, a, b):.0f},"
              f" share {min(share, 1):.0%}")


def print_latency(rows):
    """How long clients wait that work at the same time, and that divided by sysrepo's own time."""
    lines = [("", "median", "", "99 %", "", "longest", "")]
    for name, run in rows.items():
        if name.startswith("latency/"):
            line = [name.split("/", 1)[1]]
            for what in ("median", "99th", "longest"):
                line += [time(run[what]), f"{run[what] / run['sysrepo_' + what]:.2f}"]
            lines.append(line)
    if len(lines) > 1:
        print("\nLatency with several clients, each time divided by that of a host whose plug-in does nothing")
        print_columns(lines, left=(0,))


def print_memory(rows):
    print()
    for name, run in rows.items():
        if name.startswith("memory/"):
            print(f"Memory of {name.split('/', 1)[1]}: "
                  f"{run['bytes'] / 1024:.1f} KiB (target: < 64 KiB)")
        elif "plugin_memory" in run:
            print(f"Memory of {name}: {run['plugin_memory'] / 2**20:.1f} MiB, "
                  f"the datastore's own share {run['sysrepo_memory'] / 2**20:.1f} MiB")


# The rows of the picture: benchmark, label.
PICTURE = (
    ("edit/1 network", "edit of 1 network"),
    ("edit/100 networks", "edit of 100 networks"),
    ("edit/1000 networks", "edit of 1,000 networks"),
    ("rpc/ip-bgp-summary/100 entries", "ip-bgp-summary, 100 neighbors"),
    ("rpc/ip-bgp-summary/1000 entries", "ip-bgp-summary, 1,000 neighbors"),
    ("rpc/ip-bgp-neighbor/1000 entries", "ip-bgp-neighbor, 1,000 neighbors"),
    ("rpc/ip-bgp-info/1000 entries", "ip-bgp-info, 1,000 networks"),
    ("rpc/ip-bgp-evpn/1000 entries", "ip-bgp-evpn, 1,000 routes"),
    ("parser/ip-bgp-evpn/10 MiB", "10 MiB of EVPN routes parsed"),
    ("replay/1000 networks, 100 VRF neighbors", "replay of 1,000 networks"),
)


def draw(rows, svg):
    """A bar for each row: sysrepo's own share of the time, what any plug-in must do, and the rest."""
    with tempfile.NamedTemporaryFile("w", suffix=".dat") as data:
        for position, (name, label) in enumerate(reversed(PICTURE)):
            run = rows[name]
            own = min(run.get("sysrepo", 0) / run["plugin"], 1)
            floor = min(max(run["floor"] / run["plugin"], own), 1)
            data.write(f'{position}\t{100 * own:.2f}\t{100 * floor:.2f}\t"{label}"\t'
                       f'"{time(run["plugin"] * run.get("values", 1))}, plug-in {1 - floor:.0%}"\n')
        data.flush()
        subprocess.run(["gnuplot", "-e", f"data='{data.name}'; picture='{svg}'; rows={len(PICTURE)}",
                        str(HERE / "report.gp")], check=True)


def print_all(rows):
    print_table(rows)
    print_values_per_second(rows)
    print_spread(rows)
    print_sizes(rows)
    print_latency(rows)
    print_memory(rows)


def write_into(document, text):
    file = pathlib.Path(document)
    marks = "(<!-- the table of make bench -->\n).*(<!-- end of the table -->)"
    written, places = re.subn(marks, lambda found: f"{found[1]}```\n{text}```\n{found[2]}", file.read_text(),
                              flags=re.DOTALL)
    if places != 1:
        sys.exit(f"{document} has {places} places for the table instead of 1")
    file.write_text(written)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--svg")
    parser.add_argument("--document")
    parser.add_argument("results", nargs="+")
    arguments = parser.parse_args()
    rows = read(arguments.results)
    printed = io.StringIO()
    with contextlib.redirect_stdout(printed):
        print_all(rows)
    print(printed.getvalue(), end="")
    if arguments.svg:
        draw(rows, arguments.svg)
    if arguments.document:
        write_into(arguments.document, printed.getvalue())


if __name__ == "__main__":
    main()
