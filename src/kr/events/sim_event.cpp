#include "kr/events/sim_event.h"

#include <utility>

#include "kr/events/event_access.h"
#include "kr/events/event_id_list.h"
#include "kr/events/internal/done_signal.h"
#include "kr/platform/log.h"
#include "kr/platform/process.h"
#include "kr/platform/type_name.h"

namespace KrSim {

KrSimEvent::KrSimEvent(int id, const std::vector<std::uint8_t>& data) : _id(id) {
    _assign(data.data(), data.size());
}

KrSimEvent::KrSimEvent(int id, const std::string& sender, const std::vector<std::uint8_t>& data) : _id(id) {
    setSender(sender);
    _assign(data.data(), data.size());
}

KrSimEvent::KrSimEvent(int id, unsigned int size, const void* bytes) : _id(id) {
    if (bytes != nullptr) {
        _assign(bytes, size);
    } else if (size > 0) {
        Kr::logMessage(Kr::eLogLevel::kWarn, "KrSimEvent: no bytes behind a payload of %u, it stays empty\n", size);
    }
}

KrSimEvent::KrSimEvent(const KrSimEvent& other)
    : _id(other._id),
      _isDoneSignalAutomatic(other._isDoneSignalAutomatic),
      _ofApplication(other._ofApplication),
      _delaySeconds(other._delaySeconds),
      _size(other._size),
      _sender(other._sender),
      _done(other._done),
      _inline(other._inline) {
    if (other._heap) {
        _heap.reset(new std::uint8_t[_size]);
        std::memcpy(_heap.get(), other._heap.get(), _size);
    }
}

KrSimEvent::KrSimEvent(KrSimEvent&& other) noexcept
    : _id(other._id),
      _isDoneSignalAutomatic(other._isDoneSignalAutomatic),
      _ofApplication(other._ofApplication),
      _delaySeconds(other._delaySeconds),
      _size(std::exchange(other._size, 0)),
      _heap(std::move(other._heap)),
      _sender(std::move(other._sender)),
      _done(std::move(other._done)),
      _inline(other._inline) {}

KrSimEvent& KrSimEvent::operator=(const KrSimEvent& other) {
    if (this != &other) *this = KrSimEvent(other);
    return *this;
}

KrSimEvent& KrSimEvent::operator=(KrSimEvent&& other) noexcept {
    if (this == &other) return *this;
    _id = other._id;
    _isDoneSignalAutomatic = other._isDoneSignalAutomatic;
    _ofApplication = other._ofApplication;
    _delaySeconds = other._delaySeconds;
    _size = std::exchange(other._size, 0);
    _heap = std::move(other._heap);
    _sender = std::move(other._sender);
    _done = std::move(other._done);
    _inline = other._inline;
    return *this;
}

KrSimEvent::~KrSimEvent() = default;

void KrSimEvent::_assign(const void* bytes, std::size_t size) {
    if (size > kInlineBytes) _heap.reset(new std::uint8_t[size]);
    _size = size;
    if (size > 0) std::memcpy(data(), bytes, size);
}

std::string KrSimEvent::nameForID() const {
    return EventIDList::instance().getName(_id);
}

bool KrSimEvent::_hasSizeOf(const std::type_info& type, std::size_t size) const {
    if (_size == size) return true;
    Kr::logErrorNoThrow("KrSimEvent: Invalid Type requested (%s) that is %i bytes, but we have %i bytes.\n",
                        Kr::getTypeName(type).c_str(), static_cast<int>(size), static_cast<int>(_size));
    return false;
}

void KrSimEvent::setSender(const std::string& sender) {
    _sender = sender == me() ? nullptr : std::make_shared<const std::string>(sender);
}

const std::string& KrSimEvent::me() {
    return Kr::Process::getHostNameProcessID();
}

bool KrSimEvent::isDoneSignalAutomatic() const noexcept {
    return _done ? _done->isAutomatic.load() : _isDoneSignalAutomatic;
}

void KrSimEvent::disableAutomaticDoneSignal() noexcept {
    _isDoneSignalAutomatic = false;
    std::as_const(*this).disableAutomaticDoneSignal();
}

void KrSimEvent::disableAutomaticDoneSignal() const noexcept {
    if (_done) _done->isAutomatic.store(false);
}

void KrSimEvent::raiseDoneSignal() const noexcept {
    if (_done) _done->raise(detail::DoneSignal::eState::kHandled);
}

void KrSimEvent::expectDoneSignal() {
    const auto signal = std::make_shared<detail::DoneSignal>(_isDoneSignalAutomatic);
    // Copies share the ticket, through which they reach the signal.
    _done = std::shared_ptr<detail::DoneSignal>(std::make_shared<detail::DoneTicket>(signal), signal.get());
}

bool KrSimEvent::waitForDoneSignal(double timeoutSeconds) {
    if (!_done) return false;
    _done = _done->shared_from_this();  // without the ticket: this copy does not count among those that may raise it
    return _done->waitFor(timeoutSeconds) == detail::DoneSignal::eState::kHandled;
}

bool detail::SimEventAccess::isDonePending(const KrSimEvent& event) {
    return event._done && event._done->waitFor(0.0) == DoneSignal::eState::kPending;
}

}  // namespace KrSim
