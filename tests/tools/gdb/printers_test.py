"""Lets gdb print one object of each kind: printers_test.py PRINTERS PROGRAM. Ends with 77 where gdb cannot be used."""
import os
import re
import shutil
import subprocess
import sys
import unittest

PRINTERS, PROGRAM = sys.argv[1:3]

# expression: pattern of what gdb prints of it
EXPECTED = {
    "name": r'"Speed"',
    "empty": r'""',
    "path": r'"cars/a"',
    "id": r"0000000000000001-0000000000000abc",
    "held": r'0x[0-9a-f]+ "Engine", held 3 times = \{.*',
    "null": r"null",
    "weak": r'0x[0-9a-f]+ "Engine"',
    "expired": r"expired",
    "interface": r'0x[0-9a-f]+ "Engine" = \{.*"Pedal" = 0.25.*',
    "motor->pedal": r'"Pedal" = 0.25',
    "motor->label": r'"Label" = "Vé 8"',
    "*motor->pedal._field": r'"Pedal" = 0.25',
    "*field": r'"Mass" = 1.5',
    "*base": r'"Mass" = 1.5',
    "group": r'"Group" with 4 fields = \{Mass = "Mass" = 1.5, Target = "Target" = 0x[0-9a-f]+ "Engine", '
             r'Items = "Items" = .*3, 2, 1\}, Inner = "Inner" with 1 fields = \{On = "On" = true\}\}',
}


def print_with_gdb(*options):
    commands = ["set print object on", "set width 0", "set debuginfod enabled off", f"source {PRINTERS}", "break stop",
                "run", "up", *(f'echo <{each}>\\n' f"\nprint {each}" for each in EXPECTED)]
    arguments = [part for each in "\n".join(commands).split("\n") for part in ("-ex", each)]
    return subprocess.run(["gdb", "-nx", "-batch", *options, *arguments, PROGRAM], text=True, encoding="utf-8",
                          capture_output=True, timeout=120, env=os.environ | {"LC_ALL": "C.UTF-8"})


class Printers(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        result = print_with_gdb()
        cls.errors = result.stderr
        shown = re.findall(r"<(.*)>\n\$\d+ = (.*)", result.stdout)
        cls.printed = dict(shown)

    def test_every_kind_is_shown_as_people_read_it(self):
        for expression, pattern in EXPECTED.items():
            with self.subTest(expression):
                self.assertRegex(self.printed.get(expression, self.errors), f"^{pattern}$")


def why_not():
    if shutil.which("gdb") is None:
        return "gdb is not installed; scripts/setup.sh installs it"
    started = subprocess.run(["gdb", "-nx", "-batch", "-ex", "python print(1)", "-ex", "run", "--args", "true"], text=True,
                             capture_output=True, timeout=60)
    if "exited normally" not in started.stdout:
        return "gdb cannot run a program here: " + (started.stderr.strip() or started.stdout.strip())
    return None


if __name__ == "__main__":
    if reason := why_not():
        print("skipped:", reason)
        sys.exit(77)
    unittest.main(argv=sys.argv[:1])
