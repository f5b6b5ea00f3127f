# SPDX-License-Identifier: MIT
"""What became of the benchmarks: figures with their spread, beside the goals."""

import dataclasses
import json
import re
import statistics

MICROSECONDS = {"ns": 1e-3, "us": 1.0, "ms": 1e3, "s": 1e6}


@dataclasses.dataclass
class Goal:
    """A figure that has to be at most `limit`, or at most so many times the reference's. What is
    named as its floor, together, is the least that it can be."""
    benchmark: str
    what: str
    ours: str
    metric: str
    limit: float
    reference: str | None = None
    floor: tuple[str, ...] = ()


GOALS = [
    Goal("sweep", "beside the same on alsa-lib, N = 256", "guest sweep/ours/256", "us", 0.2,
         "guest sweep/loop/256"),
    Goal("sweep", "beside RtMidi, N = 256", "guest sweep/ours/256", "us", 1 / 400,
         "guest sweep/rtmidi/256"),
    Goal("sweep", "beside the device layer over a bare array, N = 256", "guest sweep/ours/256",
         "us", 4.5, "guest sweep/bare/256", ("guest sweep/bare/256", "guest sweep/names/256")),
    Goal("sweep", "system calls of sixteen probes, N = 256", "guest sweep/ours/256", "calls", 17),
    Goal("sweep", "system calls of sixteen probes, N = 1,000", "guest sweep/ours/1000", "calls",
         17),
    Goal("sweep", "time, N = 1,000 beside N = 16", "guest sweep/ours/1000", "us", 1000 / 16,
         "guest sweep/ours/16"),
    Goal("sweep", "first sweep beside the same on alsa-lib, N = 256", "guest first/ours/256", "us",
         0.25, "guest first/loop/256"),
    Goal("hotplug", "system calls for one port, N = 1,000", "guest hotplug/ours/1000", "calls", 3),
    Goal("hotplug", "time, N = 1,000 beside N = 16", "guest hotplug/ours/1000", "us", 1000 / 16,
         "guest hotplug/ours/16"),
    Goal("echo", "software echo beside a bare pipe", "guest echo/ours/0", "median_us", 1.2,
         "guest echo/pipe", ("guest echo/loop",)),
    Goal("echo", "software echo beside alsa-lib", "guest echo/ours/0", "median_us", 1.1,
         "guest echo/loop"),
    Goal("echo", "emulated USB beside raw MIDI", "guest usb/ours/0", "median_us", 1.25,
         "guest usb/raw", ("guest usb/loop",)),
    Goal("echo", "emulated USB beside alsa-lib", "guest usb/ours/0", "median_us", 1.1,
         "guest usb/loop"),
    Goal("command", "time over the 311 ms of pauses, in microseconds", "host command/ours", "us",
         1200),
    Goal("command", "allocations on the send path", "host command/send", "allocations", 0),
    Goal("command", "allocations in the read callback", "host command/receive", "allocations", 0),
    Goal("list", "keyloftctl list beside aconnect -l", "guest list/ours", "us", 1.6,
         "guest list/aconnect", ("guest list/empty",)),
    Goal("list", "keyloftctl list beside an empty program", "guest list/ours", "us", 1.1,
         "guest list/empty"),
    Goal("list", "peak memory of keyloftctl list beside aconnect -l", "guest list/ours", "peak_kb",
         2.5, "guest list/aconnect", ("guest list/empty",)),
    Goal("layout", "128 mappings beside 128 times 11 ms of pauses", "host layout/ours/1/128", "us",
         1.1, "host layout/floor", ("host layout/pauses",)),
    Goal("layout", "sixteen machines at once beside one", "host layout/ours/16/128", "us", 1.15,
         "host layout/ours/1/128"),
    Goal("layout", "over emulated USB, beside 128 times 11 ms", "guest layout/ours/1/128", "us",
         1.6, "guest layout/floor", ("guest layout/pauses",)),
    Goal("layout", "system calls for a mapping, one machine", "guest layout/ours/1/128", "calls",
         22),
    Goal("layout", "system calls for a mapping, sixteen machines", "guest layout/ours/16/128",
         "calls", 18),
    Goal("layout", "peak memory of keyloftctl apply beside aconnect -l", "guest apply/ours",
         "peak_kb", 2.5, "guest apply/aconnect", ("guest apply/empty",)),
    Goal("layout", "allocations for a mapping", "host layout/counts/1/128", "allocations", 0.1),
    Goal("reading", "ten thousand mappings, in microseconds", "host reading/10000", "us", 50_000),
    Goal("start", "first paint beside vmpk", "host start/keyloft", "us", 0.6, "host start/vmpk",
         ("host start/plain",)),
    Goal("start", "first paint beside qmidiroute", "host start/keyloft", "us", 0.6,
         "host start/qmidiroute", ("host start/plain",)),
    Goal("start", "first paint beside qjackctl", "host start/keyloft", "us", 0.6,
         "host start/qjackctl", ("host start/plain",)),
    Goal("start", "first paint beside a plain window", "host start/keyloft", "us", 1.15,
         "host start/plain"),
    Goal("start", "peak memory beside vmpk", "host start/keyloft", "peak_kb", 0.9,
         "host start/vmpk", ("host start/plain",)),
    Goal("start", "peak memory beside qmidiroute", "host start/keyloft", "peak_kb", 0.9,
         "host start/qmidiroute", ("host start/plain",)),
    Goal("start", "peak memory beside qjackctl", "host start/keyloft", "peak_kb", 0.9,
         "host start/qjackctl", ("host start/plain",)),
    Goal("start", "peak memory beside a plain window", "host start/keyloft", "peak_kb", 1.1,
         "host start/plain"),
    Goal("idle", "context switches in 10 s", "host idle/keyloft", "switches", 0),
    # Four a second: two for each time that the caret comes or goes, which is 22 times in 10 s if
    # both ends count.
    Goal("idle", "the same of the window's thread, with a blinking caret",
         "host idle/keyloft with caret", "main_switches", 44, None,
         ("host idle/plain with caret",)),
]

