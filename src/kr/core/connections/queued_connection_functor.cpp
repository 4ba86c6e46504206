#include "kr/core/connections/queued_connection_functor.h"

#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>

#include "kr/core/connections/sim_queued_connection.h"
#include "kr/data/container.h"
#include "kr/data/proxy.h"
#include "kr/events/event_dispatcher.h"
#include "kr/events/event_id_list.h"
#include "kr/events/sim_event.h"
#include "kr/events/sim_event_listener.h"
#include "kr/platform/log.h"

namespace Kr {

using KrData::FieldBase;

namespace {

using Snapshot = QueuedConnectionFunctor::Waiting;

/// The snapshots whose events are under way, so that none is lost with an event, and none is taken that this process
/// did not send. Never destroyed: events may come until the very end.
class Snapshots {
public:
    static Snapshots& instance() {
        static auto& snapshots = *new Snapshots;
        static const struct AtExit {
            ~AtExit() { snapshots._free(); }
        } atExit;
        return snapshots;
    }

    const void* add(std::unique_ptr<Snapshot> snapshot) {
        const void* key = snapshot.get();
        const std::lock_guard lock(_mutex);
        _waiting.emplace(key, std::move(snapshot));
        return key;
    }

    std::unique_ptr<Snapshot> take(const void* key) {
        const std::lock_guard lock(_mutex);
        auto node = _waiting.extract(key);
        return node ? std::move(node.mapped()) : nullptr;
    }

    Snapshot peek(const void* key) {
        const std::lock_guard lock(_mutex);
        const auto found = _waiting.find(key);
        return found != _waiting.end() ? *found->second : Snapshot{};
    }

    std::size_t count() {
        const std::lock_guard lock(_mutex);
        return _waiting.size();
    }

private:
    using Waiting = std::unordered_map<const void*, std::unique_ptr<Snapshot>>;

    void _free() {
        Waiting waiting;  // destroyed without the lock
        const std::lock_guard lock(_mutex);
        waiting.swap(_waiting);
    }

    std::mutex _mutex;
    Waiting _waiting;
};

class Listener final : public KrSim::KrSimEventListener {
public:
    void onSimEvent(const KrSim::KrSimEvent& event) override {
        const auto key = event.read<const void*>();
        if (!key) return;
        const auto snapshot = Snapshots::instance().take(*key);
        if (!snapshot) return;
        if (auto* sink = snapshot->sink.get()) sink->copyValue(*snapshot->value);
    }
};

/// The number of the event, with the one listener registered for it.
int eventNumber() {
    static const int number = [] {
        const int made = KrSim::EventIDList::instance().add(KrSimQueuedConnection::kQueuedConnectionEvent);
        KrSim::KrEventDispatcher::registerListener(made, new Listener);  // for the life of the process
        return made;
    }();
    return number;
}

/// A copy of the value; of a proxy, that of the field behind it, which may have another one at delivery.
std::unique_ptr<FieldBase> snapshotOf(const FieldBase& field) {
    if (field.getDataType() == KrData::Types::kProxy) {
        const auto* linked = static_cast<const KrData::Proxy&>(field).getLinkedField();
        return linked != nullptr ? snapshotOf(*linked) : nullptr;
    }
    if (field.getDataType() != KrData::Types::kContainer || field.isFieldArray()) {
        return std::unique_ptr<FieldBase>(field._duplicate());
    }
    auto copy = std::make_unique<KrData::Container>(field.getID());
    for (const auto* child : field.getChildren()) {
        auto value = snapshotOf(*child);
        if (!value) continue;
        value->_setDynamic(true);
        value->setID(child->getID());
        value->_setInternalIdentifier(0);
        if (copy->_addNumberedField(value.get(), copy->end())) static_cast<void>(value.release());
    }
    return copy;
}

}  // namespace

QueuedConnectionFunctor::QueuedConnectionFunctor(const FieldBase& source, FieldBase& sink)
    : ConnectionFunctor(source, sink), _sinkLife(&sink) {}

QueuedConnectionFunctor::~QueuedConnectionFunctor() = default;

void QueuedConnectionFunctor::transfer(const FieldBase&) {
    auto value = snapshotOf(_getSource());
    if (!value) return;
    const auto event = _carry({std::move(value), _sinkLife});
    try {
        // The functor may die in here: the dispatcher delivers at once on its owner's thread.
        KrSim::KrEventDispatcher::sendEventLocally(event);
    } catch (...) {
        // Of a listener, or for want of memory; delivered or not, the value is not left behind.
        _drop(event);
        throw;
    }
}

bool QueuedConnectionFunctor::_isCarrier(const KrSim::KrSimEvent& event) noexcept {
    return event.ID() == KrID::numberFor(KrSimQueuedConnection::kQueuedConnectionEvent) &&
           event.bytes() == sizeof(const void*);
}

QueuedConnectionFunctor::Waiting QueuedConnectionFunctor::_peek(const KrSim::KrSimEvent& event) {
    return _isCarrier(event) ? Snapshots::instance().peek(*event.read<const void*>()) : Waiting{};
}

KrSim::KrSimEvent QueuedConnectionFunctor::_carry(const Waiting& waiting) {
    const int number = eventNumber();
    const void* key = Snapshots::instance().add(std::make_unique<Snapshot>(waiting));
    return KrSim::KrSimEvent(number, sizeof(key), &key);
}

void QueuedConnectionFunctor::_drop(const KrSim::KrSimEvent& event) {
    if (_isCarrier(event)) Snapshots::instance().take(*event.read<const void*>());
}

std::size_t QueuedConnectionFunctor::_getWaitingCount() {
    return Snapshots::instance().count();
}

}  // namespace Kr
