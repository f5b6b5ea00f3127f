# SPDX-License-Identifier: MIT
"""A plot of the figures that depend on the number of ports, as SVG."""

import math
import re
import statistics

CURVES = [  # the name of the figures, and how they are called and drawn
    ("guest sweep/ours", "sweep", "#c0392b", ""),
    ("guest sweep/loop", "the same on alsa-lib", "#c0392b", "6 4"),
    ("guest sweep/rtmidi", "the same by RtMidi", "#c0392b", "2 3"),
    ("guest hotplug/ours", "hot-plug", "#2471a3", ""),
    ("guest hotplug/loop", "reading all anew", "#2471a3", "6 4"),
    ("guest echo/ours", "echo", "#1e8449", ""),
]
WIDTH, HEIGHT, LEFT, TOP = 340, 300, 90, 40


def _points(samples, name, metric):
    found = []
    for key, figures in samples.items():
        match = re.fullmatch(re.escape(name) + r"/(\d+)", key)
        if match and int(match[1]) and metric in figures:
            # Where one slow echo in thousands would spoil the mean, there is a median too.
            chosen = figures.get(f"median_{metric}", figures[metric])
            found.append((int(match[1]), statistics.median(chosen)))
    return [(n, value) for n, value in sorted(found) if value > 0]


def _panel(samples, metric, title, left):
    curves = [(points, label, colour, dashes) for name, label, colour, dashes in CURVES
              if (points := _points(samples, name, metric))]
    if not curves:
        return []
    values = [value for points, *_ in curves for _, value in points]
    low, high = math.floor(math.log10(min(values))), math.ceil(math.log10(max(values)))

    def place(n, value):
        return (left + math.log10(n) / 3 * WIDTH,
                TOP + HEIGHT - (math.log10(value) - low) / max(high - low, 1) * HEIGHT)

    drawn = [f'<text x="{left}" y="{TOP - 14}" font-weight="bold">{title}</text>']
    for power in range(low, high + 1):
        y = place(1, 10 ** power)[1]
        drawn.append(f'<path d="M{left} {y:.1f}h{WIDTH}" stroke="#ddd"/>'
                     f'<text x="{left - 6}" y="{y + 4:.1f}" text-anchor="end">'
                     f'{10.0 ** power:,.10g}</text>')
    for n in (1, 16, 64, 256, 1000):
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


def draw(samples, path):
    """Draws what there is; nothing when nothing depends on the number of ports."""
    drawn = (_panel(samples, "us", "microseconds over N ports", LEFT) +
             _panel(samples, "calls", "system calls over N ports", 2 * LEFT + WIDTH + 20))
    if drawn:
        size = f'width="{2 * (LEFT + WIDTH) + 50}" height="{TOP + HEIGHT + 150}"'
        path.write_text(f'<svg xmlns="http://www.w3.org/2000/svg" {size} font-family="sans-serif" '
                        'font-size="12">\n<rect width="100%" height="100%" fill="white"/>\n' +
                        "\n".join(drawn) + "\n</svg>\n")
