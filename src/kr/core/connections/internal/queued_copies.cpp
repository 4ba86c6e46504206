#include "kr/core/connections/internal/queued_copies.h"

#include <utility>

#include "kr/core/connections/internal/value_copies.h"
#include "kr/data/field_base.h"

namespace Kr::detail {

using KrData::FieldBase;

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
