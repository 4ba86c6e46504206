"""Breaks a small good tree in one way at a time and expects tools/check_includes.py to name the fault."""
import pathlib
import subprocess
import sys
import tempfile
import unittest

TOOL = pathlib.Path(__file__).resolve().parents[2] / "tools" / "check_includes.py"

LAYERS = """layer low:
headers low/fwd.h
headers low/a.h
framework low/shared.h
internal low/internal/hidden.h
sources low/a.cpp
layer mid: low
headers mid/b.h
layer mid/top: mid
headers mid/top/c.h
sources mid/top/c.cpp
"""

GOOD = {
    "low/fwd.h": "#pragma once\nnamespace Kr { class KrTop; }\nclass KrTop;\n",
    "low/a.h": '#pragma once\n#include <vector>\nclass KrLow {\n    struct Impl;\n};\n',
    "low/shared.h": '#pragma once\n#include "kr/low/a.h"\n',
    "low/internal/hidden.h": '#pragma once\n#include "kr/low/a.h"\n',
    "low/a.cpp": '#include "kr/low/a.h"\n#include <fmt/format.h>\n#include "kr/low/internal/hidden.h"\n'
                 "struct KrLow::Impl {};\n",
    "mid/b.h": '#pragma once\n#include "kr/low/a.h"\nclass KrLow;\n/* #include "kr/mid/top/c.h" */\n',
    "mid/top/c.h": '#pragma once\n#include "kr/low/fwd.h"\n#include "kr/mid/b.h"\nclass KR_API KrTop final : public X {};\n',
    "mid/top/c.cpp": '#include "kr/mid/top/c.h"\n#include "kr/low/shared.h"\n',
}

# name: (file, text added to it, what the message must hold)
BROKEN = {
    "upward include": ("low/a.h", '#include "kr/mid/b.h"', "kr/low/a.h:6: layer low may not use layer mid"),
    "nested layer is above its folder": ("mid/b.h", '#include "kr/mid/top/c.h"', "layer mid may not use layer mid/top"),
    "foreign internal header": ("mid/top/c.cpp", '#include "kr/low/internal/hidden.h"', "is internal to layer low"),
    "internal header in a public one": ("low/a.h", '#include "kr/low/internal/hidden.h"', "is not installed"),
    "framework header in a public one": ("mid/b.h", '#include "kr/low/shared.h"', "is not installed"),
    "climbing path": ("mid/b.h", '#include "../low/a.h"', "is not a full path"),
    "bare path": ("low/a.cpp", '#include "a.h"', "is not a full path"),
    "angle brackets": ("mid/b.h", "#include <kr/low/a.h>", "with quotes"),
    "missing file": ("mid/b.h", '#include "kr/low/gone.h"', "does not exist"),
    "source file": ("mid/top/c.h", '#include "kr/low/a.cpp"', "is a source file"),
    "umbrella": ("mid/b.h", '#include "kr/foundation.h"', "umbrella"),
    "umbrella for plug-ins": ("mid/b.h", '#include "kr/plugin.h"', "umbrella"),
    "expensive header": ("mid/b.h", "  #  include <iostream>", "<iostream> is kept out"),
    "third-party header": ("low/a.h", "#include <boost/any.hpp>", "<boost/any.hpp> is kept out"),
    "loop of two": ("low/a.h", '#include "kr/low/internal/hidden.h"', "include loop: kr/low/a.h -> kr/low/internal/hidden.h -> kr/low/a.h"),
    "loop of one": ("mid/b.h", '#include "kr/mid/b.h"', "include loop: kr/mid/b.h -> kr/mid/b.h"),
    "upper class declared by hand": ("mid/b.h", "class KrTop;", "declares KrTop"),
    "unknown class declared by hand": ("mid/b.h", "class KrSomewhere;", "declares KrSomewhere"),
    "unlisted file": ("mid/new.cpp", "", "kr/mid/new.cpp: belongs to no layer"),
    "unlisted folder": ("else/new.h", "", "kr/else/new.h: belongs to no layer"),
}

APPS = {
    "apps/one/main.cpp": '#include <vector>\n#include "apps/one/part.h"\n#include "kr/mid/top/c.h"\n',
    "apps/one/part.h": '#pragma once\n#include "kr/low/a.h"\n',
    "apps/two/main.cpp": "",
}

