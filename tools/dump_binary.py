#!/usr/bin/env python3
"""Prints what a binary file holds, a value a line: dump_binary.py [--long] [--values] FILE

The same lines as `krsim dump`, without the library: a reader written from docs/binary-layouts.md alone, and an example
for readers in other languages. Object files, setups and simulation states are shown as they are stored; nothing is
resolved, upgraded or repaired. Takes up to 200 times the size of the file of memory, and no stack for deep files.

Exit code 1 and one line with the offset for a file that is damaged or not of these kinds, 2 for one that cannot be read.
"""
import argparse
import contextlib
import os
import re
import stat
import struct
import sys
import zlib
from fractions import Fraction

DATA_TYPES = {
    0: "Unknown data type", 1: "Integer", 2: "Boolean", 3: "Double", 4: "Vector 3", 5: "Color", 6: "String",
    7: "Transform", 8: "Unsigned Integer", 11: "Short Integer", 12: "Unsigned Short Integer", 24: "Enumeration",
    25: "Filename", 26: "Data Container", 27: "Extension Pointer", 29: "Quaternion", 30: "Material Pointer",
    31: "Vector", 32: "Vector Item", 33: "Vector 2", 34: "Matrix 4x4", 35: "Vector 4", 36: "Part", 37: "Assembly",
    38: "Attachment", 39: "Attachment Point", 41: "Constraint", 42: "Collision Geometry", 43: "Mechanism",
    44: "Graphics Node", 45: "Graphics Geometry", 46: "Graphics Material", 47: "Texture", 48: "Proxy",
    49: "Simulator Module", 50: "Skeleton", 51: "Float", 52: "Vector 3 float", 53: "Quaternion float",
    54: "Matrix44 float"}
ENUMERATION, CONTAINER, EXTENSION, MATERIAL, VECTOR, PROXY = 24, 26, 27, 30, 31, 48
INTERFACES = set(range(36, 51)) - {40, PROXY}
TUPLES = {4: ("d", 3), 5: ("f", 4), 7: ("d", 16), 29: ("d", 4), 33: ("d", 2), 34: ("d", 16), 35: ("d", 4),
          52: ("f", 3), 53: ("f", 4), 54: ("f", 16)}
BLOCKS = {1: "i", 3: "d", 51: "f"}
WITH_RANGE = {1, 3, 4, 8, 11, 12, 33, 35, 51, 52}

ROLES = dict(enumerate(("Field", "Input", "Output", "Parameter", "Undefined")))
DIMENSIONS = dict(enumerate((
    "None", "Length", "Mass", "Time", "Angle", "Temperature", "Current", "Speed", "Acceleration", "Angular speed",
    "Force", "Torque", "Energy", "Power", "Pressure", "Volume", "Flow", "Ratio", "Amount of substance",
    "Luminous intensity", "Area", "Frequency", "Angular acceleration", "Density", "Mass flow", "Momentum",
    "Moment of inertia", "Stiffness", "Damping", "Voltage", "Resistance", "Charge")))
KINDS = dict(enumerate(("Gain", "Table", "Curve")))
INTERPOLATIONS = dict(enumerate(("Step", "Linear")))
ENDS = dict(enumerate(("Clamp", "Linear", "Repeat")))
PAYLOADS = dict(enumerate(("Normal", "Compact")))

