"""Holds tools/dump_binary.py against krsim: dump_binary_test.py KRSIM FIXTURES [PLUGINS_FOLDER DRIVE_CYCLE_FOLDER]

Each case writes a file of content, a setup or a state as JSON, has krsim save it as a binary file, and expects of the
reader, which knows only the pages about the bytes, line by line what `krsim dump` prints.
"""
import contextlib
import importlib.util
import pathlib
import random
import re
import resource
import struct
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree

from binary_files import COMPACT_VALUES, FILES, document, double_field, extension

TOOL = pathlib.Path(__file__).resolve().parents[3] / "tools" / "dump_binary.py"
KRSIM, FIXTURES = sys.argv[1], pathlib.Path(sys.argv[2])
EXAMPLE = sys.argv[3:5]
PAGE = (TOOL.parents[1] / "docs" / "binary-layouts.md").read_text(encoding="utf-8")

spec = importlib.util.spec_from_file_location("dump_binary", TOOL)
dump_binary = importlib.util.module_from_spec(spec)
spec.loader.exec_module(dump_binary)


def run(*command, code=0):
    done = subprocess.run([str(each) for each in command], stdin=subprocess.DEVNULL, capture_output=True, check=False)
    if done.returncode != code:
        raise AssertionError(f"{command}: exit code {done.returncode}\n{done.stdout[-2000:]}\n{done.stderr[-2000:]}")
    return done.stdout


def read(data, is_long=True, decodes=False):
    return b"".join(dump_binary.lines_of(dump_binary.File(data, decodes).read(), is_long))


def example():
    """The bytes of the file that the page shows, and what it says that the reader prints."""
    listing, printed = re.findall(r"^```\n(.*?)^```$", PAGE[PAGE.index("## Worked example"):], re.MULTILINE | re.DOTALL)
    data = b""
    for line in filter(None, listing.splitlines()):
        offset, text = line.split("  ", 1)
        if int(offset, 16) != len(data):
            raise AssertionError(f"the line of {offset} stands at {len(data):03x}")
        data += bytes.fromhex(re.match(r"(?:[0-9a-f]{2} ?)+", text)[0])
    return data, printed.encode()


def leaves(text):
    """Names and values, numbers as numbers."""
    for line in text.decode().splitlines():
        name, colon, value = line.strip().partition(": ")
        if colon:
            yield name, comparable(value)


def comparable(value):
    try:
        return [float(each) for each in value.split()]
    except ValueError:
        return value


def leaves_of_xml(section):
    for element in section.iter():
        name = element.get("name", element.tag)
        if len(element) == 0 and (element.text or "").strip():
            yield name, comparable(element.text)


