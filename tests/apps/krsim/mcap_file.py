"""Reads recordings with nothing of the library: the records of MCAP (mcap.dev/spec), the descriptors and messages of
protobuf (protobuf.dev/programming-guides/encoding)."""
import struct
import zlib

MAGIC = b"\x89MCAP0\r\n"
HEADER, FOOTER, SCHEMA, CHANNEL, MESSAGE, CHUNK, MESSAGE_INDEX, CHUNK_INDEX, STATISTICS = 1, 2, 3, 4, 5, 6, 7, 8, 11
METADATA = 12


class Bytes:
    def __init__(self, data):
        self.data, self.at = data, 0

    def take(self, form):
        (value,) = struct.unpack_from("<" + form, self.data, self.at)
        self.at += struct.calcsize("<" + form)
        return value

    def block(self, form="I"):
        size = self.take(form)
        self.at += size
        return self.data[self.at - size:self.at]

    def text(self):
        return self.block().decode()

    def texts(self):
        inner, found = Bytes(self.block()), {}
        while inner.at < len(inner.data):
            key = inner.text()
            assert key not in found, key
            found[key] = inner.text()
        return found

    def rest(self):
        return self.data[self.at:]


def records(data):
    at = 0
    while at < len(data):
        kind, size = struct.unpack_from("<BQ", data, at)
        yield at, kind, data[at + 9:at + 9 + size]
        at += 9 + size


def varint(data, at):
    value = shift = 0
    while True:
        value |= (data[at] & 0x7F) << shift
        at, shift = at + 1, shift + 7
        if not data[at - 1] & 0x80:
            return value, at


def protobuf(data):
    """(field number, value) of a message: numbers, or bytes."""
    at = 0
    while at < len(data):
        key, at = varint(data, at)
        wire = key & 7
        if wire == 0:
            value, at = varint(data, at)
        elif wire == 2:
            size, at = varint(data, at)
            value, at = data[at:at + size], at + size
        else:
            size = {1: 8, 5: 4}[wire]
            value, at = data[at:at + size], at + size
        yield key >> 3, value


def all_of(data, number):
    return [value for field, value in protobuf(data) if field == number]


class Type:
    """A DescriptorProto."""
    def __init__(self, data):
        self.name = all_of(data, 1)[0].decode()
        self.parts = {}  # types beside it
        self.fields = {}
        for each in all_of(data, 2):
            field = dict(protobuf(each))
            self.fields[field[3]] = field[1].decode(), field[5], field.get(6, b"").decode().rsplit(".", 1)[-1]

    def decode(self, data):
        values = {}
        for number, value in protobuf(data):
            name, kind, nested = self.fields[number]
            values[name] = {1: lambda v: struct.unpack("<d", v)[0], 2: lambda v: struct.unpack("<f", v)[0], 8: bool,
                            9: bytes.decode, 11: lambda v: self.parts[nested].decode(v), 13: int,
                            17: lambda v: (v >> 1) ^ -(v & 1)}[kind](value)
        return values


class McapFile:
    """All messages of a complete recording, with every checksum and index checked."""
    def __init__(self, path):
        data = path.read_bytes()
        assert data[:8] == MAGIC and data[-8:] == MAGIC
        self.data, self.schemas, self.channels, self.messages, self.metadata = data, {}, {}, [], {}
        self.chunks, self.statistics = {}, None
        for at, kind, content in records(data[8:-8]):
            self.add(kind, content, at + 8)
        start, offsets, checksum = struct.unpack_from("<QQI", data, len(data) - 28)
        assert zlib.crc32(data[start:-12]) == checksum, "the summary's checksum"
        assert self.statistics[0] == len(self.messages) and self.statistics[5] == len(self.chunks)
        for _, kind, content in records(data[start:offsets]):
            if kind == CHUNK_INDEX:
                begin, end, at, size = struct.unpack_from("<QQQQ", content)
                assert self.chunks[at] == (begin, end, size), "an index of a chunk"
        for _, kind, content in records(data[offsets:-37]):  # the footer follows
            group, at, size = struct.unpack("<BQQ", content)
            assert {each for _, each, _ in records(data[at:at + size])} == {group}

    def add(self, kind, content, at):
        each = Bytes(content)
        if kind == SCHEMA:
            number, name = each.take("H"), each.text()
            assert each.text() == "protobuf"
            file = all_of(all_of(each.block(), 1)[0], 4)
            types = list(map(Type, file))
            types[0].parts = {each.name: each for each in types[1:]}
            self.schemas[number] = name, types[0]
        elif kind == CHANNEL:
            number, schema, topic = each.take("H"), each.take("H"), each.text()
            assert each.text() == "protobuf"
            self.channels[number] = topic, self.schemas[schema], each.texts()
        elif kind == MESSAGE:
            number, _, time, _ = (each.take(form) for form in "HIQQ")
            self.messages.append((time, number, each.rest()))
        elif kind == METADATA:
            each.text()
            self.metadata = each.texts()
        elif kind == STATISTICS:
            self.statistics = struct.unpack_from("<QHIIIIQQ", content)
        elif kind == CHUNK:
            begin, end, size, checksum = (each.take(form) for form in "QQQI")
            assert each.text() == ""
            inner = each.block("Q")
            assert len(inner) == size and zlib.crc32(inner) == checksum
            before = len(self.messages)
            for place, inside, record in records(inner):
                self.add(inside, record, place)
            times = [time for time, _, _ in self.messages[before:]]
            assert (begin, end) == (min(times, default=0), max(times, default=0))
            self.chunks[at] = begin, end, len(content) + 9

    def values(self):
        """(seconds, topic, {name: value}) of all messages."""
        for time, number, data in self.messages:
            topic, (_, kind), _ = self.channels[number]
            yield time / 1e9, topic, kind.decode(data)