# The settings of a setup in their order: a name and its form, a choice or the members of a group.
SETTINGS = (
    ("LoggingLevel", dict(enumerate(("Off", "Fatal", "Error", "Warn", "Info", "Debug", "Trace", "All")))),
    ("LogFile", "text"), ("LogConsole", "boolean"), ("SimulationFrameRate", "double"),
    ("ApplicationMode", {0: "Simulating mode", 1: "Editing mode", 2: "Playback mode"}),
    ("Global Key Frame Lists Path", "text"),
    ("Synchronization Mode", {0: "Sync Off", 1: "V-Sync", 2: "SW Sync", 3: "SW + V-Sync"}),
    ("IsProfilerFilteringEnabled", "boolean"), ("ProfilerEnabledCategories", "texts"),
    ("ProfilerDisabledCategories", "texts"), ("ProfilerPeriod", "unsigned"),
    ("CommunicationModel", {0: "Master", 1: "Slave", 2: "Automatic"}),
    ("PluginDirectories", "texts"), ("ResourcesDirectories", "texts"),
    ("Remote Access", (("Enable", "boolean"), ("Listening Port", "unsigned"))),
    ("RandomSeed", "unsigned"))
SETTINGS_OF_VERSION_0 = SETTINGS[:-1]

FILE_TYPES = {ord("U"): b"no type", ord("O"): b"objects", ord("K"): b"simulation state"}
TAG_SIZE, TRAILER_SIZE = 27, 20
MOST_LEVELS, MOST_PLACEMENTS = 512, 64
SHORT_TEXT, FREE_REPEATED_BYTES, REPEATED_BYTES_EACH = 256, 16 << 20, 64


class Refused(Exception):
    """What is wrong with the file, and the offset of the byte behind the last one that was understood."""

    def __init__(self, at, text):
        super().__init__(f"byte {at}: {text}")


# --- Texts of values -------------------------------------------------------------------------------------------------

def number_text(digits, exponent):
    """0.DIGITS * 10 ** exponent, as the shorter of 12.5 and 1.25e+01; the first where both are equal."""
    scientific = digits[0] + ("." + digits[1:] if len(digits) > 1 else "") + f"e{exponent - 1:+03d}"
    if exponent <= 0:
        plain = "0." + "0" * -exponent + digits
    elif exponent < len(digits):
        plain = digits[:exponent] + "." + digits[exponent:]
    else:
        plain = digits + "0" * (exponent - len(digits))
    return plain if len(plain) <= len(scientific) else scientific


def packed(form, value):
    try:
        return struct.pack(form, value)
    except OverflowError:  # beyond the largest float
        return None


def shortest_digits(value, form):
    """The fewest decimal digits that read back as the positive number, and the exponent for 0.DIGITS."""
    size = struct.calcsize(form)
    if size == 8:
        mantissa, exponent = f"{value!r}e0".split("e")[:2]
        whole, _, fraction = mantissa.partition(".")
        digits = (whole + fraction).lstrip("0")
        shift = len(whole) if whole != "0" else len(digits) - len(fraction)
        return digits.rstrip("0"), shift + int(exponent)
    bits = struct.pack(form, value)
    for count in range(9):
        mantissa, exponent = f"{value:.{count}e}".split("e")
        middle = int(mantissa.replace(".", ""))
        # Where the nearest number of so many digits reads back as another float, one of its neighbours may do: below a
        # power of two floats are closer together than above.
        for each in (middle, middle - 1, middle + 1):
            if packed(form, float(each * Fraction(10) ** (int(exponent) - count))) == bits:
                digits = str(each)
                return digits.rstrip("0"), int(exponent) - count + len(digits)
    raise AssertionError(value)


def float_text(value, form):
    if value != value:
        return "-nan" if struct.pack("<d", value)[-1] & 0x80 else "nan"
    sign = "-" if struct.pack("<d", value)[-1] & 0x80 else ""
    value = abs(value)
    if value in (0.0, float("inf")):
        return sign + ("0" if value == 0.0 else "inf")
    text = number_text(*shortest_digits(value, form))
    # A whole number that is not in scientific form has all its digits, not only those that tell it apart.
    return sign + (text if "e" in text or "." in text else str(int(value)))


def numbers_text(numbers, form):
    if form[-1] in "df":
        return " ".join(float_text(each, form) for each in numbers).encode()
    return " ".join(map(str, numbers)).encode()


ESCAPED = re.compile(rb"[\x00-\x1f\x7f\\]")


