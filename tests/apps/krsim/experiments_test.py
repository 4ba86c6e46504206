"""The scripts of examples/experiments: experiments_test.py KRSIM PLUGINS_FOLDER SCRIPTS_FOLDER"""
import pathlib
import subprocess
import sys
import tempfile
import unittest

KRSIM, PLUGINS, SCRIPTS = sys.argv[1:4]


class Experiments(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.results = pathlib.Path(folder.name) / "results"

    def run_script(self, name):
        return subprocess.run([str(pathlib.Path(SCRIPTS) / name), KRSIM, PLUGINS, str(self.results)], text=True,
                              capture_output=True, timeout=200, check=True).stdout

    def test_a_heavier_car_consumes_more(self):
        lines = self.run_script("mass_sweep.py").splitlines()
        consumption = [float(line.split(": ")[1].split()[0]) for line in lines]
        self.assertEqual((len(lines), lines[0][:5], lines[-1][:5]), (11, "1.0 t", "2.0 t"))
        self.assertEqual(consumption, sorted(consumption))
        self.assertIn("<polyline", (self.results / "mass.svg").read_text(encoding="utf-8"))

    def test_the_check_finds_the_brake_that_fails(self):
        self.assertIn("failed checks: 1 of 1", self.run_script("brake_fault.sh"))

    def test_the_mass_is_that_of_the_table(self):
        rows = [line.split(",") for line in self.run_script("stimulus.sh").split()]
        masses = {float(row[0]): float(row[-1]) for row in rows if row[0][:1].isdigit()}
        self.assertEqual((masses[150.0], masses[400.0]), (1500.0, 1900.0))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
