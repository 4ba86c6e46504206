"""Files with every form of value, for dump_binary_test.py: content, setups and states as JSON documents."""
import base64
import contextlib
import json
import math
import random
import struct
import sys


def content_id(number, **origin):
    text = f"{number:016X}-0000000000000001"
    return {"ContentID": text, **({"ContentIDOrigin": origin} if origin else {})}


def placed(depth):
    """A placement whose chain leads as deep as that."""
    entry = content_id(77)
    for _ in range(depth):
        entry = content_id(78, Own="00000000000000AB-0000000000000001", Raw="00000000000000CD-0000000000000001",
                           File="parts/wheel \"1\".kro", Chain=[entry, content_id(5)])
    return entry


def reference(number):
    return {"Extension": content_id(number)["ContentID"]}


class Numbers:
    """Numbers of all sizes, repeatable."""
    DOUBLES = [0.0, -0.0, 1.0, 0.1, -2.5, 1e5, 123456.0, 1e-4, 1e-5, 0.00012, 1e21, 1e22, 1.5e300, 5e-324, 2.0 ** 70,
               sys.float_info.max, sys.float_info.min, 9007199254740993.0, 123456789012345680000.0, math.inf, -math.inf,
               math.nan]

    def __init__(self, seed):
        self.random = random.Random(seed)

    def double(self):
        choice = self.random.randrange(4)
        if choice == 0:
            return self.random.choice(self.DOUBLES)
        if choice == 1:
            return self.random.choice((1.0, -1.0)) * 2.0 ** self.random.randrange(-1074, 1024)
        if choice == 2:
            return struct.unpack("<d", self.random.randbytes(8))[0]
        return round(self.random.uniform(-1e4, 1e4), self.random.randrange(6))

    def float(self):
        choice = self.random.randrange(3)
        if choice == 0:
            return 2.0 ** self.random.randrange(-149, 128)
        if choice == 1:
            return struct.unpack("<f", self.random.randbytes(4))[0]
        return struct.unpack("<f", struct.pack("<f", self.random.uniform(-1e4, 1e4)))[0]

    def integer(self, low, high):
        return self.random.choice((low, high, self.random.randint(low, high), min(max(7, low), high)))

    def text(self, most=300):
        alphabet = "abcé☃ .{}\n\t\\\"\x01\x7f\uee80\ueeff"  # the last two stand for single bytes
        length = self.random.choice((0, 1, 8, 8, 8, most))
        return "".join(self.random.choice(alphabet) for _ in range(length))

    def enumeration(self):
        return self.random.choice((
            {"Enumeration": "Kr::KrPhysicalDimension::eDimensionHint", "Text": "Metre", "Number": 0x101},
            {"Enumeration": "Gone::eGear", "Text": self.text(9), "Number": self.random.randint(-9, 9)},
            {"Enumeration": "", "Text": "", "Number": 0}))


# By the name of the data type: what makes a value.
VALUES = {
    "Integer": lambda n: n.integer(-2 ** 31, 2 ** 31 - 1), "Boolean": lambda n: n.random.random() < 0.5,
    "Double": Numbers.double, "String": Numbers.text, "Filename": lambda n: n.text(90).replace("\uee80", "x"),
    "Unsigned Integer": lambda n: n.integer(0, 2 ** 32 - 1), "Short Integer": lambda n: n.integer(-2 ** 15, 2 ** 15 - 1),
    "Unsigned Short Integer": lambda n: n.integer(0, 2 ** 16 - 1), "Enumeration": Numbers.enumeration,
    "Float": Numbers.float,
    **{name: lambda n, count=count: [n.double() for _ in range(count)] for name, count in
       (("Vector 2", 2), ("Vector 3", 3), ("Vector 4", 4), ("Quaternion", 4), ("Transform", 16), ("Matrix 4x4", 16))},
    **{name: lambda n, count=count: [n.float() for _ in range(count)] for name, count in
       (("Color", 4), ("Vector 3 float", 3), ("Quaternion float", 4), ("Matrix44 float", 16))},
}
RANGES = {"Integer": (-5, 2 ** 31 - 1), "Double": (-0.0, 1e300), "Float": (-1.5, 0.1), "Unsigned Integer": (1, 2 ** 32 - 1),
          "Short Integer": (-9, 9), "Unsigned Short Integer": (0, 65535), "Vector 2": ([-1.0, 0.0], [1.0, 0.5]),
          "Vector 3": ([0.0] * 3, [1.0, 2.0, 3.0]), "Vector 4": ([-1.0] * 4, [0.0] * 4),
          "Vector 3 float": ([0.0] * 3, [0.1, 0.2, 0.3])}
