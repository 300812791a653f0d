"""The table of what was measured."""

HEAD = ("Measure", "Floor", "Peer", "Ours", "Ratio: least, median", "Goal", "Met")


def time_text(seconds):
    for unit, factor in (("s", 1), ("ms", 1e3), ("µs", 1e6), ("ns", 1e9)):
        if seconds * factor >= 1:
            break
    value = seconds * factor
    return f"{value:.{2 if value < 10 else 1 if value < 100 else 0}f} {unit}"


def value_text(row):
    return f"{row['value']:.2f}".rstrip("0").rstrip(".") + f" {row['unit']}".rstrip()


def goal_text(row):
    sign, value = row["goal"]
    return f"{sign} {value:g}" + (f" {row['unit']}".rstrip() if "unit" in row else "")


def cells(row):
    if "unit" in row:
        return row["measure"], row["floor"] or "", row["peer"] or "", value_text(row), ""
    other = time_text(row["other_seconds"]["median"])
    peers = ", ".join(f"{name} ×{value:.2f}" for name, value in row["peers"].items())
    return (row["measure"], f"{row['floor']}: {other}" if row["floor"] else "",
            f"{row['peer']}: {other}" if row["peer"] else peers,
            time_text(row["ours_seconds"]["median"]),
            f"{row['ratio']['min']:.2f}, {row['ratio']['median']:.2f}")


def table(results):
    """In Markdown. A peer's ×N is how often the floor it takes, by the medians."""
    lines = [HEAD] + [(*cells(row), goal_text(row), "yes" if row["met"] else "no")
                      for row in results["rows"]]
    widths = [max(map(len, column)) for column in zip(*lines)]
    lines.insert(1, tuple("-" * width for width in widths))
    text = "".join("| " + " | ".join(cell.ljust(width) for cell, width in zip(line, widths)) + " |\n"
                   for line in lines)
    met = sum(row["met"] for row in results["rows"])
    machine, load = results["machine"], results["load"]
    return (f"{text}\n{met} of {len(results['rows'])} goals met, in {results['seconds']:.0f} s"
            f"{', quick' if results['quick'] else ''}. {machine['cores']} cores of "
            f"{machine['processor']}, {machine['memory_bytes'] / 2**30:.0f} GiB, Linux "
            f"{machine['kernel']}; load {load[0]:.1f} before and {load[1]:.1f} after.\n")
