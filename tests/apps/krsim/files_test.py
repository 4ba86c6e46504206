"""Works on files with krsim: files_test.py KRSIM PLUGINS_FOLDER DRIVE_CYCLE_FOLDER FIXTURES_FOLDER EARLIER_PLUGINS_FOLDER"""
import csv
import json
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

KRSIM, PLUGINS, EXAMPLE = sys.argv[1:4]
FIXTURES = pathlib.Path(sys.argv[4], "2020.3")
WITH_PLUGINS = ["--plugins", PLUGINS]
WITH_EARLIER_PLUGINS = ["--plugins", sys.argv[5]]


class Files(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory()
        self.addCleanup(holder.cleanup)
        self.folder = pathlib.Path(holder.name)
        self.car = self.folder / "car.xml"
        self.setup_file = self.folder / "setup.xml"
        self.car.write_bytes(pathlib.Path(EXAMPLE, "car.xml").read_bytes())
        self.setup_file.write_bytes(pathlib.Path(EXAMPLE, "setup.xml").read_bytes())

    def krsim(self, *arguments, code=0, stdin=None):
        result = subprocess.run([KRSIM, *map(str, arguments)], input=stdin or b"", capture_output=True, check=False)
        told = result.stdout.decode("utf-8", "surrogateescape")
        complaints = result.stderr.decode()
        self.assertEqual(result.returncode, code, told + complaints)
        return told + (complaints if code else "")

    def run_quietly(self, *arguments, **more):
        return self.krsim("run", "--quiet", "--free", "--log-level", "warn", "--log-file", f"{self.folder}/log_",
                          *WITH_PLUGINS, *arguments, **more)

    def test_a_run_from_files_is_the_run_from_types(self):
        arguments = ("--seconds", 100, "--outputs")
        from_types = self.run_quietly("--content", "Electric Car", *arguments)
        self.assertIn("Vehicle.Outputs.Distance = ", from_types)
        self.assertEqual(self.run_quietly(self.setup_file, *arguments), from_types)
        # Without a setup, the modules of the plug-ins that the content comes from.
        self.assertEqual(self.run_quietly(self.car, *arguments), from_types)

    def test_a_restored_run_goes_on_exactly(self):
        table, middle, *ends = (self.folder / name for name in ("table.csv", "middle.json", "first", "second.xml"))
        self.run_quietly(self.setup_file, "--seconds", 40, "--save-state", ends[0])
        self.run_quietly(self.setup_file, "--seconds", 25, "--save-state", middle)
        self.run_quietly(self.setup_file, "--restore-state", middle, "--seconds", 15, "--save-state", ends[1], "--record",
                         table, "--record-field", "*.Outputs.S?eed", "--record-period", 5)
        # How long a run takes is another thing each time.
        self.assertEqual(self.krsim("diff", *ends, "--ignore", "*/ElapsedSeconds", "--ignore", "*/SecondsSince*"), "")
        self.assertIn("Vehicle", self.krsim("diff", middle, ends[0], code=1))
        with table.open(newline="") as file:
            rows = list(csv.reader(file))
        self.assertEqual(rows[0], ["Time", "Electric Car/Vehicle.Outputs.Speed"])
        self.assertEqual([round(float(row[0]), 2) for row in rows[1:]], [25.0, 30.0, 35.0, 40.0])
        self.assertGreater(float(rows[1][1]), 0.0)
        other = self.folder / "other.xml"
        self.krsim("create", *WITH_PLUGINS, "--content", "Electric Car", "--objects", other)
        self.assertIn("is one of other content", self.run_quietly(other, "--restore-state", middle, code=3))

    def test_a_state_of_an_earlier_release_finds_the_modules_of_its_setup(self):
        self.krsim("run", "--quiet", "--free", "--no-log-file", *WITH_EARLIER_PLUGINS, FIXTURES / "traffic.json",
                   "--restore-state", FIXTURES / "traffic_state.json", "--frames", 1)

    def test_nothing_is_found_in_files_of_earlier_releases(self):
        for name, plugins in (("traffic.json", WITH_EARLIER_PLUGINS), ("content/car.xml", WITH_PLUGINS),
                              ("content/parts.json", WITH_PLUGINS), ("content/car.binary", WITH_PLUGINS)):
            with self.subTest(name):
                self.assertIn("no fault was found", self.krsim("verify", FIXTURES / name, *plugins))

    def test_a_run_takes_the_seed_of_its_setup_unless_it_has_its_own(self):
        seeded = self.folder / "seeded.xml"
        text = self.setup_file.read_text()
        seeded.write_text(text.replace("</Settings>", "<RandomSeed>7</RandomSeed></Settings>", 1))
        for name, setup, more, seed in (("neither", self.setup_file, [], 0), ("setup", seeded, [], 7),
                                        ("zero of the command line", seeded, ["--seed", 0], 0),
                                        ("command line", seeded, ["--seed", 8], 8)):
            with self.subTest(name):
                summary = json.loads(self.run_quietly(setup, "--frames", 1, "--json", *more))
                self.assertEqual(summary["randomSeed"], seed)

    def test_instances_are_stored_complete_on_request(self):
        fleet = pathlib.Path(EXAMPLE).parent / "fleet"
        for name in ("car.xml", "fleet.xml"):
            (self.folder / name).write_bytes((fleet / name).read_bytes())
        own, whole = self.folder / "fleet.xml", self.folder / "whole.xml"
        self.krsim("convert", own, whole, "--to", "xml", "--self-contained", *WITH_PLUGINS)
        self.assertGreater(whole.stat().st_size, 5 * own.stat().st_size)
        self.assertNotIn("IsOwnOnly", whole.read_text())
        (self.folder / "car.xml").unlink()
        cars = self.run_quietly(whole, "--seconds", 1, "--outputs")
        self.assertRegex(cars, r"Car 3/Road\.Outputs\.Distance = \d+")

    def test_values_are_shown_in_the_unit_system_of_the_content(self):
        units = self.folder / "units.xml"
        self.krsim("create", "--content", "Unit System", "--objects", units)
        text = units.read_text(encoding="utf-8")
        units.write_text(text.replace("<Text>SI</Text>", "<Text>US customary</Text>").replace("<Number>0<", "<Number>1<"),
                         encoding="utf-8")
        for name, more, force in (("display units of fields", (), "Traction Force = 0 N\n"),
                                  ("option", ("--units", "us"), "Traction Force = 0 lbf\n"),
                                  ("content", (units,), "Traction Force = 0 lbf\n"),
                                  ("option over content", ("--units", "SI", units), "Traction Force = 0 N\n"),
                                  ("set before the run", (units, "--set", "System=SI"), "Traction Force = 0 N\n")):
            with self.subTest(name):
                self.assertIn(force, self.run_quietly(self.setup_file, *more, "--frames", 1, "--outputs"))

    def test_a_number_without_a_unit_is_in_the_shown_one(self):
        told = self.krsim("run", self.setup_file, *WITH_PLUGINS, "--no-log-file", "--free", "--frames", 1, "--units", "us",
                          "--set", "Vehicle.Parameters.Mass=4000")
        self.assertIn("Mass = 4000 lb, was 3306.933932773164 lb", told)

    def test_a_dump_adds_values_in_other_units(self):
        told = self.krsim("dump", "--flat", "--units", "us", self.car)
        self.assertRegex(told, r"\[Mass\]/Value: 1500 \(3306\.933932773164 lb\)\n")
        self.assertEqual(re.sub(r" \([^()]*\)\n", "\n", told), self.krsim("dump", "--flat", self.car))

    def test_programs_read_json(self):
        facts, = json.loads(self.krsim("info", "--json", self.car))["files"]
        self.assertEqual((facts["file"], facts["format"], facts["content"], facts["bytes"]),
                         (str(self.car), "XML", "objects", self.car.stat().st_size))
        listed = json.loads(self.krsim("list", "--json", *WITH_PLUGINS))
        cycle, = [each for each in listed["plugins"] if each["name"] == "DriveCycle"]
        self.assertIn(("Vehicle", "extension"), [(each["name"], each["kind"]) for each in cycle["types"]])
        self.assertIn("Unit System", [each["name"] for each in listed["library"]["types"]])
        verified = json.loads(self.krsim("verify", "--json", *WITH_PLUGINS, self.setup_file))
        self.assertEqual(verified, {"refused": [], "findings": [], "extensions": 5, "modules": 1})
        text = self.car.read_text(encoding="utf-8")
        self.car.write_text(text.replace("<Identifier>Mass<", "<Identifier>Maas<"), encoding="utf-8")
        result = subprocess.run([KRSIM, "verify", "--json", *WITH_PLUGINS, self.setup_file], capture_output=True, check=False)
        self.assertEqual(result.returncode, 3)
        self.assertIn("Maas", json.loads(result.stdout)["findings"][0]["text"])

    def test_types_are_described_with_their_fields(self):
        described = json.loads(self.krsim("types", "--json", *WITH_PLUGINS))
        self.assertEqual(described["problems"], [])
        vehicle, = [each for each in described["types"] if each["name"] == "Vehicle"]
        self.assertEqual((vehicle["category"], vehicle["plugin"], vehicle["kind"]), ("Drive Cycle", "DriveCycle", "extension"))
        mass, = [each for each in vehicle["fields"] if each["name"] == "Mass"]
        self.assertEqual((mass["role"], mass["type"], mass["unit"]), ("parameter", "Double", "kg"))
        self.assertIn("Vehicle", self.krsim("types", "--html", *WITH_PLUGINS))

    def test_the_doctor_fails_with_a_problem_only(self):
        good = subprocess.run([KRSIM, "doctor", "--json", *WITH_PLUGINS], capture_output=True, check=False)
        examined = json.loads(good.stdout)["examined"]
        self.assertEqual(good.returncode, int(any(each["level"] == "problem" for each in examined)))
        self.assertIn({"subject": "plug-in", "level": "good"},
                      [{key: each[key] for key in ("subject", "level")} for each in examined])
        self.assertRegex(self.krsim("doctor", "--plugins", self.folder / "none", code=1),
                         r"problem plug-in folder: '.*none' cannot be read: No such file or directory\n +do: ")

    def test_kinds_convert_without_loss(self):
        for plugins in ([], WITH_PLUGINS):
            step = self.car
            for kind in ("binary", "json", "xml"):
                before, step = step, self.folder / f"car.{kind}"
                self.krsim("convert", before, step, "--to", kind, "--force", *plugins)
                self.assertEqual(self.krsim("diff", self.car, step), "")
                self.assertRegex(self.krsim("info", step), f"(?i): {kind}, objects, release \\d+.\\d+, \\d+ bytes\n$")
            self.assertEqual(step.read_bytes(), self.car.read_bytes())
        self.assertIn("Identifier: Mass\n", self.krsim("dump", self.folder / "car.binary"))
        record = "run", self.car, "--free", "--frames", "1000", "--record", "-", *WITH_PLUGINS
        outputs = "run", self.car, "--free", "--frames", "10", "--outputs", "--quiet", *WITH_PLUGINS
        status = "run", self.car, "--free", "--frames", "10", *WITH_PLUGINS
        state = "run", self.car, "--free", "--frames", "10", "--save-state", "-", *WITH_PLUGINS
        for command in (("dump", self.car), ("diff", self.car, self.setup_file), record, outputs, status, state):
            with self.subTest(command[0]), open("/dev/full", "w") as full:
                ended = subprocess.run([KRSIM, *command], stdout=full, stderr=subprocess.DEVNULL)
                self.assertEqual(ended.returncode, 1)

    def test_only_regular_files_are_replaced(self):
        link, real = self.folder / "link.xml", self.folder / "real.xml"
        real.touch()
        link.symlink_to(real)
        self.krsim("convert", self.car, link, "--to", "xml")
        self.assertTrue(link.is_symlink())
        self.assertEqual(real.read_bytes(), self.car.read_bytes())
        self.assertEqual(self.krsim("convert", self.car, "-", "--to", "xml"), self.car.read_text())
        self.assertIn("digraph", self.krsim("graph", self.car, *WITH_PLUGINS, "--output", "-"))
        null = self.folder / "null"
        null.symlink_to("/dev/null")
        for target in ("/dev/null", "/dev/stdout", null):
            self.assertRegex(self.krsim("convert", self.car, target, "--to", "xml", code=1),
                             "(?s)cannot be saved: .*a device, pipe or socket; '-' writes to standard output")
        self.assertTrue(null.is_symlink())
        state = self.folder / "state"
        state.symlink_to(real)
        self.assertIn("states are not saved through links",
                      self.run_quietly(self.car, "--frames", 3, "--save-state", state, "--force", code=1))
        log, = self.folder.glob("log_*")
        self.assertIn("ERROR - krsim: state ", log.read_text())
        self.assertEqual(real.read_bytes(), self.car.read_bytes())
        table, text = self.folder / "table.csv", self.folder / "link.csv"
        text.symlink_to(table)
        record = self.car, "--frames", 3, "--record"
        self.run_quietly(*record, text)
        self.assertTrue(text.is_symlink())
        self.assertEqual(self.krsim("run", "--free", "--log-level", "warn", *WITH_PLUGINS, *record, "-"),
                         table.read_bytes().decode())
        for command in (("run", *record), ("graph", self.car, "--output")):
            self.assertIn("it is a device, pipe or socket; '-' writes to", self.krsim(*command, null, *WITH_PLUGINS, code=1))
        create = "create", *WITH_PLUGINS, "--content", "Electric Car", "--setup", "-", "--objects"
        objects = self.folder / "objects.xml"
        self.assertIn(f"<File>{objects}</File>", self.krsim(*create, objects))
        self.assertIn("another file than its objects", self.krsim(*create, "-", code=2))
        self.assertIn("more than 255 bytes; use a shorter name",
                      self.krsim("convert", self.car, self.folder / ("x" * 255), "--to", "xml", code=1))

    def test_damage_is_told_and_recovered(self):
        binary, damaged, recovered = (self.folder / name for name in ("car.kr", "damaged.kr", "recovered.xml"))
        self.krsim("convert", self.car, binary, "--to", "binary")
        content = bytearray(binary.read_bytes())
        content[len(content) // 2] ^= 4
        damaged.write_bytes(content)
        self.assertIn("its checksum does not fit", self.krsim("verify", damaged, *WITH_PLUGINS, code=3))
        told = self.krsim("recover", damaged, recovered, "--to", "xml", *WITH_PLUGINS, code=1)
        self.assertIn(f"bit 2 of byte {len(content) // 2} was flipped", told)
        self.assertEqual(recovered.read_bytes(), self.car.read_bytes())
        self.assertIn("holds objects; --force replaces it", self.krsim("recover", binary, recovered, code=2))
        self.krsim("recover", binary, recovered, "--to", "xml", "--force", *WITH_PLUGINS)
        self.assertEqual(recovered.read_bytes(), self.car.read_bytes())
        damaged.write_bytes(content[:len(content) * 2 // 3])
        self.assertRegex(self.krsim("recover", damaged, recovered, "--force", *WITH_PLUGINS, code=1), r"of the content, \d+ ext")
        self.assertIn("binary", self.krsim("info", recovered))
        for kind in ("xml", "json"):
            text = self.folder / f"text.{kind}"
            self.krsim("convert", self.car, text, "--to", kind, "--checksum")
            self.assertEqual(self.krsim("diff", self.car, text), "")
            whole = text.read_text()
            text.write_text(whole[:len(whole) * 2 // 3])
            self.assertRegex(self.krsim("recover", text, recovered, "--force", *WITH_PLUGINS, code=1),
                             fr"(?s)of the content, [1-5] ext.*{kind}: .*, line \d+ of")
            self.assertIn("extensions, 0 modules", self.krsim("verify", recovered, *WITH_PLUGINS))
            text.write_text(whole.replace("Vehicle", "Wagon", 1))
            self.assertIn("it was changed after it was saved", self.krsim("recover", text, recovered, "--force", code=1))

    def test_differences_are_told_by_place(self):
        changed = self.folder / "changed.xml"
        text = self.car.read_text()
        changed.write_text(re.sub("<Name>Vehicle</Name>", "<Name>Wagon</Name>", text, count=1))
        told = self.krsim("diff", self.car, changed, code=1)
        self.assertIn("Extensions[Vehicle]: only in the first\n", told)
        self.assertIn("Extensions[Wagon]: only in the second\n", told)

    def test_verify_and_run_tell_what_is_wrong(self):
        self.assertIn("5 extensions, 1 modules: no fault", self.krsim("verify", self.setup_file, *WITH_PLUGINS))
        moved = self.setup_file.read_text().replace("plugins</Item>", "none</Item>")
        self.setup_file.write_text(moved)
        self.assertRegex(self.krsim("verify", self.setup_file, code=4), "(?s)missing: module .*missing: 'Electric Car'")
        self.assertIn("no plug-in makes module 'Drive Module'", self.krsim("run", self.setup_file, code=4))
        self.krsim("run", self.car, "--allow-missing", "--free", "--frames", 3)
        text = self.car.read_text()
        self.car.write_text(re.sub("<Uuid>.*</Uuid>", "", text))  # as people write it
        self.assertIn("missing: 'Electric Car'", self.krsim("verify", self.car, code=4))
        self.car.write_text(text)
        self.assertIn("loaded twice", self.krsim("verify", self.car, self.car, *WITH_PLUGINS, code=3))
        self.car.write_text(text.replace("<SourceField>Outputs.Pedal<", "<SourceField>Outputs.Pedals<"))
        self.assertRegex(self.krsim("verify", self.car, *WITH_PLUGINS, code=3), "Outputs.Pedals to .* cannot be made")

    def test_definitions_come_from_their_files(self):
        text = self.car.read_text()
        car_id = re.search("<ContentID>(.*)</ContentID>", text).group(1)
        start, end = re.search("     <Extensions>.*     </Extensions>\n", text, re.S).span()
        definition = f"     <Definition><ContentID>{car_id}</ContentID><File>{self.car.name}</File></Definition>\n"
        instance = text[:start] + definition + text[end:]
        instance = re.sub("   <Connections>.*   </Connections>\n", "", instance, flags=re.S)
        taxi = self.folder / "taxi.xml"
        taxi.write_text(instance.replace(car_id, "1C01853F07D40AE1-8463F2A909C7FF37", 1))
        self.assertIn("5 extensions", self.krsim("verify", taxi, *WITH_PLUGINS))
        self.assertIn("Distance = ", self.run_quietly(taxi, "--frames", 100, "--outputs"))
        self.assertIn("10 extensions", self.krsim("verify", taxi, self.car, *WITH_PLUGINS))
        copies = self.folder / "a.xml", self.folder / "b.xml"
        for each in copies:
            each.write_text(text)
        self.car.unlink()
        self.assertIn(f"2 objects have that content ID, and none is chosen: 'Electric Car' of '{copies[0]}', "
                      f"'Electric Car 2' of '{copies[1]}'", self.krsim("verify", *copies, taxi, *WITH_PLUGINS, code=3))
        self.assertRegex(self.krsim("verify", taxi, *WITH_PLUGINS, code=3),
                         f"car.xml' are not loaded(?s:.*)'Electric Car': The definition {car_id} of the file .*car.xml is not there")

    def test_standard_input_takes_the_place_of_a_file(self):
        car = self.car.read_bytes()
        self.assertRegex(self.krsim("info", "-", stdin=car), f"^-: XML, objects, release .*, {len(car)} bytes\n$")
        self.assertEqual(self.krsim("dump", "-", stdin=car), self.krsim("dump", self.car))
        self.assertEqual(self.krsim("diff", self.car, "-", stdin=car), "")
        self.assertEqual(self.krsim("convert", "-", "-", "--to", "xml", stdin=car), car.decode())
        self.assertIn("no fault was found", self.krsim("verify", "-", *WITH_PLUGINS, stdin=car))
        run = "run", "--free", "--frames", 60, *WITH_PLUGINS
        self.assertIn("all frames run: 60", self.krsim(*run, "-", stdin=car))
        state = self.folder / "state"
        run = *run, "--no-log-file", self.setup_file
        self.krsim(*run, "--save-state", state)
        saved = subprocess.run([KRSIM, *map(str, run), "--save-state", "-"], capture_output=True, check=True).stdout
        self.assertEqual(saved[:27], state.read_bytes()[:27])
        self.assertIn("all frames run: 60", self.krsim(*run, "--restore-state", "-", stdin=saved))

    def test_dumps_for_other_tools(self):
        self.assertEqual(json.loads(self.krsim("dump", self.car, "--json"))["File"]["Sections"][0]["_class"], "KrObjectSection")
        flat = self.krsim("dump", self.car, "--flat").splitlines()
        self.assertIn("KrObjectSection/Objects[Electric Car]/Name: Electric Car", flat)
        self.assertIn(": XML, setup, release", self.krsim("info", self.setup_file))

    def test_a_log_file_is_written_where_it_is_asked_for(self):
        logs = self.folder / "logs"
        logs.mkdir()
        text = self.setup_file.read_text()
        self.setup_file.write_text(text.replace("<Settings>", f"<Settings><LogFile>{logs}/setup_</LogFile>"))
        run = "run", "--free", "--frames", 3, "--quiet", *WITH_PLUGINS
        for name, arguments, expected in (("none without a setup", [self.car], ""), ("asked for", [self.car, "--log-file"], "own_"),
                                          ("setup", [self.setup_file, "--log-level", "info"], "setup_"),
                                          ("instead of that of the setup", [self.setup_file, "--log-file"], "own_"),
                                          ("turned off", [self.setup_file, "--no-log-file", "--log-level", "info"], "")):
            with self.subTest(name):
                prefix = [f"{logs}/own_"] if arguments[-1] == "--log-file" else []
                self.krsim(*run, *arguments, *prefix)
                written = [each.name for each in logs.iterdir()]
                self.assertEqual([name[:len(expected)] for name in written], [expected] if expected else [])
                for each in logs.iterdir():
                    each.unlink()

    def test_create_and_graph(self):
        setup_file, objects = self.folder / "new/setup.json", self.folder / "new/content.json"
        setup_file.parent.mkdir()
        self.krsim("create", *WITH_PLUGINS, "--content", "Electric Car", "--setup", setup_file, "--objects", objects,
                   "--as", "json", "--free", "--rate", 30)
        self.assertIn("holds objects; --force", self.krsim("create", *WITH_PLUGINS, "--content", "Electric Car", "--setup",
                                                           objects, code=2))
        setup_file.parent.rename(self.folder / "moved")
        self.assertIn("no fault", self.krsim("verify", self.folder / "moved/setup.json", *WITH_PLUGINS))
        self.assertRegex(self.krsim("graph", self.folder / "moved/setup.json", *WITH_PLUGINS), "digraph(?s:.*)Outputs.Pedal")
        self.assertIn("there is no folder", self.krsim("convert", self.car, self.folder / "none/a", "--to", "xml", code=1))

    def test_presets_are_kept_in_the_setup_and_applied_to_a_run(self):
        setup_file, fast = self.folder / "plain.json", self.folder / "fast.json"
        create = "create", *WITH_PLUGINS, "--content", "Electric Car", "--as", "json", "--setup"
        self.krsim(*create, setup_file)
        self.krsim(*create, fast, "--rate", 1000, "--free")
        self.krsim("preset", setup_file, "Fast", "--from", fast)
        self.krsim("preset", setup_file, "Same", "--from", setup_file)
        self.assertEqual(self.krsim("preset", setup_file), "Fast\nSame\n")
        self.assertIn("at 1000 Hz, free", self.krsim("run", setup_file, *WITH_PLUGINS, "--preset", "Same", "--preset", "Fast", "--frames", 2))
        self.assertIn("at 60 Hz, paced", self.krsim("run", setup_file, *WITH_PLUGINS, "--frames", 2))
        self.krsim("preset", setup_file, "Fast", "--remove")
        self.assertEqual(self.krsim("preset", setup_file), "Same\n")
        # name: (arguments, what it complains of); each is refused
        refused = {
            "unknown preset": (["run", setup_file, *WITH_PLUGINS, "--preset", "Fast"], "there is no preset 'Fast'; there are 'Same'"),
            "no setup": (["run", *WITH_PLUGINS, "--content", "Electric Car", "--preset", "Fast"], "preset 'Fast' needs a setup file"),
            "nothing to remove": (["preset", setup_file, "Fast", "--remove"], "has no preset 'Fast'"),
            "neither from nor remove": (["preset", setup_file, "Fast"], "--from or --remove"),
            "no name": (["preset", setup_file, "--from", fast], "NAME"),
            "from no setup": (["preset", setup_file, "Fast", "--from", self.car], "car.xml' holds no setup"),
            "no setup file": (["preset", self.car], "car.xml' holds no setup"),
            "a stream": (["preset", "-"], "kept in a setup file"),
        }
        for name, (arguments, complaint) in refused.items():
            with self.subTest(name):
                self.assertIn(complaint, self.krsim(*arguments, code=2))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
