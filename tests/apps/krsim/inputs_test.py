"""Files that krsim refuses or warns of: inputs_test.py KRSIM PLUGINS_FOLDER DRIVE_CYCLE_FOLDER ACTORS_FOLDER"""
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest
from dataclasses import dataclass, field

KRSIM, PLUGINS, EXAMPLE, ACTORS = sys.argv[1:5]

NOTHING = 0, 0, 0        # exit codes of verify, run and run --strict
WARNED = 3, 0, 3         # a finding
REFUSED = 3, 3, 3        # the file cannot be read
MISSING_TYPE = 4, 4, 4   # no plug-in makes it


@dataclass
class Row:
    """The setup of the drive cycle and its car, with a change. All three commands name what is wrong with it."""
    codes: tuple
    message: str                                # a regular expression, in what each command prints
    setup: list = field(default_factory=list)   # (old text, new text) in setup.xml; each old text stands there
    car: list = field(default_factory=list)     # the same in car.xml


STAGE = """<Objects><Extension><Name>Platform</Name><Type><Uuid>87a4d38c-dd64-4d7c-8c7c-6b0a4df5a5f0</Uuid>
<Category>Actor</Category><Name>Stage</Name><Plugin>Actors</Plugin></Type>
<ContentID>1C01853F07D40AE1-8463F2A909C7FF38</ContentID></Extension>"""
QUEUED_SPEED = """<SinkField>Inputs.Speed</SinkField>
     <IsQueued>true</IsQueued>"""
MASS = "<Identifier>Mass</Identifier>"
SETTINGS = "<Settings>"

ROWS = {
    "as it is": Row(NOTHING, "no fault|all frames run"),
    # --- setups
    "unknown setting": Row(
        WARNED, r"setup.xml, line 16: 'AplicationMode' in \S*Settings means nothing; did you mean 'ApplicationMode'\?",
        setup=[("ApplicationMode>", "AplicationMode>")]),
    "setting of another program": Row(WARNED, "'Colour' in .*Settings means nothing\n",
                                      setup=[(SETTINGS, SETTINGS + "<Colour>red</Colour>")]),
    "unknown text of a setting": Row(
        WARNED, "setup.xml, line 16: setting 'ApplicationMode' is 'Simulatingmode', which does not exist, and stays 'Editing "
        "mode'; did you mean 'Simulating mode'[?] the choices are .*'Playback",
        setup=[("Simulating mode", "Simulatingmode")]),
    "rate out of range": Row(
        WARNED, "line 15: setting 'SimulationFrameRate' is 1e[+]300, outside its range from 0.1 to 1",
        setup=[(SETTINGS, SETTINGS + "<SimulationFrameRate>1e300</SimulationFrameRate>")]),
    "editing mode": Row(WARNED, "the application is in editing mode",
                        setup=[("<ApplicationMode>Simulating mode</ApplicationMode>", "")]),
    "no module": Row(WARNED, "there is no module", setup=[("(?s)<Module>.*</Module>", "")]),
    "unknown module": Row(MISSING_TYPE, "module 'Drive Module' of the type",
                          setup=[("<Uuid>cb6ddcca-", "<Uuid>db6ddcca-")]),
    "parameter of a module": Row(
        WARNED, "parameter 'Gravity' of module 'Drive Module' does not exist in its type",
        setup=[("</Module>", "<Settings><Field><Identifier>Gravity</Identifier><Type>Double</Type><Value>1</Value></Field>"
                "</Settings></Module>")]),
    # --- fields
    "misspelt field": Row(WARNED, "car.xml, line 486: parameter 'Maas' of 'Vehicle' does not exist in its type; did you mean "
                          r"'Mass'\?", car=[(MASS, "<Identifier>Maas</Identifier>")]),
    "value out of range": Row(WARNED, "car.xml, line 486: parameter 'Mass' of 'Vehicle' is -300, outside its range from 1 to",
                              car=[("<Value>1500.0</Value>", "<Value>-300</Value>")]),
    "value out of the range of its type alone": Row(
        WARNED, "parameter 'Mass' of 'Vehicle' is 0, outside its range from 1 to",
        car=[(r"(?s)<Value>1500.0</Value>.*?<Has_Range>true</Has_Range>", "<Value>0</Value>")]),
    "misspelt part of a field": Row(WARNED, "car.xml, line 488: 'Descripton' in .*Parameters.0. means nothing; did you mean 'Description'",
                                    car=[(f"(?s){MASS}\n(.*?)<Description>(.*?)</Description>",
                                          f"{MASS}\n\\1<Descripton>\\2</Descripton>")]),
    "unknown type of a field": Row(REFUSED, "Type is none of the known choices: 'Duoble'; did you mean 'Double'[?] the choices "
                                   "are .*, line 487 of",
                                   car=[(f"{MASS}\n( *)<Type>Double", f"{MASS}\n\\1<Type>Duoble")]),
    "unknown dimension": Row(REFUSED, "PhysicalDimension is none of the known choices: 'Mas'; did you mean 'Mass'[?] .*, line 489 of",
                             car=[("<PhysicalDimension>Mass<", "<PhysicalDimension>Mas<")]),
    # --- connections
    "cycle": Row(WARNED, "(?s)cycle.*Driver", car=[(QUEUED_SPEED, "<SinkField>Inputs.Speed</SinkField>")]),
    "different dimensions": Row(
        WARNED, "'Electric Car/Driver.Outputs.Deviation' measures Length, 'Electric Car/[^']*.Inputs.Pedal' measures Ratio",
        car=[("<SourceField>Outputs.Pedal<", "<SourceField>Outputs.Deviation<")]),
    "missing end": Row(WARNED, "Outputs.Pedals to .* cannot be made",
                       car=[("<SourceField>Outputs.Pedal<", "<SourceField>Outputs.Pedals<")]),
    # --- content
    "unmanaged content": Row(WARNED, "'Platform' of '.*car.xml' of the type Actor.Stage.* is managed by no module",
                             car=[("<Objects>", STAGE)]),
    "unknown type": Row(MISSING_TYPE, "'Electric Car/Driver' of the type",
                        car=[("<Uuid>64e6bd19-", "<Uuid>74e6bd19-"), ("<Name>Driver</Name>\n *<Plugin>", "<Name>Drover</Name><Plugin>")]),
}


class Inputs(unittest.TestCase):
    def change(self, name, changes):
        text = pathlib.Path(EXAMPLE, name).read_text()
        for old, new in changes:
            text, count = re.subn(old, new, text)
            self.assertGreater(count, 0, f"'{old}' does not stand in {name}")
        pathlib.Path(self.folder, name).write_text(text)

    def krsim(self, *arguments):
        folders = "--plugins", PLUGINS, "--plugins", ACTORS
        result = subprocess.run([KRSIM, *arguments, self.folder + "/setup.xml", *folders], stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        return result.returncode, result.stdout

    def test_rows(self):
        run = "run", "--frames", "2", "--free", "--log-level", "warn"
        for name, row in ROWS.items():
            with tempfile.TemporaryDirectory() as self.folder:
                self.change("setup.xml", row.setup)
                self.change("car.xml", row.car)
                for command, code in zip((("verify",), run, (*run, "--strict")), row.codes):
                    with self.subTest(name, command=" ".join(command)):
                        ended, printed = self.krsim(*command)
                        self.assertEqual(ended, code, printed)
                        self.assertRegex(printed, row.message)
                        if row.codes == NOTHING:
                            self.assertNotIn("WARN", printed)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
