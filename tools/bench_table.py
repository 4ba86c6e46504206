#!/usr/bin/env python3
"""Measures the goals of benchmarks/goals.json and prints one table.

bench_table.py --goals FILE --programs DIR [--runs N] [FILTER]    measure and print; exit 1 when a goal is not reached
bench_table.py --goals FILE --file NAME --check PROGRAM           only check that the goals name existing benchmarks
"""
import argparse
import json
import pathlib
import re
import statistics
import subprocess
import sys
import tempfile

KEYS = {"goal", "file", "subject", "reference", "max_ratio", "min_ratio", "counter", "max", "time", "peer"}


def load_goals(path):
    """Reads the goals; any malformed entry ends the program with a message that names it."""
    try:
        goals = json.loads(pathlib.Path(path).read_text(encoding="utf-8"))
    except (OSError, ValueError) as error:
        sys.exit(f"{path}: {error}")
    for goal in goals:
        kinds = [kind for kind in ("max_ratio", "min_ratio", "counter") if kind in goal]
        needed = {"goal", "file", "subject"} | ({"max"} if "counter" in goal else {"reference"})
        if len(kinds) != 1 or not needed <= goal.keys() or not goal.keys() <= KEYS:
            sys.exit(f"{path}: malformed goal {json.dumps(goal)}")
        if goal.get("time", "cpu") not in ("cpu", "real"):
            sys.exit(f"{path}: time is neither cpu nor real in {json.dumps(goal)}")
    return goals


def names_of(goal):
    return [goal[key] for key in ("subject", "reference") if key in goal]


def check(program, goals):
    listed = subprocess.run([program, "--benchmark_list_tests"], check=True, capture_output=True, text=True)
    existing = set(listed.stdout.split("\n"))
    absent = [(goal["goal"], name) for goal in goals for name in names_of(goal)
              if name not in existing and not (name == goal.get("reference") and "peer" in goal)]
    for text, name in absent:
        print(f"goal '{text}': {program} has no benchmark {name}")
    return 1 if absent else 0


def run(program, names, repetitions):
    """One interleaved run of the named benchmarks; returns the JSON rows of each by name."""
    pattern = "^(" + "|".join(re.escape(name) for name in sorted(names)) + ")$"
    with tempfile.TemporaryDirectory() as folder:
        out = pathlib.Path(folder) / "out.json"
        subprocess.run([program, f"--benchmark_filter={pattern}", "--benchmark_enable_random_interleaving=true",
                        f"--benchmark_repetitions={repetitions}", f"--benchmark_out={out}",
                        "--benchmark_out_format=json"], check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        text = out.read_text(encoding="utf-8")
    rows = {}
    for row in json.loads(text)["benchmarks"] if text.strip() else []:
        if row.get("run_type") == "iteration" and not row.get("error_occurred"):
            rows.setdefault(row["run_name"], []).append(row)
    return rows


UNITS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}


def nanoseconds(rows, which):
    # The library divides wall time by the number of threads; multiplied back it is what one thread sees.
    return statistics.median(
        row["real_time"] * row.get("threads", 1) * UNITS[row["time_unit"]] if which == "real"
        else row["cpu_time"] * UNITS[row["time_unit"]] for row in rows)


def measure(goal, rows):
    """The value that the goal limits, or the name of the benchmark (or counter) that gave none."""
    for name in names_of(goal):
        if name not in rows:
            return None, name
    subject = rows[goal["subject"]]
    if "counter" in goal:
        if any(goal["counter"] not in row for row in subject):
            return None, f"counter {goal['counter']}"
        return statistics.median(row[goal["counter"]] for row in subject), None
    which = goal.get("time", "cpu")
    ours, other = nanoseconds(subject, which), nanoseconds(rows[goal["reference"]], which)
    divisor = ours if "min_ratio" in goal else other
    if divisor <= 0:
        return None, "a time above zero"
    return (other / ours if "min_ratio" in goal else ours / other), None


def target_of(goal):
    if "counter" in goal:
        return f"<= {goal['max']:g}", lambda value: value <= goal["max"]
    if "min_ratio" in goal:
        return f">= {goal['min_ratio']:g}x", lambda value: value >= goal["min_ratio"]
    return f"<= {goal['max_ratio']:g}x", lambda value: value <= goal["max_ratio"]


def table(goals, programs, runs, repetitions):
    values = [[] for _ in goals]
    absent = [None] * len(goals)
    for file in sorted({goal["file"] for goal in goals}):
        mine = [index for index, goal in enumerate(goals) if goal["file"] == file]
        program = pathlib.Path(programs) / f"{file}_benchmark"
        if not program.exists():
            for index in mine:
                absent[index] = str(program)
            continue
        names = {name for index in mine for name in names_of(goals[index])}
        for _ in range(runs):
            print(f"running {program.name} ...", file=sys.stderr)
            rows = run(program, names, repetitions)
            for index in mine:
                value, missing = measure(goals[index], rows)
                if missing:
                    absent[index] = missing
                else:
                    values[index].append(value)

    lines = [("goal", "measured", "target", "result")]
    failed = 0
    for goal, measured, missing in zip(goals, values, absent):
        target, reached = target_of(goal)
        if missing:
            lines.append((goal["goal"], "-", target, f"NOT MEASURED (no {missing})"))
            failed += 1
            continue
        value = statistics.median(measured)
        failed += not reached(value)
        shown = f"{value:g}" if "counter" in goal else f"{value:.2f}x"
        lines.append((goal["goal"], shown, target, "reached" if reached(value) else "MISSED"))
    widths = [max(len(line[column]) for line in lines) for column in range(3)]
    for text, measured, target, result in lines:
        print(f"{text:<{widths[0]}}  {measured:>{widths[1]}}  {target:>{widths[2]}}  {result}")
    print(f"{len(goals) - failed} of {len(goals)} goals reached")
    return 1 if failed else 0


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--goals", required=True)
    parser.add_argument("--programs", help="folder of the benchmark programs")
    parser.add_argument("--runs", type=int, default=1, help="take the median ratio of this many runs")
    parser.add_argument("--repetitions", type=int, default=5)
    parser.add_argument("--check", metavar="PROGRAM")
    parser.add_argument("--file")
    parser.add_argument("filter", nargs="?", default="", help="measure only goals whose file or text contains this")
    arguments = parser.parse_args()

    goals = load_goals(arguments.goals)
    if arguments.check:
        return check(arguments.check, [goal for goal in goals if goal["file"] == arguments.file])
    if not arguments.programs or arguments.runs < 1 or arguments.repetitions < 1:
        parser.error("--programs is needed, --runs and --repetitions are at least 1")
    wanted = arguments.filter.lower()
    goals = [goal for goal in goals if wanted in goal["file"].lower() or wanted in goal["goal"].lower()]
    if not goals:
        sys.exit(f"no goal matches '{arguments.filter}'" if wanted else f"{arguments.goals} lists no goals")
    return table(goals, arguments.programs, arguments.runs, arguments.repetitions)


if __name__ == "__main__":
    sys.exit(main())