DIMENSION_COUNT = 32


class Fields:
    def __init__(self, seed):
        self.numbers = Numbers(seed)
        self.random = self.numbers.random
        self.count = 0

    def make(self, kind, **members):
        self.count += 1
        return {"Identifier": self.random.choice((f"Field{self.count}", "Twin", "a.b{2}", "é")), "Type": kind, **members}

    def value(self, kind):
        return VALUES[kind](self.numbers)

    def one_of_each(self, depth=0):
        fields = [self.make(kind, Value=self.value(kind), **self.range(kind)) for kind in VALUES]
        fields += [self.make("Vector", ItemType=kind, Items=[self.value(kind) for _ in range(self.random.randrange(5))],
                             **self.some(Incremental=True)) for kind in VALUES]
        fields += [
            self.make("Extension Pointer"), self.make("Extension Pointer", **reference(3)),
            self.make("Extension Pointer", InterfaceID="KrGraphics::Node", **reference(99)),
            self.make("Vector", ItemType="Extension Pointer", Items=[reference(2), {}, reference(98)]),
            self.make("Material Pointer"), self.make("Vector", ItemType="Material Pointer"), self.make("Proxy"),
            self.make("Proxy", ProxyType="Double", Links=[{"FieldPath": "Inputs.Pedal"},
                                                          {"FieldPath": "Inputs.Gone{2}", **reference(3)}]),
            self.make("Data Container", FieldArray=True, MinimumSize=1, MaximumSize=2 ** 40, Has_SizeRange=True,
                      Items=[self.make("Double", Value=each) for each in (1.5, 2.5)])]
        if depth < 2:
            fields += [self.make("Data Container", Fields=self.one_of_each(depth + 1)),
                       self.make("Data Container", FieldArray=True, FieldType="Undefined",
                                 Items=[self.make("Data Container", Fields=self.one_of_each(2))])]
        for index, field in enumerate(fields):
            self.decorate(field, index)
        self.random.shuffle(fields)
        return fields

    def some(self, **members):
        return members if self.random.random() < 0.5 else {}

    def range(self, kind):
        if kind not in RANGES or self.random.random() < 0.5:
            return {}
        low, high = RANGES[kind]
        return {"Minimum": low, "Maximum": high, **self.some(Has_Range=True)}

    def decorate(self, field, index):
        hidden = [{"Identifier": "MetaData", "Type": "Integer", "Value": 64 << (index % 5)},
                  {"Identifier": "PhysicalDimensionDisplayHint", "Type": "Enumeration",
                   "Value": {"Enumeration": "Kr::KrPhysicalDimension::eDimensionHint", "Text": "Knot", "Number": 0x704}},
                  self.make("Data Container", Fields=[self.make("Vector", ItemType="Double", Items=[1.0])])]
        field.update({**self.some(InternalIdentifier=self.random.randrange(2 ** 31)),
                      **self.some(Description="A text that comes often. " * self.random.choice((0, 1, 20))),
                      **self.some(PhysicalDimension=index % (DIMENSION_COUNT + 2)), **self.some(forceObservers=True),
                      **self.some(Dynamic=True), **self.some(Metadata=hidden[:1 + index % 3])})


def extension(number, name, **members):
    return {"Name": name, **content_id(number), **members}


def double_field(name, value=0.0, **members):
    return {"Identifier": name, "Type": "Double", "Value": value, "Dynamic": True, **members}


def vector_field(name):
    return {"Identifier": name, "Type": "Vector 3", "Value": [1.0, 2.0, 3.0], "Dynamic": True}


def nested_field(depth):
    field = double_field("Leaf", 0.5)
    for level in range(depth):
        field = {"Identifier": f"Level{level}", "Type": "Data Container", "Fields": [field]}
    return field


POINTS = {"X": [0.0, 0.5, 1.0], "Y": [0.1, -2.0, 1e30]}
FUNCTIONS = {
    "gain": [{"Kind": "Gain", "Gain": 0.1, "Offset": -3.0}],
    "table": [{"Kind": "Table", "Interpolation": "Step", "Below": "Clamp", "Above": "Linear", **POINTS}],
    "linear": [{"Kind": "Table", "Interpolation": "Linear", "Below": "Linear", "Above": "Clamp", **POINTS}],
    "curve": [{"Kind": "Curve", "Below": "Repeat", "Above": "Repeat", **POINTS, "Slope": [0.0, 1.5, -1.0]}],
}
FUNCTIONS["chain"] = FUNCTIONS["gain"] + FUNCTIONS["linear"] + FUNCTIONS["curve"]
FUNCTIONS["none"] = []


