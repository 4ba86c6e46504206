"""Configures a small tree of layers with cmake/KrComponent.cmake: what is declared wrongly must stop the build."""
import pathlib
import subprocess
import tempfile
import unittest

MODULES = pathlib.Path(__file__).resolve().parents[2] / "cmake"

ROOT = f"""cmake_minimum_required(VERSION 3.25)
project(Small LANGUAGES CXX)
list(APPEND CMAKE_MODULE_PATH "{MODULES}")
include(KrBuildOptions)
include(KrComponent)
find_package(Threads REQUIRED)
add_subdirectory(src/kr)
"""
LAYERS = """add_library(KrFoundation SHARED)
set_target_properties(KrFoundation PROPERTIES LINKER_LANGUAGE CXX)
add_library(kr_internal_headers INTERFACE)
add_subdirectory(low)
add_subdirectory(low/high)
kr_finish_components(PLUGIN kr/low/high/d.h)
"""
GOOD = {
    "CMakeLists.txt": ROOT,
    "src/kr/CMakeLists.txt": LAYERS,
    "src/kr/low/CMakeLists.txt": "kr_component(low HEADERS a.h OPT_IN b.h FRAMEWORK e.h INTERNAL internal/c.h SOURCES a.cpp)\n",
    "src/kr/low/high/CMakeLists.txt": "kr_component(low/high DEPENDS low HEADERS d.h SOURCES d.cpp)\n",
    **{f"src/kr/low/{name}": "" for name in ("a.h", "b.h", "e.h", "internal/c.h", "a.cpp", "high/d.h", "high/d.cpp")},
}
BROKEN = {
    "dependency declared later": ("src/kr/low/CMakeLists.txt", "kr_component(low DEPENDS low/high SOURCES a.cpp)",
                                  "layer 'low/high' is not declared below it"),
    "name of another folder": ("src/kr/low/high/CMakeLists.txt", "kr_component(high SOURCES d.cpp)",
                               "a layer is named after its folder"),
    "misspelt argument": ("src/kr/low/CMakeLists.txt", "kr_component(low FILES a.cpp)", "unknown arguments"),
    "unknown header for plug-ins": ("src/kr/CMakeLists.txt", LAYERS.replace("high/d.h", "b.h"), "kr/low/b.h are no public"),
    "missing source": ("src/kr/low/CMakeLists.txt", "kr_component(low SOURCES gone.cpp)", "gone.cpp"),
}


class KrComponent(unittest.TestCase):
    def configure(self, files):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        for name, text in files.items():
            path = self.folder / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text, encoding="utf-8")
        done = subprocess.run(["cmake", "-G", "Ninja", "-S", self.folder, "-B", self.folder / "build"],
                              capture_output=True, text=True, check=False)
        return done.returncode, " ".join((done.stdout + done.stderr).split())

    def test_nested_layers(self):
        code, output = self.configure(GOOD)
        self.assertEqual(code, 0, output)
        umbrella = (self.folder / "build/include/kr/foundation.h").read_text(encoding="utf-8").splitlines()
        self.assertEqual([line for line in umbrella if line.startswith('#include "')],
                         ['#include "kr/low/a.h"', '#include "kr/low/high/d.h"'])
        plugin = (self.folder / "build/include/kr/plugin.h").read_text(encoding="utf-8").splitlines()
        self.assertEqual([line for line in plugin if line.startswith("#include")], ['#include "kr/low/high/d.h"'])
        self.assertEqual((self.folder / "build/kr_layers.txt").read_text(encoding="utf-8"),
                         "layer low: \nheaders low/a.h\nopt_in low/b.h\nframework low/e.h\ninternal low/internal/c.h\nsources low/a.cpp\n"
                         "layer low/high: low\nheaders low/high/d.h\nsources low/high/d.cpp\n")

    def test_a_layer_of_a_library_beside_the_core(self):
        layer = "kr_component(low/high LIBRARY Beside DEPENDS low HEADERS d.h SOURCES d.cpp)\n"
        layers = LAYERS.replace("PLUGIN kr/low/high/d.h", "PLUGIN kr/low/a.h")
        beside = "add_library(Beside SHARED)\nset_target_properties(Beside PROPERTIES LINKER_LANGUAGE CXX)\n"
        # Without its target, since a third party is missing, its files are listed and not built.
        for name, lists, isBuilt in (("built", beside + layers, True), ("left out", layers, False)):
            with self.subTest(name):
                code, output = self.configure(GOOD | {"src/kr/CMakeLists.txt": lists, "src/kr/low/high/CMakeLists.txt": layer})
                self.assertEqual(code, 0, output)
                built = (self.folder / "build/build.ninja").read_text(encoding="utf-8")
                self.assertEqual("kr_low_high" in built, isBuilt)
                self.assertNotIn("d.h", (self.folder / "build/include/kr/foundation.h").read_text(encoding="utf-8"))
                self.assertIn("sources low/high/d.cpp", (self.folder / "build/kr_layers.txt").read_text(encoding="utf-8"))

    def test_wrong_declarations_stop_the_build(self):
        for name, (file, text, message) in BROKEN.items():
            with self.subTest(name):
                code, output = self.configure(GOOD | {file: text})
                self.assertNotEqual(code, 0)
                self.assertIn(message, output)


if __name__ == "__main__":
    unittest.main()
