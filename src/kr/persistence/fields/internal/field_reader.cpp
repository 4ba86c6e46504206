#include "kr/persistence/fields/internal/field_reader.h"

#include <array>
#include <limits>
#include <optional>
#include <unordered_set>
#include <utility>

#include "kr/content/content_reference.h"
#include "kr/core/enum.h"
#include "kr/data/container_access.h"
#include "kr/data/extension_field.h"
#include "kr/data/field_access.h"
#include "kr/data/field_array.h"
#include "kr/data/field_internal.h"
#include "kr/data/proxy.h"
#include "kr/data/proxy_access.h"
#include "kr/data/stored_path.h"
#include "kr/persistence/fields/content_id_archive.h"
#include "kr/persistence/fields/internal/untyped_field_array.h"
#include "kr/persistence/fields/internal/value_archive.h"

namespace KrPersistence::detail {

using KrData::Container;
using KrData::Field;
using KrData::detail::ContainerAccess;
using KrData::detail::FieldAccess;
using KrData::detail::ProxyAccess;
using Dimension = Kr::KrPhysicalDimension::ePhysicalDimension;

namespace {

constexpr std::uint32_t kLastInternalIdentifier = std::numeric_limits<std::uint32_t>::max();

constexpr std::array kRoles{KrData::Types::kField, KrData::Types::kInput, KrData::Types::kOutput,
                            KrData::Types::kParameter, KrData::Types::kUndefined};

std::optional<int> numberOfRole(std::string_view text) {
    for (const auto role : kRoles) {
        if (text == KrData::Types::nameFor(role)) return role;
    }
    return std::nullopt;
}

std::vector<std::string> namesOfRoles() {
    std::vector<std::string> names;
    for (const auto role : kRoles)
        names.emplace_back(KrData::Types::nameFor(role));
    return names;
}

std::optional<int> numberOfDimension(std::string_view text) {
    const auto* dimensions = Kr::KrEnum::getEnumeration(typeid(Dimension));
    const int* number = dimensions != nullptr ? dimensions->findValue(text) : nullptr;
    return number != nullptr ? std::optional(*number) : std::nullopt;
}

std::vector<std::string> namesOfDimensions() {
    const auto* dimensions = Kr::KrEnum::getEnumeration(typeid(Dimension));
    return dimensions != nullptr ? listChoices(*dimensions) : std::vector<std::string>();
}

/// All names allowed in a field.
const std::vector<std::string>& getMemberNames() {
    static const auto& names = *new std::vector<std::string>{"Identifier",     "Type",
                                                             "ProxyType",      "InterfaceID",
                                                             "FieldType",      "FieldArray",
                                                             "ItemType",       "InternalIdentifier",
                                                             "Description",    "PhysicalDimension",
                                                             "forceObservers", "Dynamic",
                                                             "Metadata",       "Value",
                                                             "Minimum",        "Maximum",
                                                             "Has_Range",      "MinimumSize",
                                                             "MaximumSize",    "Has_SizeRange",
                                                             "Items",          "Fields",
                                                             "Links",          "Incremental"};
    return names;
}

/// Gives out the internal identifiers of one container: in a damaged file two children may have the same.
class InternalIdentifiers {
public:
    explicit InternalIdentifiers(const Container& container) : _container(container) {}

