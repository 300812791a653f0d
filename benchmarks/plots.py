"""Plots of what was measured, as SVG that is legible on light and on dark."""

import math
from xml.sax.saxutils import escape

from report import time_text

STYLE = """<style>
text { font: 13px sans-serif; fill: #1f2328; }
.title { font-weight: bold; font-size: 15px; }
.ours { fill: #2f81f7; } .floor { fill: #8b949e; } .peer { fill: #bf8700; }
.goal { stroke: #cf222e; stroke-width: 2; } .line { stroke: #8b949e; }
@media (prefers-color-scheme: dark) { text { fill: #e6edf3; } .goal { stroke: #ff7b72; } }
</style>"""
LEFT, WIDTH, RIGHT, STEP, TOP = 320, 420, 100, 24, 48


def text(x, y, content, anchor="start", kind=""):
    return (f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" class="{kind}">'
            f"{escape(content)}</text>")


def bar(y, width, kind):
    return f'<rect x="{LEFT}" y="{y}" width="{width:.1f}" height="{STEP - 8}" class="{kind}"/>'


def upright(x, top, bottom, kind):
    return f'<line x1="{x:.1f}" x2="{x:.1f}" y1="{top}" y2="{bottom}" class="{kind}"/>'


def picture(title, rows, note):
    """`rows` are lists of shapes, one list for each line of the plot."""
    height = TOP + STEP * len(rows) + 30
    shapes = [shape for row in rows for shape in row]
    return "\n".join([
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {LEFT + WIDTH + RIGHT} {height}" '
        f'role="img" aria-label="{escape(title)}">', STYLE, text(12, 26, title, kind="title"),
        *shapes, text(12, height - 12, note), "</svg>", ""])


def beside_floors(rows):
    """Each measure as a multiple of its floor, with its goal."""
    measured = [row for row in rows if row["floor"] and "ratio" in row]
    if not measured:
        return None
    most = max(max(row["ratio"]["median"], row["goal"][1]) for row in measured)
    scale = WIDTH / most
    lines = []
    for number, row in enumerate(measured):
        y, ratio, goal = TOP + STEP * number, row["ratio"]["median"], row["goal"][1]
        lines.append([text(LEFT - 10, y + 13, row["measure"], "end"), bar(y, ratio * scale, "ours"),
                      upright(LEFT + goal * scale, y - 3, y + STEP - 5, "goal"),
                      text(LEFT + max(ratio, goal) * scale + 8, y + 13, f"{ratio:.2f}")])
    bottom = TOP + STEP * len(measured)
    lines[-1].append(upright(LEFT + scale, TOP - 6, bottom, "line"))
    return picture("Time as a multiple of the least it could take", lines,
                   "Medians. Grey: the floor itself. Red: the goal.")


def discovery(rows):
    """What each property list of a folder costs, on a logarithmic scale."""
    measured = {}
    for row in rows:
        if row["measure"].startswith("discovery of "):
            found = measured.setdefault(row["measure"], {})
            found["ours"] = row["ours_seconds"]["median"]
            found["reading alone" if row["floor"] else row["peer"]] = row["other_seconds"]["median"]
    if not measured:
        return None
    values = [value for found in measured.values() for value in found.values()]
    least, most = min(values) / 2, max(values)
    lines = []
    for name, found in measured.items():
        for number, (who, value) in enumerate(sorted(found.items(), key=lambda item: item[1])):
            y = TOP + STEP * len(lines)
            width = WIDTH * math.log(value / least) / math.log(most / least)
            kind = {"ours": "ours", "reading alone": "floor"}.get(who, "peer")
            lines.append([text(LEFT - 10, y + 13, f"{name}: {who}" if number == 0 else who, "end"),
                          bar(y, width, kind), text(LEFT + width + 8, y + 13, time_text(value))])
    return picture("Finding the requested items: time for each property list of the folder", lines,
                   "Medians, on a logarithmic scale.")


def pictures(rows):
    drawn = {"beside_floors.svg": beside_floors(rows), "discovery.svg": discovery(rows)}
    return {name: svg for name, svg in drawn.items() if svg}
