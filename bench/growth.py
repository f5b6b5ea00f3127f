# SPDX-License-Identifier: MIT
"""Plots of the figures that depend on a number, of ports, machines or mappings, as SVG."""

import dataclasses
import math
import re
import statistics

# The name of the figures, # standing for the number, and how they are called and drawn.
CURVES = [
    ("guest sweep/ours/#", "sweep", "#c0392b", ""),
    ("guest sweep/loop/#", "the same on alsa-lib", "#c0392b", "6 4"),
    ("guest sweep/rtmidi/#", "the same by RtMidi", "#c0392b", "2 3"),
    ("guest hotplug/ours/#", "hot-plug", "#2471a3", ""),
    ("guest hotplug/loop/#", "reading all anew", "#2471a3", "6 4"),
    ("guest echo/ours/#", "echo", "#1e8449", ""),
]
OVER_MAPPINGS = [
    ("host layout/ours/1/#", "one machine", "#c0392b", ""),
    ("host layout/ours/16/#", "sixteen machines", "#2471a3", ""),
    ("guest layout/ours/1/#", "one machine over emulated USB", "#c0392b", "6 4"),
    ("guest layout/ours/16/#", "sixteen machines over emulated USB", "#2471a3", "6 4"),
]
OVER_MACHINES = [
    ("host layout/ours/#/128", "128 mappings on each", "#c0392b", ""),
    ("guest layout/ours/#/128", "128 mappings on each, over emulated USB", "#c0392b", "6 4"),
    ("host layout/ours/#/1", "one mapping on each", "#2471a3", ""),
]
WIDTH, HEIGHT, LEFT, TOP = 340, 300, 90, 40


@dataclasses.dataclass
class Panel:
    """One of two beside each other, over numbers on a logarithmic scale."""
    title: str
    metric: str
    curves: list
    ticks: tuple[int, ...]  # the last is the end of the scale
    unit: float = 1.0  # what the values are divided by


PORTS = (1, 16, 64, 256, 1000)
PLOTS = {
    "growth.svg": [Panel("microseconds over N ports", "us", CURVES, PORTS),
                   Panel("system calls over N ports", "calls", CURVES, PORTS)],
    "layout.svg": [Panel("milliseconds over mappings", "us", OVER_MAPPINGS, (1, 8, 32, 128), 1e3),
                   Panel("milliseconds over machines", "us", OVER_MACHINES, (1, 4, 16, 64), 1e3)],
}


def _points(samples, name, panel):
    found = []
    for key, figures in samples.items():
        match = re.fullmatch(re.escape(name).replace(r"\#", r"(\d+)"), key)
        if match and int(match[1]) and panel.metric in figures:
            # Where one slow echo in thousands would spoil the mean, there is a median too.
            chosen = figures.get(f"median_{panel.metric}", figures[panel.metric])
            found.append((int(match[1]), statistics.median(chosen) / panel.unit))
    return [(n, value) for n, value in sorted(found) if value > 0]


def _draw_panel(samples, panel, left):
    curves = [(points, label, colour, dashes) for name, label, colour, dashes in panel.curves
              if (points := _points(samples, name, panel))]
    if not curves:
        return []
    values = [value for points, *_ in curves for _, value in points]
    low, high = math.floor(math.log10(min(values))), math.ceil(math.log10(max(values)))

    def place(n, value):
        return (left + math.log10(n) / math.log10(panel.ticks[-1]) * WIDTH,
                TOP + HEIGHT - (math.log10(value) - low) / max(high - low, 1) * HEIGHT)

    drawn = [f'<text x="{left}" y="{TOP - 14}" font-weight="bold">{panel.title}</text>']
    for power in range(low, high + 1):
        y = place(1, 10 ** power)[1]
        drawn.append(f'<path d="M{left} {y:.1f}h{WIDTH}" stroke="#ddd"/>'
                     f'<text x="{left - 6}" y="{y + 4:.1f}" text-anchor="end">'
                     f'{10.0 ** power:,.10g}</text>')
    for n in panel.ticks:
        x = place(n, 10 ** low)[0]
        drawn.append(f'<path d="M{x:.1f} {TOP}v{HEIGHT}" stroke="#eee"/>'
                     f'<text x="{x:.1f}" y="{TOP + HEIGHT + 18}" text-anchor="middle">{n:,}</text>')
    for row, (points, label, colour, dashes) in enumerate(curves):
        path = "L".join("{:.1f} {:.1f}".format(*place(n, value)) for n, value in points)
        line = f'fill="none" stroke="{colour}" stroke-width="2" stroke-dasharray="{dashes}"'
        y = TOP + HEIGHT + 48 + 16 * row
        drawn.append(f'<path d="M{path}" {line}/>'
                     f'<path d="M{left} {y - 4}h30" {line}/><text x="{left + 38}" y="{y}">'
                     f'{label}</text>')
    return drawn


def draw(samples, folder):
    """Draws the plots that there are figures for."""
    for name, panels in PLOTS.items():
        drawn = [part for place, panel in enumerate(panels)
                 for part in _draw_panel(samples, panel, LEFT + place * (LEFT + WIDTH + 20))]
        if drawn:
            size = f'width="{2 * (LEFT + WIDTH) + 50}" height="{TOP + HEIGHT + 150}"'
            (folder / name).write_text(
                f'<svg xmlns="http://www.w3.org/2000/svg" {size} font-family="sans-serif" '
                'font-size="12">\n<rect width="100%" height="100%" fill="white"/>\n' +
                "\n".join(drawn) + "\n</svg>\n")
