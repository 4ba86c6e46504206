#!/usr/bin/env python3
"""Measures what sweeps cost with krsim and the drive cycle: the CPU time of a run's start, and how much faster two
processes at a time are than one. Wants an idle machine. After a release build:

    tools/bench_sweep.py [--build build/release] [--runs 1000]
"""
import argparse
import os
import pathlib
import statistics
import subprocess
import tempfile
import time

STARTS = 40
ROOT = pathlib.Path(__file__).resolve().parent.parent


def spend(command):
    """Seconds of the wall clock and of the processors, with those of its children."""
    before, begin = os.times(), time.monotonic()
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    after = os.times()
    used = after.children_user - before.children_user + after.children_system - before.children_system
    return time.monotonic() - begin, used


def measure_starts(name, *commands):
    """Medians of interleaved starts, in milliseconds of CPU time. One start is too short for the clock of os.times."""
    times = [[] for _ in commands]
    for _ in range(STARTS):
        for command, each in zip(commands, times):
            process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            _, status, usage = os.wait4(process.pid, 0)
            process.returncode = os.waitstatus_to_exitcode(status)
            if process.returncode != 0:
                raise SystemExit(f"{' '.join(command)} ended with {process.returncode}")
            each.append(1000 * (usage.ru_utime + usage.ru_stime))
    print(name, ", ".join(f"{statistics.median(each):.1f} ms" for each in times))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build/release")
    parser.add_argument("--runs", type=int, default=1000)
    options = parser.parse_args()
    krsim = str(options.build / "apps/krsim/krsim")
    setup = [str(ROOT / "examples/drive_cycle/setup.xml"), "--plugins", str(options.build / "examples/plugins")]
    one = [krsim, "run", *setup, "--free", "--quiet", "--no-log-file", "--frames", "1"]
    measure_starts("CPU time of 'krsim --version', and of a run of one frame from files:", [krsim, "--version"], one)

    alone = [krsim, "run", *setup, "--free", "--quiet", "--no-log-file", "--seconds", "11800"]
    single, _ = spend(alone)
    begin = time.monotonic()
    both = [subprocess.Popen(alone, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) for _ in range(2)]
    for each in both:
        each.wait()
    print(f"Two long runs side by side are {2 * single / (time.monotonic() - begin):.2f} times as fast as one after the other: "
          "the most that this machine gives")

    with tempfile.TemporaryDirectory() as folder:
        elapsed = []
        for jobs in ("1", "2"):
            sweep = [krsim, "sweep", *setup, "--seconds", "1180", "--random", str(options.runs), "--vary",
                     "Vehicle.Mass=1 t:2 t", "--of", "Vehicle.Speed", "--table", f"{folder}/{jobs}.csv", "-j", jobs]
            wall, used = spend(sweep)
            elapsed.append(wall)
            print(f"{options.runs} drive cycles, -j {jobs}: {wall:.1f} s, {1000 * used / options.runs:.1f} ms of CPU time each")
    print(f"-j 2 is {elapsed[0] / elapsed[1]:.2f} times as fast as -j 1")


if __name__ == "__main__":
    main()
