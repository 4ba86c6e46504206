"""krsim edit, connect and instantiate: edit_test.py KRSIM PLUGINS_FOLDER DRIVE_CYCLE_FOLDER"""
import difflib
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

KRSIM, PLUGINS, EXAMPLE = sys.argv[1:4]


class Edit(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.file = self.folder / "car.xml"
        self.original = (pathlib.Path(EXAMPLE) / "car.xml").read_text(encoding="utf-8")
        self.file.write_text(self.original, encoding="utf-8")

    def krsim(self, command, *arguments, file=None):
        return subprocess.run([KRSIM, command, file or str(self.file), *arguments, "--plugins", PLUGINS], text=True,
                              capture_output=True, timeout=100, check=False)

    def changed_lines(self):
        lines = difflib.ndiff(self.original.splitlines(), self.file.read_text(encoding="utf-8").splitlines())
        return [line[0] + line[1:].strip() for line in lines if line[0] in "+-"]

    def test_a_field_is_set_and_nothing_else_changes(self):
        done = self.krsim("edit", "--set", "Vehicle.Mass=1.9 t")
        self.assertEqual((done.returncode, done.stdout), (0, "Electric Car/Vehicle.Parameters.Mass = 1900 kg, was 1500 kg\n"),
                         done.stderr)
        self.assertEqual(self.changed_lines(), ["-<Value>1500.0</Value>", "+<Value>1900.0</Value>"])

    def test_without_the_plug_in_the_content_is_kept(self):
        done = subprocess.run([KRSIM, "edit", str(self.file), "--set", "Vehicle.Mass=1.9 t"], text=True,
                              capture_output=True, timeout=100, check=False)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(self.changed_lines(), ["-<Value>1500.0</Value>", "+<Value>1900.0</Value>"])

    def test_a_connection_gets_another_kind(self):
        self.assertEqual(self.krsim("connect", "Vehicle.Speed", "Driver.Speed", "--remove").returncode, 0)
        done = self.krsim("connect", "Vehicle.Speed", "Driver.Speed", "--delay")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertEqual(self.changed_lines(), ["-<IsQueued>true</IsQueued>", "+<IsUnitDelay>true</IsUnitDelay>"])

    def test_a_connection_leaves_the_value_of_its_sink(self):
        done = self.krsim("connect", "Driver.Pedal", "Vehicle.Mass")
        self.assertEqual((done.returncode, "measures Ratio" in done.stderr), (0, True), done.stderr)
        self.assertTrue(all(line.startswith("+") for line in self.changed_lines()), self.changed_lines())

    def test_what_is_added_can_be_removed_again(self):
        self.assertEqual(self.krsim("edit", "--add", "Driver", "--name", "Copilot", "--in", "Electric Car").returncode, 0)
        self.assertIn("+<Name>Copilot</Name>", self.changed_lines())
        self.assertEqual(self.krsim("edit", "--remove", "Electric Car/Copilot").returncode, 0)
        self.assertEqual(self.changed_lines(), [])

    def test_instances_follow_their_definition(self):
        self.krsim("connect", "Driver.Pedal", "Electric Drive.Pedal", "--remove")
        done = self.krsim("instantiate", "Electric Car", "--count", "2", "--name", "Taxi", "--set", "Taxi 2/Vehicle.Mass=2 t")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(self.krsim("edit", "--set", "Electric Car/Vehicle.Mass=3 t").returncode, 0)
        copy = self.folder / "copy.xml"
        self.krsim("edit", "--set", "Taxi/Driver.Pedal=0", "--output", str(copy))
        listed = self.krsim("edit", "--set", "*/Vehicle.Mass=1 t", "--output", str(copy), "--force").stdout
        self.assertIn("Taxi/Vehicle.Parameters.Mass = 1000 kg, was 3000 kg", listed)
        self.assertIn("Taxi 2/Vehicle.Parameters.Mass = 1000 kg, was 2000 kg", listed)

    def test_instances_of_a_definition_in_another_file(self):
        fleet = self.folder / "fleet.xml"
        made = self.krsim("edit", "--remove", "Electric Car", "--output", str(fleet))
        self.assertEqual(made.returncode, 0, made.stderr)
        done = self.krsim("instantiate", "Electric Car", "--from", str(self.file), file=str(fleet))
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(self.krsim("verify", file=str(fleet)).returncode, 0)
        self.assertLess(fleet.stat().st_size, self.file.stat().st_size / 2)

    def test_another_file_is_written_and_the_first_kept(self):
        other = self.folder / "other.xml"
        self.assertEqual(self.krsim("edit", "--set", "Vehicle.Mass=2 t", "--output", str(other)).returncode, 0)
        self.assertEqual(self.changed_lines(), [])
        self.assertEqual(self.krsim("edit", "--set", "Vehicle.Mass=3 t", "--output", str(other)).returncode, 2)

    def test_a_binary_file_stays_one(self):
        binary = self.folder / "car.kro"
        subprocess.run([KRSIM, "convert", str(self.file), str(binary), "--to", "binary", "--plugins", PLUGINS], check=True)
        self.assertEqual(self.krsim("edit", "--set", "Vehicle.Mass=2 t", file=str(binary)).returncode, 0)
        self.assertIn("binary", self.krsim_info(binary))

    def krsim_info(self, file):
        return subprocess.run([KRSIM, "info", str(file)], text=True, capture_output=True, timeout=100, check=True).stdout

    def test_refusals_change_nothing(self):
        refusals = {  # arguments: (exit code, a part of the message)
            ("edit", "--set", "Vehicle.Maas=1"): (2, "did you mean 'Vehicle.Mass'?"),
            ("edit", "--set", "Vehicle.Mass=0 kg", "--set", "Vehicle.Mass=3 m"): (2, "is no mass"),
            ("edit", "--set", "Driver.Speed=1"): (2, "a connection sets it"),
            ("edit", "--remove", "Electric Cat"): (2, "did you mean 'Electric Car'?"),
            ("edit", "--add", "No Such Type"): (2, "No Such Type"),
            ("edit", "--add", "Driver", "--in", "Vehicle"): (2, "is no object, which could hold others"),
            ("connect", "Vehicle.Mass", "Vehicle.Speed"): (2, "of the role Parameter do not drive"),
            ("connect", "Vehicle.Sped", "Driver.Speed"): (2, "did you mean"),
            ("connect", "Vehicle.Speed", "Vehicle.Mass", "--remove"): (2, "is not connected to"),
            ("instantiate", "Vehicle"): (2, "is no object; only objects have instances"),
            ("instantiate", "Electric Car", "--from", "nowhere.xml"): (2, "nowhere.xml"),
        }
        for arguments, (code, message) in refusals.items():
            with self.subTest(arguments=arguments):
                done = self.krsim(*arguments)
                self.assertEqual(self.changed_lines(), [])
                self.assertIn(message, done.stderr)
                self.assertEqual(done.returncode, code, done.stderr)

    def test_a_setup_is_no_object_file(self):
        shutil.copy(os.path.join(EXAMPLE, "setup.xml"), self.folder)
        done = self.krsim("edit", "--set", "a=b", file=str(self.folder / "setup.xml"))
        self.assertEqual((done.returncode, "holds no objects" in done.stderr), (2, True), done.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
