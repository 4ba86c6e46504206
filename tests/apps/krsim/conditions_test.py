"""Runs that conditions check and end: conditions_test.py KRSIM PLUGINS_FOLDER SETUP_OF_DRIVE_CYCLE ACTORS_FOLDER

What conditions mean, and how they are refused, is in tests/conditions.
"""
import json
import re
import subprocess
import sys
import unittest

KRSIM, PLUGINS, SETUP, ACTORS = sys.argv[1:5]
DRIVE = ["run", SETUP, "--plugins", PLUGINS, "--free", "--no-log-file", "--seconds", "60"]
SPOILER = ["run", "--plugins", ACTORS, "--content", "Stage", "--module", "Spoiler", "--free", "--frames", "7", "--keep-going"]
SLOW = ["--check", "Vehicle.Speed < 5 km/h"]
FAST = "'Electric Car/Vehicle.Speed' < 140 km/h"

# name: (arguments, exit code, a regular expression in what it prints)
RUNS = {
    "checks that hold": ([*DRIVE, "--check", FAST, "--check", "Vehicle.Speed >= 0"], 0, "all seconds.*checks: 2, none failed\n"),
    "a check that fails": (
        [*DRIVE, *SLOW, "--check", FAST], 1,
        "all seconds simulated: 3600 frames.*failed checks: 1 of 2\n  'Vehicle.Speed < 5 km/h': failed [0-9]+ times in frames "
        "[0-9]+ to [0-9]+ .*: Electric Car/Vehicle.Outputs.Speed = [0-9.]+ m/s; last Electric Car/Vehicle"),
    "failures of checks stay failures": ([*DRIVE, *SLOW, "--keep-going"], 1, "failed checks: 1 of 1\n"),
    "a check that fails, quiet": ([*DRIVE, *SLOW, "--quiet"], 1, "^[^\n]*WARN - ConditionWatch: check 'Vehicle.Speed < 5 km/h' failed in "
                               "frame [0-9]+ [^\n]*\n$"),
    "stop on a failed check": ([*DRIVE, *SLOW, "--stop-on-failed-check"], 1,
                               "stopped by the failed check 'Vehicle.Speed < 5 km/h': .*: failed in frame [0-9]+ "),
    "stop": ([*DRIVE, "--stop-when", "Vehicle.Speed > 25 km/h"], 0, "krsim: stopped by 'Vehicle.Speed > 25 km/h': [0-9]+ frames"),
    "stop at a time": ([*DRIVE, "--stop-when", "time >= 2 s"], 0, "krsim: stopped by 'time >= 2 s': 120 frames"),
    "stop at a frame": ([*DRIVE, "--stop-when", "frame == 7"], 0, "krsim: stopped by 'frame == 7': 7 frames"),
    "stop after a time": ([*DRIVE, "--stop-when", "Vehicle.Speed >= 0 for 1.5 s"], 0, "stopped by '.*for 1.5 s': 91 frames"),
    "no reason to stop": ([*DRIVE, "--stop-when", "Vehicle.Speed > 400 km/h"], 0, "all seconds simulated: 3600 frames"),
    "a NaN is a failure": ([*SPOILER, "--check", "Spoiler.Speed > -1"], 1,
                        r"'Spoiler.Speed > -1': failed .*; not a number: Spoiler.Outputs.Speed = -?nan"),
    "a NaN stops nothing": ([*SPOILER, "--stop-when", "not Spoiler.Speed > -1"], 0, "WARN.*it ends no run.*all frames run: 7"),
    "all that is refused": ([*DRIVE, "--check", "Vehicle.Sped < 1", "--stop-when", "Vehicle.Speed > 3 kg"], 2,
                         "(?m)^krsim: --check '.*', column 1: there is no field 'Vehicle.Sped'; did you mean 'Vehicle.Speed'.\n"
                         "krsim: --stop-when '.*', column 17: '3 kg' is no speed"),
    "an empty condition": ([*DRIVE, "--check", ""], 2, "--check '', column 1: there is no condition"),
    "an empty condition to stop": ([*DRIVE, "--stop-when", ""], 2, "--stop-when '', column 1: there is no condition"),
    "stop on failed checks without one": ([*DRIVE, "--stop-on-failed-check"], 2, "requires --check"),
    "two reasons to stop": ([*DRIVE, "--stop-when", "true", "--stop-when", "true"], 2, "--stop-when"),
}


class Conditions(unittest.TestCase):
    def krsim(self, *arguments, errors=subprocess.STDOUT):
        result = subprocess.run([KRSIM, *arguments], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=errors, text=True)
        return result.returncode, result.stdout

    def test_runs(self):
        for name, (arguments, code, message) in RUNS.items():
            with self.subTest(name):
                ended, printed = self.krsim(*arguments)
                self.assertEqual(ended, code, printed)
                self.assertRegex(printed, re.compile(message, re.DOTALL))

    def test_the_summary_for_programs_has_each_check(self):
        checks = "frame != 2 and frame != 4", "frame > 0"
        ended, printed = self.krsim(*DRIVE, "--json", "--check", checks[0], "--check", checks[1], errors=subprocess.DEVNULL)
        self.assertEqual(ended, 1)
        self.assertEqual(json.loads(printed)["checks"], [
            {"expression": checks[0], "failures": 2, "reason": "", "first": {"frame": 2, "seconds": 2 / 60, "values": ""},
             "last": {"frame": 4, "seconds": 4 / 60, "values": ""}},
            {"expression": checks[1], "failures": 0, "reason": "", "first": None, "last": None}])

    def test_a_stop_is_the_end_for_programs(self):
        _, printed = self.krsim(*DRIVE, "--json", "--stop-when", "frame == 3", errors=subprocess.DEVNULL)
        summary = json.loads(printed)
        self.assertEqual((summary["end"], summary["frames"]), ("stopped by 'frame == 3'", 3))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
