"""Shows fields, identifiers and smart pointers of KrFoundation as people read them, in gdb 8 or newer.

    (gdb) source <prefix>/share/KrFoundation/gdb/kr_printers.py

gdb loads the file by itself where the library is installed under the prefix of gdb, /usr say. `print/r` shows a value
as it is in memory, `disable pretty-printer global KrFoundation` all of them.

The printers read memory only: they call no function of the program, so they work on core files, too.
"""
import gdb
import gdb.printing


def text_of(string):
    """A std::string as text; bytes that are no UTF-8 come as escapes."""
    data, size = string["_M_dataplus"]["_M_p"], int(string["_M_string_length"])
    return gdb.selected_inferior().read_memory(int(data), size).tobytes().decode("utf-8", "backslashreplace") if size else ""


def name_of(identifier):
    """The text of a KrID."""
    text = identifier["_text"]
    return text_of(text.dereference()) if text else ""


def as_base(value, name):
    """The base class of this name within a value, or the value itself if it has that class."""
    open_bases = [value]
    while open_bases:
        each = open_bases.pop()
        type_ = each.type.strip_typedefs().unqualified()
        if type_.name == name or (name.endswith("<") and (type_.name or "").startswith(name)):
            return each
        open_bases += [each.cast(field.type) for field in type_.fields() if field.is_base_class]
    return None


def whole(pointer):
    """What a pointer points to, as the class that it has been made as."""
    value = pointer.dereference()
    try:
        return value.cast(value.dynamic_type)
    except (gdb.error, RuntimeError):  # the class is unknown to the debugger
        return value


def items_of(vector):
    """The items of a std::vector."""
    at, end = vector["_M_impl"]["_M_start"], vector["_M_impl"]["_M_finish"]
    while at != end:
        yield at.dereference()
        at += 1


def field_text(field):
    """'"Speed" = 12.5' for any field; the number of children for what has any."""
    if field.address is not None:
        field = whole(field.address)
    base = as_base(field, "KrData::FieldBase")
    title = f'"{name_of(base["_id"])}"'
    container = as_base(field, "KrData::Container")
    if container is not None:
        return f"{title} with {sum(1 for _ in items_of(container['_children']))} fields"
    typed = as_base(field, "KrData::Field<")
    if typed is not None:
        return f"{title} = {value_text(typed['_value'])}"
    vector = next((each for each in bases_of(field) if any(own.name == "_items" for own in each.type.fields())), None)
    if vector is not None:
        return f"{title} = {vector['_items'].format_string()}"
    return f"{title} of type {base['_dataType']}"


def bases_of(value):
    """The value as its class, and as each class that it derives from."""
    yield value
    for field in value.type.strip_typedefs().fields():
        if field.is_base_class:
            yield from bases_of(value.cast(field.type))


def value_text(value):
    if value.type.strip_typedefs().name == "KrData::ExtensionPointer":
        value = value["_extension"]
    if value.type.strip_typedefs().code == gdb.TYPE_CODE_PTR:
        return pointer_text(value)
    return f'"{text_of(value)}"' if is_string(value) else value.format_string()


def is_string(value):
    return (value.type.strip_typedefs().name or "").startswith("std::__cxx11::basic_string<char,")


def pointer_text(pointer):
    """The address of an object, with its name if it has one."""
    if not pointer:
        return "null"
    address = f"{int(pointer):#x}"
    try:
        base = as_base(whole(pointer), "Kr::KrBase")
    except gdb.error:
        return address
    return address if base is None else f'{address} "{text_of(base["_name"])}"'


def holder_count(counted):
    """The strong holders of a KrRefCount; see ref_count.cpp for the form of the word."""
    word = int(counted["_word"]["_M_i"])
    if word & 1:
        block = gdb.Value(word - 1).cast(gdb.lookup_type("Kr::KrRefCount::WeakBlock").pointer())
        word = int(block["_state"]["_M_i"])
    return max(word, -4) // 4


class Printer:
    def __init__(self, value):
        self.value = value


class IdentifierPrinter(Printer):
    def to_string(self):
        return name_of(self.value)

    def display_hint(self):
        return "string"


class FixedStringPrinter(Printer):
    def to_string(self):
        return self.value["_text"].string(errors="backslashreplace")

    def display_hint(self):
        return "string"


class ContentIdPrinter(Printer):
    """The words of an ID, as toString() writes them."""

    def to_string(self):
        return f"{int(self.value['first']):016x}-{int(self.value['second']):016x}"


class StrongPointerPrinter(Printer):
    """A smart pointer with the object as its child."""

    member = "_object"

    def to_string(self):
        pointer = self.value[self.member]
        if not pointer:
            return "null"
        count = as_base(whole(pointer), "Kr::KrRefCount")
        holders = "" if count is None else f", held {holder_count(count)} times"
        return f"{pointer_text(pointer)}{holders}"

    def children(self):
        pointer = self.value[self.member]
        return [("object", whole(pointer))] if pointer else []


class WeakPointerPrinter(Printer):
    def to_string(self):
        block = self.value["_block"]
        if not block:
            return "null"
        state = int(block["_state"]["_M_i"])
        return "expired" if state < 4 or state & 2 else pointer_text(self.value["_object"])


class InterfacePrinter(Printer):
    """Holds the framework half and answers the implementation."""

    def to_string(self):
        return pointer_text(self.value["_proxy"]["_object"]) if self.value["_implementation"] else "null"

    def children(self):
        pointer = self.value["_implementation"]
        return [("implementation", whole(pointer))] if pointer else []


class ExtensionPointerPrinter(Printer):
    def to_string(self):
        return pointer_text(self.value["_extension"])


class FieldPrinter(Printer):
    def to_string(self):
        return field_text(self.value)


class ContainerPrinter(Printer):
    """A group of fields with each field as a child, under its name."""

    def to_string(self):
        return field_text(self.value)

    def children(self):
        container = as_base(self.value, "KrData::Container")
        for child in items_of(container["_children"]):
            yield name_of(child["_id"]), whole(child)

    def display_hint(self):
        return None


class HandlePrinter(Printer):
    """An input, output or parameter of an implementation."""

    def to_string(self):
        handle = as_base(self.value, "KrSim::detail::TypedField<")
        field = handle["_field"]
        return field_text(whole(field)) if field else "no field"


PRINTERS = (
    ("KrID", "^Kr::KrID$", IdentifierPrinter),
    ("KrString", "^Kr::KrString<", FixedStringPrinter),
    ("Identifier", "^KrSim::KrContentID::Identifier$", ContentIdPrinter),
    ("KrSmartPtr", "^Kr::KrSmartPtr<", StrongPointerPrinter),
    ("KrWeakPtr", "^Kr::KrWeakPtr<", WeakPointerPrinter),
    ("KrSmartInterface", "^KrSim::KrSmartInterface<", InterfacePrinter),
    ("ExtensionPointer", "^KrData::ExtensionPointer$", ExtensionPointerPrinter),
    ("Handle", "^KrSim::(Input|Output|Parameter)<", HandlePrinter),
    ("Container", "^(KrData::Container|Kr::KrInputOutputContainer|KrData::FieldArray<.*)$", ContainerPrinter),
    ("Field", "^(KrData::(FieldBase|Field<.*|Vector<.*|ExtensionField)|KrSim::detail::DeclaredField<.*)$", FieldPrinter),
)


def register():
    printers = gdb.printing.RegexpCollectionPrettyPrinter("KrFoundation")
    for name, pattern, printer in PRINTERS:
        printers.add_printer(name, pattern, printer)
    gdb.printing.register_pretty_printer(gdb.current_objfile(), printers, replace=True)


register()
