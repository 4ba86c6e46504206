"""All that krsim refuses or warns of: inputs_test.py KRSIM PLUGINS_FOLDER DRIVE_CYCLE_FOLDER ACTORS_FOLDER ZOO_FOLDER

CHANGES has a row for each fault in a setup or in content, REFUSALS one for each command that is refused. Their details have
tables of their own: values of options in command_line_test.cpp, outputs that would replace a file in output_file_test.cpp,
connections in core/connections/connection_factory_test.cpp (RefusedConnection), sections and formats of files in
persistence/files/file_test.cpp, documents and fields in persistence/archives/archive_hostile_test.cpp and
persistence/fields/field_hostile_test.cpp, plug-ins in platform/plugin_test.cpp and krsim_test.py.
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest
from dataclasses import dataclass, field

KRSIM, PLUGINS, EXAMPLE, ACTORS, ZOO = sys.argv[1:6]

NOTHING = 0, 0, 0        # exit codes of verify, run and run --strict
WARNED = 3, 0, 3         # a finding
REFUSED = 3, 3, 3        # the file cannot be read
MISSING_TYPE = 4, 4, 4   # no plug-in makes it


@dataclass
class Change:
    """The setup of the drive cycle and its car, with a change. All three commands name what is wrong with it."""
    codes: tuple
    message: str                                # a regular expression, in what each command prints
    setup: list = field(default_factory=list)   # (old text, new text) in setup.xml; each old text stands there
    car: list = field(default_factory=list)     # the same in car.xml


STAGE = """<Objects><Extension><Name>Platform</Name><Type><Uuid>87a4d38c-dd64-4d7c-8c7c-6b0a4df5a5f0</Uuid>
<Category>Actor</Category><Name>Stage</Name><Plugin>Actors</Plugin></Type>
<ContentID>1C01853F07D40AE1-8463F2A909C7FF38</ContentID></Extension>"""
DIPPER = """<Module><Name>Dipper</Name><Type><Uuid>87a4d38c-dd64-4d7c-8c7c-6b0a4df5a5fb</Uuid><Category>Actor</Category>
<Name>Dipper</Name><Plugin>FaultyActors</Plugin></Type><Settings><Field>{}</Field></Settings></Module>"""
STEPPER = """<Module><Name>Stepper</Name><Type><Uuid>87a4d38c-dd64-4d7c-8c7c-6b0a4df5a5fd</Uuid><Category>Actor</Category>
<Name>Stepper</Name><Plugin>FaultyActors</Plugin></Type><Settings><Field><Identifier>RateHz</Identifier><Type>Double</Type>
<Value>{}</Value></Field><Field><Identifier>SlowHz</Identifier><Type>Double</Type><Value>{}</Value></Field></Settings></Module>
</Modules>"""
QUEUED_SPEED = """<SinkField>Inputs.Speed</SinkField>
     <IsQueued>true</IsQueued>"""
MASS = "<Identifier>Mass</Identifier>"
SETTINGS = "<Settings>"

CHANGES = {
    "as it is": Change(NOTHING, "no fault|all frames run"),
    # --- setups
    "unknown setting": Change(
        WARNED, r"setup.xml, line 16: 'AplicationMode' in \S*Settings means nothing; did you mean 'ApplicationMode'\?",
        setup=[("ApplicationMode>", "AplicationMode>")]),
    "setting of another program": Change(WARNED, "'Colour' in .*Settings means nothing\n",
                                      setup=[(SETTINGS, SETTINGS + "<Colour>red</Colour>")]),
    "unknown text of a setting": Change(
        WARNED, "setup.xml, line 16: setting 'ApplicationMode' is 'Simulatingmode', which does not exist, and stays 'Editing "
        "mode'; did you mean 'Simulating mode'[?] the choices are .*'Playback",
        setup=[("Simulating mode", "Simulatingmode")]),
    "rate out of range": Change(
        WARNED, "line 15: setting 'SimulationFrameRate' is 1e[+]300, outside its range from 0.1 to 1",
        setup=[(SETTINGS, SETTINGS + "<SimulationFrameRate>1e300</SimulationFrameRate>")]),
    "editing mode": Change(WARNED, "the application is in editing mode",
                        setup=[("<ApplicationMode>Simulating mode</ApplicationMode>", "")]),
    "no module": Change(WARNED, "there is no module", setup=[("(?s)<Module>.*</Module>", "")]),
    "unknown module": Change(MISSING_TYPE, "module 'Drive Module' of the type",
                          setup=[("<Uuid>cb6ddcca-", "<Uuid>db6ddcca-")]),
    "parameter of a module": Change(
        WARNED, r"setup.xml, line \d+: parameter 'Gravity' of module 'Drive Module' does not exist in its type",
        setup=[("</Module>", "<Settings><Field><Identifier>Gravity</Identifier><Type>Double</Type><Value>1</Value></Field>"
                "</Settings></Module>")]),
    "value of a parameter of a module": Change(
        WARNED, r"setup.xml, line \d+: parameter 'Depth' of module 'Dipper' is 30, outside its range from 0 to 10",
        setup=[("</Modules>", DIPPER.format("<Identifier>Depth</Identifier><Type>Double</Type><Value>30</Value>") + "</Modules>")]),
    "rates of steps that fit": Change(NOTHING, "no fault|all frames run", setup=[("</Modules>", STEPPER.format(120, 30))]),
    "rate of steps that does not fit": Change(
        WARNED, r"setup.xml, line \d+: parameter 'RateHz' of module 'Stepper': 100 Hz does not divide the frame rate of 60 Hz; the "
        "nearest rates that do are 60 Hz and 120 Hz", setup=[("</Modules>", STEPPER.format(100, 30))]),
    "frame rate that a declared rate does not fit": Change(
        WARNED, "setup.xml: module 'Stepper', group 'Slow': 25 Hz does not divide the frame rate of 60 Hz; the nearest",
        setup=[("</Modules>", STEPPER.format(120, 0))]),
    # --- fields
    "misspelt field": Change(WARNED, "car.xml, line 486: parameter 'Maas' of 'Vehicle' does not exist in its type; did you mean "
                          r"'Mass'\?", car=[(MASS, "<Identifier>Maas</Identifier>")]),
    "value out of range": Change(WARNED, "car.xml, line 486: parameter 'Mass' of 'Vehicle' is -300, outside its range from 1 to",
                              car=[("<Value>1500.0</Value>", "<Value>-300</Value>")]),
    "value out of the range of its type alone": Change(
        WARNED, "parameter 'Mass' of 'Vehicle' is 0, outside its range from 1 to",
        car=[(r"(?s)<Value>1500.0</Value>.*?<Has_Range>true</Has_Range>", "<Value>0</Value>")]),
    "misspelt part of a field": Change(WARNED, "car.xml, line 488: 'Descripton' in .*Parameters.0. means nothing; did you mean 'Description'",
                                    car=[(f"(?s){MASS}\n(.*?)<Description>(.*?)</Description>",
                                          f"{MASS}\n\\1<Descripton>\\2</Descripton>")]),
    "unknown type of a field": Change(REFUSED, "Type is none of the known choices: 'Duoble'; did you mean 'Double'[?] the choices "
                                   "are .*, line 487 of",
                                   car=[(f"{MASS}\n( *)<Type>Double", f"{MASS}\n\\1<Type>Duoble")]),
    "unknown dimension": Change(REFUSED, "PhysicalDimension is none of the known choices: 'Mas'; did you mean 'Mass'[?] .*, line 489 of",
                             car=[("<PhysicalDimension>Mass<", "<PhysicalDimension>Mas<")]),
    # --- connections
    "cycle": Change(WARNED, "(?s)cycle.*Driver", car=[(QUEUED_SPEED, "<SinkField>Inputs.Speed</SinkField>")]),
    "different dimensions": Change(
        WARNED, "'Electric Car/Driver.Outputs.Deviation' measures Length, 'Electric Car/[^']*.Inputs.Pedal' measures Ratio",
        car=[("<SourceField>Outputs.Pedal<", "<SourceField>Outputs.Deviation<")]),
    "missing end": Change(WARNED, "Outputs.Pedals to .* cannot be made",
                       car=[("<SourceField>Outputs.Pedal<", "<SourceField>Outputs.Pedals<")]),
    # --- content
    "unmanaged content": Change(WARNED, "'Platform' of '.*car.xml' of the type Actor.Stage.* is managed by no module",
                             car=[("<Objects>", STAGE)]),
    "unknown type": Change(MISSING_TYPE, "'Electric Car/Driver' of the type",
                        car=[("<Uuid>64e6bd19-", "<Uuid>74e6bd19-"), ("<Name>Driver</Name>\n *<Plugin>", "<Name>Drover</Name><Plugin>")]),
}



@dataclass
class Refusal:
    """A command that ends with this code and changes no file."""
    arguments: list         # {name} is a file of the folder that make_files fills, {Name} a folder with this plug-in of the zoo
    code: int
    message: str            # a regular expression, found once in what it prints
    asNobody: bool = False  # run by a user without privileges


def make_files(folder):
    car = pathlib.Path(EXAMPLE, "car.xml").read_bytes()
    files = {
        "car": car, "setup": pathlib.Path(EXAMPLE, "setup.xml").read_bytes(),
        "newer": car.replace(b"<!--KrB3", b"<!--KrC0"), "broken": car[:5000], "empty": b"", "marked": b"\xef\xbb\xbf" + car,
        "faults": b"Vehicle.Speed=bias 1 m/s\nVehicle.Speed=wobble\n", "untimed": b"Speed\r\n1\r\n",
        "cut": b"Time [s],Vehicle.Mass [kg]\r\n0,1500\r\n1\r\n", "driven": b"Time [s],Vehicle.Outputs.Speed\r\n0,1\r\n",
        "text": b"Dear reader", "table": b"Time,Speed\r\n0,1\r\n", "secret": car,
    }
    for name, content in files.items():
        (folder / name).write_bytes(content)
    (folder / "secret").chmod(0)
    (folder / "directory").mkdir()
    folder.chmod(0o755)  # to be looked at by others, not written


REFUSED_FILES = {  # by all commands that read content, with code 3
    "{newer}": "newer' is refused: .*saved using Orrery version 2021.0",
    "{broken}": "broken' is refused: .*no element found, line ",
    "{empty}": "empty' is refused: .*it is empty",
    "{marked}": "marked' is refused: .*it begins with a byte order mark; save it as UTF-8 without one",
    "{text}": "text' is refused: .*, invalid format",
    "{directory}": "directory' is refused: it is a folder",
    "/proc/self/mem": "/proc/self/mem' is refused: .*Input/output error",
}
FREE = "run", "--free", "--frames", "2", "--log-level", "error", "--no-log-file", "--plugins", PLUGINS
CAR = *FREE, "{car}"
EDIT = "edit", "{car}", "--plugins", PLUGINS
SWEEP = "sweep", "{car}", "--plugins", PLUGINS, "--frames", "2", "--table"
TWO_MASSES = "--vary", "Mass=1 t,2 t"
STATE, RECORD = (*FREE, "{car}", "--save-state"), (*FREE, "{car}", "--record")
CREATE = "create", "--plugins", PLUGINS, "--content", "Electric Car"
REFUSALS = {
    **{f"{command} {file}": Refusal([command, file], 3, message)
       for file, message in REFUSED_FILES.items() for command in ("dump", "verify", "run")},
    # --- commands and options
    "no command": Refusal([], 2, "'run' and 'list' or one of those that work on files, is required"),
    "unknown command": Refusal(["rnu"], 2, "not expected: rnu; did you mean 'run'"),
    "unknown option": Refusal(["run", "{car}", "--secnds", "5"], 2, "not expected: --secnds; did you mean '--seconds'"),
    "option with a wrong value": Refusal(["run", "{car}", "--frames", "0"], 2, "'0' is no whole number above 0"),
    # --- types and plug-ins
    "unknown type": Refusal(["run", "--content", "Sceen"], 2, "there is no type 'Sceen'; the nearest are 'Content.Scene', "),
    "module as content": Refusal(["run", "--plugins", ACTORS, "--content", "Ender"], 2, "Actor.Ender .* choose it with --module"),
    "content as module": Refusal(["run", "--module", "Scene"], 2, "Content.Scene .* choose it with --content"),
    "no directory of plug-ins": Refusal(["run", "--plugins", "{directory}/a", "--content", "Scene"], 2, "directory/a' does not exist"),
    "directory without plug-ins": Refusal(["list", "--plugins", "{directory}"], 2, "directory' holds no plug-in"),
    "plug-in for another library": Refusal(["run", "--plugins", "{OtherVersion}", "--content", "Ox"], 2,
                                           "OtherVersion.krp' was built for library 2019"),
    "plug-in with an undefined symbol": Refusal(["run", "--plugins", "{Undefined}", "--content", "Ox", "--log-level", "off"], 4,
                                                "(?s)notThere.*krsim: plug-in 'Undefined' cannot be loaded"),
    "type whose constructor throws": Refusal(["run", "--plugins", "{Animals}", "--content", "Ox"], 1,
                                             r"(?s)^(?!.*does not contain).*out of order.*krsim: Animal\.Ox .* cannot be made"),
    # --- files to read
    "no file": Refusal(["run", "{none}"], 2, "file '.*none' does not exist"),
    "no state": Refusal([*FREE, "{car}", "--restore-state", "{none}"], 2, "file '.*none' does not exist"),
    "content as a state": Refusal([*FREE, "{car}", "--restore-state", "{car}"], 3, "state '.*car' is refused: "),
    "name that is too long": Refusal(["dump", "x" * 300], 2, "cannot be opened: File name too long"),
    "file of another user": Refusal(["dump", "{secret}"], 2, "secret' cannot be opened: Permission denied", asNobody=True),
    "setup behind content": Refusal([*FREE, "{car}", "{setup}"], 2, "setup' is a setup file; give one setup file, before all others"),
    "all faults of several files": Refusal(["verify", "{broken}", "{newer}", "{car}", "{none}", "--plugins", PLUGINS], 3,
                                           "(?s)no element found.*version 2021.0.*none' does not exist"),
    "info of several files": Refusal(["info", "{empty}", "{directory}", "{marked}", "{car}"], 3,
                                     "(?s)it is empty.*is a folder.*byte order mark.*car: XML, objects, "),
    "preset without a setup": Refusal([*FREE, "{car}", "--preset", "Fast"], 2, "preset 'Fast' needs a setup file"),
    "unknown preset": Refusal([*FREE, "{setup}", "--preset", "Fast"], 2, "there is no preset 'Fast'"),
    "presets of content": Refusal(["preset", "{car}"], 2, "car' holds no setup"),
    # --- values of fields, conditions and tables of a run
    "value without a path": Refusal([*CAR, "--set", "Mass"], 2, "'Mass' is not of the form PATH=VALUE"),
    "value of no field": Refusal([*CAR, "--set", "Vehicle.Mas=1 t"], 2, "no field 'Vehicle.Mas'; did you mean 'Vehicle.Mass'"),
    "value out of range": Refusal([*CAR, "--set", "Vehicle.Mass=0 t"], 2, "'0 t' is out of the range of the field, 1 kg to"),
    "value of another dimension": Refusal([*CAR, "--set", "Vehicle.Mass=5 m"], 2, "'5 m' is no mass; its units are kg, g, t"),
    "override of no kind": Refusal([*CAR, "--override", "Vehicle.Speed=biass 1"], 2, "'biass' is no kind .*; did you mean 'bias'[?] write"),
    "override of no field": Refusal([*CAR, "--override", "Vehicle.Sped=gain 2"], 2, "no field 'Vehicle.Sped'; did you mean"),
    "no file of overrides": Refusal([*CAR, "--overrides", "{none}"], 2, "file '.*none' does not exist"),
    "line of a file of overrides": Refusal([*CAR, "--overrides", "{faults}"], 3, "faults, line 2: 'wobble' is no kind of override; write"),
    "no table to play": Refusal([*CAR, "--play", "{none}"], 2, "file '.*none' does not exist"),
    "table without times": Refusal([*CAR, "--play", "{untimed}"], 3, "untimed, line 1: there is no column 'Time'"),
    "table with a short row": Refusal([*CAR, "--play", "{cut}"], 3, "cut, line 3, column 2: cells in the row: 1, in the header: 2; quote cells"),
    "table that drives an output": Refusal([*CAR, "--play", "{driven}"], 3, "line 1, column 2: .* is an output, which its extension sets"),
    "unknown units": Refusal([*CAR, "--units", "metric"], 2, "'metric' is none of si.us"),
    # --- changes of content
    "set in a file": Refusal([*EDIT, "--set", "Vehicle.Mas=1"], 2, "no field 'Vehicle.Mas'; did you mean 'Vehicle.Mass'"),
    "unknown type to add": Refusal([*EDIT, "--add", "Sceen"], 2, "no type 'Sceen'; the nearest are 'Content.Scene'"),
    "nothing to remove": Refusal([*EDIT, "--remove", "Wheel"], 2, "there is no extension 'Wheel'"),
    "edit of a setup": Refusal(["edit", "{setup}", "--set", "Mass=1"], 2, "setup' holds no objects; a setup lists the object files"),
    "edit into no directory": Refusal([*EDIT, "--set", "Vehicle.Mass=1 t", "--output", "{none}/a"], 1, "(?s)^(?!.*was 1500).*no folder '.*none'"),
    "connection of no field": Refusal(["connect", "{car}", "Driver.Pedl", "Vehicle.Speed", "--plugins", PLUGINS], 2, "no field 'Driver.Pedl'; did"),
    "instance of no object": Refusal(["instantiate", "{car}", "Vehicle", "--plugins", PLUGINS], 2, "Vehicle' is no object; only objects have"),
    "no instance": Refusal(["instantiate", "{car}", "Electric Car", "--count", "0"], 2, "'0' is no whole number above 0"),
    # --- sweeps
    "sweep over a range without steps": Refusal([*SWEEP, "{new}", "--vary", "Mass=1:2", "--folder", "{runs}"], 2, "'Mass' has a range without a step"),
    "sweep over no field": Refusal([*SWEEP, "{new}", "--vary", "Mas=1 t,2 t", "--folder", "{runs}"], 2, r"no field 'Mas'; did you mean 'Mass'\? \(run 1, the first one"),
    "sweep over content": Refusal([*SWEEP, "{car}", *TWO_MASSES], 2, "car' is not written: .* holds objects; --force replaces it"),
    "sweep into no directory": Refusal([*SWEEP, "{none}/a", *TWO_MASSES], 1, "none/a' cannot be written: No such file"),
    "sweep in a file": Refusal([*SWEEP, "{new}", *TWO_MASSES, "--folder", "{car}"], 1, "car' cannot be made: Not a directory"),
    "sweep with two results in one stream": Refusal([*SWEEP, "-", *TWO_MASSES, "--json"], 2, "the table is on standard output already"),
    # --- files to write
    "hashes into no directory": Refusal([*CAR, "--hash", "{none}/a"], 1, "hashes '.*none/a' cannot be written: No such file"),
    "manual into a file": Refusal(["manual", "--directory", "{car}"], 1, "car/krsim.1' cannot be written: Not a directory"),
    "page of no command": Refusal(["manual", "rn"], 2, "there is no command 'rn'"),
    "completion for no shell": Refusal(["completion", "fish"], 2, "'fish' is none of bash.zsh"),
    "record over content": Refusal([*RECORD, "{car}"], 2, "car' is not written: .* holds objects; --force replaces it"),
    "state over a table": Refusal([*STATE, "{table}"], 2, "table' is not written: .* holds a recorded table; --force"),
    "graph over a text": Refusal(["graph", "{car}", "--plugins", PLUGINS, "--output", "{text}"], 2, "what krsim has not written; --force"),
    "convert over content": Refusal(["convert", "{car}", "{car}", "--to", "json"], 2, "holds objects; --force replaces it"),
    "recover over content": Refusal(["recover", "{broken}", "{car}"], 2, "holds objects; --force replaces it"),
    "create over content": Refusal([*CREATE, "--setup", "{car}"], 2, "holds objects; --force replaces it"),
    "create over a setup": Refusal([*CREATE, "--objects", "{setup}"], 2, "holds a setup or content; --force replaces it"),
    "record of no field": Refusal([*RECORD, "{new}", "--record-field", "*.Sped"], 2, r"no field is of the pattern '\*.Sped'"),
    "record into a device": Refusal([*RECORD, "/dev/null"], 1, "it is a device, pipe or socket; '-' writes to standard output"),
    "record into a directory": Refusal([*RECORD, "{directory}"], 1, "record '.*directory' cannot be written: Is a directory"),
    "record into no directory": Refusal([*RECORD, "{none}/a"], 1, "record '.*none/a' cannot be written: No such file"),
    "record where it is not allowed": Refusal([*RECORD, "{new}"], 1, "record '.*new' cannot be written: Permission denied", asNobody=True),
    "state into no directory": Refusal([*STATE, "{none}/a"], 1, "there is no folder '.*none'"),
    "log into no directory": Refusal(["run", "{car}", "--plugins", PLUGINS, "--log-file", "{none}/a"], 1,
                                     "log file '.*none/a.*' cannot be written: No such"),
}
NOBODY = 65534


class Inputs(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory()
        self.addCleanup(holder.cleanup)
        self.folder = pathlib.Path(holder.name)

    def change(self, name, changes):
        text = pathlib.Path(EXAMPLE, name).read_text()
        for old, new in changes:
            text, count = re.subn(old, new, text)
            self.assertGreater(count, 0, f"'{old}' does not stand in {name}")
        (self.folder / name).write_text(text)

    def krsim(self, *arguments, **more):
        result = subprocess.run([KRSIM, *arguments], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                text=True, errors="replace", **more)
        return result.returncode, result.stdout

    def test_changes(self):
        run = "run", "--frames", "2", "--free", "--log-level", "warn", "--no-log-file"
        folders = "--plugins", PLUGINS, "--plugins", ACTORS
        for name, row in CHANGES.items():
            self.change("setup.xml", row.setup)
            self.change("car.xml", row.car)
            for command, code in zip((("verify",), run, (*run, "--strict")), row.codes):
                with self.subTest(name, command=" ".join(command)):
                    ended, printed = self.krsim(*command, str(self.folder / "setup.xml"), *folders)
                    self.assertEqual(ended, code, printed)
                    self.assertRegex(printed, row.message)
                    if row.codes == NOTHING:
                        self.assertNotIn("WARN", printed)

    def resolve(self, argument):
        if match := re.fullmatch(r"\{([A-Z]\w+)\}", argument):
            folder = tempfile.TemporaryDirectory()
            self.addCleanup(folder.cleanup)
            os.link(f"{ZOO}/{match[1]}.krp", f"{folder.name}/{match[1]}.krp")
            return folder.name
        return re.sub(r"\{(\w+)\}", rf"{self.folder}/\1", argument)

    def as_nobody(self):
        """For subprocess: a user whom permissions keep out. Skips the test where there is none."""
        if os.geteuid() != 0:
            return {}
        user = {"user": NOBODY, "group": NOBODY, "extra_groups": []}
        try:
            if self.krsim("--version", **user)[0] == 0:
                return user
        except OSError:
            pass
        self.skipTest("this is root, and another user may not run krsim here")

    def test_refusals(self):
        make_files(self.folder)
        before = {each.name: each.read_bytes() for each in self.folder.iterdir() if each.is_file()}
        for name, row in REFUSALS.items():
            with self.subTest(name):
                user = self.as_nobody() if row.asNobody else {}
                ended, printed = self.krsim(*map(self.resolve, row.arguments), **user)
                self.assertEqual(ended, row.code, printed)
                self.assertEqual(len(re.findall(row.message, printed)), 1, printed)
                after = {each.name: each.read_bytes() for each in self.folder.iterdir() if each.is_file()}
                self.assertEqual(after, before)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
