#!/usr/bin/env python3
"""Holds the sources of the library against its layering.

check_includes.py --root src --layers build/debug/kr_layers.txt [--apps apps] [--picture FILE [--draw]]
exit 1 and one line a fault

kr_layers.txt is written by the build: "layer NAME: LAYERS BELOW", then "headers|opt_in|framework|internal|sources
FILE" with paths relative to src/kr. Checked:
- every file is listed once, in the layer whose folder (or internal/ folder) it lies in, and a source beside its header;
- a layer lies above the layers that it declares to use, includes something of each, and declares none that another one
  of them brings along;
- project includes are written "kr/..." from the root, and the file exists;
- a file includes its own layer and public and framework headers of layers below; internal headers only from their own
  layer; framework and internal headers never from a public header; no source file, and not the umbrella header;
- public headers keep expensive and third-party headers out;
- no loop between files;
- a class of an upper layer is declared in a fwd.h only;
- programs, each a folder in --apps, include public headers of the library and their own, "apps/NAME/...";
- --picture is the picture of the layers as they are declared, for Graphviz; --draw writes it.
"""
import argparse
import pathlib
import re
import sys

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')
DECLARATION = re.compile(r"^\s*(?:class|struct)\s+(?:KR_API\s+)?(\w+)\s*;", re.MULTILINE)
DEFINITION = re.compile(r"\b(?:class|struct)\s+(?:KR_API\s+)?(?:\w+::)*(\w+)\s*(?:<[^;{]*>\s*)?(?:final\s*)?(?:[{]|:[^:])")
COMMENT = re.compile(r"//[^\n]*|/\*.*?\*/", re.DOTALL)
OUR_CLASS = re.compile(r"^(?:Kr|I[A-Z])")
EXPENSIVE = re.compile(r"^(?:iostream|regex|(?:fmt|Eigen|boost|rapidjson|benchmark|gtest)/.*)$")
OPEN_TO = {   # opt-in headers whose purpose is to show types of a third party
    "kr/math/eigen.h": "Eigen/",
    **{f"kr/persistence/archives/{name}.h": "boost/" for name in
       ("archive_error", "archive_sequence", "binary_in_archive", "binary_out_archive", "binary_values", "export_class",
        "in_archive_objects", "json_in_archive", "json_out_archive", "named_in_archive", "named_out_archive",
        "named_output", "xml_in_archive", "xml_out_archive")},
    **{f"kr/persistence/files/{name}.h": "boost/" for name in ("base_part", "export_file_section")},
}
UMBRELLAS = {"kr/foundation.h", "kr/plugin.h"}
CODE = {".h", ".hpp", ".ipp", ".inl", ".cpp", ".cc", ".cxx"}


class Tree:
    """The declared layers and files, and the faults found in them."""

    def __init__(self, root, layers_file):
        self.root = pathlib.Path(root)
        self.faults = []
        self.uses = {}        # layer -> the layers that it declares to use, in the order of the build's list
        self.below = {}       # layer -> it and all layers under it
        self.layer_of = {}    # "kr/data/field.h" -> layer
        self.kind_of = {}     # the same -> headers, opt_in, framework, internal or sources
        self._read_layers(pathlib.Path(layers_file))
        self.texts = {path: (self.root / path).read_text(encoding="utf-8", errors="replace")
                      for path in sorted(self._files_on_disk())}
        self.bare = {path: COMMENT.sub(" ", text) for path, text in self.texts.items()}

    def fault(self, path, line, text):
        self.faults.append(f"{path}:{line}: {text}" if line else f"{path}: {text}")

    def _read_layers(self, layers_file):
        layer = None
        for line in filter(None, layers_file.read_text(encoding="utf-8").splitlines()):
            word, rest = line.split(" ", 1)
            if word == "layer":
                layer, below = rest.split(":")
                self.uses[layer] = below.split()
                for each in self.uses[layer]:
                    if each not in self.below:
                        sys.exit(f"{layers_file}: layer {layer} uses {each}, which stands above it")
                self.below[layer] = {layer}.union(*(self.below[each] for each in self.uses[layer]))
                continue
            path = f"kr/{rest}"
            if path in self.layer_of:
                self.fault(path, 0, f"listed twice, in {self.layer_of[path]} and {layer}")
            self.layer_of[path] = layer
            self.kind_of[path] = word
        if not self.layer_of:
            sys.exit(f"{layers_file}: lists no files")

    def _files_on_disk(self):
        return {path.relative_to(self.root).as_posix() for path in (self.root / "kr").rglob("*") if path.suffix in CODE}

    def includes(self, path):
        """(line number, bracket, included path) of each include that is not commented out."""
        inside_block = False
        for number, line in enumerate(self.texts[path].splitlines(), 1):
            if inside_block:
                inside_block = "*/" not in line
                continue
            match = INCLUDE.match(line)
            if match:
                yield number, match.group(1), match.group(2)
            inside_block = "/*" in line and "*/" not in line.split("/*", 1)[1]


