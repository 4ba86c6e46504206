#include "kr/core/connections/queued_connection_functor.h"

#include <memory>
#include <utility>

#include "kr/application/context/context_access.h"
#include "kr/core/connections/internal/queued_copies.h"
#include "kr/core/connections/queued_values.h"
#include "kr/core/connections/sim_queued_connection.h"
#include "kr/data/field_base.h"
#include "kr/events/event_access.h"
#include "kr/events/event_dispatcher.h"
#include "kr/events/event_id_list.h"
#include "kr/events/sim_event.h"
#include "kr/events/sim_event_listener.h"
#include "kr/extension/extension.h"
#include "kr/extension/input_output_container.h"

namespace Kr {

using detail::CopyStore;
using detail::OwnedCopy;
using detail::QueuedCopies;
using KrData::FieldBase;

namespace {

/// A copy that arrives. However that ends, its connection may use it again.
class Delivery {
public:
    explicit Delivery(OwnedCopy copy) noexcept : _copy(std::move(copy)) {}
    Delivery(const Delivery&) = delete;
    Delivery& operator=(const Delivery&) = delete;
    ~Delivery() { CopyStore::finish(std::move(_copy)); }

    /// Null for an unknown payload and a dead sink.
    [[nodiscard]] FieldBase* sink() const noexcept { return _copy ? _copy->sink.get() : nullptr; }
    [[nodiscard]] const FieldBase& value() const noexcept { return *_copy->value; }
    /// It is not delivered here.
    [[nodiscard]] OwnedCopy release() noexcept { return std::move(_copy); }

private:
    OwnedCopy _copy;
};

int eventNumber();

KrSim::KrSimEvent carrierOf(OwnedCopy copy) {
    const int number = eventNumber();
    const void* key = QueuedCopies::send(std::move(copy));
    return KrSim::KrSimEvent(number, sizeof(key), &key);
}

/// Of the application that runs the field; null for none.
KrSim::detail::LocalQueue* queueOf(const FieldBase& field) {
    const auto* extension = field.getOwnerExtension();
    if (extension == nullptr) return nullptr;
    return KrSim::detail::ContextAccess::getEventQueue(extension->getFieldsContainer().getApplicationContext());
}

class Listener final : public KrSim::KrSimEventListener {
public:
    void onSimEvent(const KrSim::KrSimEvent& event) override {
        const auto key = event.read<const void*>();
        if (!key) return;
        Delivery delivery(QueuedCopies::instance().take(*key));
        auto* sink = delivery.sink();
        if (sink == nullptr) return;
        // The application of the sink may run on another thread since the value was sent.
        auto* queue = queueOf(*sink);
        if (KrSim::detail::DispatcherAccess::runsElsewhere(queue)) {
            KrSim::detail::DispatcherAccess::sendValue(carrierOf(delivery.release()), queue, false);
        } else {
            sink->copyValue(delivery.value());
        }
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

}  // namespace

QueuedConnectionFunctor::QueuedConnectionFunctor(const FieldBase& source, FieldBase& sink)
    : ConnectionFunctor(source, sink),
      _sinkLife(&sink),
      _home(getCurrentThreadId()),
      _copies(std::make_shared<CopyStore>(_sinkLife)) {}

QueuedConnectionFunctor::~QueuedConnectionFunctor() {
    _copies->close();
}

void QueuedConnectionFunctor::transfer(const FieldBase&) {
    auto copy = _copies->makeCopy(_getSource());
    if (!copy) return;
    const auto event = carrierOf(std::move(copy));
    try {
        const bool isAtHome = _home == getCurrentThreadId();
        const auto* sink = isAtHome || KrSim::detail::DispatcherAccess::isInFrame() ? _sinkLife.get() : nullptr;
        // The functor may die in here: values of the owner's thread are delivered before the send returns.
        KrSim::detail::DispatcherAccess::sendValue(event, sink != nullptr ? queueOf(*sink) : nullptr, isAtHome);
    } catch (...) {
        // Of a listener, or for want of memory; delivered or not, the value is not left behind.
        detail::dropValue(event);
        throw;
    }
}

namespace detail {

bool isCarrier(const KrSim::KrSimEvent& event) noexcept {
    return event.ID() == KrID::numberFor(KrSimQueuedConnection::kQueuedConnectionEvent) &&
           event.bytes() == sizeof(const void*);
}

QueuedConnectionFunctor::Waiting peekValue(const KrSim::KrSimEvent& event) {
    if (!isCarrier(event)) return {};
    auto [value, sink] = QueuedCopies::instance().peek(*event.read<const void*>());
    return {std::move(value), std::move(sink)};
}

KrSim::KrSimEvent carryValue(const QueuedConnectionFunctor::Waiting& waiting) {
    // It does not change: there is no store that would use the copy again.
    auto copy = QueuedCopies::instance().make(waiting.sink, nullptr);
    copy->value = std::const_pointer_cast<FieldBase>(waiting.value);
    return carrierOf(std::move(copy));
}

void dropValue(const KrSim::KrSimEvent& event) {
    if (isCarrier(event)) CopyStore::finish(QueuedCopies::instance().take(*event.read<const void*>()));
}

std::size_t getWaitingCount() {
    return QueuedCopies::instance().count();
}

}  // namespace detail

}  // namespace Kr
