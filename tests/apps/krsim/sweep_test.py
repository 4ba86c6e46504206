"""krsim sweep: sweep_test.py KRSIM PLUGINS_FOLDER DRIVE_CYCLE_FOLDER ACTORS_FOLDER"""
import csv
import json
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import unittest

KRSIM, PLUGINS, EXAMPLE, ACTORS = sys.argv[1:5]
SETUP = [str(pathlib.Path(EXAMPLE) / "setup.xml"), "--plugins", PLUGINS, "--frames", "120"]
MASSES = ["--vary", "Vehicle.Mass=1 t:2 t:500 kg"]
SPEED = ["--of", "Vehicle.Speed"]


class Sweep(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.table = os.path.join(self.folder.name, "table.csv")
        self.runs = pathlib.Path(self.table + ".runs")

    def sweep(self, *arguments, files=SETUP):
        return subprocess.run([KRSIM, "sweep", *files, *arguments, "--table", self.table], text=True, capture_output=True,
                              timeout=100, check=False)

    def rows(self):
        with open(self.table, newline="", encoding="utf-8") as stream:
            return list(csv.DictReader(stream))

    def test_one_row_for_each_value(self):
        done = self.sweep(*MASSES, *SPEED, "-j", "2")
        self.assertEqual((done.returncode, done.stderr.count("0 of them done before")), (0, 1), done.stderr)
        rows = self.rows()
        self.assertEqual([row["Vehicle.Mass"] for row in rows], ["1 t", "1.5 t", "2 t"])
        self.assertEqual([row["Exit Code"] for row in rows], ["0", "0", "0"])
        self.assertEqual(list(rows[0])[5:], [f"Electric Car/Vehicle.Outputs.Speed {what} [m/s]"
                                             for what in ("final", "min", "max", "mean", "rms")])

    def test_a_run_of_a_sweep_has_the_values_of_the_same_run_alone(self):
        self.sweep(*MASSES, "--of", "*.Battery Energy")
        alone = subprocess.run([KRSIM, "run", *SETUP, "--free", "--quiet", "--set", "Vehicle.Mass=1.5 t", "--outputs",
                                "--no-log-file"], text=True, capture_output=True, timeout=100, check=True).stdout
        energy = next(line for line in alone.splitlines() if "Battery Energy" in line).split(" = ")[1].split()[0]
        self.assertEqual(self.rows()[1]["Electric Car/Electric Drive.Outputs.Battery Energy final [J]"], energy)

    def test_the_second_call_runs_what_is_missing(self):
        self.sweep(*MASSES, *SPEED)
        first = pathlib.Path(self.table).read_bytes()
        results = sorted(self.runs.glob("*.json"))
        kept = results[0].stat().st_mtime_ns
        results[1].unlink()
        results[2].write_text('{"exitCode": 0,')  # half of a file is none
        done = self.sweep(*MASSES, *SPEED)
        self.assertIn("3 runs, 1 of them done before", done.stderr)
        self.assertEqual(pathlib.Path(self.table).read_bytes(), first)
        self.assertEqual(results[0].stat().st_mtime_ns, kept)

    def test_results_of_another_sweep_are_kept_unless_forced(self):
        self.sweep(*MASSES, *SPEED)
        other = ["--vary", "Vehicle.Mass=3 t"]
        refused = self.sweep(*other, *SPEED)
        self.assertEqual((refused.returncode, "another sweep" in refused.stderr), (2, True), refused.stderr)
        self.assertEqual(len(list(self.runs.glob("*.json"))), 3)
        self.assertEqual(self.sweep(*other, *SPEED, "--force").returncode, 0)
        self.assertEqual([row["Vehicle.Mass"] for row in self.rows()], ["3 t"])

    def test_a_foreign_folder_is_refused(self):
        self.runs.mkdir()
        (self.runs / "thesis.txt").write_text("mine")
        self.assertEqual(self.sweep(*MASSES).returncode, 2)
        self.assertEqual((self.runs / "thesis.txt").read_text(), "mine")

    def test_what_is_wrong_with_all_runs_is_told_once_and_can_be_mended(self):
        done = self.sweep("--vary", "Vehicle.Maas=1 t,2 t")
        self.assertEqual(done.returncode, 2)
        self.assertEqual(done.stderr.count("did you mean 'Vehicle.Mass'?"), 1, done.stderr)
        self.assertEqual(self.sweep(*MASSES).returncode, 0)

    def test_a_value_out_of_range_fails_its_run_only(self):
        done = self.sweep("--vary", "Vehicle.Mass=1 t,1e9 t,2 t", *SPEED)
        self.assertEqual(done.returncode, 1)
        self.assertIn("1 of 3 runs failed", done.stderr)
        self.assertEqual([row["Failure"] != "" for row in self.rows()], [False, True, False])
        self.assertIn("out of the range of the field", self.rows()[1]["Failure"])

    def test_a_crash_ends_its_run_and_not_the_sweep(self):
        crash = ["--plugins", ACTORS, "--module", "Actor.Dipper", "--module", "Actor.Crasher", "--frames", "9"]
        done = self.sweep("--vary", "Dipper.Depth=1,2", "--of", "Dipper.Depth", files=crash)
        self.assertEqual((done.returncode, "2 of 2 runs failed" in done.stderr), (1, True), done.stderr)
        for row in self.rows():
            self.assertRegex(row["Failure"], "crash: SIGSEGV.* frame 3")

    def test_samples_have_seeds_of_their_own(self):
        self.sweep("--latin", "4", "--seed", "5", "--vary", "Vehicle.Mass=1 t:2 t", *SPEED)
        self.assertEqual([row["Seed"] for row in self.rows()], ["5", "6", "7", "8"])

    def test_programs_get_the_results_as_an_object(self):
        self.sweep("--vary", "Vehicle.Mass=1 t,1e9 t", *SPEED)
        done = subprocess.run([KRSIM, "sweep", *SETUP, "--folder", self.runs, "--json", "--vary", "Vehicle.Mass=1 t,1e9 t", *SPEED],
                              capture_output=True, text=True)
        result = json.loads(done.stdout)
        self.assertEqual((done.returncode, result["failed"], result["missing"]), (1, 1, 0), done.stderr)
        good, bad = result["runs"]
        self.assertEqual((good["values"], good["exitCode"], good["failure"]), ({"Vehicle.Mass": "1 t"}, 0, ""))
        self.assertEqual((good["fields"][0]["unit"], good["fields"][0]["max"]),
                         ("m/s", float(self.rows()[0]["Electric Car/Vehicle.Outputs.Speed max [m/s]"])))
        self.assertEqual((bad["exitCode"], bad["fields"]), (None, []))
        self.assertIn("out of the range", bad["failure"])

    def test_a_signal_ends_the_sweep_and_the_next_call_goes_on(self):
        command = [KRSIM, "sweep", SETUP[0], "--plugins", PLUGINS, "--seconds", "1200", "--random", "2000", "--vary",
                   "Vehicle.Mass=1 t:2 t", *SPEED, "--table", self.table, "-j", "1"]
        with subprocess.Popen(command, stderr=subprocess.PIPE, text=True) as process:
            self.assertIn("0 of them done before", process.stderr.readline())
            process.send_signal(signal.SIGTERM)
            errors = process.communicate(timeout=60)[1]
        self.assertEqual(process.returncode, 143, errors)
        self.assertIn("the same command runs them", errors)
        for each in self.runs.glob("*.json"):
            json.loads(each.read_text())


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