def line(text):
    """Line feeds and other control characters as escapes: a value takes one line."""
    names = {b"\n": b"\\n", b"\\": b"\\\\"}
    return ESCAPED.sub(lambda each: names.get(each[0], b"\\x%02x" % each[0][0]), text)


def shorten(value, most=160):
    if len(value) <= most:
        return value
    end = most
    while end > 0 and value[end] & 0xC0 == 0x80:  # not within a character
        end -= 1
    return value[:end] + b"... (%d characters, CRC-32 %08x)" % (len(value), zlib.crc32(value))


# --- The tree that is shown ------------------------------------------------------------------------------------------

class Node:
    __slots__ = ("name", "value", "children")

    def __init__(self, name, value=None):
        self.name = name
        self.value = value  # None for groups and sequences
        self.children = [] if value is None else ()


def label_of(item):
    if item.value is None:
        for name in (b"Name", b"Identifier", b"ContentID", b"Path"):
            for each in item.children:
                if each.name == name and each.value:
                    return each.value
    return None


def name_items(sequence):
    """By what they call themselves where that tells them apart, else by their numbers."""
    labels = [label_of(each) for each in sequence.children]
    if None in labels or len(set(labels)) < len(labels):
        labels = [b"%d" % index for index in range(len(labels))]
    for each, label in zip(sequence.children, labels):
        each.name = b"[" + label + b"]"


def lines_of(root, is_long):
    levels = [iter((root,))]
    while levels:
        node = next(levels[-1], None)
        if node is None:
            levels.pop()
            continue
        text = b"  " * min(len(levels) - 1, 32) + node.name
        if node.value is not None:
            text += b": " + (node.value if is_long else shorten(node.value))
        yield text + b"\n"
        levels.append(iter(node.children))


# --- Bytes -----------------------------------------------------------------------------------------------------------

class Archive:
    """The values of an archive: all numbers have their lowest byte first."""

    def __init__(self, data, at, end, is_compact=False):
        self.data, self.at, self.end = data, at, end
        self.wide = "<f" if is_compact else "<d"
        self.version_bytes = 8

    def take(self, count, what="a value"):
        if count > self.end - self.at:
            raise Refused(self.at, f"{what} of {count} bytes where {self.end - self.at} are left")
        self.at += count
        return self.data[self.at - count:self.at]

    def number(self, form):
        return struct.unpack(form, self.take(struct.calcsize(form)))[0]

    def numbers(self, form, count):
        form = self.wide if form == "d" else "<" + form
        taken = self.take(count * struct.calcsize(form), "numbers")
        return struct.unpack(f"<{count}{form[1]}", taken), form

    def boolean(self):
        value = self.take(1)[0]
        if value > 1:
            raise Refused(self.at, f"a bool of {value}")
        return value == 1

    def unsigned(self):
        value = self.number("<Q")
        if value >= 1 << 32:
            raise Refused(self.at, f"an unsigned int of {value}")
        return value

    def count(self):
        value = self.number("<Q")
        if value > self.end - self.at:  # each item takes at least one byte
            raise Refused(self.at, f"a list of {value} where {self.end - self.at} bytes are left")
        return value

    def text(self):
        return self.take(self.number("<Q"), "a text")

    def header(self):
        identifier = self.take(26)
        if identifier not in (b"OrreryStudioFileArchiveID\0", b"BinaryNoTrackingArchiveID\0"):
            raise Refused(self.at, "no binary archive begins here")
        if self.number("<Q") == 0:
            self.version_bytes = 4
        if self.text() != b"serialization::archive":
            raise Refused(self.at, "another signature than 'serialization::archive'")
        self.number("<H")
        sizes, order = self.take(4), self.number("<i")
        if (sizes[0], *sizes[2:], order) != (4, 4, 8, 1):
            raise Refused(self.at, f"sizes of numbers {list(sizes)} and byte order {order}, which nothing writes")

    def class_version(self):
        return int.from_bytes(self.take(self.version_bytes), "little")


