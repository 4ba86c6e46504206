#include "kr/core/connections/internal/queued_copies.h"

#include <typeinfo>
#include <utility>

#include "kr/data/container.h"
#include "kr/data/container_access.h"
#include "kr/data/field_access.h"
#include "kr/data/proxy.h"
#include "kr/data/vector_access.h"
#include "kr/data/vector_base.h"

namespace Kr::detail {

using KrData::Container;
using KrData::FieldBase;
using KrData::Types;
using KrData::detail::ContainerAccess;
using KrData::detail::FieldAccess;
using KrData::detail::VectorAccess;

// --- Copies of values ----------------------------------------------------------------------------------------------

namespace {

/// The field whose value is copied: of a proxy, the one behind it, which may be another one at delivery. Null for a
/// proxy without a value.
const FieldBase* valueOf(const FieldBase& field) {
    return field.getDataType() == Types::kProxy ? static_cast<const KrData::Proxy&>(field).getLinkedField() : &field;
}

bool isGroup(const FieldBase& field) {
    return field.getDataType() == Types::kContainer && !field.isFieldArray();
}

std::unique_ptr<FieldBase> makeCopyOf(const FieldBase& value) {
    if (!isGroup(value)) return std::unique_ptr<FieldBase>(FieldAccess::duplicate(value));
    auto copy = std::make_unique<Container>(value.getID());
    for (const auto* child : value.getChildren()) {
        const auto* childValue = valueOf(*child);
        if (childValue == nullptr) continue;
        auto made = makeCopyOf(*childValue);
        if (!made) continue;
        made->_setDynamic(true);
        made->setID(child->getID());
        FieldAccess::setInternalIdentifier(*made, 0);
        if (ContainerAccess::addNumberedField(*copy, made.get(), copy->end())) static_cast<void>(made.release());
    }
    return copy;
}

bool updateCopy(FieldBase& copy, const FieldBase& value);

/// False, with some of the children updated, when the two do not have children of the same identifiers and types.
bool updateChildren(FieldBase& copy, const FieldBase& value) {
    const auto& copies = copy.getChildren();
    std::size_t used = 0;
    for (const auto* child : value.getChildren()) {
        const auto* childValue = valueOf(*child);
        if (childValue == nullptr) continue;
        if (used == copies.size()) return false;
        auto& childCopy = *copies[used++];
        if (!value.isFieldArray() && childCopy.getID() != child->getID()) return false;
        if (!updateCopy(childCopy, *childValue)) return false;
    }
    return used == copies.size();
}

/// Gives an earlier copy of such a value this value, to the last bit. False when it takes a new copy.
bool updateCopy(FieldBase& copy, const FieldBase& value) {
    if (copy.getDataType() != value.getDataType() || copy.isFieldArray() != value.isFieldArray()) return false;
    switch (value.getDataType()) {
        case Types::kContainer:
            return updateChildren(copy, value);
        case Types::kVector: {
            // A subclass may have more to copy, and a lock.
            if (typeid(copy) != typeid(value)) return false;
            auto& vector = static_cast<KrData::VectorBase&>(copy);
            VectorAccess::restoreItems(vector, static_cast<const KrData::VectorBase&>(value));
            return VectorAccess::hasIdenticalItems(vector, static_cast<const KrData::VectorBase&>(value));
        }
        case Types::kEnumeration:
            // One of another type would be refused, with a report.
            if (copy.toEnum().getTypeString() != value.toEnum().getTypeString()) return false;
            return copy.copyValue(value);
        default:
            if (!copy.copyValue(value)) return false;
            FieldAccess::takeBits(copy, value);
            return true;
    }
}

}  // namespace

// --- Copies under way ----------------------------------------------------------------------------------------------

QueuedCopies& QueuedCopies::instance() {
    static auto& copies = *new QueuedCopies;
    static const struct AtExit {
        ~AtExit() { copies._free(); }
    } atExit;
    return copies;
}

QueuedCopies::Node QueuedCopies::makeNode(QueuedCopy copy) {
    auto made = std::make_unique<QueuedCopy>(std::move(copy));
    Map map;
    const void* key = made.get();
    return map.extract(map.emplace(key, std::move(made)).first);
}

const void* QueuedCopies::add(Node node) {
    const void* key = node.key();
    const std::lock_guard lock(_mutex);
    _underWay.insert(std::move(node));
    return key;
}

QueuedCopies::Node QueuedCopies::take(const void* payload) {
    const std::lock_guard lock(_mutex);
    return _underWay.extract(payload);
}

QueuedCopy QueuedCopies::peek(const void* payload) {
    const std::lock_guard lock(_mutex);
    const auto found = _underWay.find(payload);
    if (found == _underWay.end()) return {};
    found->second->isShared = true;
    return *found->second;
}

std::size_t QueuedCopies::count() {
    const std::lock_guard lock(_mutex);
    return _underWay.size();
}

void QueuedCopies::_free() {
    Map underWay;  // destroyed without the lock
    const std::lock_guard lock(_mutex);
    underWay.swap(_underWay);
}

// --- Copies used again ---------------------------------------------------------------------------------------------

QueuedCopies::Node CopyStore::makeCopy(const FieldBase& source, const KrData::FieldReference& sink) {
    const auto* value = valueOf(source);
    if (value == nullptr) return {};
    auto node = _takeSpare();
    auto& copy = *node.mapped();
    const bool mayChange = copy.value != nullptr && !copy.isShared;
    if (!mayChange || !updateCopy(*copy.value, *value)) {
        copy.value = makeCopyOf(*value);
        copy.isShared = false;
    }
    if (copy.value == nullptr) return {};
    copy.sink = sink;
    copy.store = shared_from_this();
    return node;
}

QueuedCopies::Node CopyStore::_takeSpare() {
    {
        const std::lock_guard lock(_mutex);
        if (!_spares.empty()) {
            auto spare = std::move(_spares.back());
            _spares.pop_back();
            return spare;
        }
        if (++_nodeCount > _spares.capacity()) _spares.reserve(2 * _nodeCount);
    }
    return QueuedCopies::makeNode({});
}

void CopyStore::finish(QueuedCopies::Node node) noexcept {
    if (!node) return;
    const auto store = std::move(node.mapped()->store);
    node.mapped()->sink = {};
    if (store != nullptr) store->_giveBack(std::move(node));
}

void CopyStore::_giveBack(QueuedCopies::Node node) noexcept {
    const std::lock_guard lock(_mutex);
    if (!_isClosed && _spares.size() < _spares.capacity()) _spares.push_back(std::move(node));
}

void CopyStore::close() noexcept {
    std::vector<QueuedCopies::Node> spares;  // destroyed without the lock
    const std::lock_guard lock(_mutex);
    _isClosed = true;
    spares.swap(_spares);
}

}  // namespace Kr::detail