class Reader(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory()
        self.addCleanup(holder.cleanup)
        self.folder = pathlib.Path(holder.name)

    def binary(self, name):
        return self.converted(document(*FILES[name]), "--to", "binary")

    def converted(self, text, *options):
        source, target = self.folder / "source.json", self.folder / "file.kr"
        source.write_text(text, encoding="utf-8")
        run(KRSIM, "convert", source, target, "--force", *options)
        return target

    def written(self, data):
        path = self.folder / "written.kr"
        path.write_bytes(data)
        return path

    def assert_same(self, path, *options):
        expected = run(KRSIM, "dump", path, "--long", *options)
        self.assertEqual(read(path.read_bytes()).splitlines(), expected.splitlines())

    def test_each_file_reads_as_krsim_dumps_it(self):
        for name in FILES:
            with self.subTest(name):
                self.assert_same(self.binary(name))

    def test_long_values_are_cut_alike(self):
        path = self.binary("several sections")
        self.assertEqual(run(sys.executable, TOOL, path), run(KRSIM, "dump", path))
        self.assertEqual(run(sys.executable, TOOL, "--long", path), run(KRSIM, "dump", "--long", path))

    def test_values_of_compact_states(self):
        data = self.binary("compact state").read_bytes()
        self.assertTrue(read(data, decodes=True).decode().endswith(COMPACT_VALUES))

    def test_the_example_of_the_page(self):
        data, printed = example()
        self.assertEqual(read(data), printed)
        self.assert_same(self.written(data))

    def test_forms_that_are_no_longer_written(self):
        data, printed = example()
        end = len(data) - dump_binary.TRAILER_SIZE
        versions = ((0x66, 0), (0x9b, 0), (0xcd, 2))

        def with_versions(content, size):
            pieces, start = [], 0
            for at, version in versions:
                pieces += [content[start:at], version.to_bytes(size, "little")]
                start = at + 8
            return b"".join(pieces) + content[start:end]

        files = {"without checksum": data[:end],
                 "name behind the tag": data[:12] + b"1\x05" + data[14:27] + b"2020!" + data[27:end],
                 "class versions of one byte": with_versions(data[:10] + b"0" + data[11:], 1),
                 "class versions of four bytes": with_versions(data[:0x35] + bytes(8) + data[0x3d:], 4),
                 "other identifier": data[:27] + b"BinaryNoTrackingArchiveID\0" + data[53:end]}
        for name, content in files.items():
            with self.subTest(name):
                self.assertEqual(read(content), printed)
                self.assertEqual(run(KRSIM, "dump", self.written(content)), printed)
        # A reference by the number of an interface: one presence byte where there were a value and a range.
        content = data[:0x1c5] + b"\x24" + data[0x1c6:0x1d0] + b"\0" + data[0x1db:end]
        self.assertIn(b"Type: Part\n                Dynamic", read(content))
        self.assertIn(b"InterfaceID: KrDynamics::Part", run(KRSIM, "dump", self.written(content)))

    def test_files_of_earlier_releases(self):
        folder = FIXTURES / "2020.3"
        self.assert_same(folder / "state.binary")
        car = folder / "content/car.binary"
        section = xml.etree.ElementTree.parse(folder / "content/car.xml").find("Sections/Section")
        self.assertEqual(list(leaves(read(car.read_bytes())))[1:], list(leaves_of_xml(section)))
        # Loading gives the definition a file; all else is as it was.
        dumped = run(KRSIM, "dump", car, "--long")
        definition = re.search(rb"( *)Definition\n(?:\1 .*\n)*", dumped)[0]
        self.assertIn(b"File: parts.json\n", definition)
        stored = re.search(rb"( *)Definition\n(?:\1 .*\n)*", read(car.read_bytes()))[0]
        self.assertEqual(read(car.read_bytes()).replace(stored, definition), dumped)

    def test_damage_is_refused_with_its_place(self):
        whole = self.binary("objects 0").read_bytes()
        small, _ = example()
        plain = small[:-dump_binary.TRAILER_SIZE]
        states = self.binary("compact state").read_bytes()[:-dump_binary.TRAILER_SIZE]
        table = {
            "flipped bit": (small[:300] + bytes([small[300] ^ 4]) + small[301:], "byte 621: the checksum does not fit"),
            "checksum of another length": (small[:100] + small[101:], "byte 620: a checksum of 621 bytes behind 620 bytes"),
            "cut": (plain[:0x1a4], "byte 416: numbers of 8 bytes where 4 are left"),
            "more behind": (plain + b"\0", "byte 621: 1 bytes behind the end"),
            "text": (plain[:0xea] + b"\xff" * 8 + plain[0xf2:], "a text of 18446744073709551615 bytes where"),
            "list": (plain[:0x130] + b"\xff" * 4 + plain[0x134:], "byte 312: a list of 4294967295 where"),
            "bool": (plain[:0x1b3] + b"\x02" + plain[0x1b4:], "byte 436: a bool of 2"),
            "repeated text": (plain[:0x230] + b"\x09" + plain[0x231:], "number 9 of a repeated text where 4 have come"),
            "negative repeated text": (plain[:0x230] + b"\xff" * 4 + plain[0x234:], "number -1 of a repeated text"),
            "data type": (plain[:0x191] + b"\x09" + plain[0x192:], "the unknown data type 9"),
            "data type without values": (plain[:0x191] + b"\x20" + plain[0x192:], "values of data type 32, Vector Item"),
            "transfer function": (plain[:0x259] + b"\x03" + plain[0x25a:], "of the unknown kind 3"),
            "section": (plain.replace(b"KrObjectSection", b"KrSecretSection"), "a section 'KrSecretSection' of version 2"),
            "newer section": (plain[:0xcd] + b"\x05" + plain[0xce:], "a section 'KrObjectSection' of version 5"),
            "class of a section": (plain[:0xb3] + b"\x03" + plain[0xb4:], "section 1 of 0 known classes"),
            "number of an object": (plain[:0xd5] + b"\x02" + plain[0xd6:], "object 2 where 1 are known"),
            "header": (plain[:30] + b"?" + plain[31:], "no binary archive begins here"),
            "byte order": (plain[:0x61] + b"\0\0\0\1" + plain[0x65:], "byte order 16777216"),
            "other kind": (document(*FILES["no objects"]).encode(), "byte 9: the file is XML or JSON"),
            "no file of ours": (b"%PDF-1.4" + bytes(99), "byte 0: no file"),
            "empty": (b"", "byte 0: no file"),
        }
        for name, (content, message) in table.items():
            with self.subTest(name):
                done = subprocess.run([sys.executable, TOOL, self.written(content)], capture_output=True, text=True, check=False)
                self.assertEqual((done.returncode, done.stdout), (1, ""))
                self.assertIn(message, done.stderr)
                self.assertEqual(done.stderr.count("\n"), 1, done.stderr)
        rest = random.Random(1)
        with limited_memory():
            for content in (plain, states, whole[:-dump_binary.TRAILER_SIZE]):
                for _ in range(400 if len(content) < 5000 else 30):
                    at = rest.randrange(len(content))
                    change = bytes([rest.choice((0, 1, 2, 27, 31, 127, 255))]) * rest.choice((1, 1, 4, 8))
                    self.read_or_refuse(content[:at])
                    self.read_or_refuse(content[:at] + change + content[at + len(change):])

    def read_or_refuse(self, content):
        try:
            read(content)
        except dump_binary.Refused as refusal:
            self.assertRegex(str(refusal), "^byte [0-9]+: ")

    def test_texts_repeated_out_of_all_proportion(self):
        size = 1 << 20
        archive = dump_binary.Archive(struct.pack("<iQ", 0, size) + b"x" * size + bytes(4000), 0, size + 4012)
        values = dump_binary.Values(archive, dump_binary.Node(b"Root"))
        with self.assertRaisesRegex(dump_binary.Refused, "out of all proportion"):
            for _ in range(1000):
                values.repeated("Text")
        self.assertGreater(len(values.open_nodes[0].children), 16)

    def test_depth(self):
        levels = 100_000
        level = struct.pack("<ii", 0, 26) + bytes(8) + struct.pack("<Q", 1)
        fields = struct.pack("<iQ", 0, 1) + b"x" + level[4:] + level * levels
        placed = struct.pack("<Q", 1) + b"x" + b"\1\0" + struct.pack("<Q", 1) + b"x" + b"\0" + struct.pack("<Q", 1)
        for form, content, message in (("field", fields, "'Field' lies more than 512 groups deep"),
                                       ("content_id", placed * levels, "chains more than 64 deep")):
            values = dump_binary.Values(dump_binary.Archive(content, 0, len(content)), dump_binary.Node(b"Root"))
            with self.subTest(form), self.assertRaisesRegex(dump_binary.Refused, message):
                dump_binary.run(getattr(values, form)("Field"))

    def test_files_that_cannot_be_read(self):
        for path, reason in ((self.folder, "directory"), (self.folder / "none", "No such file"), ("/dev/null", "no regular file")):
            done = subprocess.run([sys.executable, TOOL, path], capture_output=True, text=True, check=False)
            self.assertEqual((done.returncode, done.stdout), (2, ""))
            self.assertIn(reason, done.stderr)

    def test_numbers_of_the_page(self):
        types, dimensions = ({int(number): rest for number, rest in re.findall(r"^\| (\d+) \| (.*) \|$", table, re.MULTILINE)}
                             for table in re.findall(r"^\|---:\|.*\n((?:\|.*\n)+)", PAGE, re.MULTILINE))
        self.assertEqual({number: row.split(" | ")[0] for number, row in types.items()}, dump_binary.DATA_TYPES)
        self.assertEqual({number for number, row in types.items() if row.endswith("yes")}, dump_binary.WITH_RANGE)
        names = {number: row.split(" |")[0] for number, row in dimensions.items()}
        self.assertEqual(names, dump_binary.DIMENSIONS)
        units = {256 * number + place: unit for number, row in dimensions.items() if row.split("|")[1].strip()
                 for place, unit in enumerate(row.split("| ")[1].split(", "), 1)}
        for choice, numbers in (("FieldType", dump_binary.ROLES), ("Kind", dump_binary.KINDS),
                                ("Interpolation", dump_binary.INTERPOLATIONS), ("Below, Above", dump_binary.ENDS),
                                ("Payload", dump_binary.PAYLOADS),
                                *((name, form) for name, form in dump_binary.SETTINGS if isinstance(form, dict))):
            row = ", ".join(f"{number} {text}" for number, text in numbers.items())
            self.assertIn(f"| {choice} | {row} |\n", PAGE)
        # The library itself names units and dimensions by their numbers.
        fields = [double_field(f"D{number}", PhysicalDimension=number) for number in dimensions]
        hint = "Kr::KrPhysicalDimension::eDimensionHint"
        fields += [{"Identifier": f"U{number}", "Type": "Enumeration",
                    "Value": {"Enumeration": hint, "Text": name, "Number": 0}} for number, name in units.items()]
        content = [("KrObjectSection", 2, {"Objects": [extension(1, "All", Inputs=fields)]})]
        printed = run(KRSIM, "dump", self.converted(document("O", content), "--to", "binary")).decode()
        for number, name in list(names.items())[1:]:
            self.assertRegex(printed, f"Identifier: D{number}\n *Type: Double\n *PhysicalDimension: {name}\n")
        for number, name in units.items():
            self.assertRegex(printed, f"Identifier: U{number}\n(?:.*\n){{3}} *Text: {name}\n *Number: {number}\n")

    @unittest.skipUnless(EXAMPLE, "the examples are not built")
    def test_files_of_the_drive_cycle(self):
        plugins, folder = EXAMPLE
        options = ("--plugins", plugins)
        for name in ("car", "setup"):
            target = self.folder / f"{name}.kr"
            run(KRSIM, "convert", pathlib.Path(folder, f"{name}.xml"), target, "--to", "binary", *options)
            self.assert_same(target, *options)
        state = self.folder / "state"
        run(KRSIM, "run", self.folder / "car.kr", "--quiet", "--free", "--frames", 9, "--log-file", self.folder / "log_",
            "--save-state", state, *options)
        self.assert_same(state, *options)


@contextlib.contextmanager
def limited_memory():
    """A damaged file that asks for much more than its size fails here."""
    soft, hard = resource.getrlimit(resource.RLIMIT_AS)
    resource.setrlimit(resource.RLIMIT_AS, (1 << 30, hard))
    try:
        yield
    finally:
        resource.setrlimit(resource.RLIMIT_AS, (soft, hard))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
