#!/usr/bin/env python3
"""Turns the JSON of a benchmark program into tables.

A benchmark is named RACE/CONTENDER. A contender whose name begins with "ours" is raced against
each of the others of its race: the table shows the medians and how many times as fast ours is, with
the spread of the repetitions. "ours against PEER" times both by itself, turn by turn, and has the
ratio as a counter. What has no peer, and further counters, are listed below. Speeds are in million
bytes or items a second, or in runs a second where a benchmark counts neither.
Usage: ratios.py FILE.json...
"""
import json
import statistics
import sys

MODIFIERS = ("manual_time", "real_time", "process_time")
# What Google Benchmark itself says of a run.
FIELDS = {"name", "family_index", "per_family_instance_index", "run_name", "run_type",
          "repetitions", "repetition_index", "threads", "iterations", "real_time", "cpu_time",
          "time_unit", "bytes_per_second", "items_per_second", "ratio"}
NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}


def races(report):
    """Runs by race and contender."""
    found = {}
    for run in report["benchmarks"]:
        if run["run_type"] == "aggregate":
            continue
        parts = [p for p in run["run_name"].split("/") if p not in MODIFIERS and ":" not in p]
        found.setdefault("/".join(parts[:-1]), {}).setdefault(parts[-1], []).append(run)
    return found


def speed(run):
    """Million bytes or items a second, else operations a second."""
    for rate in ("bytes_per_second", "items_per_second"):
        if rate in run:
            return run[rate] / 1e6
    time = "real_time" if "manual_time" in run["run_name"] else "cpu_time"
    return 1e9 / (run[time] * NANOSECONDS[run["time_unit"]])


def median(values):
    return statistics.median(values)


def pairings(contenders):
    """For each pairing: our name, the peer's, our speeds, the peer's, their ratios."""
    for name, runs in contenders.items():
        if not name.startswith("ours"):
            continue
        speeds = [speed(run) for run in runs]
        if "ratio" in runs[0]:
            ratios = [run["ratio"] for run in runs]
            own, _, peer = name.partition(" against ")
            yield own, peer, speeds, [s / r for s, r in zip(speeds, ratios)], ratios
            continue
        for peer, peer_runs in contenders.items():
            if peer.startswith("ours"):
                continue
            peer_speeds = [speed(run) for run in peer_runs]
            yield name, peer, speeds, peer_speeds, [a / b for a, b in zip(speeds, peer_speeds)]


def table(header, rows):
    if not rows:
        return
    print("\n| " + " | ".join(header) + " |")
    print("|" + "---|" * len(header))
    for row in rows:
        print("| " + " | ".join(row) + " |")


def number(value):
    return f"{value:.0f}" if value >= 100 else f"{value:.3g}"


def main():
    for path in sys.argv[1:]:
        with open(path, encoding="utf-8") as file:
            report = json.load(file)
        context = report["context"]
        print(f"\n{path}: {context['num_cpus']} CPUs at {context['mhz_per_cpu']} MHz")
        raced = []
        other = []
        for race, contenders in sorted(races(report).items()):
            found = list(pairings(contenders))
            for own, peer, speeds, peer_speeds, ratios in found:
                raced.append([race, own, peer, number(median(speeds)), number(median(peer_speeds)),
                              f"{median(ratios):.2f}", f"{min(ratios):.2f}", f"{max(ratios):.2f}"])
            for name, runs in contenders.items():
                counters = [c for c in runs[0] if c not in FIELDS]
                figures = [f"{c} {number(median(run[c] for run in runs))}" for c in counters]
                if figures or not found:
                    other.append([race, name, number(median(speed(run) for run in runs)),
                                  ", ".join(figures)])
        table(["race", "ours", "peer", "our speed", "the peer's", "ratio", "min", "max"], raced)
        table(["benchmark", "of", "speed", "figures"], other)


if __name__ == "__main__":
    main()
