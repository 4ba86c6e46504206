"""Hashes the frames of the examples with krsim: hash_test.py KRSIM PLUGINS_FOLDER EXAMPLES_FOLDER [--renew]

All builds must compute the hashes that are in the folder hashes beside this file. After a change that is meant to change
values, write them again with scripts/hashes.sh --renew, and say in the commit why they changed. They are those of x86-64.
The fleet is no such run: its roads are sums of sines, which the C library rounds otherwise on some processors."""
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

KRSIM, PLUGINS = sys.argv[1:3]
EXAMPLES = pathlib.Path(sys.argv[3])
EXPECTED = pathlib.Path(__file__).parent / "hashes"
KEPT_EVERY = 60  # frames, so that the files stay short

RUNS = {  # name: (setup file, frames); arithmetic and square roots only, which all processors round alike
    "drive_cycle": ("drive_cycle/setup.xml", 3600),
}


def krsim(*arguments, code=0):
    result = subprocess.run([KRSIM, *map(str, arguments)], stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)
    if result.returncode != code:
        raise AssertionError(f"krsim {' '.join(map(str, arguments))} ended with {result.returncode}:\n{result.stdout}{result.stderr}")
    return result.stdout


def run(setup, frames, *more):
    return krsim("run", "--plugins", PLUGINS, setup, "--free", "--quiet", "--no-log-file", "--seed", 5, "--frames", frames, *more)


def read_frames(path):
    lines = path.read_text().splitlines()
    return lines[lines.index("frames") + 1:-1]


def hash_run(name, folder):
    setup, frames = RUNS[name]
    path = pathlib.Path(folder, name)
    run(EXAMPLES / setup, frames, "--hash", path)
    return [line for line in read_frames(path) if int(line.split()[0]) % KEPT_EVERY == 0]


class Hashes(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory()
        self.addCleanup(holder.cleanup)
        self.folder = pathlib.Path(holder.name)
        for name in ("car.xml", "setup.xml"):
            (self.folder / name).write_bytes((EXAMPLES / "drive_cycle" / name).read_bytes())
        self.first, self.second = self.folder / "first", self.folder / "second"

    def hash(self, path, frames=900, *more):
        run(self.folder / "setup.xml", frames, "--hash", path, *more)

    def change_mass(self):
        car = self.folder / "car.xml"
        text = car.read_text()
        self.assertIn("<Value>1500.0</Value>", text)
        car.write_text(text.replace("<Value>1500.0</Value>", "<Value>1500.5</Value>", 1))

    def test_all_builds_compute_the_same(self):
        for name in RUNS:
            with self.subTest(name):
                self.assertEqual(hash_run(name, self.folder), (EXPECTED / name).read_text().splitlines())

    def test_equal_runs_have_equal_hashes(self):
        self.hash(self.first)
        self.hash(self.second)
        self.assertEqual(krsim("diff", self.first, self.second), "")

    def test_hashes_do_not_depend_on_the_folder_from_which_a_file_is_named(self):
        self.hash(self.first, 2)
        run(os.path.relpath(self.folder / "setup.xml"), 2, "--hash", self.second)
        self.assertEqual(krsim("diff", self.first, self.second), "")

    def test_content_of_the_command_line_has_equal_hashes(self):
        for path in (self.first, self.second):
            krsim("run", "--plugins", PLUGINS, "--content", "Electric Car", "--free", "--quiet", "--no-log-file", "--frames", 60,
                  "--hash", path)
        self.assertEqual(krsim("diff", self.first, self.second), "")

    def test_a_restored_run_continues_the_hashes(self):
        state = self.folder / "state"
        self.hash(self.first)
        self.hash(self.second, 300, "--save-state", state)
        krsim("run", "--plugins", PLUGINS, self.folder / "setup.xml", "--free", "--quiet", "--no-log-file", "--frames", 600,
              "--restore-state", state, "--force", "--hash", self.second)
        self.assertEqual(read_frames(self.second)[0], read_frames(self.first)[300])
        self.assertEqual(krsim("diff", self.first, self.second), "")

    def test_the_first_frame_and_field_that_differ_are_named(self):
        self.hash(self.first, 900, "--save-state", self.folder / "one")
        self.change_mass()
        self.hash(self.second, 900, "--save-state", self.folder / "two")
        self.assertRegex(krsim("diff", self.first, self.second, code=1),
                         r"(?s)^frame 0 \w{16} -> 0 \w{16}\n.*a run differs at its beginning")
        frames = self.folder / "from_frame_900"  # the same run as one that differs there only
        lines = self.second.read_text().splitlines()
        begin = lines.index("frames") + 1
        frames.write_text("\n".join(lines[:begin] + read_frames(self.first)[:900] + lines[-2:]) + "\n")
        self.assertRegex(krsim("diff", self.first, frames, code=1), r"frame 900 .*(?s:.*)--frames 900 --save-state STATE")
        told = krsim("diff", self.first, frames, "--states", self.folder / "one", self.folder / "two", code=1)
        self.assertRegex(told, r"Vehicle.*: 1500.* -> 1500\.5|Driver.* -> |Electric Drive.* -> ")
        krsim("diff", self.first, self.second, "--states", self.folder / "one", self.folder / "two", code=2)

    def test_a_killed_run_leaves_its_complete_lines(self):
        self.hash(self.first)
        text = self.first.read_text()
        self.second.write_text(text[:len(text) // 2])
        self.assertIn("only in the first\nthe other file was cut off", krsim("diff", self.first, self.second, code=1))

    def test_other_files_are_refused(self):
        self.hash(self.first, 2)
        krsim("diff", self.first, self.folder / "car.xml", code=3)
        krsim("diff", self.folder / "car.xml", self.folder / "car.xml", "--states", self.first, self.first, code=2)

    def test_standard_output_holds_the_hashes_alone(self):
        self.assertRegex(krsim("run", "--plugins", PLUGINS, self.folder / "setup.xml", "--frames", 1, "--free", "--no-log-file",
                               "--hash", "-"), re.compile(r"\Aframe hashes 1\n.*^1 \w{16}\nend 1\n\Z", re.S | re.M))


if __name__ == "__main__":
    if sys.argv[4:] == ["--renew"]:
        EXPECTED.mkdir(exist_ok=True)
        with tempfile.TemporaryDirectory() as folder:
            for each in RUNS:
                (EXPECTED / each).write_text("\n".join(hash_run(each, folder)) + "\n")
    else:
        unittest.main(argv=sys.argv[:1])