def check_listing(tree):
    for path in tree.texts:
        if path not in tree.layer_of:
            tree.fault(path, 0, "belongs to no layer: list it in the CMakeLists.txt of its folder")
            continue
        folder = f"kr/{tree.layer_of[path]}"
        internal = tree.kind_of[path] == "internal"
        parent = pathlib.PurePosixPath(path).parent.as_posix()
        if parent not in (folder, f"{folder}/internal"):
            tree.fault(path, 0, f"lies outside the folder of its layer {tree.layer_of[path]}")
        elif tree.kind_of[path] != "sources" and internal != (parent == f"{folder}/internal"):
            tree.fault(path, 0, "internal headers, and only they, lie in internal/")
        elif tree.kind_of[path] == "sources" and parent == folder:
            header = pathlib.PurePosixPath(path).with_suffix(".h")
            hidden = f"{folder}/internal/{header.name}"
            if hidden in tree.texts and header.as_posix() not in tree.texts:
                tree.fault(path, 0, f"lies apart from its header {hidden}")
    for path in tree.layer_of:
        if path not in tree.texts:
            tree.fault(path, 0, "listed but not there")


def check_declared_uses(tree):
    """Each line of the picture stands for includes, and no line says what others say already."""
    included = {layer: set() for layer in tree.uses}
    for path, layer in tree.layer_of.items():
        if path in tree.texts:
            included[layer] |= {tree.layer_of.get(target) for _, _, target in tree.includes(path)}
    for layer, uses in tree.uses.items():
        for each in uses:
            if each not in included[layer]:
                tree.fault(layer, 0, f"declares to use {each} and includes nothing of it")
            elif any(each in tree.below[other] for other in uses if other != each):
                tree.fault(layer, 0, f"declares to use {each}, which another layer that it uses brings along")


def check_picture(tree, picture, draw):
    lines = [f'    "{layer}" -> "{each}";' for layer, uses in tree.uses.items() for each in uses]
    text = "\n".join(["digraph layers {", "    node [shape=box];", *lines, "}", ""])
    if draw:
        picture.write_text(text, encoding="utf-8")
    elif not picture.exists() or picture.read_text(encoding="utf-8") != text:
        tree.fault(picture, 0, "is not the picture of the layers as declared: run check_includes.py with --draw, then "
                               "scripts/pictures.sh")


def check_include(tree, path, line, bracket, target):
    public = tree.kind_of.get(path) in ("headers", "opt_in")
    if bracket == "<":
        if target.startswith("kr/"):
            tree.fault(path, line, f'write "{target}": project headers are included with quotes')
        elif public and EXPENSIVE.match(target) and not (path in OPEN_TO and target.startswith(OPEN_TO[path])):
            tree.fault(path, line, f"<{target}> is kept out of public headers")
        return
    if ".." in pathlib.PurePosixPath(target).parts or not target.startswith("kr/"):
        tree.fault(path, line, f'"{target}" is not a full path from the root of the sources')
    elif target in UMBRELLAS:
        tree.fault(path, line, "the umbrella header is for users of the library")
    elif target not in tree.texts:
        tree.fault(path, line, f'"{target}" does not exist')
    elif path in tree.layer_of and target in tree.layer_of:
        own, other, kind = tree.layer_of[path], tree.layer_of[target], tree.kind_of[target]
        if kind == "sources":
            tree.fault(path, line, f'"{target}" is a source file')
        elif other not in tree.below[own]:
            tree.fault(path, line, f'layer {own} may not use layer {other} ("{target}")')
        elif kind == "internal" and other != own:
            tree.fault(path, line, f'"{target}" is internal to layer {other}')
        elif kind in ("framework", "internal") and public:
            tree.fault(path, line, f'"{target}" is not installed, a public header cannot include it')


