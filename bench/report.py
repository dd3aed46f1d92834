#!/usr/bin/env python3
"""Writes the page about a run: report.py FOLDER results.json [memory.json]

FOLDER/README.md gets the machine, the date, the summary, the plots that stand in FOLDER and
all tables.
"""

import contextlib
import io
import os
import platform
import re
import subprocess
import sys

# The source folder stays as it is.
sys.dont_write_bytecode = True
import table  # noqa: E402

PACKAGES = [
    "libboost-dev", "nlohmann-json3-dev", "rapidjson-dev", "libpugixml-dev", "libpoco-dev",
    "libace-dev", "libmimalloc-dev", "libbenchmark-dev"
]


def first_match(file_name, expression):
    try:
        with open(file_name, encoding="utf-8") as file:
            found = re.search(expression, file.read(), re.MULTILINE)
    except OSError:
        found = None
    return found.group(1).strip() if found else "unknown"


def version(package):
    """The upstream part of an installed package's version."""
    result = subprocess.run(["dpkg-query", "-W", "-f", "${Version}", package],
                            capture_output=True, text=True, check=False)
    return re.sub(r"^\d+:|[-+].*$", "", result.stdout) if result.returncode == 0 else None


def machine(context):
    memory = first_match("/proc/meminfo", r"^MemTotal:\s*(\d+) kB")
    gigabytes = f"{int(memory) / 1048576:.0f} GiB" if memory.isdigit() else "unknown"
    known = ((package, version(package)) for package in PACKAGES)
    yield "date", context.get("date", "unknown")
    model = first_match("/proc/cpuinfo", r"^model name\s*:(.*)$")
    yield "processor", (f"{model}, {context.get('num_cpus')} cores at "
                        f"{context.get('mhz_per_cpu', 0):.0f} MHz")
    yield "memory", gigabytes
    yield "system", f"{platform.system()} {platform.release()}"
    yield "compiler", context.get("compiler", "unknown")
    yield "packages", ", ".join(f"{name} {number}" for name, number in known if number)
    yield "mode", context.get("mode", "unknown")
    yield "load at the start", f"{(context.get('load_avg') or [0.0])[0]:.1f}"


def plots(folder, figures):
    """The plots of FOLDER, each with its heading, in the order of the tables."""
    for unit, subjects in figures.items():
        for subject, rows in subjects.items():
            operations = []
            for operation, _, _ in table.in_order(rows):
                if operation not in operations:
                    operations.append(operation)
            for operation in operations:
                name = f"{subject}-{operation.replace('_', '-')}.svg"
                if os.path.exists(os.path.join(folder, name)):
                    title = table.TITLES.get(operation, operation.replace("_", " "))
                    yield f"{subject}: {table.UNITS[unit]}", f"![{subject}: {title}]({name})"


def main():
    if len(sys.argv) < 3:
        sys.exit("usage: report.py FOLDER results.json [memory.json]")
    folder, files = sys.argv[1], sys.argv[2:]
    context, figures = table.read(files)
    page = io.StringIO()
    with contextlib.redirect_stdout(page):
        print("# Benchmarks\n")
        print("This library beside what its users would pick instead, in one process and\n"
              "taking turns.  Written by `./dev bench`; `bench/peers/` shows how each\n"
              "contestant is used.\n")
        if (context.get("load_avg") or [0.0])[0] > 0.5:
            print("**The machine was busy with other work during this run: take its figures as a\n"
                  "rough guide.**\n")
        print("| | |\n|---|---|")
        for name, value in machine(context):
            print(f"| {name} | {value} |")
        print("\n## Summary\n")
        print("Times are medians per operation: per leaf, per look-up, per listed value.  The\n"
              "ratio is this library's figure divided by the best peer's: below 1 this library\n"
              "is faster.  The map of whole paths is a reference and no peer, and for\n"
              "destroying, peers that drop a whole arena at once are left out.\n")
        printer = table.Printer(markdown=True)
        header, rows = table.summary(figures)
        printer.rows(header, rows, left=1)
        print("\\* user code, for what a contestant has no operation of its own for; + an arena,\n"
              "which drops all nodes at once.\n")
        print("## Plots")
        last = None
        for heading, picture in plots(folder, figures):
            if heading != last:
                print(f"\n### {heading}\n")
                last = heading
            print(picture)
        print("\n## Tables\n")
        table.print_all(printer, figures)
    with open(os.path.join(folder, "README.md"), "w", encoding="utf-8", newline="\n") as file:
        file.write(page.getvalue().rstrip() + "\n")
    print(f"{os.path.join(folder, 'README.md')} is written")


if __name__ == "__main__":
    main()
