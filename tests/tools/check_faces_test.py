#!/usr/bin/env python3
"""The check of faces counts the public functions that begin with an underscore, and nothing else."""
import pathlib
import subprocess
import sys
import tempfile
import unittest

TOOL = pathlib.Path(__file__).resolve().parents[2] / "tools" / "check_faces.py"

# name: (header, the limits that --draw writes)
COUNTED = {
    "public ones with their overloads": ("class A {\npublic:\n  void _f();\n  int _f(int a) const;\n  void g();\n};", "A 2\n"),
    "protected and private ones are not": (
        "class A {\n  void _a();\npublic:\n  int b();\nprotected:\n  void _c();\nprivate:\n  void _d();\n};", ""),
    "a struct begins in public": ("struct KR_API A final : B<int> {\n  [[nodiscard]] bool _f() const noexcept;\n};", "A 1\n"),
    "templates": ("template <class T>\nclass A : public B {\npublic:\n  template <class U>\n  static U* _f(U* u);\n};", "A 1\n"),
    "bodies, default arguments and comments are not": (
        'struct A {\n  int f(int n = _two()) { return _g(n); }\n  /// _h() and\n  // _i()\n  const char* t{"_j()"};\n'
        "  friend void _k(A&);\n  int b = _l();\n};", ""),
    "function pointers and calls in initialisers are not": (
        "struct A {\n  A() : _x(1) {}\n  void (*_run)(int);\n  int _x;\n};", ""),
    "operators beside them do not hide them": (
        "struct A {\n  A& operator=(const A&) = delete;\n  bool operator<(A) const;\n  void _f();\n};", "A 1\n"),
    "an inner class counts for itself, where it is public": (
        "class A {\npublic:\n  enum class E : int { kOne };\n  struct In { void _f(); };\nprivate:\n  struct Hidden { void _g(); };\n};",
        "A::In 1\n"),
    "the class macro opens the public part": ("class A : public B {\n  KR_BASE_CLASS(A, B)\n\n  void _f();\n};", "A 1\n"),
    "free functions are not": ("namespace N {\nvoid _f();\n}", ""),
}


def run(folder, *options):
    done = subprocess.run([sys.executable, TOOL, "--root", folder, "--layers", folder / "layers.txt",
                           "--limits", folder / "faces.txt", *options], capture_output=True, text=True, check=False)
    return done.returncode, done.stdout + done.stderr


class CheckFaces(unittest.TestCase):
    def setUp(self):
        self.temporary = tempfile.TemporaryDirectory()
        self.addCleanup(self.temporary.cleanup)
        self.folder = pathlib.Path(self.temporary.name)
        (self.folder / "kr/low").mkdir(parents=True)
        (self.folder / "layers.txt").write_text("layer low: \nheaders low/a.h\ninternal low/b.h\n", encoding="utf-8")
        (self.folder / "kr/low/b.h").write_text("struct B { void _inside(); };", encoding="utf-8")

    def write(self, header, limits=""):
        (self.folder / "kr/low/a.h").write_text(header, encoding="utf-8")
        (self.folder / "faces.txt").write_text(limits, encoding="utf-8")

    def test_what_counts(self):
        for name, (header, limits) in COUNTED.items():
            with self.subTest(name):
                self.write(header)
                self.assertEqual(run(self.folder, "--draw")[0], 0)
                self.assertEqual((self.folder / "faces.txt").read_text(encoding="utf-8"), limits)

    def test_one_more_than_the_limit_is_refused(self):
        self.write("struct A { void _f(); void _g(); };", "A 1\n")
        code, output = run(self.folder)
        self.assertEqual((code, output), (1, "A: 2 public functions begin with an underscore, 1 may: put what the framework "
                                             "alone calls behind an access struct\n"))

    def test_a_class_without_a_line_may_have_none(self):
        self.write("struct A { void _f(); };")
        code, output = run(self.folder)
        self.assertEqual(code, 1)
        self.assertIn("A: 1 public functions begin with an underscore, 0 may", output)

    def test_the_limit_itself_passes(self):
        self.write("struct A { void _f(); };", "A 1\n")
        self.assertEqual(run(self.folder), (0, "1 public functions of 1 classes begin with an underscore, no fault\n"))


if __name__ == "__main__":
    unittest.main()
