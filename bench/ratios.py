#!/usr/bin/env python3
"""Turns the JSON of a benchmark program into a table of ratios.

Names end in RACE/ours/SIZE and RACE/peer/SIZE (or RACE/SIZE/ours ...): for each pair the table
shows both medians and ours over the peer's speed, with the spread of the paired repetitions.
Usage: ratios.py FILE.json...
"""
import json
import statistics
import sys


def pairs(report):
    times = {}
    for run in report["benchmarks"]:
        if run.get("run_type") == "aggregate":
            continue
        parts = run["name"].split("/")
        for side in ("ours", "peer"):
            if side in parts:
                race = "/".join(p for p in parts if p != side and not p.startswith("repeats:"))
                times.setdefault(race, {}).setdefault(side, []).append(run)
    return times


def speed(run):
    return run.get("bytes_per_second") or run.get("items_per_second") or 1e9 / run["real_time"]


def main():
    for path in sys.argv[1:]:
        with open(path, encoding="utf-8") as file:
            report = json.load(file)
        context = report["context"]
        print(f"\n{path}: {context['num_cpus']} CPUs at {context['mhz_per_cpu']} MHz\n")
        print("| race | ours M/s | peer M/s | ratio | min | max |")
        print("|---|---|---|---|---|---|")
        for race, sides in pairs(report).items():
            if len(sides) != 2:
                continue
            ours = [speed(r) for r in sides["ours"]]
            peer = [speed(r) for r in sides["peer"]]
            ratios = [a / b for a, b in zip(ours, peer)]
            print(f"| {race} | {statistics.median(ours) / 1e6:.0f} | "
                  f"{statistics.median(peer) / 1e6:.0f} | {statistics.median(ratios):.2f} | "
                  f"{min(ratios):.2f} | {max(ratios):.2f} |")


if __name__ == "__main__":
    main()
