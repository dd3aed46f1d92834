#!/usr/bin/env python3
"""Prints the tables of a run: table.py [--markdown] [--summary] results.json [memory.json]

Times: a row is an operation; its columns are the contestants' nanoseconds per operation
(medians of the repetitions).  A star marks user code, for what a contestant has no operation
of its own for; a plus marks arenas, which drop all nodes at once.  "ratio" is this library's
figure divided by the best peer's: below 1 this library is faster.  The map of whole paths is a
reference, not a peer: it is no tree.  "spread" is the middle half of this library's
repetitions in percent of the median; where it is large the machine was busy and the figure
says little.

With two threads a figure is the time for which one thread is busy with one operation.
Threads that do not hinder each other show the same figure as one.  "two threads against
one" says how much more they get done together: 2 at best, caches aside.

Growth: "growth" is the exponent e in "figure ~ size^e" from the smallest size to the
largest.  Zero is a constant cost per operation, 1 means that every operation looks at
everything; caches alone may bring it to some 0.2.

--summary prints the short table of the README: the largest typical tree, this library
beside the best peer.  --markdown writes tables for docs/.
"""

import json
import math
import statistics
import sys
from collections import defaultdict

OURS = "ours"
OURS_TITLE = "this library"

# Contestants in the order of the columns; others stand behind them.
CONTESTANTS = [
    OURS, "Boost.PropertyTree", "nlohmann", "RapidJSON", "pugixml", "POCO", "POCO JSON",
    "POCO XML", "ACE", "unordered_map"
]

# Operations in the order of the tables, as they are called in summaries.
TITLES = {
    "build_random": "build by path, random order",
    "build_sorted": "build by path, sorted order",
    "build_records": "build from sorted records",
    "look_up_hit": "look-up by path, hit",
    "look_up_miss": "look-up by path, miss",
    "child": "child by name",
    "list": "list a node's values",
    "list_copied": "list a node's values, copied",
    "search": "search a name anywhere",
    "copy": "deep copy",
    "destroy": "destroy",
    "merge": "merge",
    "flatten": "flatten to bytes",
    "checksum": "checksum",
    "changes": "extract changes",
}
# What the figures of a unit are.
UNITS = {
    "ns_per_op": "ns per operation",
    "bytes": "bytes per leaf",
    "calls": "heap calls per leaf",
}
# Rows of the summary that stand for another data set than the largest typical tree.
SUMMARY_ELSEWHERE = {"child": "wide"}
# No tree at all: what look-ups could cost, and no peer to compare whole trees with.
REFERENCES = {"unordered_map"}
# Not in the comparison of destroying: arenas free nothing node by node.
NODE_BY_NODE = {"destroy"}


class Figures:
    """All repetitions of one contestant at one place of a table."""

    def __init__(self):
        self.values = []
        self.user_code = False
        self.frees_at_once = False

    @property
    def median(self):
        return statistics.median(self.values)

    def mark(self, operation):
        marks = "*" if self.user_code else ""
        return marks + ("+" if self.frees_at_once and operation in NODE_BY_NODE else "")


def read(file_names):
    """The context, and figures[unit][subject][(operation, variant, threads)][contestant]."""
    context = {}
    figures = {
        unit: defaultdict(lambda: defaultdict(lambda: defaultdict(Figures)))
        for unit in UNITS
    }
    for file_name in file_names:
        with open(file_name, encoding="utf-8") as file:
            run = json.load(file)
        context.update(run.get("context", {}))
        for entry in run["benchmarks"]:
            unit = next(unit for unit in figures if unit in entry)
            subject, operation, variant, threads, contestant = entry["name"].split("/")[:5]
            row = (operation, variant, int(threads.split(":")[1]))
            place = figures[unit][subject][row][contestant]
            place.values.append(entry[unit])
            place.user_code = bool(entry.get("user_code"))
            place.frees_at_once = bool(entry.get("frees_at_once"))
    return context, figures


def order_of(row):
    operation, variant, threads = row
    known = list(TITLES)
    place = known.index(operation) if operation in known else len(known)
    return place, operation, size_of(variant), threads


def size_of(variant):
    return int(variant.split(":")[1])


