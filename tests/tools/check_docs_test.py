"""Pages with one fault each, which tools/check_docs.py must name."""
import hashlib
import pathlib
import subprocess
import sys
import tempfile
import unittest

TOOL = pathlib.Path(__file__).resolve().parents[2] / "tools" / "check_docs.py"

PROGRAM = "int main() {}\n"
README = "# Name\n\n[page](docs/page.md#two-words) [web](https://example.org/x)\n\n" \
         "<!-- program: main.cpp -->\n```cpp\n" + PROGRAM + "```\n"
PAGE = "# Page\n## Two words\n[back](../README.md) [here](#page)\n```sh\n# No heading [no](link.md)\n```\n" \
       "<!-- file: main.cpp -->\n```text\n" + PROGRAM + "```\n"

FAULTS = {
    "dead link": ("docs/page.md", PAGE + "[gone](gone.md)", "docs/page.md: link to gone.md"),
    "dead anchor": ("docs/page.md", PAGE.replace("#page", "#no-heading-nolinkmd"), "no such heading"),
    "changed program": ("main.cpp", "int main() { return 1; }\n", "differs from main.cpp"),
    "program without block": ("README.md", README.replace("```cpp", "```sh"), "no block follows"),
    "changed file": ("main.cpp", "\n" + PROGRAM, "docs/page.md: the block shown differs from main.cpp"),
    "program file gone": ("README.md", README.replace("program: main.cpp", "program: other.cpp"), "shows other.cpp"),
    "picture not rendered": ("docs/pictures/new.dot", "digraph {}\n", "docs/pictures/new.svg: is not rendered"),
    "picture of an older text": ("docs/pictures/plan.dot", "digraph { a }\n", "docs/pictures/plan.svg: is not rendered"),
    "program not shown": ("README.md", "# Name\n", "does not show main.cpp"),
}


def run(files):
    with tempfile.TemporaryDirectory() as folder:
        for name, text in files.items():
            path = pathlib.Path(folder, name)
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text, encoding="utf-8")
        done = subprocess.run([sys.executable, TOOL, "--root", folder, "--program", "main.cpp"], capture_output=True,
                              text=True, check=False)
        return done.returncode, done.stdout + done.stderr


class CheckDocs(unittest.TestCase):
    files = {"README.md": README, "docs/page.md": PAGE, "main.cpp": PROGRAM, "docs/pictures/plan.dot": "digraph {}\n",
             "docs/pictures/plan.svg": f"<svg/>\n<!-- of {hashlib.sha256(b'digraph {}' + bytes([10])).hexdigest()} -->\n"}

    def test_good_pages_pass(self):
        self.assertEqual(run(self.files), (0, "2 pages, no fault\n"))

    def test_each_fault_is_named(self):
        for name, (file, text, message) in FAULTS.items():
            with self.subTest(name):
                code, output = run(self.files | {file: text})
                self.assertEqual(code, 1, output)
                self.assertIn(message, output)


if __name__ == "__main__":
    unittest.main()
