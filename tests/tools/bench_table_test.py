"""Runs tools/bench_table.py on a program that prints known times in place of a benchmark."""
import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

TOOL = pathlib.Path(__file__).resolve().parents[2] / "tools" / "bench_table.py"

# name: (processor time, wall time, unit, threads); three repetitions, of which the last is an outlier
ROWS = {"BM_Ours/8": (200.0, 300.0, "ns", 1), "BM_Bare": (0.1, 0.1, "us", 1), "BM_Two/threads:2": (50.0, 150.0, "ns", 2)}
STAND_IN = """#!{python}
import json, re, sys
rows = {rows!r}
options = dict(each.lstrip("-").split("=", 1) for each in sys.argv[1:] if "=" in each)
if "--benchmark_list_tests" in sys.argv:
    print("\\n".join(rows))
else:
    out = [{{"run_name": name, "run_type": kind, "cpu_time": cpu * scale, "real_time": real * scale, "time_unit": unit,
            "threads": threads, "bytes": 96.0}}
           for name, (cpu, real, unit, threads) in rows.items() if re.search(options["benchmark_filter"], name)
           for kind, scale in (("iteration", 1), ("iteration", 1), ("iteration", 50), ("aggregate", 1000))]
    with open(options["benchmark_out"], "w") as file:
        json.dump({{"benchmarks": out}}, file)
"""

# (goal without text and file, measured, result, exit code)
GOALS = [
    ({"subject": "BM_Ours/8", "reference": "BM_Bare", "max_ratio": 2.0}, "2.00x", "reached", 0),
    ({"subject": "BM_Ours/8", "reference": "BM_Bare", "max_ratio": 1.9}, "2.00x", "MISSED", 1),
    ({"subject": "BM_Bare", "reference": "BM_Ours/8", "min_ratio": 2.0}, "2.00x", "reached", 0),
    ({"subject": "BM_Bare", "reference": "BM_Ours/8", "min_ratio": 2.1}, "2.00x", "MISSED", 1),
    ({"subject": "BM_Two/threads:2", "reference": "BM_Ours/8", "max_ratio": 1.0, "time": "real"}, "1.00x", "reached", 0),
    ({"subject": "BM_Ours/8", "counter": "bytes", "max": 96}, "96", "reached", 0),
    ({"subject": "BM_Ours/8", "counter": "bytes", "max": 95}, "96", "MISSED", 1),
    ({"subject": "BM_Ours/8", "counter": "calls", "max": 95}, "-", "NOT MEASURED (no counter calls)", 1),
    ({"subject": "BM_Ours/8", "reference": "BM_Gone", "max_ratio": 9}, "-", "NOT MEASURED (no BM_Gone)", 1),
    ({"subject": "BM_Ours/8", "reference": "BM_Gone", "max_ratio": 9, "file": "other"}, "-", "NOT MEASURED", 1),
]

MALFORMED = [
    {"goal": "g", "file": "f", "subject": "a", "max_ratio": 1},
    {"goal": "g", "file": "f", "subject": "a", "reference": "b"},
    {"goal": "g", "file": "f", "subject": "a", "reference": "b", "max_ratio": 1, "min_ratio": 1},
    {"goal": "g", "file": "f", "subject": "a", "reference": "b", "max_ration": 1, "max_ratio": 1},
    {"goal": "g", "file": "f", "subject": "a", "reference": "b", "max_ratio": 1, "time": "wall"},
]


class BenchTable(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.program = self.folder / "field_benchmark"
        self.program.write_text(STAND_IN.format(python=sys.executable, rows=ROWS), encoding="utf-8")
        self.program.chmod(0o755)

    def run_tool(self, goals, *arguments):
        path = self.folder / "goals.json"
        path.write_text(json.dumps(goals), encoding="utf-8")
        done = subprocess.run([sys.executable, TOOL, "--goals", path, *arguments], capture_output=True, text=True, check=False)
        return done.returncode, done.stdout, done.stderr

    def test_table(self):
        for goal, measured, result, code in GOALS:
            with self.subTest(goal):
                found, output, errors = self.run_tool([{"goal": "text", "file": "field"} | goal], "--programs", self.folder)
                self.assertEqual(found, code, errors)
                row = output.splitlines()[1]
                self.assertEqual(row.split()[:2], ["text", measured])
                self.assertIn(result, row)

    def test_filter_chooses_goals(self):
        goals = [{"goal": text, "file": "field", "subject": "BM_Ours/8", "counter": "bytes", "max": 96}
                 for text in ("one", "two")]
        self.assertIn("1 of 1 goals reached", self.run_tool(goals, "--programs", self.folder, "TWO")[1])
        self.assertNotEqual(self.run_tool(goals, "--programs", self.folder, "three")[0], 0)

    def test_malformed_goals_are_refused(self):
        for goal in MALFORMED:
            with self.subTest(goal):
                self.assertIn("goals.json", self.run_tool([goal], "--programs", self.folder)[2])

    def test_check_names_goals_without_benchmark(self):
        goal = {"goal": "text", "file": "field", "subject": "BM_Ours/8", "max_ratio": 1}
        check = ("--file", "field", "--check", self.program)
        self.assertEqual(self.run_tool([goal | {"reference": "BM_Bare"}], *check)[0], 0)
        self.assertEqual(self.run_tool([goal | {"reference": "BM_Glib", "peer": "gobject-2.0"}], *check)[0], 0)
        code, output, _ = self.run_tool([goal | {"reference": "BM_Glib"}], *check)
        self.assertEqual(code, 1)
        self.assertIn("has no benchmark BM_Glib", output)


if __name__ == "__main__":
    unittest.main()