def best_peer(operation, contestants):
    """The name of the fastest peer; None when there is none to compare with."""
    peers = [
        name for name, figures in contestants.items()
        if name != OURS and name not in REFERENCES
        and not (operation in NODE_BY_NODE and figures.frees_at_once)
    ]
    return min(peers, key=lambda name: contestants[name].median, default=None)


def ratio(operation, contestants):
    best = best_peer(operation, contestants)
    if best is None or OURS not in contestants or contestants[best].median == 0:
        return ""
    return f"{contestants[OURS].median / contestants[best].median:.2f}"


def spread(figures):
    """The distance of the quartiles in percent of the median."""
    if figures is None or len(figures.values) < 3:
        return ""
    low, middle, high = statistics.quantiles(figures.values, n=4, method="inclusive")
    return f"{100 * (high - low) / middle:.0f} %" if middle else ""


def number(value):
    if value < 10:
        return f"{value:.2f}"
    return f"{value:.1f}" if value < 100 else f"{value:,.0f}"


class Printer:
    """Aligned columns for terminals, or tables for Markdown."""

    def __init__(self, markdown):
        self.markdown = markdown

    def title(self, text):
        print(f"### {text}\n" if self.markdown else f"{text}\n")

    def rows(self, header, rows, left):
        """The first `left` columns are aligned to the left."""
        if not rows:
            return
        if self.markdown:
            print("| " + " | ".join(header) + " |")
            print("|" + "|".join("---" if i < left else "--:" for i in range(len(header))) + "|")
            for row in rows:
                print("| " + " | ".join(cell.replace("*", "\\*") for cell in row) + " |")
            print()
            return
        widths = [max(len(row[i]) for row in [header] + rows) for i in range(len(header))]
        for row in [header, ["-" * width for width in widths]] + rows:
            cells = [
                cell.ljust(width) if i < left else cell.rjust(width)
                for i, (cell, width) in enumerate(zip(row, widths))
            ]
            print("  " + "  ".join(cells).rstrip())
        print()


def place_of(name):
    """What to sort contestants by."""
    return (CONTESTANTS.index(name) if name in CONTESTANTS else len(CONTESTANTS)), name


def contestants_of(rows):
    found = {name for contestants in rows.values() for name in contestants}
    return sorted(found, key=place_of)


def comparison(rows, with_ratio=True):
    names = contestants_of(rows)
    peers = [name for name in names if name != OURS] if with_ratio else []
    header = ["operation", "size", "threads"]
    header += [OURS_TITLE if name == OURS else name for name in names]
    header += (["ratio"] if peers else []) + (["spread"] if with_ratio else [])
    table = []
    for row, contestants in rows.items():
        operation, variant, threads = row
        line = [operation, variant.replace(":", " "), str(threads)]
        for name in names:
            known = contestants.get(name)
            line.append(number(known.median) + known.mark(operation) if known else "")
        if peers:
            line.append(ratio(operation, contestants))
        if with_ratio:
            line.append(spread(contestants.get(OURS)))
        table.append(line)
    return header, table


def exponents(rows):
    """growth[(operation, threads)][contestant] = (smallest size, largest size, exponent)."""
    series = defaultdict(lambda: defaultdict(dict))
    for (operation, variant, threads), contestants in rows.items():
        # The bytes of an element are a size, but nothing that a cost could grow with.
        if variant.startswith("bytes"):
            continue
        for name, figures in contestants.items():
            series[(operation, threads)][name][size_of(variant)] = figures.median
    growth = defaultdict(dict)
    for key, contestants in series.items():
        for name, figures in contestants.items():
            small, large = min(figures), max(figures)
            if small == large or figures[small] <= 0 or figures[large] <= 0:
                continue
            exponent = math.log(figures[large] / figures[small]) / math.log(large / small)
            growth[key][name] = (small, large, exponent)
    return growth


def growth_table(rows):
    """One line per operation: the exponents of all over the same sizes, and the best peer's.

    The best peer is the fastest one at the largest size.
    """
    names = contestants_of(rows)
    header = ["operation", "threads", "sizes"]
    header += [OURS_TITLE if name == OURS else name for name in names] + ["best peer's"]
    table = []
    for (operation, threads), found in exponents(rows).items():
        widest = max(found.values(), key=lambda entry: entry[1] / entry[0])[:2]
        line = [operation, str(threads), f"{widest[0]:,} to {widest[1]:,}"]
        for name in names:
            same = name in found and found[name][:2] == widest
            line.append(f"{found[name][2]:+.2f}" if same else "")
        at_largest = next(
            contestants for (op, variant, crew), contestants in rows.items()
            if (op, crew) == (operation, threads) and size_of(variant) == widest[1])
        best = best_peer(operation, at_largest)
        known = best in found and found[best][:2] == widest
        line.append(f"{found[best][2]:+.2f}" if known else "")
        table.append(line)
    return header, table


