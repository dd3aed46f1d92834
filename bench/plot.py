#!/usr/bin/env python3
"""Draws a run: plot.py FOLDER results.json [memory.json]

Writes one SVG per operation and subject into FOLDER: lines over size, both axes
logarithmic, where an operation was measured at several sizes, else bars.  Needs nothing but
the standard library.
"""

import math
import os
import sys
from xml.sax.saxutils import escape

# The source folder stays as it is.
sys.dont_write_bytecode = True
import table  # noqa: E402

WIDTH, HEIGHT = 720, 420
LEFT, RIGHT, TOP, BOTTOM = 76, 172, 56, 52
OURS_COLOR = "#d62728"
# Told apart by most kinds of colour blindness, with dashes as a second mark.
COLORS = {
    "Boost.PropertyTree": "#0072b2",
    "nlohmann": "#009e73",
    "RapidJSON": "#e69f00",
    "pugixml": "#56b4e9",
    "POCO": "#cc79a7",
    "POCO JSON": "#a6619c",
    "POCO XML": "#7d4a80",
    "ACE": "#8c6d31",
    "unordered_map": "#555555",
}
OTHER_COLORS = ["#0072b2", "#009e73", "#e69f00", "#56b4e9"]
FONT = 'font-family="DejaVu Sans, Verdana, sans-serif"'


def color_of(name, place):
    if name == table.OURS:
        return OURS_COLOR
    return COLORS.get(name, OTHER_COLORS[place % len(OTHER_COLORS)])


def title_of(name):
    return table.OURS_TITLE if name == table.OURS else name


def text(x, y, words, anchor="start", size=12, color="#222", weight="normal"):
    return (f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" font-size="{size}" '
            f'font-weight="{weight}" fill="{color}" {FONT}>{escape(words)}</text>')


def line(x1, y1, x2, y2, color="#ddd", width=1):
    return (f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" stroke="{color}" '
            f'stroke-width="{width}"/>')


def page(width, height, title, subtitle, parts):
    head = (f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
            f'viewBox="0 0 {width} {height}" role="img">\n'
            f'<title>{escape(title)}</title>\n'
            f'<rect width="{width}" height="{height}" fill="white"/>')
    parts = [text(LEFT, 22, title, size=15, weight="bold"),
             text(LEFT, 40, subtitle, size=11, color="#666")] + parts
    return head + "\n" + "\n".join(parts) + "\n</svg>\n"


def ticks(low, high):
    """1, 2 and 5 times the powers of ten between two values, fewer where they are many."""
    found = []
    for power in range(math.floor(math.log10(low)), math.ceil(math.log10(high)) + 1):
        found += [factor * 10.0**power for factor in (1, 2, 5)]
    found = [value for value in found if low <= value <= high]
    return found if len(found) <= 9 else [v for v in found if f"{v:e}".startswith("1.0")]


def label(value):
    return f"{value:,.0f}" if value >= 1 else f"{value:g}"


def spread_labels(places, gap):
    """Moves labels apart that would overlap; the order stays."""
    order = sorted(range(len(places)), key=lambda i: places[i])
    moved = list(places)
    for before, after in zip(order, order[1:]):
        moved[after] = max(moved[after], moved[before] + gap)
    overflow = moved[order[-1]] - (HEIGHT - BOTTOM) if order else 0
    return [place - max(0, overflow) for place in moved]


