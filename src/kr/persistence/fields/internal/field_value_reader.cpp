#include "kr/persistence/fields/internal/field_value_reader.h"

#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>

#include "kr/content/content_reference.h"
#include "kr/content/i_content_resolver.h"
#include "kr/data/field_access.h"
#include "kr/data/field_array.h"
#include "kr/data/field_reference.h"
#include "kr/data/proxy.h"
#include "kr/data/proxy_access.h"
#include "kr/persistence/fields/internal/value_archive.h"

namespace KrPersistence::detail {

using KrData::Container;
using KrData::FieldReference;
using KrData::detail::FieldAccess;
using KrData::detail::LinkAccess;
using KrData::detail::ProxyAccess;

namespace {

/// The child of this identifier that has `rank` others of it in front, or null.
KrData::FieldBase* findOfRank(const Container& container, const Kr::KrID& id, std::size_t rank) {
    for (auto* child : container) {
        if (child->getID() == id && rank-- == 0) return child;
    }
    return nullptr;
}

/// The field for the value of the item at `index`: items of arrays are counted, children have names.
/// \param rank  how many items of this name came before.
KrData::FieldBase* placeOf(KrData::FieldBase* parent, std::size_t index, const Kr::KrID& id, std::size_t rank) {
    if (parent == nullptr || parent->getDataType() != KrData::Types::kContainer) return nullptr;
    auto& container = static_cast<Container&>(*parent);
    if (parent->isFieldArray()) {
        // One at a time, so that no number in a file takes memory for items that it does not have.
        auto& array = static_cast<KrData::FieldArrayBase&>(container);
        return index < array.size() || array.resize(index + 1) ? &container.at(index) : nullptr;
    }
    if (index < container.size() && container.at(index).getID() == id) return &container.at(index);
    return findOfRank(container, id, rank);
}

/// The extension and field of a link; an extension with the very ID is found whatever file the link names.
std::pair<KrSim::KrContentID, std::string> targetOf(const KrData::Link& link) {
    const auto& reference = link.getContentReference();
    auto* extension = reference.get();
    const auto* resolver = Kr::UpperLayer<KrSim::IContentResolver>::get();
    const bool isThere = extension != nullptr && resolver != nullptr;
    return {isThere ? resolver->getContentID(extension) : reference.getContentID(), link.getFieldPath()};
}

/// Gives the proxy the links that it lacks.
bool addLinks(KrData::Proxy& proxy, const KrData::Proxy& saved) {
    auto* home = proxy.getOwnerExtension();
    std::set<std::pair<KrSim::KrContentID, std::string>> present;
    for (std::size_t i = 0; i < proxy.getLinkCount(); ++i)
        present.insert(targetOf(LinkAccess::asUnresolved(proxy.getLink(i), home)));
    const auto type = saved.getProxyDataType();
    proxy.setProxyDataType(type);
    for (std::size_t i = 0; i < saved.getLinkCount(); ++i) {
        const auto& link = saved.getLink(i);
        if (present.insert(targetOf(link)).second) {
            ProxyAccess::addStoredLink(proxy, link.getContentReference(), link.getFieldPath());
        }
    }
    const bool isSame = type == KrData::Types::kUnknown || proxy.getProxyDataType() == type;
    proxy.updateLinks();
    return isSame;
}

}  // namespace

FieldValueReader::FieldValueReader(ArchiveReader& reader, FieldReadContext& context)
    : _reader(reader), _context(context), _parts(reader, context) {}

bool FieldValueReader::read(std::string_view name, FieldBase& field) {
    bool isTaken = false;
    _reader.group(name, [&] { isTaken = _readMembers(field.getID(), &field); });
    return isTaken;
}

bool FieldValueReader::_readMembers(const Kr::KrID& id, FieldBase* field) {
    _parts.enter(id);
    const auto type = readDataType(_reader, "Type");
    const bool isTaken = type == Types::kContainer ? _readChildren(field) : _readLeaf(type, id, field);
    _parts.leave();
    return isTaken;
}

bool FieldValueReader::_readChildren(FieldBase* field) {
    const FieldReference parent(field);  // an observer of the value may destroy it
    bool isTaken = field != nullptr && field->getDataType() == Types::kContainer;
    std::unordered_map<std::int32_t, std::size_t> ranks;  // by the numbers of identifiers
    const auto count = _reader.sequence("Values", [&](std::size_t index) {
        _reader.group("Value", [&] {
            const Kr::KrID id(_reader.readRepeated("Identifier"));
            isTaken = _readMembers(id, placeOf(parent.get(), index, id, ranks[id.getNumber()]++)) && isTaken;
        });
    });
    auto* parentNow = parent.get();
    if (parentNow == nullptr || !parentNow->isFieldArray()) return isTaken;
    auto& array = static_cast<KrData::FieldArrayBase&>(*parentNow);
    return (array.size() == count || array.resize(count)) && isTaken;
}

bool FieldValueReader::_readLeaf(Types::DataTypeEnum type, const Kr::KrID& id, FieldBase* field) {
    const auto first = _context.references.size();
    const auto made = _parts.make(type, id, Types::kField);
    _parts.readLeaf(*made);
    _resolveReferences(*made, first);
    if (field == nullptr) {
        _context.references.resize(first);
        return false;
    }
    if (field->getDataType() == Types::kProxy && type == Types::kProxy) {
        return addLinks(static_cast<KrData::Proxy&>(*field), static_cast<KrData::Proxy&>(*made));
    }
    // Not set but copied: a setter would clamp the value.
    FieldAccess::takeBits(*field, *made);
    return field->copyValue(*made);
}

void FieldValueReader::_resolveReferences(FieldBase& made, std::size_t first) {
    auto& references = _context.references;
    const auto isResolved = [&](const ExtensionReference& each) {
        auto* extension = KrSim::KrContentReference(each.extension).get();
        if (extension == nullptr) return false;
        auto* vector = KrData::Vector<KrSim::KrExtension*>::from(made);
        return vector != nullptr ? vector->setItem(each.item, extension) : made.set(extension);
    };
    references.erase(
        std::remove_if(references.begin() + static_cast<std::ptrdiff_t>(first), references.end(), isResolved),
        references.end());
}

}  // namespace KrPersistence::detail