BROKEN_APPS = {
    "internal header": ("one/part.h", '#include "kr/low/internal/hidden.h"', "is no public header"),
    "source file in brackets": ("one/part.h", "#include <kr/low/a.cpp>", "is no public header"),
    "other program": ("two/main.cpp", '#include "apps/one/part.h"', 'apps/two/main.cpp:1: "apps/one/part.h" is no header of'),
    "missing header": ("one/main.cpp", '#include "apps/one/gone.h"', "is no header of this program"),
    "loop": ("one/part.h", '#include "apps/one/part.h"', "include loop: apps/one/part.h -> apps/one/part.h"),
}

BROKEN_LISTS = {
    "source apart from its header": ("internal mid/top/internal/d.h\nsources mid/top/d.cpp",
                                     "kr/mid/top/d.cpp: lies apart from its header kr/mid/top/internal/d.h"),
    "unused layer": ("layer top: mid\nheaders top/d.h", "top: declares to use mid and includes nothing of it"),
    "layer of a layer": ("layer top: mid low\nheaders top/e.h", "top: declares to use low, which another layer"),
    "layer below its user": ("layer top: roof", "layer top uses roof, which stands above it"),
    "listed but absent": ("sources mid/gone.cpp", "kr/mid/gone.cpp: listed but not there"),
    "listed twice": ("sources low/a.cpp", "listed twice"),
    "foreign folder": ("headers mid/b2.h", "lies outside the folder"),
    "internal listed as public": ("headers mid/top/internal/d.h", "only they, lie in internal/"),
}


def run(files, layers, *options):
    with tempfile.TemporaryDirectory() as folder:
        for name, text in (APPS | files).items():
            path = pathlib.Path(folder, name if name.startswith("apps/") else f"src/kr/{name}")
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text, encoding="utf-8")
        listing = pathlib.Path(folder, "layers.txt")
        listing.write_text(layers, encoding="utf-8")
        done = subprocess.run([sys.executable, TOOL, "--root", pathlib.Path(folder, "src"), "--layers", listing,
                               "--apps", pathlib.Path(folder, "apps"), *options],
                              capture_output=True, text=True, check=False)
        return done.returncode, done.stdout + done.stderr


class CheckIncludes(unittest.TestCase):
    def test_good_tree_passes(self):
        code, output = run(GOOD, LAYERS)
        self.assertEqual((code, output), (0, "8 files in 3 layers, 3 in programs, no fault\n"))

    def test_each_fault_is_named(self):
        for name, (file, text, message) in BROKEN.items():
            with self.subTest(name):
                code, output = run(GOOD | {file: GOOD.get(file, "") + text + "\n"}, LAYERS)
                self.assertEqual(code, 1, output)
                self.assertIn(message, output)

    def test_each_fault_of_programs_is_named(self):
        for name, (file, text, message) in BROKEN_APPS.items():
            with self.subTest(name):
                code, output = run(GOOD | {f"apps/{file}": APPS[f"apps/{file}"] + text + "\n"}, LAYERS)
                self.assertEqual(code, 1, output)
                self.assertIn(message, output)

    def test_each_fault_of_the_lists_is_named(self):
        extra = {"mid/b2.h": "", "mid/top/d.cpp": "", "mid/top/internal/d.h": "", "top/d.h": "",
                 "top/e.h": '#include "kr/mid/b.h"\n#include "kr/low/a.h"\n'}
        for name, (line, message) in BROKEN_LISTS.items():
            with self.subTest(name):
                code, output = run(GOOD | {file: text for file, text in extra.items() if file in line},
                                   LAYERS + line + "\n")
                self.assertEqual(code, 1, output)
                self.assertIn(message, output)

    def test_the_picture_shows_the_declared_layers(self):
        with tempfile.TemporaryDirectory() as folder:
            picture = pathlib.Path(folder, "layers.dot")
            self.assertEqual(run(GOOD, LAYERS, "--picture", picture)[0], 1, "there is no picture yet")
            self.assertEqual(run(GOOD, LAYERS, "--picture", picture, "--draw")[0], 0)
            self.assertEqual(run(GOOD, LAYERS, "--picture", picture)[0], 0)
            self.assertIn('"mid/top" -> "mid";', picture.read_text(encoding="utf-8"))
            code, output = run(GOOD | {"new/f.h": '#include "kr/mid/b.h"\n'}, LAYERS + "layer new: mid\nheaders new/f.h\n",
                               "--picture", picture)
            self.assertEqual(code, 1)
            self.assertIn("is not the picture of the layers as declared", output)

    def test_an_empty_list_is_no_success(self):
        self.assertNotEqual(run(GOOD, "")[0], 0)


if __name__ == "__main__":
    unittest.main()