def connection(source, source_field, sink, sink_field, **members):
    return {"Source": content_id(source)["ContentID"], "SourceField": source_field,
            "Sink": content_id(sink)["ContentID"], "SinkField": sink_field, **members}


def own_data(**fields):
    """What an instance keeps as its own."""
    return {"Identifier": "InstanceData", "Type": "Data Container", "Fields": [
        {"Identifier": "IsComplete", "Type": "Boolean", "Value": True},
        {"Identifier": "Fields", "Type": "Data Container",
         "Fields": [{"Identifier": path, "Type": "Integer", "Value": bits} for path, bits in fields.items()]},
        {"Identifier": "AddedConnections", "Type": "Data Container", "Fields": [
            {"Identifier": "0", "Type": "Data Container",
             "Fields": [{"Identifier": name, "Type": "String", "Value": text} for name, text in
                        (("Source", "0000000000000003-0000000000000001"), ("SourceField", "Outputs.A"),
                         ("SinkField", "Inputs.B"))]}]}]}


PROPERTIES = {"Identifier": "ExtensionProperties", "Type": "Data Container", "Fields": [
    {"Identifier": "Author", "Type": "String", "Value": "Ada"}, vector_field("Place")]}


def objects(seed):
    fields = Fields(seed)
    gauge = extension(2, "Gauge", Inputs=[double_field("B"), vector_field("V")] + fields.one_of_each())
    motor = extension(3, "Motor \"é\"", DataVersion=4, Versions=[{"Key": "Fields", "Number": 2}, {"Key": "", "Number": -1}],
                      Type={"Uuid": "0c2b1c1e-6a1f-4f1c-9a55-0d9b6f0e7a11", "Category": "Parts", "Name": "Motor",
                            "Plugin": "Missing"},
                      Outputs=[double_field("A", 0.5), double_field("C"), vector_field("V")],
                      OutputsMarks={"Identifier": "Outputs", "Type": "Data Container", "FieldType": "Output",
                                    "Description": "What it gives",
                                    "Metadata": [{"Identifier": "MetaData", "Type": "Integer", "Value": 64}]},
                      Parameters=fields.one_of_each(), Data=base64.b64encode(bytes(range(256))).decode())
    bare = extension(4, "", Position=7, Type={"Name": "Half a key"}, DataVersion=0)
    lost = extension(6, "Lost", IsLost=True, Parameters=[double_field("Mass", 12.0)])
    place = {"Name": "Placed", **placed(3)}
    inner = extension(8, "Inner", IsObject=True, Extensions=[lost, place])
    marks = {"Identifier": "Name", "Type": "String", "Value": "Site 2", "forceObservers": True,
             "Metadata": [{"Identifier": "MetaData", "Type": "Integer", "Value": 256}, own_data(**{"Name": 1}), PROPERTIES]}
    definition = extension(20, "Site", IsObject=True, Extensions=[extension(21, "Part", Parameters=[double_field("M", 1.0)])])
    instance = extension(22, "Site 2", IsObject=True, NameMarks=marks,
                         Definition={**content_id(20), "File": "*Current File*"})
    waiting = extension(23, "Waiting", IsObject=True, Definition={**content_id(90, Raw=content_id(91)["ContentID"], File="x.kro",
                                                                               Own=content_id(91)["ContentID"], Chain=[]),
                                                                  "File": "elsewhere/x.kro"})
    part = {"Name": "Part", "IsOwnOnly": True, "Part": content_id(91)["ContentID"],
            "Parameters": [double_field("M", 3.0)], "OwnFields": [{"Path": "Parameters.M", "Parts": 65}]}
    own_only = extension(24, "Own only", IsObject=True, IsOwnOnly=True, Definition={**content_id(90), "File": "x.kro"},
                         Extensions=[part])
    root = extension(1, "Root", IsObject=True,
                     Extensions=[gauge, motor, bare, inner, definition, instance, waiting, own_only])
    connections = [connection(3, "Outputs.C", 2, f"Inputs.{fields.count}", TransferFunction=function)
                   for function in FUNCTIONS.values()]  # kept: no such fields
    connections += [connection(3, "Outputs.A", 2, "Inputs.B", IsQueued=True),
                    connection(3, "Outputs.C", 2, "Inputs.B", IsUnitDelay=True, IsDisabled=True, IsUnordered=True),
                    connection(3, "Outputs.C", 2, "Inputs.B", IsInterpolated=True),
                    connection(3, "Outputs.V", 2, "Inputs.V", IsDisabled=True, TransferFunction=FUNCTIONS["chain"]),
                    connection(95, "Outputs.A", 2, "Inputs.B", SourceRaw=content_id(94)["ContentID"])]
    return [("KrObjectSection", 4, {"Objects": [root, extension(30, "Second root")], "Connections": connections})]