class Values:
    """Reads the named values of one section into a tree. Texts that are repeated are numbered in each section anew."""

    def __init__(self, archive, root, decodes=False):
        self.archive = archive
        self.decodes = decodes  # values of compact states
        self.open_nodes = [root]
        self.levels = 0
        self.repeated_texts = []
        self.repeated_bytes = 0

    def show(self, name, value):
        self.open_nodes[-1].children.append(Node(name.encode(), value))

    def begin(self, name):
        node = Node(name.encode())
        self.open_nodes[-1].children.append(node)
        self.open_nodes.append(node)

    def end(self):
        self.open_nodes.pop()

    @contextlib.contextmanager
    def group(self, name):
        if self.levels == MOST_LEVELS:
            self.refuse(f"'{name}' lies more than {MOST_LEVELS} groups deep")
        self.levels += 1
        self.begin(name)
        yield
        self.end()
        self.levels -= 1

    def sequence(self, name):
        """For the items of a sequence; it ends with the last one."""
        self.begin(name)
        for _ in range(self.archive.count()):
            yield
        name_items(self.open_nodes.pop())

    def refuse(self, text):
        raise Refused(self.archive.at, text)

    # --- Forms: each shows its value under the name ------------------------------------------------------------------

    def is_there(self):
        return self.archive.boolean()

    def boolean(self, name):
        value = self.archive.boolean()
        self.show(name, b"true" if value else b"false")
        return value

    def optional(self, form, *arguments):
        """Null where it is not there."""
        return form(*arguments) if self.is_there() else None

    def flag(self, name):
        """An optional bool, false where it is not there."""
        return self.optional(self.boolean, name) or False

    def integer(self, name):
        self.show(name, b"%d" % self.archive.number("<i"))

    def unsigned(self, name):
        self.show(name, b"%d" % self.archive.unsigned())

    def long_unsigned(self, name):
        self.show(name, b"%d" % self.archive.number("<Q"))

    def double(self, name):
        self.tuple(name, "d", 1)

    def text(self, name):
        self.show(name, line(self.archive.text()))

    def repeated(self, name):
        number = self.archive.number("<i")
        if not 0 <= number <= len(self.repeated_texts):
            self.refuse(f"number {number} of a repeated text where {len(self.repeated_texts)} have come")
        if number == len(self.repeated_texts):
            self.repeated_texts.append(line(self.archive.text()))
        elif len(self.repeated_texts[number]) > SHORT_TEXT:
            self.repeated_bytes += len(self.repeated_texts[number])
            if self.repeated_bytes > FREE_REPEATED_BYTES + REPEATED_BYTES_EACH * self.archive.end:
                self.refuse("long texts are repeated out of all proportion")
        self.show(name, self.repeated_texts[number])

    def choice(self, name, texts):
        number = self.archive.number("<i")
        self.show(name, texts.get(number, str(number)).encode())
        return number

    def data_type(self, name):
        number = self.choice(name, DATA_TYPES)
        if number not in DATA_TYPES:
            self.refuse(f"the unknown data type {number}")
        return number

    def bytes(self, name):
        value = self.archive.text()
        self.show(name, value.hex().encode())
        return value

    def tuple(self, name, form, count):
        self.show(name, numbers_text(*self.archive.numbers(form, count)))

    def block(self, name, form):
        self.tuple(name, form, self.archive.count())

    def texts(self, name):
        for _ in self.sequence(name):
            self.text("Item")

    # --- Identities --------------------------------------------------------------------------------------------------

    def content_id(self, name, depth=0):
        if depth > MOST_PLACEMENTS:
            self.refuse(f"a content ID with chains more than {MOST_PLACEMENTS} deep")
        self.text(name)
        if not self.is_there():
            return
        with self.group(name + "Origin"):
            self.optional(self.text, "Own")
            self.text("Raw")
            self.optional(self.text, "File")
            for _ in self.sequence("Chain"):
                with self.group("Placement"):
                    self.content_id("ContentID", depth + 1)

    def factory_key(self, name):
        if not self.is_there():
            return
        with self.group(name):
            for member in ("Uuid", "Category", "Name", "Plugin"):
                self.optional(self.repeated, member)

    # --- Fields. What may lie deep is a generator, which yields what comes next: run() walks without recursion. -------

    def field(self, name):
        with self.group(name):
            self.repeated("Identifier")
            kind = self.data_type("Type")
            is_array, item_kind = self.more_of_kind(kind)
            self.optional(self.unsigned, "InternalIdentifier")
            self.optional(self.repeated, "Description")
            if self.is_there():
                self.choice("PhysicalDimension", DIMENSIONS)
            self.flag("forceObservers")
            self.flag("Dynamic")
            yield self.optional_fields("Metadata")
            if is_array:
                for bound in ("MinimumSize", "MaximumSize"):
                    self.optional(self.long_unsigned, bound)
                self.flag("Has_SizeRange")
                yield self.fields("Items", "Item")
            elif kind == CONTAINER:
                yield self.fields("Fields")
            else:
                self.leaf(kind, item_kind)

    def more_of_kind(self, kind):
        """Whether it is an array, and the data type of the items of a vector."""
        is_array, item_kind = False, None
        if kind == CONTAINER:
            if self.is_there() and self.choice("FieldType", ROLES) not in ROLES:
                self.refuse("an unknown field type")
            is_array = self.flag("FieldArray")
        elif kind == VECTOR:
            item_kind = self.data_type("ItemType")
        elif kind == EXTENSION:
            self.optional(self.repeated, "InterfaceID")
        elif kind == PROXY:
            self.optional(self.data_type, "ProxyType")
        return is_array, item_kind

    def fields(self, list_name, item_name="Field"):
        for _ in self.sequence(list_name):
            yield self.field(item_name)

    def optional_fields(self, name):
        if self.is_there():
            yield self.fields(name)

    def leaf(self, kind, item_kind):
        if kind == VECTOR:
            self.items(item_kind)
            self.flag("Incremental")
        elif kind == PROXY:
            for _ in self.sequence("Links"):
                with self.group("Link"):
                    self.reference()
                    self.repeated("FieldPath")
        elif kind == EXTENSION or kind in INTERFACES:
            self.reference()
        elif kind != MATERIAL:
            self.value("Value", kind)
        if kind in WITH_RANGE:
            for bound in ("Minimum", "Maximum"):
                if self.is_there():
                    self.value(bound, kind)
            self.flag("Has_Range")

    def reference(self):
        self.optional(self.content_id, "Extension")

    def items(self, kind):
        if kind in BLOCKS:
            self.block("Items", BLOCKS[kind])
        elif kind != MATERIAL:
            for _ in self.sequence("Items"):
                if kind == EXTENSION:
                    with self.group("Item"):
                        self.reference()
                else:
                    self.value("Item", kind)

    def value(self, name, kind):
        if kind in TUPLES:
            self.tuple(name, *TUPLES[kind])
        elif kind == ENUMERATION:
            with self.group(name):
                self.repeated("Enumeration")
                self.repeated("Text")
                self.integer("Number")
        elif kind in VALUE_FORMS:
            VALUE_FORMS[kind](self, name)
        else:
            self.refuse(f"values of data type {kind}, {DATA_TYPES[kind]}, which has none")

    # --- Object files ------------------------------------------------------------------------------------------------

    def object_section(self, version):
        for _ in self.sequence("Objects"):
            yield self.extension(version)
        if self.is_there():
            for _ in self.sequence("Connections"):
                self.connection(version)

    def extension(self, version):
        self.begin("Extension")
        self.optional(self.text, "Name")
        is_object = self.flag("IsObject")
        self.flag("IsLost")
        is_own_only = version >= 3 and self.flag("IsOwnOnly")
        self.factory_key("Type")
        self.content_id("Part" if is_own_only and self.is_there() else "ContentID")
        self.optional(self.integer, "DataVersion")
        if self.is_there():
            self.versions()
        self.optional(self.long_unsigned, "Position")
        if self.is_there():
            yield self.field("NameMarks")
        for group in ("Inputs", "Outputs", "Parameters"):
            yield self.optional_fields(group)
            if self.is_there():
                yield self.field(group + "Marks")
        if is_own_only and self.is_there():
            self.own_fields()
        self.optional(self.bytes, "Data")
        if is_object:
            self.definition()
            if self.is_there():
                for _ in self.sequence("Extensions"):
                    yield self.extension(version)
        self.end()

    def versions(self):
        for _ in self.sequence("Versions"):
            with self.group("Version"):
                self.repeated("Key")
                self.integer("Number")

    def own_fields(self):
        for _ in self.sequence("OwnFields"):
            with self.group("OwnField"):
                self.repeated("Path")
                self.integer("Parts")

    def definition(self):
        if self.is_there():
            with self.group("Definition"):
                self.content_id("ContentID")
                self.optional(self.text, "File")

    def connection(self, version):
        with self.group("Connection"):
            for end in ("Source", "Sink"):
                self.repeated(end)
                if version >= 2 and self.is_there():
                    self.repeated(end + "Raw")
                self.repeated(end + "Field")
            self.flag("IsQueued")
            if version >= 4:
                self.flag("IsUnitDelay")
                self.flag("IsInterpolated")
            for mark in ("IsDisabled", "IsUnordered"):
                self.flag(mark)
            if version >= 2 and self.is_there():
                for _ in self.sequence("TransferFunction"):
                    self.step()

    def step(self):
        with self.group("Step"):
            kind = self.choice("Kind", KINDS)
            if kind not in KINDS:
                self.refuse(f"a transfer function of the unknown kind {kind}")
            if kind == 0:
                self.double("Gain")
                self.double("Offset")
            else:
                if kind == 1:
                    self.choice("Interpolation", INTERPOLATIONS)
                self.choice("Below", ENDS)
                self.choice("Above", ENDS)
                for numbers in ("X", "Y", "Slope")[:kind + 1]:
                    self.block(numbers, "d")

    # --- Setups ------------------------------------------------------------------------------------------------------

    def setup_section(self, version):
        if not self.is_there():
            return
        with self.group("Setup"):
            self.text("Name")
            self.content_id("ContentID")
            self.settings("Settings", SETTINGS if version > 0 else SETTINGS_OF_VERSION_0)
            yield self.optional_fields("OtherSettings")
            for _ in self.sequence("Modules"):
                with self.group("Module"):
                    self.text("Name")
                    self.factory_key("Type")
                    self.optional(self.content_id, "ContentID")
                    yield self.optional_fields("Settings")

    def settings(self, name, members):
        with self.group(name):
            for member, form in members:
                if not self.is_there():
                    continue
                if isinstance(form, dict):
                    self.choice(member, form)
                elif isinstance(form, tuple):
                    self.settings(member, form)
                else:
                    getattr(self, form)(member)

    def content_list_section(self, _version):
        for _ in self.sequence("Files"):
            self.text("File")

    # --- Simulation states -------------------------------------------------------------------------------------------

    def state_section(self, version):
        self.long_unsigned("Frames")
        self.unsigned("Frame")
        self.double("ElapsedSeconds")
        self.double("FrameRate")
        for moment in ("SecondsSinceStart", "SecondsSinceFrame"):
            self.optional(self.double, moment)
        payload = self.choice("Payload", PAYLOADS)
        if payload not in PAYLOADS:
            self.refuse(f"the unknown payload {payload}")
        for _ in self.sequence("Extensions"):
            yield self.state(payload == 1)
        if self.is_there():
            for _ in self.sequence("Events"):
                self.event()
        if self.is_there():
            for _ in self.sequence("ValuesUnderWay"):
                yield self.value_under_way()
        if version > 0:
            self.time_and_random()

    def time_and_random(self):
        if self.is_there():
            with self.group("Time"):
                self.double("BaseSeconds")
                self.long_unsigned("Ticks")
                self.double("StepSeconds")
        if self.is_there():
            with self.group("Random"):
                self.unsigned("Seed")
                for _ in self.sequence("Streams"):
                    with self.group("Stream"):
                        self.text("Name")
                        self.long_unsigned("Position")

    def value_under_way(self):
        with self.group("Value"):
            self.content_id("Sink")
            self.text("Path")
            yield self.field("Field")

    def state(self, is_compact):
        with self.group("Extension"):
            self.content_id("ContentID")
            self.optional(self.text, "Name")
            if self.is_there():
                with self.group("Type"):
                    self.text("ID")
                    for member in ("Category", "Name", "Plugin"):
                        self.repeated(member)
            self.flag("AddedByModule")
            self.optional(self.bytes, "Data")
            if is_compact:
                self.compact_values()
            else:
                yield self.state_fields()

    def state_fields(self):
        yield self.optional_fields("Fields")
        if self.is_there():
            for _ in self.sequence("Containers"):
                with self.group("Container"):
                    self.repeated("Identifier")
                    self.flag("Array")
                    yield self.state_fields()

    def compact_values(self):
        """One block of bytes, which is an archive of its own; shown as its values where that is asked for."""
        block = self.archive.text()
        end = self.archive.at
        inner = Archive(self.archive.data, end - len(block), end, is_compact=True)
        inner.header()
        values = Values(inner, Node(b"Values"))
        run(values.state_fields())
        if inner.at != end:
            raise Refused(inner.at, f"{end - inner.at} bytes behind the values of an extension")
        if self.decodes:
            self.open_nodes[-1].children.append(values.open_nodes[0])
        else:
            self.show("Values", block.hex().encode())

    def event(self):
        with self.group("Event"):
            self.repeated("Name")
            self.optional(self.text, "Sender")
            self.optional(self.bytes, "Data")
            self.double("RemainingSeconds")
            for mark in ("Local", "Remote"):
                self.optional(self.boolean, mark)


