#!/usr/bin/env python3
"""Prints the tables of a run: table.py results.json

A row is an operation; its columns are the contestants' nanoseconds per operation (medians
of the repetitions).  "ratio" is this library's figure divided by the best peer's: below 1
this library is faster.  "spread" is the middle half of this library's repetitions in
percent of the median; where it is large the machine was busy and the figure says little.

With two threads a figure is the time for which one thread is busy with one operation.
Threads that do not hinder each other show the same figure as one.

Below each table: how figures grow with size, for operations that were measured at several.
"growth" is the exponent e in "figure ~ size^e" from the smallest size to the largest.
Zero is a constant cost per operation, 1 means that every operation looks at everything;
caches alone may bring it to some 0.2.
"""

import json
import math
import statistics
import sys
from collections import defaultdict

OURS = "ours"


def read(file_name):
    """The run's context, and figures[subject][(operation, variant, threads)][contestant]."""
    with open(file_name, encoding="utf-8") as file:
        run = json.load(file)
    figures = defaultdict(lambda: defaultdict(lambda: defaultdict(list)))
    for entry in run["benchmarks"]:
        if entry.get("run_type") == "aggregate":
            continue
        subject, operation, variant, threads, contestant = entry["name"].split("/")[:5]
        row = (operation, variant, int(threads.split(":")[1]))
        figures[subject][row][contestant].append(entry["ns_per_op"])
    return run["context"], figures


def spread(figures):
    """The distance of the quartiles in percent of the median."""
    if len(figures) < 3:
        return ""
    low, middle, high = statistics.quantiles(figures, n=4, method="inclusive")
    return f"{100 * (high - low) / middle:.0f} %"


def nanoseconds(value):
    return f"{value:.2f}" if value < 10 else f"{value:.1f}" if value < 100 else f"{value:,.0f}"


def print_rows(header, rows, left):
    """Aligned columns, the first `left` of them to the left."""
    widths = [max(len(row[i]) for row in [header] + rows) for i in range(len(header))]
    for row in [header, ["-" * width for width in widths]] + rows:
        cells = [
            cell.ljust(width) if i < left else cell.rjust(width)
            for i, (cell, width) in enumerate(zip(row, widths))
        ]
        print("  " + "  ".join(cells).rstrip())
    print()


def comparison(rows):
    names = []
    for figures in rows.values():
        names += [name for name in figures if name not in names]
    peers = [name for name in names if name != OURS]
    header = ["operation", "size", "threads", "this library"] + peers
    header += (["ratio"] if peers else []) + ["spread"]
    table = []
    for (operation, variant, threads), figures in rows.items():
        medians = {name: statistics.median(values) for name, values in figures.items()}
        line = [operation, variant.replace(":", " "), str(threads)]
        line += [nanoseconds(medians[n]) if n in medians else "" for n in [OURS] + peers]
        if peers:
            best = min((medians[n] for n in peers if n in medians), default=None)
            known = best is not None and OURS in medians
            line.append(f"{medians[OURS] / best:.2f}" if known else "")
        line.append(spread(figures.get(OURS, [])))
        table.append(line)
    return header, table


def growth(rows):
    """One line for each operation and contestant that was measured at several sizes."""
    series = defaultdict(dict)
    unit = ""
    for (operation, variant, threads), figures in rows.items():
        unit, size = variant.split(":")
        for name, values in figures.items():
            series[(operation, threads, name)][int(size)] = statistics.median(values)
    # The bytes of an element are a size, but nothing that a cost could grow with.
    if unit == "bytes":
        return None, []
    sizes = sorted({size for figures in series.values() for size in figures})
    table = []
    for (operation, threads, name), figures in series.items():
        if len(figures) < 2:
            continue
        small, large = min(figures), max(figures)
        exponent = math.log(figures[large] / figures[small]) / math.log(large / small)
        line = [operation, str(threads), "this library" if name == OURS else name]
        line += [nanoseconds(figures[size]) if size in figures else "" for size in sizes]
        table.append(line + [f"{exponent:+.2f}"])
    return ["operation", "threads", unit] + [f"{size:,}" for size in sizes] + ["growth"], table


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: table.py results.json")
    context, subjects = read(sys.argv[1])
    load = context.get("load_avg") or [0.0]
    cores = context["num_cpus"]
    print(f"{context['date']}, {cores} cores at {context['mhz_per_cpu']} MHz, "
          f"{context.get('mode', '?')} mode, load {load[0]:.1f} at the start")
    if load[0] > 0.5:
        print("The machine was busy with other work: take these figures as a rough guide.")
    print()
    for subject, rows in subjects.items():
        # Benchmarks of one run are mixed; tables are in order of operation and size.
        def place(row):
            operation, variant, threads = row
            return operation, int(variant.split(":")[1]), threads
        ordered = {row: rows[row] for row in sorted(rows, key=place)}
        print(f"{subject}: ns per operation\n")
        print_rows(*comparison(ordered), left=2)
        header, table = growth(ordered)
        if table:
            print(f"{subject}: growth with size, ns per operation\n")
            print_rows(header, table, left=1)


if __name__ == "__main__":
    main()
