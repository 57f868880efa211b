#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs the benchmarks interleaved and compares ours with its peers: ratios of medians, and the goals."""

import argparse
import json
import pathlib
import re
import statistics
import subprocess
import sys
import tempfile

# The largest share of the peer's time that ours may take.
GOALS = {
    "delivery_to_record": {"pugixml": 1.00},
    "registration": {"fmt": 0.80},
    "status_request": {"fmt": 1.50},
    "whole_poll": {"bare": 1.40},
    "xml_large": {"pugixml": 0.42},
    "log_line_1": {"write": 1.20, "spdlog": 0.67},
    "log_line_4": {"write": 1.15},
    "event_1": {"signals2": 0.18},
    "event_8": {"signals2": 0.10},
    "messenger_roundtrip": {"raw": 1.05},
    "messenger_chunks": {"raw": 1.08},
    "helper_roundtrip": {"two_threads": 1.08},
    "texts_shipped": {"expat": 1.20, "limit": 1.00},
    "texts_large": {"expat": 1.20},
    "info_list": {"limit": 1.00},
}
# Where the peer is a time that ours may take, in nanoseconds.
LIMITS = {"texts_shipped": 5e6, "info_list": 1e6}
# Both ends of a socket on one core: the goals are about our own work, not the scheduler's.
PINNED = {"client_bench", "messenger_bench", "helper_bench"}
NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}


def run(program, options):
    """The repetitions of one program's benchmarks, as its JSON tells them."""
    with tempfile.NamedTemporaryFile(suffix=".json") as out:
        pinned = ["taskset", "-c", "0"] if program.name in PINNED else []
        result = subprocess.run(
            [*pinned, program, f"--benchmark_filter={options.filter}", "--benchmark_enable_random_interleaving=true",
             f"--benchmark_repetitions={options.repetitions}", f"--benchmark_min_time={options.min_time}",
             f"--benchmark_out={out.name}", "--benchmark_out_format=json"],
            stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
        if result.returncode:
            sys.exit(f"{program.name} failed:\n{result.stderr}")
        # A program that has nothing for the filter writes nothing.
        text = out.read()
    return json.loads(text)["benchmarks"] if text else []


def medians(repetitions):
    """{path: {contender: nanoseconds}}; a repetition that failed is an error."""
    times = {}
    for repetition in repetitions:
        if repetition.get("error_occurred"):
            sys.exit(f"{repetition['name']}: {repetition['error_message']}")
        if repetition["run_type"] != "iteration":
            continue
        path, contender, *rest = repetition["run_name"].split("/")
        clock = "real_time" if "real_time" in rest else "cpu_time"
        nanoseconds = repetition[clock] * NANOSECONDS[repetition["time_unit"]]
        times.setdefault(path, {}).setdefault(contender, []).append(nanoseconds)
    return {path: {contender: statistics.median(values) for contender, values in contenders.items()}
            for path, contenders in times.items()}


def print_table(measured):
    """Returns the goals that are missed, and those that were not measured."""
    missed, unmeasured = [], []
    print(f"{'path':<21}{'ours ns':>12}  {'peer':<20}{'peer ns':>12}{'ratio':>8}{'goal':>7}")
    for path in [*GOALS, *sorted(measured.keys() - GOALS.keys())]:
        contenders = measured.get(path, {}) | ({"limit": LIMITS[path]} if path in LIMITS else {})
        goals = GOALS.get(path, {})
        unmeasured += [f"{path}/{peer}" for peer in goals if not {"ours", peer} <= contenders.keys()]
        if "ours" not in contenders:
            continue
        ours = contenders["ours"]
        for peer in sorted(contenders.keys() - {"ours"}, key=lambda name: (name not in goals, name)):
            ratio = ours / contenders[peer]
            line = f"{path:<21}{ours:>12.1f}  {peer:<20}{contenders[peer]:>12.1f}{ratio:>8.2f}"
            if peer in goals:
                met = ratio <= goals[peer]
                line += f"{goals[peer]:>7.2f}  {'met' if met else 'missed'}"
                missed += [] if met else [f"{path}/{peer}"]
            print(line)
    return missed, unmeasured


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", required=True, help="build folder with the benchmark programs")
    parser.add_argument("--repetitions", type=int, default=15)
    parser.add_argument("--min-time", type=float, default=0.1, help="seconds of one repetition")
    parser.add_argument("filter", nargs="?", default=".*", help="expression that the benchmarks' names match")
    options = parser.parse_args()

    programs = sorted(path for path in pathlib.Path(options.build).rglob("*_bench") if path.is_file())
    if not programs:
        sys.exit(f"no benchmarks in {options.build}")
    measured = medians([repetition for program in programs for repetition in run(program, options)])
    if not measured:
        sys.exit(f"no benchmark matches {options.filter}")
    missed, unmeasured = print_table(measured)
    wanted = [name for name in unmeasured if re.search(options.filter, name)]
    print("missed: " + ", ".join(missed) if missed else "no goal is missed")
    if wanted:
        sys.exit("not measured: " + ", ".join(wanted))


if __name__ == "__main__":
    main()