def deep_objects():
    node = extension(2 ** 40, "Leaf")
    for level in range(3000):
        node = extension(level + 1, f"Level{level % 3}", IsObject=True, Extensions=[node])
    field = extension(2 ** 41, "Deep field", Inputs=[nested_field(400)])
    deep = {"Name": "Deep placement", **placed(60)}
    return [("KrObjectSection", 2, {"Objects": [node, field, deep]})]


def setup(seed):
    fields = Fields(seed)
    settings = {"LoggingLevel": ("Trace", 0, 9)[seed % 3], "LogFile": "/tmp/a b", "LogConsole": False, "SimulationFrameRate": 0.1,
                "ApplicationMode": "Playback mode", "Global Key Frame Lists Path": "lists/of frames",
                "Synchronization Mode": "V-Sync", "IsProfilerFilteringEnabled": False,
                "ProfilerEnabledCategories": ["a", ""], "ProfilerDisabledCategories": ["b"], "ProfilerPeriod": 4000000000,
                "CommunicationModel": "Automatic", "PluginDirectories": ["plugins", "more/plugins"],
                "ResourcesDirectories": ["r"], "Remote Access": {"Enable": True, "Listening Port": 65535},
                "RandomSeed": 2 ** 32 - 1}
    chosen = {name: value for name, value in settings.items() if seed % 3 == 0 or name == "LoggingLevel" or
              fields.random.random() < 0.5}
    key = {"Uuid": "0c2b1c1e-6a1f-4f1c-9a55-0d9b6f0e7a11", "Category": "Modules", "Name": "Motor", "Plugin": "Missing"}
    modules = [{"Name": "Engine", "Type": key, **content_id(9), "Settings": [double_field("Rate", 2.0), PROPERTIES]},
               {"Name": "", "Type": key}]
    return [("KrSetupSection", 0, {"Setup": {"Name": "Config", **content_id(8), "Settings": chosen,
                                             "OtherSettings": [double_field("Own", 1.5), vector_field("V"), PROPERTIES],
                                             "Modules": modules}}),
            ("KrContentListSection", 0, {"Files": ["content/car.kro", "car \"é\".xml"]}),
            ("KrContentListSection", 0, {"Files": []})]


def state(seed):
    fields = Fields(seed)
    plain = [each for each in fields.one_of_each(2)
             if not {each["Type"], each.get("ItemType")} & {"Data Container", "Proxy", "Material Pointer"}]
    containers = [{"Identifier": "Inputs", "Fields": plain},
                  {"Identifier": "Outputs", "Containers": [
                      {"Identifier": "Deep", "Array": True, "Containers": [{"Identifier": "", "Fields": [double_field("A")]}]}]},
                  {"Identifier": "Parameters"}]
    extensions = [{**placed(1), "Name": "Car", "Type": {"ID": "0c2b1c1e-6a1f-4f1c-9a55-0d9b6f0e7a11/3", "Category": "Parts",
                                                       "Name": "Car", "Plugin": "Missing"},
                   "Data": "AP8=", "Containers": containers},
                  {**content_id(2), "AddedByModule": True, "Data": ""}]
    events = [{"Name": "Start", "RemainingSeconds": -0.5},
              {"Name": "Start", "Sender": "host 1", "Data": "AAECAw==", "RemainingSeconds": 1e300, "Local": False, "Remote": True}]
    values = [{"Sink": content_id(2)["ContentID"], "Path": "Inputs.B", "Field": double_field("B", 0.1)},
              {"Sink": content_id(3)["ContentID"], "Path": "Inputs.T",
               "Field": {"Identifier": "T", "Type": "Extension Pointer", **reference(2)}}]
    streams = [{"Name": "Road/Car", "Position": 2 ** 64 - 1}, {"Name": "", "Position": 1}]
    more = {"SecondsSinceStart": 0.25, "SecondsSinceFrame": -0.0, "Events": events, "ValuesUnderWay": values,
            "Time": {"BaseSeconds": 2.5, "Ticks": 2 ** 40, "StepSeconds": 0.01},
            "Random": {"Seed": 2 ** 32 - 1, "Streams": streams}}
    return [("KrSimulationStateSection", 1, {"Frames": 2 ** 53, "Frame": 2 ** 32 - 1, "ElapsedSeconds": 0.1, "FrameRate": 59.94,
                                             "Payload": "Normal", "Extensions": extensions,
                                             **(more if seed == 0 else {})})]


