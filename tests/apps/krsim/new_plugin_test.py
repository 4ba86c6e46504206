"""krsim new-plugin: what it writes and what it refuses; the install test builds one. new_plugin_test.py KRSIM TEMPLATE"""
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

KRSIM, TEMPLATE = sys.argv[1], pathlib.Path(sys.argv[2])
IDENTIFIER = re.compile(r"[0-9a-f]{8}(?:-[0-9a-f]{4}){3}-[0-9a-f]{12}|\b[0-9A-F]{16}-[0-9A-F]{16}\b")

# name: why it is refused
BAD_NAMES = {
    "pump": "begins with no capital letter",
    "": "begins with no capital letter",
    "../Pump": "begins with no capital letter",
    "Water Pump": "has characters other than letters and digits",
    "Pump/Part": "has characters other than letters and digits",
    "Pümpe": "has characters other than letters and digits",
    "NULL": "has no small letter",
    "P" + "u" * 64: "has more than 64 characters",
    "KrSim": "begins like those of the library",
    "IExtension": "is that of the class that it is derived from",
}


def read(folder):
    return {each.name: each.read_text() for each in folder.iterdir()}


class NewPlugin(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory()
        self.addCleanup(holder.cleanup)
        self.folder = pathlib.Path(holder.name)

    def make(self, *arguments, code=0):
        ended = subprocess.run([KRSIM, "new-plugin", *arguments], cwd=self.folder, capture_output=True, text=True)
        self.assertEqual(ended.returncode, code, ended.stdout + ended.stderr)
        return ended.stderr

    def test_has_the_files_of_the_template_with_identifiers_of_its_own(self):
        self.make("RoadVehicle")
        template, made = read(TEMPLATE), read(self.folder / "RoadVehicle")
        for name in template:
            with self.subTest(name):
                self.assertEqual(IDENTIFIER.sub("ID", made[name]), IDENTIFIER.sub("ID", template[name]))
        old, new = set(IDENTIFIER.findall("".join(template.values()))), IDENTIFIER.findall("".join(made.values()))
        self.assertEqual(len(set(new)), len(old))
        self.assertEqual(old & set(new), set())
        type_id, = re.findall(r'"Road Vehicle", "(.*)"', made["road_vehicle_plugin.cpp"])
        self.assertIn(type_id, made["content.xml"])

    def test_is_named_as_asked(self):
        self.make("ABSController2", "--directory", "deep/abs")
        made = read(self.folder / "deep/abs")
        self.assertEqual(sorted(made), ["CMakeLists.txt", "README.md", "abs_controller2.h", "abs_controller2_plugin.cpp",
                                        "abs_controller2_test.cpp", "content.xml", "setup.xml"])
        text = "".join(made.values())
        self.assertNotRegex(text, "(?i)road.?vehicle")
        self.assertIn("class ABSController2 final", text)
        self.assertIn("class ABSController2Module final", text)
        self.assertIn("<Name>ABS Controller2</Name>", text)

    def test_refuses_names_that_are_no_classes(self):
        for name, reason in BAD_NAMES.items():
            with self.subTest(name):
                complaint = self.make(name, code=2)
                self.assertIn(f"krsim: '{name}' is no name for a plug-in: it {reason}", complaint)
        self.assertEqual(list(self.folder.iterdir()), [])

    def test_leaves_a_folder_with_files_alone_unless_forced(self):
        (self.folder / "Pump").mkdir()
        self.make("Pump")
        plugin = self.folder / "Pump/pump.h"
        plugin.write_text("mine")
        (self.folder / "Pump/notes").write_text("mine, too")
        self.assertIn("folder 'Pump' is not empty", self.make("Pump", code=2))
        self.assertEqual(plugin.read_text(), "mine")
        self.make("Pump", "--force")
        self.assertIn("class Pump final", plugin.read_text())
        self.assertEqual((self.folder / "Pump/notes").read_text(), "mine, too")

    def test_names_what_it_cannot_write(self):
        (self.folder / "Pump").write_text("")
        self.assertIn("krsim: 'Pump' is no folder", self.make("Pump", code=2))
        self.assertIn("krsim: cannot make folder 'Pump/Part': ", self.make("Pump", "--directory", "Pump/Part", code=1))
        (self.folder / "Tank/tank.h").mkdir(parents=True)
        self.assertIn("krsim: cannot write 'Tank/tank.h': Is a directory", self.make("Tank", "--force", code=1))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
