#include "kr/persistence/fields/internal/field_writer.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include "kr/content/i_content_resolver.h"
#include "kr/core/enum.h"
#include "kr/data/extension_field.h"
#include "kr/data/field_access.h"
#include "kr/data/field_array.h"
#include "kr/data/field_internal.h"
#include "kr/data/proxy_access.h"
#include "kr/data/stored_path.h"
#include "kr/persistence/fields/content_id_archive.h"
#include "kr/persistence/fields/internal/value_archive.h"

namespace KrPersistence::detail {

using KrData::Container;
using KrData::Field;
using KrData::detail::FieldAccess;
using KrData::detail::LinkAccess;

namespace {

template <class T>
bool isDefault(const T& value) {
    if constexpr (std::is_floating_point_v<T>) return value == T{} && !std::signbit(value);
    return value == T{};
}

std::string keyOf(std::string path, std::size_t item) {
    // No two pairs of a path and a number come to the same text.
    return path.append(1, '\0').append(std::to_string(item));
}

/// The identifiers from below `root` down to the field; empty when it does not lie below.
std::string pathBelow(const KrData::FieldBase& root, const KrData::FieldBase& field) {
    std::vector<const KrData::FieldBase*> steps;
    const auto* step = &field;
    for (; step != nullptr && step != &root; step = step->getParent())
        steps.push_back(step);
    std::string path;
    if (step == nullptr) return path;
    for (auto each = steps.rbegin(); each != steps.rend(); ++each)
        appendStep(path, KrData::_getStoredStep(**each));
    return path;
}

/// The ID of the extension that was found, which may come from another file than the saved one.
KrSim::KrContentID idOf(const KrSim::KrContentReference& reference) {
    auto* extension = reference.get();
    const auto* resolver = Kr::UpperLayer<KrSim::IContentResolver>::get();
    return extension != nullptr && resolver != nullptr ? resolver->getContentID(extension) : reference.getContentID();
}

}  // namespace

FieldWriter::FieldWriter(ArchiveWriter& writer, const FieldBase& root, const FieldWriteContext& context)
    : _writer(writer), _root(root), _toStored(context.toStored), _chosen(context.chosen) {
    for (const auto& each : context.unresolved)
        _unresolved.emplace(keyOf(each.fieldPath, each.item), &each.extension);
}

void FieldWriter::writeField(std::string_view name) {
    _writeField(name, _root, Types::kField, 0);
}

void FieldWriter::writeChildren(std::string_view listName) {
    _writeChildren(listName, "Field", _root);
}

void FieldWriter::writeValue(std::string_view name) {
    _writer.group(name, [&] { _writeValueMembers(_root); });
}

// --- Fields --------------------------------------------------------------------------------------------------------

void FieldWriter::_writeField(std::string_view name, const FieldBase& field, Types::FieldTypeEnum usualRole,
                              std::uint32_t usualNumber) {
    _writer.group(name, [&] {
        _writer.writeRepeated("Identifier", field.getID().str());
        writeDataType(_writer, "Type", field.getDataType());
        _writeKind(field, usualRole);
        _writeProperties(field, usualNumber);
        _writeContent(field);
    });
}

void FieldWriter::_writeKind(const FieldBase& field, Types::FieldTypeEnum usualRole) {
    switch (field.getDataType()) {
        case Types::kContainer: {
            const auto role = static_cast<const Container&>(field).getFieldType();
            _writer.optional(role != usualRole, "FieldType",
                             [&] { _writer.writeChoice("FieldType", role, Types::nameFor(role)); });
            _writer.writeIf(field.isFieldArray(), "FieldArray", true);
            break;
        }
        case Types::kExtension: {
            const auto* typed = dynamic_cast<const KrData::ExtensionField*>(&field);
            _writer.optional(typed != nullptr, "InterfaceID",
                             [&] { _writer.writeRepeated("InterfaceID", typed->getInterfaceId().str()); });
            break;
        }
        case Types::kVector:
            writeDataType(_writer, "ItemType", itemTypeOf(field));
            break;
        case Types::kProxy: {
            const auto type = static_cast<const KrData::Proxy&>(field).getProxyDataType();
            _writer.optional(type != Types::kUnknown, "ProxyType", [&] { writeDataType(_writer, "ProxyType", type); });
            break;
        }
        default:
            break;
    }
}

void FieldWriter::_writeProperties(const FieldBase& field, std::uint32_t usualNumber) {
    const auto number = field.getInternalIdentifier();
    _writer.writeIf(number != usualNumber, "InternalIdentifier", number);
    const auto& description = field.getDescription();
    _writer.optional(!description.empty(), "Description", [&] { _writer.writeRepeated("Description", description); });
    const auto dimension = static_cast<int>(field.getPhysicalDimension());
    _writer.optional(dimension != 0, "PhysicalDimension", [&] {
        const Kr::KrEnum named(typeid(Kr::KrPhysicalDimension::ePhysicalDimension), dimension);
        _writer.writeChoice("PhysicalDimension", dimension, named.toString());
    });
    // Copies of hidden fields are always dynamic and not observed.
    _writer.writeIf(_hiddenDepth == 0 && FieldAccess::isForcingObservers(field), "forceObservers", true);
    _writer.writeIf(_hiddenDepth == 0 && field.isDynamic(), "Dynamic", true);
    const auto* internal = FieldAccess::getInternalIfAny(field);
    const auto* hidden = internal != nullptr ? internal->get() : nullptr;
    _writer.optional(hidden != nullptr && !hidden->empty(), "Metadata", [&] {
        ++_hiddenDepth;
        _writeChildren("Metadata", "Field", *hidden);
        --_hiddenDepth;
    });
}

void FieldWriter::_writeChildren(std::string_view listName, std::string_view itemName, const FieldBase& field) {
    if (_chosen != nullptr && _hiddenDepth == 0) return _writeChosen(listName, itemName, field);
    const auto& children = field.getChildren();
    std::uint32_t usualNumber = 1;
    _writer.sequence(listName, children.size(), [&](std::size_t index) {
        const auto& child = *children[index];
        _writeField(itemName, child, field.getFieldType(), usualNumber);
        usualNumber = child.getInternalIdentifier() + 1;
    });
}

/// Gaps between the numbers of chosen fields have no meaning.
void FieldWriter::_writeChosen(std::string_view listName, std::string_view itemName, const FieldBase& field) {
    std::vector<const FieldBase*> chosen;
    for (const auto* child : field.getChildren()) {
        if (_chosen->contains(child)) chosen.push_back(child);
    }
    _writer.sequence(listName, chosen.size(), [&](std::size_t index) {
        _writeField(itemName, *chosen[index], field.getFieldType(), chosen[index]->getInternalIdentifier());
    });
}

void FieldWriter::_writeSizeRange(const FieldBase& field) {
    const auto& array = static_cast<const KrData::FieldArrayBase&>(field);
    const auto minimum = array.getMinimumSize();
    const auto maximum = array.getMaximumSize();
    _writer.writeIf(minimum != 0, "MinimumSize", static_cast<unsigned long long>(minimum));
    _writer.writeIf(maximum != 0, "MaximumSize", static_cast<unsigned long long>(maximum));
    _writer.writeIf(array.hasSizeRange(), "Has_SizeRange", true);
}

void FieldWriter::_writeContent(const FieldBase& field) {
    if (field.isFieldArray()) {
        _writeSizeRange(field);
        _writeChildren("Items", "Item", field);
    } else if (field.getDataType() == Types::kContainer) {
        _writeChildren("Fields", "Field", field);
    } else {
        _writeLeaf(field);
        if (field.getDataType() == Types::kVector) {
            const bool isIncremental = static_cast<const KrData::VectorBase&>(field).isIncrementalDataTransferEnabled();
            _writer.writeIf(_hiddenDepth == 0 && isIncremental, "Incremental", true);
        }
        KrData::withValueType(field.getDataType(), [&]<class T>(std::type_identity<T>) {
            if constexpr (KrData::ValueTraits<T>::kHasRange) _writeRange(static_cast<const Field<T>&>(field));
        });
    }
}

template <class T>
void FieldWriter::_writeRange(const Field<T>& field) {
    const T minimum = field.getMinimum();
    const T maximum = field.getMaximum();
    // Bit by bit: -0.0 is equal to 0.0.
    _writer.optional(!isDefault(minimum), "Minimum", [&] { writeItem(_writer, "Minimum", minimum); });
    _writer.optional(!isDefault(maximum), "Maximum", [&] { writeItem(_writer, "Maximum", maximum); });
    _writer.writeIf(field.hasRange(), "Has_Range", true);
}

// --- Values --------------------------------------------------------------------------------------------------------

void FieldWriter::_writeValueMembers(const FieldBase& field) {
    writeDataType(_writer, "Type", field.getDataType());
    if (field.getDataType() != Types::kContainer) {
        _writeKind(field, Types::kField);
        return _writeLeaf(field);
    }
    const auto& children = field.getChildren();
    _writer.sequence("Values", children.size(), [&](std::size_t index) {
        _writer.group("Value", [&] {
            _writer.writeRepeated("Identifier", children[index]->getID().str());
            _writeValueMembers(*children[index]);
        });
    });
}

void FieldWriter::_writeLeaf(const FieldBase& field) {
    switch (field.getDataType()) {
        case Types::kVector:
            return _writeItems(field);
        case Types::kProxy:
            return _writeLinks(field);
        case Types::kExtension:
            return _writeReference(field.toExtension(), field, ExtensionReference::kNoItem);
        default:
            KrData::withValueType(field.getDataType(), [&]<class T>(std::type_identity<T>) {
                if constexpr (kIsPlainValue<T>) {
                    writeItem(_writer, "Value", static_cast<const Field<T>&>(field).getOwnValue());
                }
            });
    }
}

void FieldWriter::_writeItems(const FieldBase& field) {
    const auto& base = static_cast<const KrData::VectorBase&>(field);
    KrData::withValueType(base.getItemDataType(), [&]<class T>(std::type_identity<T>) {
        using Vector = KrData::Vector<T>;
        if (typeid(field) == typeid(Vector)) return _writeItemsOf(static_cast<const Vector&>(base), field);
        // Subclasses may guard their items by a lock, which a copy takes.
        const std::unique_ptr<const FieldBase> copy(FieldAccess::duplicate(base));
        if (const auto* items = dynamic_cast<const Vector*>(copy.get())) _writeItemsOf(*items, field);
    });
}

template <class T>
void FieldWriter::_writeItemsOf(const KrData::Vector<T>& vector, const FieldBase& field) {
    constexpr bool isBlock = std::is_same_v<T, double> || std::is_same_v<T, float> || std::is_same_v<T, int>;
    const auto& items = vector.getItems();
    if constexpr (isBlock) {
        _writer.writeBlock("Items", std::span<const T>(items));
    } else if constexpr (kIsPlainValue<T>) {
        _writer.sequence("Items", items.size(), [&](std::size_t i) { writeItem<T>(_writer, "Item", items[i]); });
    } else if constexpr (std::is_same_v<T, KrSim::KrExtension*>) {
        _writer.sequence("Items", items.size(),
                         [&](std::size_t i) { _writer.group("Item", [&] { _writeReference(items[i], field, i); }); });
    }
}

void FieldWriter::_writeLinks(const FieldBase& field) {
    const auto& proxy = static_cast<const KrData::Proxy&>(field);
    auto* home = proxy.getOwnerExtension();
    _writer.sequence("Links", proxy.getLinkCount(), [&](std::size_t index) {
        const auto link = LinkAccess::asUnresolved(proxy.getLink(index), home);
        _writer.group("Link", [&] {
            _writeID(idOf(link.getContentReference()));
            _writer.writeRepeated("FieldPath", link.getFieldPath());
        });
    });
}

void FieldWriter::_writeReference(KrSim::KrExtension* extension, const FieldBase& field, std::size_t item) {
    _writeID(_idOf(extension, field, item));
}

void FieldWriter::_writeID(const KrSim::KrContentID& id) {
    _writer.optional(!id.isEmpty(), "Extension",
                     [&] { writeContentID(_writer, "Extension", _toStored != nullptr ? (*_toStored)(id) : id); });
}

KrSim::KrContentID FieldWriter::_idOf(KrSim::KrExtension* extension, const FieldBase& field, std::size_t item) const {
    if (_hiddenDepth != 0) return {};  // a reader could not name the place
    if (extension != nullptr) {
        const auto* resolver = Kr::UpperLayer<KrSim::IContentResolver>::get();
        return resolver != nullptr ? resolver->getContentID(extension) : KrSim::KrContentID();
    }
    if (_unresolved.empty()) return {};
    const auto found = _unresolved.find(keyOf(pathBelow(_root, field), item));
    return found != _unresolved.end() ? *found->second : KrSim::KrContentID();
}

}  // namespace KrPersistence::detail
