#!/usr/bin/env python3
"""Checks the Markdown files of the project: check_docs.py --root DIR      exit 1 and one line a fault

- a link to a file of the project leads to a file that exists, and its anchor to a heading of that file;
- a C++ block right after the line <!-- program: PATH --> is, letter for letter, that file, which the build compiles;
- so is a block of any language after <!-- file: PATH -->;
- each picture docs/pictures/NAME.svg was rendered from NAME.dot as that is now;
- README.md shows such a program once --program is given.
"""
import argparse
import hashlib
import pathlib
import re
import sys

LINK = re.compile(r"\[[^\]]*\]\(([^)\s]+)\)")
PROGRAM = re.compile(r"^<!-- program: (\S+) -->\n+```cpp\n(.*?)^```$", re.MULTILINE | re.DOTALL)
SHOWN = re.compile(r"^<!-- (?:program: (?=\S+ -->\n+```cpp\n)|file: )(\S+) -->\n+```\w+\n(.*?)^```$", re.MULTILINE | re.DOTALL)
ANNOUNCED = re.compile(r"^<!-- (?:program|file):", re.MULTILINE)
FENCE = re.compile(r"^```.*?^```$", re.MULTILINE | re.DOTALL)
HEADING = re.compile(r"^#+ +(.*?)\s*$", re.MULTILINE)
SKIPPED = {"build", ".git"}


def anchors(text):
    """The anchors of a page's headings, as code hosts derive them."""
    titles = HEADING.findall(FENCE.sub("", text))
    return {re.sub(r"[^\w\- ]", "", title.lower()).replace(" ", "-") for title in titles}


def faults_of(root, page):
    text = page.read_text(encoding="utf-8")
    name = page.relative_to(root)
    for link in LINK.findall(FENCE.sub("", text)):
        if re.match(r"[a-z]+:", link):
            continue
        target, _, anchor = link.partition("#")
        file = (page.parent / target).resolve() if target else page
        if not file.exists():
            yield f"{name}: link to {target}, which is not there"
        elif anchor and anchor not in anchors(file.read_text(encoding="utf-8")):
            yield f"{name}: link to {link}, which has no such heading"
    shown = SHOWN.findall(text)
    if len(shown) != len(ANNOUNCED.findall(text)):
        yield f"{name}: a file is announced but no block follows"
    for path, block in shown:
        file = root / path
        if not file.exists():
            yield f"{name}: shows {path}, which is not there"
        elif file.read_text(encoding="utf-8") != block:
            yield f"{name}: the block shown differs from {path}"


def faults_of_pictures(root):
    for source in sorted((root / "docs/pictures").glob("*.dot")):
        picture = source.with_suffix(".svg")
        note = f"<!-- of {hashlib.sha256(source.read_bytes()).hexdigest()} -->"
        if not picture.exists() or note not in picture.read_text(encoding="utf-8"):
            yield f"{picture.relative_to(root)}: is not rendered from {source.name} as it is now: run scripts/pictures.sh"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--root", required=True)
    parser.add_argument("--program", help="the program that README.md must show")
    arguments = parser.parse_args()

    root = pathlib.Path(arguments.root).resolve()
    pages = [page for page in sorted(root.rglob("*.md")) if not SKIPPED & set(page.relative_to(root).parts)]
    faults = [fault for page in pages for fault in faults_of(root, page)] + list(faults_of_pictures(root))
    if arguments.program:
        shown = [path for path, _ in PROGRAM.findall((root / "README.md").read_text(encoding="utf-8"))]
        if arguments.program not in shown:
            faults.append(f"README.md does not show {arguments.program}")
    if not pages:
        faults.append(f"{root} holds no pages")
    print("\n".join(faults) if faults else f"{len(pages)} pages, no fault")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