def compact_state():
    """Two extensions; the values of one are an archive of their own, with floats for doubles."""
    def text(value):
        return struct.pack("<Q", len(value)) + value

    def field(identifier, content):
        return text(identifier) + content

    header = (b"OrreryStudioFileArchiveID\0" + struct.pack("<Q", 620131212) + text(b"serialization::archive") +
              struct.pack("<H4Bi", 18, 4, 4, 4, 8, 1))
    no_members = bytes(6)  # InternalIdentifier to Metadata
    fields = [
        struct.pack("<i", 1) + field(b"Mass", struct.pack("<i", 3) + no_members + struct.pack("<f", 0.1) +
                                     b"\x01" + struct.pack("<f", -0.25) + b"\0\0"),
        struct.pack("<i", 2) + field(b"Place", struct.pack("<i", 4) + no_members + struct.pack("<3f", 1, 2, 3.3) + bytes(3)),
        struct.pack("<i", 1) + struct.pack("<ii", 31, 3) + no_members + struct.pack("<Q2f", 2, 0.5, 1e30) + b"\0",
        struct.pack("<i", 1) + struct.pack("<i", 51) + no_members + struct.pack("<f", 0.1) + bytes(3)]
    inputs = struct.pack("<i", 0) + field(b"Inputs", b"\0" + b"\x01" + struct.pack("<Q", len(fields)) + b"".join(fields) + b"\0")
    block = header + b"\0" + b"\x01" + struct.pack("<Q", 1) + inputs
    extensions = [{**content_id(1), "Values": base64.b64encode(block).decode()},
                  {**content_id(2), "Name": "Empty", "Values": base64.b64encode(header + b"\0\0").decode()}]
    return [("KrSimulationStateSection", 0, {"Frames": 1, "Frame": 1, "ElapsedSeconds": 0.0, "FrameRate": 60.0,
                                             "Payload": "Compact", "Extensions": extensions})]


COMPACT_VALUES = """\
      [0000000000000001-0000000000000001]
        ContentID: 0000000000000001-0000000000000001
        Values
          Containers
            [Inputs]
              Identifier: Inputs
              Fields
                [0]
                  Identifier: Mass
                  Type: Double
                  Value: 0.1
                  Minimum: -0.25
                [1]
                  Identifier: Place
                  Type: Vector 3
                  Value: 1 2 3.3
                [2]
                  Identifier: Mass
                  Type: Vector
                  ItemType: Double
                  Items: 0.5 1e+30
                [3]
                  Identifier: Mass
                  Type: Float
                  Value: 0.1
      [Empty]
        ContentID: 0000000000000002-0000000000000001
        Name: Empty
        Values
"""

# By name: the letter of the kind of file, and its sections.
FILES = {
    **{f"objects {seed}": ("O", objects(seed)) for seed in range(3)},
    "deep objects": ("O", deep_objects()),
    "no objects": ("O", [("KrObjectSection", 2, {"Objects": []})]),
    **{f"setup {seed}": ("U", setup(seed)) for seed in range(3)},
    "empty setup": ("U", [("KrSetupSection", 0, {})]),
    **{f"state {seed}": ("K", state(seed)) for seed in range(3)},
    "compact state": ("K", compact_state()),
    "several sections": ("O", objects(7) + setup(7) + objects(8)),
}


def to_json(value):
    """As the form has it: numbers that are none are texts."""
    if isinstance(value, float) and not math.isfinite(value):
        return "NaN" if value != value else "Infinity" if value > 0 else "-Infinity"
    if isinstance(value, dict):
        return {key: to_json(each) for key, each in value.items()}
    return [to_json(each) for each in value] if isinstance(value, list) else value


def document(letter, sections):
    named = [{"_class": name, **({"_version": version} if version else {}), "_id": number,
              "Kr::KrBase": {"Name": f"Section {number}" if number > 2 else ""}, **content}
             for number, (name, version, content) in enumerate(sections, 1)]
    file = {"_id": 0, "Description": "Of\nall" if len(sections) > 1 else "", "OrreryInformation": "", "Kr::KrBase": {"Name": ""},
            "Sections": named}
    with deep_recursion():
        return f"<!--KrB3{letter}J11000000000001-->" + json.dumps({"File": to_json(file)})


@contextlib.contextmanager
def deep_recursion():
    """For the module json and what is above; the reader is not run in here."""
    limit = sys.getrecursionlimit()
    sys.setrecursionlimit(100_000)
    try:
        yield
    finally:
        sys.setrecursionlimit(limit)