# (benchmark, figure, metric, least, most) of the short run. Times are wide, counts are exact; those
# of instructions are a debug build's, for one probe, one message out and one message in.
LIMITS = [
    ("sweep", "host embedded/ours/1000", "us", 0, 1e6),
    ("sweep", "host embedded/ours/1000", "allocations", 0, 0),
    ("sweep", "host embedded/ours/16", "instructions", 45_000, 53_000),
    ("sweep", "host embedded/ours/1000", "instructions", 2_700_000, 3_150_000),
    ("sweep", "guest sweep/ours/16", "calls", 17, 17),
    ("sweep", "guest sweep/ours/1000", "calls", 17, 17),
    ("sweep", "guest sweep/ours/1000", "us", 0, 10e6),
    ("hotplug", "guest hotplug/ours/16", "calls", 1, 3),
    ("hotplug", "guest hotplug/ours/1000", "calls", 1, 3),
    ("hotplug", "guest hotplug/ours/1000", "us", 0, 1e6),
    ("echo", "guest echo/ours/1000", "us", 0, 10e6),
    ("echo", "guest echo/ours/16", "calls", 4, 5),
    ("echo", "guest echo/ours/1000", "calls", 4, 5),
    ("echo", "guest echo/ours/1000", "send_allocations", 0, 0),
    ("echo", "guest echo/ours/1000", "receive_allocations", 0, 0),
    ("echo", "guest usb/ours/0", "us", 0, 10e6),
    ("press", "host press/inside/1/0", "us", 311_000, 5e6),
    ("press", "host press/inside/16/0", "us", 0, 5e6),
    ("press", "host press/inside/1/1000", "us", 311_000, 5e6),
    ("press", "guest press/sequencer/1/0", "us", 311_000, 60e6),
    ("press", "guest press/sequencer/1/1000", "us", 311_000, 60e6),
    ("reading", "host reading/1000", "us", 0, 1e6),
    ("reading", "host reading/1000", "instructions", 177_000_000, 217_000_000),
    ("reading", "host reading/128", "allocations", 12, 13),
    ("reading", "host reading/1000", "allocations", 12, 13),
    ("list", "guest list/ours", "us", 0, 20e6),
    ("list", "guest list/ours", "peak_kb", 0, 20_000),
    ("layout", "host layout/ours/1/128", "us", 1_408_000, 15e6),
    ("layout", "host layout/ours/16/128", "us", 1_408_000, 15e6),
    ("layout", "host layout/ours/1/128", "waits", 1, 7),
    ("layout", "host layout/counts/1/128", "waits", 7, 7),
    ("layout", "host layout/counts/1/128", "allocations", 0.05, 0.1),
    ("layout", "host layout/counts/16/128", "waits", 7 / 16, 7 / 16),
    ("layout", "host layout/counts/16/128", "allocations", 0.05, 0.1),
    ("layout", "guest apply/ours", "peak_kb", 0, 20_000),
    ("layout", "guest layout/ours/1/128", "us", 1_408_000, 60e6),
    ("layout", "guest layout/ours/1/128", "calls", 15, 22),
    ("layout", "guest layout/ours/16/128", "us", 1_408_000, 120e6),
    ("layout", "guest layout/ours/16/128", "calls", 11, 18),
    ("start", "host start/keyloft", "us", 0, 20e6),
    ("start", "host start/keyloft", "peak_kb", 0, 60_000),
    ("idle", "host idle/keyloft", "switches", 0, 0),
    ("idle", "host idle/demo", "switches", 0, 0),
    ("idle", "host idle/keyloft with caret", "switches", 1, 20),
    ("command", "host command/ours", "us", 0, 200_000),
    ("command", "host command/ours", "shortest_excess_us", 0, 100_000),
    ("command", "host command/ours", "switches", 7, 9),
    ("command", "host command/send", "allocations", 0, 0),
    ("command", "host command/receive", "allocations", 0, 0),
    ("command", "host command/send", "instructions", 3_600, 4_250),
    ("command", "host command/receive", "instructions", 4_150, 4_800),
]


