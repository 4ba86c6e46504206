"""krsim run --record FILE.mcap: recording_test.py KRSIM PLUGINS_FOLDER DRIVE_CYCLE_FOLDER ACTORS_FOLDER

With KR_READERS, a folder in which @mcap/core and protobufjs are installed, these read the recording as well
(scripts/readers.sh)."""
import csv
import json
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import time
import unittest

from mcap_file import McapFile

KRSIM, PLUGINS, EXAMPLE, ACTORS = sys.argv[1:5]
SETUP = [str(pathlib.Path(EXAMPLE) / "setup.xml"), "--plugins", PLUGINS, "--no-log-file", "--quiet"]
PALETTE = {"Color": {"R": 0.25, "G": 0.5, "B": 0.75, "A": 1.0}, "Place": {"X": 1.0, "Y": -2.0, "Z": 0.125}, "Below_Zero": -70000,
           "Above": 4000000000, "Little": -3, "Half": 0.5, "On": True, "Note": "grün"}
READER = pathlib.Path(__file__).with_name("readers") / "read_mcap.mjs"


class Recording(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory()
        self.addCleanup(holder.cleanup)
        self.folder = pathlib.Path(holder.name)
        self.file = self.folder / "drive.mcap"

    def krsim(self, *arguments, code=0):
        done = subprocess.run([KRSIM, *map(str, arguments)], capture_output=True, text=True, timeout=100, check=False)
        self.assertEqual(done.returncode, code, done.stderr)
        return done.stdout + done.stderr

    def record(self, *arguments, file=None):
        return self.krsim("run", *SETUP, "--free", "--seconds", "60", "--record", file or self.file, *arguments)

    def by_table(self):
        """The rows of the same run as a table: time, {path: text}."""
        table = self.folder / "drive.csv"
        self.record(file=table)
        with open(table, newline="", encoding="utf-8") as stream:
            return list(csv.DictReader(stream))

    def check(self, values, channels):
        """Each message has the values of the table's row at its time."""
        rows = {round(float(row["Time"]), 6): row for row in self.by_table()}
        compared = 0
        for seconds, topic, found in values:
            row = rows[round(seconds, 6)]
            for name, value in found.items():
                path = topic.rsplit(".", 1)[0] + "." + channels[topic]["field:" + name]
                self.assertEqual(value, float(row[path]), path)
                compared += 1
        self.assertEqual(compared, sum(len(row) - 1 for row in rows.values()))

    def test_the_values_are_those_of_the_table(self):
        self.record()
        recording = McapFile(self.file)
        self.check(recording.values(), {topic: facts for topic, _, facts in recording.channels.values()})
        self.assertEqual(len(recording.channels), 4)

    def record_palette(self):
        self.krsim("run", "--plugins", ACTORS, "--content", "Palette", "--module", "Chatter", "--free", "--frames", "2", "--quiet",
                   "--record", self.file)

    def test_each_kind_of_value_keeps_its_type(self):
        self.record_palette()
        self.assertEqual([values for _, topic, values in McapFile(self.file).values() if topic == "Palette.Outputs"], [PALETTE] * 3)

    def test_it_tells_what_it_depends_on(self):
        self.record("--set", "Vehicle.Mass=1.9 t", "--set", "Driver.Gain=0.5", "--seed", "7")
        recording = McapFile(self.file)
        self.assertEqual([recording.metadata[key] for key in ("set", "set 2", "seed")],
                         ["Vehicle.Mass=1.9 t", "Driver.Gain=0.5", "7"])
        self.assertIn("setup.xml", recording.metadata["file"])
        self.assertRegex(recording.metadata["listed"], "^[0-9a-f]{8} car.xml$")
        facts = {topic: facts for topic, _, facts in recording.channels.values()}["Electric Car/Vehicle.Outputs"]
        self.assertEqual((facts["field:Speed"], facts["unit:Speed"]), ("Outputs.Speed", "m/s"))

    def test_patterns_and_periods_choose(self):
        self.record("--record-field", "Vehicle.Speed", "--record-period", "0.5")
        values = list(McapFile(self.file).values())
        self.assertEqual(len(values), 121)
        self.assertEqual(set(values[0][2]), {"Speed"})
        self.assertIn("recording of 1 channels, 121 messages from 0 s to 60 s", self.krsim("info", self.file))

    def test_what_cannot_be_recorded_is_told(self):
        for arguments, code, message in ((["--record-field", "*.Sped"], 2, "no field is of the pattern '*.Sped'"),
                                         (["--record-units"], 2, "--record-units is for tables")):
            with self.subTest(message):
                self.assertIn(message, self.krsim("run", *SETUP, "--free", "--frames", "5", "--record", self.file, *arguments,
                                                  code=code))
                self.assertFalse(self.file.exists())
        self.file.write_text("Dear reader")
        self.assertIn("--force replaces it", self.krsim("run", *SETUP, "--record", self.file, code=2))

    def test_a_killed_run_leaves_a_recording_that_is_recovered(self):
        with subprocess.Popen([KRSIM, "run", *SETUP, "--paced", "--record", self.file]) as process:
            while not self.file.exists() or self.file.stat().st_size < 2000:
                time.sleep(0.05)
            process.send_signal(signal.SIGKILL)
        self.assertIn("its end is missing", self.krsim("info", self.file))
        whole = self.folder / "whole.mcap"
        self.assertIn("messages were saved", self.krsim("recover", self.file, whole, code=1))
        self.assertGreater(len(McapFile(whole).messages), 0)
        self.assertIn("another file", self.krsim("recover", whole, whole, code=2))

    def read(self, form):
        done = subprocess.run(["node", str(READER), form, str(self.file)], capture_output=True, text=True, check=False)
        self.assertEqual(done.returncode, 0, done.stderr)
        return json.loads(done.stdout)

    @unittest.skipUnless("KR_READERS" in os.environ, "scripts/readers.sh runs it")
    def test_independent_readers_read_the_same(self):
        self.record_palette()
        self.assertEqual([each["values"] for each in self.read("stream")["messages"]], [PALETTE] * 3)
        self.record()
        for form in ("indexed", "stream"):
            with self.subTest(form):
                read = self.read(form)
                self.check(((each["seconds"], each["topic"], each["values"]) for each in read["messages"]), read["channels"])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
