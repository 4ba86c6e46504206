"""Completion in bash and manual pages: completion_test.py KRSIM"""
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

KRSIM = sys.argv[1]

COMPLETIONS = {  # what is typed, in words: what bash offers
    ("",): {"run", "sweep", "list", "completion", "--version"},
    ("sw",): {"sweep"},
    ("run", "--record-"): {"--record-field", "--record-on-change", "--record-period", "--record-units"},
    ("run", "--play-mode", ""): {"linear", "step"},
    ("run", "--play-mode", "=", "s"): {"step"},
    ("run", "--units", "="): {"si", "us"},
    ("run", "a b"): {"a blank.xml"},
    ("run", "-r", "ta"): {"table.csv"},
    ("run", "--plugins", ""): {"plugins"},
    ("run", "--set", "ta"): set(),
    ("edit", "--output", "tab"): {"table.csv"},
    ("completion", "b"): {"bash"},
    ("unknown", ""): set(),
}


def krsim(*arguments):
    return subprocess.run([KRSIM, *arguments], check=True, capture_output=True, text=True).stdout


class Completion(unittest.TestCase):
    def test_bash_completes_what_is_typed(self):
        with tempfile.TemporaryDirectory() as folder:
            for name in ("a blank.xml", "table.csv"):
                pathlib.Path(folder, name).touch()
            pathlib.Path(folder, "plugins").mkdir()
            script = krsim("completion", "bash")
            for words, offered in COMPLETIONS.items():
                with self.subTest(" ".join(words)):
                    run = script + 'COMP_WORDS=(krsim "$@"); COMP_CWORD=$#; _krsim; printf "%s\\n" "${COMPREPLY[@]}"'
                    done = subprocess.run(["bash", "-c", run, "bash", *words], cwd=folder, capture_output=True, text=True)
                    self.assertEqual(done.stderr, "")
                    answers = set(done.stdout.splitlines()) - {""}
                    if words == ("",):
                        self.assertLessEqual(offered, answers)
                    else:
                        self.assertEqual(answers, offered)

    def test_zsh_reads_the_script(self):
        script = krsim("completion", "zsh")
        self.assertTrue(script.startswith("#compdef krsim\n"))
        if zsh := shutil.which("zsh"):
            subprocess.run([zsh, "-n"], input=script, check=True, text=True)
        self.assertEqual(script.count("'") % 2, 0)


class Manual(unittest.TestCase):
    def test_each_command_has_a_page_with_all_its_options(self):
        with tempfile.TemporaryDirectory() as folder:
            krsim("manual", "--directory", folder)
            pages = {each.name: each.read_text() for each in pathlib.Path(folder).iterdir()}
        commands = re.findall(r"^  ([a-z-]+) ", krsim("--help").split("Subcommands:")[1], re.M)
        self.assertEqual(set(pages), {"krsim.1"} | {f"krsim-{each}.1" for each in commands})
        for command in commands:
            page = pages[f"krsim-{command}.1"]
            options = re.findall(r"^  (?:-.,)?(--[a-z-]+)", krsim(command, "--help"), re.M)
            self.assertIn("--help", options)
            for option in options:
                self.assertIn(option.replace("-", r"\-"), page, command)
        self.assertEqual(krsim("manual", "sweep"), pages["krsim-sweep.1"])
        if groff := shutil.which("groff"):
            for name, page in pages.items():
                done = subprocess.run([groff, "-man", "-ww", "-z", "-Tutf8"], input=page, capture_output=True, text=True)
                self.assertEqual((done.returncode, done.stderr), (0, ""), name)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