    /// The number itself, or 0 when a child has it already.
    [[nodiscard]] std::uint32_t take(std::uint32_t number) {
        if (number >= ContainerAccess::getNextInternalIdentifier(_container))
            return number;  // the usual case: they rise
        if (!_isCollected) {
            for (const auto* child : _container)
                _taken.insert(child->getInternalIdentifier());
            _isCollected = true;
        }
        return _taken.contains(number) ? 0 : number;
    }
    void note(std::uint32_t number) {
        if (_isCollected) _taken.insert(number);
    }

private:
    const Container& _container;
    std::unordered_set<std::uint32_t> _taken;
    bool _isCollected{false};
};

}  // namespace

FieldReader::FieldReader(ArchiveReader& reader, FieldReadContext& context) : _reader(reader), _context(context) {}

std::unique_ptr<KrData::FieldBase> FieldReader::readField(std::string_view name) {
    return _readField(name, Types::kField, 0, nullptr);
}

void FieldReader::readChildren(std::string_view listName, Container& container) {
    enter(container.getID());
    _readChildren(listName, "Field", container);
    leave();
}

void FieldReader::fail(const std::string& text) const {
    const std::string path = _path.size() == 1 ? _path.front().id.str() : getPath();
    _reader.fail("field '" + path + "' " + text);
}

std::string FieldReader::getPath() const {
    std::string path;
    for (std::size_t i = 1; i < _path.size(); ++i)
        appendStep(path, _path[i].container != nullptr ? KrData::_getNextStoredStep(*_path[i].container, _path[i].id)
                                                       : KrData::_getStoredStep(_path[i].id, 0));
    return path;
}

// --- Fields --------------------------------------------------------------------------------------------------------

std::unique_ptr<KrData::FieldBase> FieldReader::_readField(std::string_view name, Types::FieldTypeEnum usualRole,
                                                           std::uint32_t usualNumber, const Container* container) {
    std::unique_ptr<FieldBase> field;
    _reader.group(name, [&] {
        _reader.setKnownNames(getMemberNames());
        const Kr::KrID id(_reader.readRepeated("Identifier"));
        const auto line = _context.lines != nullptr && _hiddenDepth == 0 ? _reader.getLine() : 0;
        enter(id, container);
        field = make(readDataType(_reader, "Type"), id, usualRole);
        if (line != 0) _context.lines->push_back({field.get(), line});
        _readProperties(*field, usualNumber);
        _readContent(*field);
        leave();
    });
    return field;
}

std::unique_ptr<KrData::FieldBase> FieldReader::make(Types::DataTypeEnum type, const Kr::KrID& id,
                                                     Types::FieldTypeEnum usualRole) {
    if (type == Types::kContainer) return _makeContainer(id, usualRole);
    if (type == Types::kVector) return _makeVector(id);
    std::unique_ptr<FieldBase> field(Types::_make(type, id, usualRole));
    if (!field) fail(std::string("cannot be made: there are no fields of type ") + Types::nameFor(type));
    if (type == Types::kProxy) {
        _reader.optional("ProxyType", [&] {
            static_cast<KrData::Proxy&>(*field).setProxyDataType(readDataType(_reader, "ProxyType"));
        });
    } else if (type == Types::kExtension) {
        _reader.optional("InterfaceID", [&] {
            field.reset(Types::produceExtensionField(id, Kr::KrID(_reader.readRepeated("InterfaceID")), nullptr));
        });
    }
    return field;
}

std::unique_ptr<KrData::FieldBase> FieldReader::_makeContainer(const Kr::KrID& id, Types::FieldTypeEnum usualRole) {
    static const ArchiveReader::ChoiceParser parse = numberOfRole;
    auto role = usualRole;
    _reader.optional("FieldType", [&] {
        const int number = _reader.readChoice("FieldType", parse, namesOfRoles);
        if (number < Types::kField || number > Types::kUndefined) {
            fail("has the unknown field type " + std::to_string(number));
        }
        role = static_cast<Types::FieldTypeEnum>(number);
    });
    bool isArray = false;
    _reader.readIf("FieldArray", isArray);
    if (isArray) return std::make_unique<UntypedFieldArray>(id, role);
    return std::make_unique<Container>(id, nullptr, role);
}

std::unique_ptr<KrData::FieldBase> FieldReader::_makeVector(const Kr::KrID& id) {
    const auto itemType = readDataType(_reader, "ItemType");
    std::unique_ptr<FieldBase> field;
    KrData::withValueType(itemType,
                          [&]<class T>(std::type_identity<T>) { field = std::make_unique<KrData::Vector<T>>(id); });
    if (!field) fail(std::string("cannot be made: there are no vectors of type ") + Types::nameFor(itemType));
    return field;
}

void FieldReader::_readProperties(FieldBase& field, std::uint32_t usualNumber) {
    static const ArchiveReader::ChoiceParser parse = numberOfDimension;
    static const ArchiveReader::ChoiceList choices = namesOfDimensions;
    _reader.readIf("InternalIdentifier", usualNumber);
    FieldAccess::setInternalIdentifier(field, usualNumber);
    _reader.optional("Description", [&] { field.setDescription(std::string(_reader.readRepeated("Description"))); });
    _reader.optional("PhysicalDimension", [&] {
        const int number = _reader.readChoice("PhysicalDimension", parse, choices);
        if (number < 0 || number > std::numeric_limits<std::uint8_t>::max()) {
            fail("has the unknown physical dimension " + std::to_string(number));
        }
        field.setPhysicalDimension(static_cast<Dimension>(number));
    });
    bool isForcing = false;
    _reader.readIf("forceObservers", isForcing);
    if (isForcing) FieldAccess::setForcingObservers(field, true);
    bool isDynamic = false;
    _reader.readIf("Dynamic", isDynamic);
    isDynamic = isDynamic || _hiddenDepth != 0;
    if (field.isDynamic() != isDynamic) field._setDynamic(isDynamic);
    _reader.optional("Metadata", [&] { _readMetadata(field); });
}

void FieldReader::_readMetadata(FieldBase& field) {
    static const Kr::KrID id("Internal");
    auto hidden = std::make_unique<Container>(id, nullptr, Types::kUndefined);
    const auto references = _context.references.size();
    ++_hiddenDepth;
    _readChildren("Metadata", "Field", *hidden);
    --_hiddenDepth;
    _context.references.resize(references);  // hidden fields cannot be found by their path
    ContainerAccess::setHiddenFields(field.getInternal(), std::move(hidden));
}

void FieldReader::_readChildren(std::string_view listName, std::string_view itemName, Container& container) {
    std::uint32_t usualNumber = 1;
    InternalIdentifiers numbers(container);
    _reader.sequence(listName, [&](std::size_t) {
        auto child = _readField(itemName, container.getFieldType(), usualNumber, &container);
        const auto number = numbers.take(child->getInternalIdentifier());
        const auto next = number != 0 ? number : ContainerAccess::getNextInternalIdentifier(container);
        if (next == kLastInternalIdentifier) {
            fail("has a child '" + child->getID().str() + "' whose internal identifier is out of range");
        }
        FieldAccess::setInternalIdentifier(*child, next);
        if (!ContainerAccess::addNumberedField(container, child.get(), container.end())) {
            fail("takes no child '" + child->getID().str() + "'");
        }
        static_cast<void>(child.release());
        numbers.note(next);
        usualNumber = next + 1;
    });
}

void FieldReader::_readSizeRange(FieldBase& field) {
    auto& array = static_cast<KrData::FieldArrayBase&>(field);
    unsigned long long minimum = 0;
    unsigned long long maximum = 0;
    _reader.readIf("MinimumSize", minimum);
    _reader.readIf("MaximumSize", maximum);
    bool hasRange = false;
    _reader.readIf("Has_SizeRange", hasRange);
    _readChildren("Items", "Item", array);
    // Only now: an array may hold more items than its range allows to add.
    if (!array.setSizeRange(minimum, maximum)) fail("has a minimum size above its maximum size");
    if (!hasRange) array.clearSizeRange();
}

void FieldReader::_readContent(FieldBase& field) {
    if (field.isFieldArray()) {
        _readSizeRange(field);
    } else if (field.getDataType() == Types::kContainer) {
        _readChildren("Fields", "Field", static_cast<Container&>(field));
    } else {
        readLeaf(field);
        bool isIncremental = false;
        if (field.getDataType() == Types::kVector && _reader.readIf("Incremental", isIncremental)) {
            static_cast<KrData::VectorBase&>(field).enableIncrementalDataTransfer(isIncremental);
        }
        KrData::withValueType(field.getDataType(), [&]<class T>(std::type_identity<T>) {
            if constexpr (KrData::ValueTraits<T>::kHasRange) _readRange(static_cast<Field<T>&>(field));
        });
    }
}

template <class T>
void FieldReader::_readRange(Field<T>& field) {
    T minimum{};
    T maximum{};
    bool hasRange = false;
    const bool hasMinimum = _reader.optional("Minimum", [&] { readItem(_reader, "Minimum", minimum); });
    const bool hasMaximum = _reader.optional("Maximum", [&] { readItem(_reader, "Maximum", maximum); });
    _reader.readIf("Has_Range", hasRange);
    if (!hasMinimum && !hasMaximum && !hasRange) return;
    if (!field.setRange(minimum, maximum)) fail("has a minimum above its maximum");
    if (!hasRange) field.clearRange();
}

// --- Values --------------------------------------------------------------------------------------------------------

void FieldReader::readLeaf(FieldBase& field) {
    switch (field.getDataType()) {
        case Types::kVector:
            return _readItems(field);
        case Types::kProxy:
            return _readLinks(field);
        case Types::kExtension:
            return noteReference(readReference(), ExtensionReference::kNoItem);
        default:
            KrData::withValueType(field.getDataType(), [&]<class T>(std::type_identity<T>) {
                if constexpr (kIsPlainValue<T>) {
                    T value{};
                    readItem(_reader, "Value", value);
                    FieldAccess::initializeValue(static_cast<Field<T>&>(field), value);
                }
            });
    }
}

void FieldReader::_readItems(FieldBase& field) {
    auto& vector = static_cast<KrData::VectorBase&>(field);
    KrData::withValueType(vector.getItemDataType(), [&]<class T>(std::type_identity<T>) {
        static_cast<KrData::Vector<T>&>(vector).setItems(_readItemsOf<T>());
    });
}

template <class T>
std::vector<T> FieldReader::_readItemsOf() {
    constexpr bool isBlock = std::is_same_v<T, double> || std::is_same_v<T, float> || std::is_same_v<T, int>;
    std::vector<T> items;
    if constexpr (isBlock) {
        _reader.readBlock("Items", items);
    } else if constexpr (kIsPlainValue<T>) {
        _reader.sequence("Items", [&](std::size_t) {
            T item{};
            readItem(_reader, "Item", item);
            items.push_back(std::move(item));
        });
    } else if constexpr (std::is_same_v<T, KrSim::KrExtension*>) {
        _reader.sequence("Items", [&](std::size_t index) {
            _reader.group("Item", [&] { noteReference(readReference(), index); });
            items.push_back(nullptr);
        });
    }
    return items;
}

void FieldReader::_readLinks(FieldBase& field) {
    auto& proxy = static_cast<KrData::Proxy&>(field);
    _reader.sequence("Links", [&](std::size_t) {
        _reader.group("Link", [&] {
            const auto id = readReference();
            const std::string path(_reader.readRepeated("FieldPath"));
            const auto extension = id.isEmpty() ? KrSim::KrContentReference() : KrSim::KrContentReference(id);
            if (!ProxyAccess::addStoredLink(proxy, extension, path)) fail("links a field without a path");
        });
    });
}

KrSim::KrContentID FieldReader::readReference() {
    KrSim::KrContentID id;
    _reader.optional("Extension", [&] { id = readContentID(_reader, "Extension"); });
    return _context.toLive != nullptr && !id.isEmpty() ? (*_context.toLive)(id) : id;
}

void FieldReader::noteReference(const KrSim::KrContentID& id, std::size_t item) {
    if (!id.isEmpty()) _context.references.push_back({getPath(), item, id});
}

}  // namespace KrPersistence::detail