def check_apps(tree, apps, graph):
    """Adds the files of the programs to the tree and the graph."""
    files = {path.relative_to(apps.parent).as_posix(): path for path in sorted(apps.rglob("*")) if path.suffix in CODE}
    tree.texts |= {name: path.read_text(encoding="utf-8", errors="replace") for name, path in files.items()}
    for name in files:
        program = "/".join(name.split("/")[:2]) + "/"
        graph[name] = []
        for line, bracket, target in tree.includes(name):
            if target.startswith("kr/") and tree.kind_of.get(target) not in ("headers", "opt_in"):
                tree.fault(name, line, f'"{target}" is no public header of the library')
            elif bracket == '"' and not target.startswith("kr/") and not (target.startswith(program) and target in files):
                tree.fault(name, line, f'"{target}" is no header of this program')
            elif target in files:
                graph[name].append(target)


def check_loops(tree, graph):
    """Depth-first walk; each edge back into the current path is one loop."""
    state = {}
    for start in graph:
        stack = [(start, iter(graph[start]))] if start not in state else []
        state.setdefault(start, "open")
        while stack:
            node, targets = stack[-1]
            target = next(targets, None)
            if target is None:
                state[node] = "done"
                stack.pop()
            elif state.get(target) == "open":
                names = [each for each, _ in stack]
                tree.fault(target, 0, "include loop: " + " -> ".join(names[names.index(target):] + [target]))
            elif target not in state:
                state[target] = "open"
                stack.append((target, iter(graph[target])))


def check_forward_declarations(tree):
    homes = {}
    for path, text in tree.bare.items():
        for name in DEFINITION.findall(text):
            homes.setdefault(name, set()).add(tree.layer_of.get(path))
    for path, text in tree.bare.items():
        own = tree.layer_of.get(path)
        if own is None or path.endswith("/fwd.h"):
            continue
        for match in DECLARATION.finditer(text):
            name = match.group(1)
            layers = homes.get(name, set())
            if (layers or OUR_CLASS.match(name)) and not layers & tree.below[own]:
                tree.fault(path, 0, f"declares {name}, which is no class of this layer or one below: include a fwd.h")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--root", required=True, help="the folder that holds kr/")
    parser.add_argument("--layers", required=True, help="kr_layers.txt of a build folder")
    parser.add_argument("--apps", type=pathlib.Path, help="the folder that holds the programs")
    parser.add_argument("--picture", type=pathlib.Path, help="the picture of the layers")
    parser.add_argument("--draw", action="store_true", help="write the picture")
    arguments = parser.parse_args()

    tree = Tree(arguments.root, arguments.layers)
    graph = {}
    check_listing(tree)
    check_declared_uses(tree)
    if arguments.picture:
        check_picture(tree, arguments.picture, arguments.draw)
    for path in tree.texts:
        graph[path] = []
        for line, bracket, target in tree.includes(path):
            check_include(tree, path, line, bracket, target)
            if target in tree.texts:
                graph[path].append(target)
    if arguments.apps:
        check_apps(tree, arguments.apps, graph)
    check_loops(tree, graph)
    check_forward_declarations(tree)
    in_layers = sum(path.startswith("kr/") for path in tree.texts)
    print("\n".join(tree.faults) if tree.faults else
          f"{in_layers} files in {len(tree.below)} layers, {len(tree.texts) - in_layers} in programs, no fault")
    return 1 if tree.faults else 0


if __name__ == "__main__":
    sys.exit(main())