def lines_plot(title, unit, what, series):
    """series[name] = {size: value}."""
    sizes = sorted({size for values in series.values() for size in values})
    values = [value for points in series.values() for value in points.values()]
    low, high = min(values) / 1.3, max(values) * 1.3

    def x_of(size):
        share = math.log(size / sizes[0]) / math.log(sizes[-1] / sizes[0])
        return LEFT + share * (WIDTH - LEFT - RIGHT)

    def y_of(value):
        share = math.log(value / low) / math.log(high / low)
        return HEIGHT - BOTTOM - share * (HEIGHT - TOP - BOTTOM)

    parts = []
    for value in ticks(low, high):
        parts.append(line(LEFT, y_of(value), WIDTH - RIGHT, y_of(value)))
        parts.append(text(LEFT - 8, y_of(value) + 4, label(value), "end", 11, "#444"))
    for size in sizes:
        parts.append(line(x_of(size), TOP, x_of(size), HEIGHT - BOTTOM, "#eee"))
        parts.append(text(x_of(size), HEIGHT - BOTTOM + 18, f"{size:,}", "middle", 11, "#444"))
    parts.append(text((LEFT + WIDTH - RIGHT) / 2, HEIGHT - 12, what, "middle", 11, "#444"))
    ends = {name: (max(points), points[max(points)]) for name, points in series.items()}
    # Those that stop at a smaller size have their names beside their last point.
    names = sorted(series, key=lambda name: (ends[name][0] != sizes[-1], table.place_of(name)))
    finished = [name for name in names if ends[name][0] == sizes[-1]]
    places = spread_labels([y_of(ends[name][1]) for name in finished], 15)
    for place, name in enumerate(names):
        color = color_of(name, place)
        points = sorted(series[name].items())
        drawn = " ".join(f"{x_of(s):.1f},{y_of(v):.1f}" for s, v in points)
        dashes = "" if name == table.OURS else ' stroke-dasharray="6 3"' if place % 2 else ""
        width = 3.2 if name == table.OURS else 1.6
        parts.append(f'<polyline points="{drawn}" fill="none" stroke="{color}" '
                     f'stroke-width="{width}"{dashes}/>')
        for size, value in points:
            parts.append(f'<circle cx="{x_of(size):.1f}" cy="{y_of(value):.1f}" r="3" '
                         f'fill="{color}"/>')
        size, value = ends[name]
        if name not in finished:
            parts.append(text(x_of(size) + 8, y_of(value) - 5,
                              f"{title_of(name)} {table.number(value)}", size=11, color=color))
            continue
        right = WIDTH - RIGHT + 14
        if (x_of(size), y_of(value)) != (right, places[place]):
            parts.append(line(x_of(size) + 4, y_of(value), right - 3, places[place], "#ccc"))
        parts.append(text(right, places[place] + 4, f"{title_of(name)} {table.number(value)}",
                          size=11, color=color,
                          weight="bold" if name == table.OURS else "normal"))
    return page(WIDTH, HEIGHT, title, f"{unit}; both axes are logarithmic, lower is better", parts)


def bars_plot(title, unit, values):
    """values[name] = value; the shortest bar on top, on a linear scale."""
    order = sorted(values, key=lambda name: values[name])
    step, left, right = 26, 150, 90
    height = TOP + step * len(order) + 16
    widest = max(values.values())
    # One bar of a thousand times the length would hide the others: it is cut.
    limit = min(widest, 12 * values[order[min(len(order), 3) - 1]])
    parts = []
    for place, name in enumerate(order):
        y = TOP + place * step
        cut = values[name] > limit
        length = (WIDTH - left - right) * min(values[name], limit) / limit if limit else 0
        color = color_of(name, place)
        parts.append(text(left - 8, y + 14, title_of(name), "end", 12,
                          weight="bold" if name == table.OURS else "normal"))
        parts.append(f'<rect x="{left}" y="{y}" width="{max(length, 1):.1f}" height="18" '
                     f'fill="{color}"/>')
        if cut:
            parts.append(f'<path d="M {left + length - 26:.1f} {y + 20} l 8 -22 l 6 0 l -8 22 z" '
                         'fill="white"/>')
        parts.append(text(left + length + 6, y + 14, table.number(values[name]), size=11))
    longer = "; broken bars are longer than drawn" if widest > limit else ""
    return page(WIDTH, height, title, f"{unit}; lower is better{longer}", parts)


def main():
    if len(sys.argv) < 3:
        sys.exit("usage: plot.py FOLDER results.json [memory.json]")
    folder = sys.argv[1]
    os.makedirs(folder, exist_ok=True)
    _, figures = table.read(sys.argv[2:])
    written = []
    for unit, subjects in figures.items():
        for subject, rows in subjects.items():
            series = {}
            for (operation, variant, threads), contestants in table.in_order(rows).items():
                if threads != 1:
                    continue
                for name, found in contestants.items():
                    points = series.setdefault((operation, variant.split(":")[0]), {})
                    # Nothing has no place on a logarithmic scale.
                    if found.median > 0:
                        points.setdefault(name, {})[table.size_of(variant)] = found.median
            for (operation, what), points in series.items():
                if len(points) < 2:
                    continue
                title = f"{subject}: {table.TITLES.get(operation, operation.replace('_', ' '))}"
                sizes = {size for values in points.values() for size in values}
                if len(sizes) > 1:
                    drawing = lines_plot(title, table.UNITS[unit], what, points)
                else:
                    drawing = bars_plot(title, f"{table.UNITS[unit]}, {max(sizes):,} {what}",
                                        {name: max(v.values()) for name, v in points.items()})
                name = f"{subject}-{operation.replace('_', '-')}.svg"
                with open(os.path.join(folder, name), "w", encoding="utf-8", newline="\n") as file:
                    file.write(drawing)
                written.append(name)
    print(f"{len(written)} plots in {folder}")


if __name__ == "__main__":
    main()
