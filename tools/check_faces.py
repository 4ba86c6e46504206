#!/usr/bin/env python3
"""Counts what installed classes show of the framework's inside: public functions whose names begin with an underscore.

check_faces.py --root src --layers build/debug/kr_layers.txt --limits tools/faces.txt [--draw]
exit 1 and one line a fault

The installed headers are those that kr_layers.txt, which the build writes, lists as headers and opt_in. A line of the
limits is "CLASS COUNT". Checked:
- no class has more such functions than its line says, and a class without a line has none;
- --draw writes the limits as they are now: after a function has left a face.

Overloads count once each. The functions of a class inside another one count for the inner one.
"""
import argparse
import collections
import pathlib
import re
import sys

NOT_CODE = re.compile(r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])*\'|^[ \t]*#(?:[^\n]*\\\n)*[^\n]*',
                      re.DOTALL | re.MULTILINE)
TOKEN = re.compile(r"[A-Za-z_]\w*|::|->|[^\s\w]")
ATTRIBUTE = re.compile(r"\[\[.*?\]\]|\balignas\s*\([^)]*\)", re.DOTALL)
ACCESS = {"public", "protected", "private"}
OPENS_PUBLIC = re.compile(r"\bKR_BASE_CLASS\s*\([^)]*\)")   # the macro ends with "public:"


class Scope:
    """A pair of braces: a class with its name and the access at this place, or anything else."""

    def __init__(self, name=None, access=None):
        self.name = name
        self.access = access


def head_of_class(tokens):
    """(name, access at its beginning) of the class whose head these tokens are, else None."""
    for at, token in enumerate(tokens):
        if token in ("class", "struct") and (at == 0 or tokens[at - 1] not in ("<", ",", "enum")):
            names = [each for each in tokens[at + 1:] if each not in ("final",)]
            if ":" in names:
                names = names[:names.index(":")]
            if "<" in names:
                names = names[:names.index("<")]
            words = [each for each in names if re.match(r"[A-Za-z_]", each) and each != "KR_API"]
            if not words or "(" in names:
                return None
            return words[-1], "public" if token == "struct" else "private"
    return None


def public_functions(text):
    """(class, function) for each public function of this header that begins with an underscore."""
    tokens = TOKEN.findall(OPENS_PUBLIC.sub(" public: ", ATTRIBUTE.sub(" ", NOT_CODE.sub(" ", text))))
    scopes, statement, parentheses = [], [], 0
    for at, token in enumerate(tokens):
        if token == "(":
            inside = scopes[-1] if scopes else None
            name = tokens[at - 1]
            is_declared = inside and inside.name and parentheses == 0 and "=" not in statement and ":" not in statement
            if is_declared and re.match(r"_[a-z]", name) and "(" not in statement and "friend" not in statement:
                if all(each.name is None or each.access == "public" for each in scopes):
                    yield "::".join(each.name for each in scopes if each.name), name
            parentheses += 1
        elif token == ")":
            parentheses -= 1
        if token == "{":
            head = head_of_class(statement) if parentheses == 0 else None
            scopes.append(Scope(*head) if head else Scope())
            statement = []
        elif token == "}":
            scopes.pop()
            statement = []
        elif token == ";" and parentheses == 0:
            statement = []
        elif token == ":" and scopes and scopes[-1].name and statement and statement[-1] in ACCESS:
            scopes[-1].access = statement[-1]
            statement = []
        else:
            statement.append(token)


def count(root, layers):
    counts = collections.Counter()
    for line in layers.read_text(encoding="utf-8").splitlines():
        kind, path = line.split(" ", 1)
        if kind in ("headers", "opt_in"):
            counts.update(name for name, _ in public_functions((root / "kr" / path).read_text(encoding="utf-8")))
    return counts


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--root", type=pathlib.Path, required=True)
    parser.add_argument("--layers", type=pathlib.Path, required=True)
    parser.add_argument("--limits", type=pathlib.Path, required=True)
    parser.add_argument("--draw", action="store_true")
    options = parser.parse_args()
    counts = count(options.root, options.layers)
    if options.draw:
        lines = [f"{name} {number}\n" for name, number in sorted(counts.items())]
        options.limits.write_text("".join(lines), encoding="utf-8")
    limits = {name: int(number) for name, number in
              (line.split() for line in options.limits.read_text(encoding="utf-8").splitlines())}
    faults = [f"{name}: {counts[name]} public functions begin with an underscore, {limits.get(name, 0)} may: "
              "put what the framework alone calls behind an access struct"
              for name in sorted(counts) if counts[name] > limits.get(name, 0)]
    print("\n".join(faults) if faults else
          f"{sum(counts.values())} public functions of {len(counts)} classes begin with an underscore, no fault")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