VALUE_FORMS = {1: Values.integer, 2: Values.boolean, 3: Values.double, 6: Values.text, 8: Values.unsigned,
               11: Values.integer, 12: Values.integer, 25: Values.text,
               51: lambda values, name: values.tuple(name, "f", 1)}

# By class name: the newest version that is known here, and what reads one.
SECTIONS = {b"KrObjectSection": (4, Values.object_section), b"KrSetupSection": (1, Values.setup_section),
            b"KrContentListSection": (0, Values.content_list_section),
            b"KrSimulationStateSection": (1, Values.state_section)}


def run(task):
    """Runs a generator and those that it yields, each to its end before the one that yielded it goes on."""
    tasks = [task] if task is not None else []
    while tasks:
        below = next(tasks[-1], None)
        if below is not None:
            tasks.append(below)
        else:
            tasks.pop()


# --- Files -----------------------------------------------------------------------------------------------------------

class File:
    """What is around the sections: the tag, the archive with the objects in it, the checksum."""

    def __init__(self, data, decodes=False):
        self.data = data
        self.decodes = decodes
        self.classes = []  # of sections, by number: name, version and what reads one
        self.objects = 0

    def read(self):
        tag = self.data[:TAG_SIZE]
        if len(tag) < TAG_SIZE or tag[:5] != b"<!--K" or tag[9:10] not in b"BXJ":
            raise Refused(0, "no file of the framework begins here, or one of before 2017")
        if tag[9:10] != b"B":
            raise Refused(9, "the file is XML or JSON, which needs no such reader")
        root = Node(b"File")
        root.children.append(Node(b"Type", FILE_TYPES.get(tag[8], b"earlier content")))
        self.archive = Archive(self.data, TAG_SIZE + (tag[13] if tag[12:13] == b"1" else 0), self._content_end())
        self.archive.header()
        if tag[10:11] == b"0":
            self.archive.version_bytes = 1
        self._file(root)
        if self.archive.at != self.archive.end:
            raise Refused(self.archive.at, f"{self.archive.end - self.archive.at} bytes behind the end of the content")
        return root

    def _content_end(self):
        trailer = self.data[-TRAILER_SIZE:]
        if len(trailer) < TRAILER_SIZE or trailer[:8] != b"KrCheck1":
            return len(self.data)  # of an earlier release, or saved without
        end = len(self.data) - TRAILER_SIZE
        length, checksum = struct.unpack("<QI", trailer[8:])
        if length != end:
            raise Refused(end, f"a checksum of {length} bytes behind {end} bytes")
        if checksum != zlib.crc32(self.data[:end]):
            raise Refused(end, "the checksum does not fit: the file is damaged")
        return end

    def _file(self, root):
        archive = self.archive
        if not archive.boolean():
            raise Refused(archive.at, "the file is an object without a number, which nothing writes")
        archive.class_version()
        self._new_object()
        description = archive.text()
        if description:
            root.children.append(Node(b"Description", line(description)))
        archive.text()  # the program
        archive.boolean()
        archive.class_version()
        archive.text()  # the name of the file
        for _ in range(archive.count()):
            root.children.append(self._section())

    def _new_object(self):
        number = self.archive.number("<I")
        if number != self.objects:
            raise Refused(self.archive.at, f"object {number} where {self.objects} are known")
        self.objects += 1

    def _section(self):
        archive = self.archive
        number = archive.number("<h") - 2  # behind the file and the part that all have
        if number == len(self.classes):
            name = archive.text()
            is_tracked, version = archive.boolean(), archive.class_version()
            known = SECTIONS.get(name)
            if known is None or not is_tracked or version > known[0]:
                raise Refused(archive.at, f"a section '{name[:64].decode(errors='replace')}' of version {version}, "
                                          "which is unknown here")
            self.classes.append((name, version, known[1]))
        elif not 0 <= number < len(self.classes):
            raise Refused(archive.at, f"section {number} of {len(self.classes)} known classes")
        name, version, read = self.classes[number]
        self._new_object()
        node = Node(name)
        own_name = archive.text()
        if own_name:
            node.children.append(Node(b"Name", line(own_name)))
        run(read(Values(archive, node, self.decodes), version))
        return node


def read_whole(path):
    with open(path, "rb") as file:
        if not stat.S_ISREG(os.fstat(file.fileno()).st_mode):
            raise OSError("it is no regular file")
        return file.read()


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("file", metavar="FILE")
    parser.add_argument("--long", action="store_true", help="show values of more than 160 bytes whole")
    parser.add_argument("--values", action="store_true", help="show the values in compact states, not their bytes")
    arguments = parser.parse_args()
    try:
        data = read_whole(arguments.file)
    except OSError as error:
        print(f"dump_binary.py: '{arguments.file}' cannot be read: {error.strerror or error}", file=sys.stderr)
        return 2
    try:
        tree = File(data, arguments.values).read()
    except Refused as refusal:
        print(f"dump_binary.py: '{arguments.file}' is refused: {refusal}", file=sys.stderr)
        return 1
    try:
        sys.stdout.buffer.writelines(lines_of(tree, arguments.long))
        sys.stdout.flush()
    except BrokenPipeError:  # the reader of the lines has seen enough
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
    return 0


if __name__ == "__main__":
    sys.exit(main())