def threads_table(rows):
    """How much more two threads do than one, in the same time."""
    names = contestants_of(rows)
    header = ["operation", "size"]
    header += [OURS_TITLE if name == OURS else name for name in names]
    table = []
    for (operation, variant, threads), contestants in rows.items():
        single = rows.get((operation, variant, 1))
        if threads == 1 or single is None:
            continue
        line = [operation, variant.replace(":", " ")]
        for name in names:
            known = name in contestants and name in single
            gain = threads * single[name].median / contestants[name].median if known else 0
            line.append(f"{gain:.2f}" if known else "")
        table.append(line)
    return header, table


def in_order(rows):
    return {row: rows[row] for row in sorted(rows, key=order_of)}


def summary(figures):
    """This library beside the best peer, for the largest tree that was measured."""
    table = []
    for operation, title in TITLES.items():
        subject = SUMMARY_ELSEWHERE.get(operation, "typical")
        rows = figures["ns_per_op"].get(subject, {})
        places = [row for row in rows if row[0] == operation and row[2] == 1]
        if not places:
            continue
        row = max(places, key=order_of)
        contestants = rows[row]
        best = best_peer(operation, contestants)
        if best is None or OURS not in contestants:
            continue
        table.append([
            title, f"{size_of(row[1]):,}", number(contestants[OURS].median) + " ns",
            number(contestants[best].median) + " ns",
            best + contestants[best].mark(operation), ratio(operation, contestants)
        ])
    rows = figures["bytes"].get("typical", {})
    places = [row for row in rows if row[0] == "built_sorted"]
    if places:
        row = max(places, key=order_of)
        contestants = rows[row]
        best = best_peer("bytes", contestants)
        if best is not None and OURS in contestants:
            table.append([
                "bytes per leaf, strings included", f"{size_of(row[1]):,}",
                number(contestants[OURS].median), number(contestants[best].median), best,
                ratio("bytes", contestants)
            ])
    return ["operation", "leaves", OURS_TITLE, "best peer", "who", "ratio"], table


def print_all(printer, figures):
    """Every table but the summary."""
    for subject, rows in figures["ns_per_op"].items():
        ordered = in_order(rows)
        printer.title(f"{subject}: {UNITS['ns_per_op']}")
        printer.rows(*comparison(ordered), left=2)
        header, growth = growth_table(ordered)
        if growth:
            printer.title(f"{subject}: growth with size")
            printer.rows(header, growth, left=1)
        header, gain = threads_table(ordered)
        if gain:
            printer.title(f"{subject}: two threads against one")
            printer.rows(header, gain, left=2)
    for unit in ("bytes", "calls"):
        for subject, rows in figures[unit].items():
            printer.title(f"{subject}: {UNITS[unit]}")
            # Calls are counted, and many a peer needs none: there is no ratio to zero.
            printer.rows(*comparison(in_order(rows), with_ratio=unit == "bytes"), left=2)


def main():
    arguments = sys.argv[1:]
    printer = Printer("--markdown" in arguments)
    files = [argument for argument in arguments if not argument.startswith("--")]
    if not files:
        sys.exit("usage: table.py [--markdown] [--summary] results.json [memory.json]")
    context, figures = read(files)
    header, table = summary(figures)
    if "--summary" in arguments:
        printer.rows(header, table, left=1)
        return

    if "date" in context:
        load = (context.get("load_avg") or [0.0])[0]
        print(f"{context['date']}, {context['num_cpus']} cores at "
              f"{context['mhz_per_cpu']:.0f} MHz, {context.get('mode', '?')} mode, "
              f"load {load:.1f} at the start")
        if load > 0.5:
            print("The machine was busy with other work: take these figures as a rough guide.")
        print()
    print_all(printer, figures)
    if table:
        printer.title("summary: the largest trees")
        printer.rows(header, table, left=1)


if __name__ == "__main__":
    main()