def read(folder, place):
    """The figures that a folder's runs left: by name and metric, one for each run."""
    samples = {}
    runs = sorted(folder.glob("*-*.json"), key=lambda path: int(path.stem.split("-")[0]))
    for path in runs:
        for entry in json.loads(path.read_text())["benchmarks"]:
            if entry["run_type"] == "aggregate":
                continue
            if "error_message" in entry:
                raise SystemExit(f"script/bench: {entry['name']}: {entry['error_message']}")
            name = place + " " + re.sub(r"/(iterations:\d+|repeats:\d+|manual_time|real_time)", "",
                                        entry["name"])
            figures = samples.setdefault(name, {})
            figures.setdefault("us", []).append(
                entry["real_time"] * MICROSECONDS[entry["time_unit"]])
            for metric in set(entry) & METRICS:
                figures.setdefault(metric, []).append(entry[metric])
    return samples


METRICS = {"calls", "allocations", "switches", "cpu_us", "shortest_excess_us",
           "longest_excess_us", "median_us", "peak_kb", "send_allocations", "receive_allocations",
           "waits"}


def spread(values):
    """Median, and the lowest and highest of the middle half of the values."""
    if len(values) < 2:
        return values[0], values[0], values[0]
    low, middle, high = statistics.quantiles(values, n=4, method="inclusive")
    return middle, low, high


def text(value):
    return f"{value:,.0f}" if abs(value) >= 100 else f"{value:.3g}"


def print_figures(samples):
    for name, figures in samples.items():
        for metric, values in sorted(figures.items()):
            middle, low, high = spread(values)
            print(f"{name:34} {metric:20} {text(middle):>12}   {text(low)} to {text(high)}")


def judge_goals(samples, benchmarks):
    """Prints each goal of the benchmarks with what was measured; gives them as data."""
    judged = []
    for goal in GOALS:
        ours = samples.get(goal.ours, {}).get(goal.metric)
        theirs = samples.get(goal.reference, {}).get(goal.metric)
        if goal.benchmark not in benchmarks or not ours or (goal.reference and not theirs):
            continue
        floors = [samples[name][goal.metric] for name in goal.floor if name in samples]
        floor = [sum(parts) for parts in zip(*floors)] if len(floors) == len(goal.floor) else []
        if theirs:
            ours = [mine / reference for mine, reference in zip(ours, theirs)]
            floor = [least / reference for least, reference in zip(floor, theirs)]
        middle, low, high = spread(ours)
        holds = middle <= goal.limit
        line = (f"{'holds ' if holds else 'MISSED'} {goal.benchmark}: {goal.what}: {text(middle)} "
                f"({text(low)} to {text(high)}), at most {text(goal.limit)}")
        judged.append({**dataclasses.asdict(goal), "median": middle, "low": low, "high": high,
                       "holds": holds})
        if floor:
            judged[-1]["floor_median"] = spread(floor)[0]
            line += f", floor {text(spread(floor)[0])}"
        print(line)
    return judged


def broken_limits(samples, benchmarks):
    """A sentence for each figure of a short run that is not within its limits."""
    broken = []
    for benchmark, name, metric, least, most in LIMITS:
        if benchmark not in benchmarks or name.split()[0] not in {key.split()[0] for key in
                                                                  samples}:
            continue
        for value in samples.get(name, {}).get(metric, [float("nan")]):
            if not least <= value <= most:
                broken.append(f"{name}: {metric} is {text(value)}, not {least} to {most}")
    return broken
