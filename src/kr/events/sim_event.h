#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include "kr/events/event_id.h"
#include "kr/events/fwd.h"
#include "kr/platform/export.h"

namespace KrSim {

namespace detail {
class DoneSignal;
}  // namespace detail

/// One event: a number, a payload of bytes, the process that made it, and a delay.
///
/// Payloads of up to kInlineBytes are stored inside the event, longer ones on the heap. Copies are deep, except that
/// copies of an event with a waiting sender share its done signal.
/// Thread: value. Ownership: value.
class KR_API KrSimEvent {
public:
    static constexpr std::size_t kInlineBytes = 64;

    /// The payload is copied. Without a sender the event is from this process.
    explicit KrSimEvent(int id) noexcept : _id(id) {}
    /// From this process, with a copy of the payload.
    KrSimEvent(int id, const std::vector<std::uint8_t>& data);
    /// \param sender  "host:4711", see sender().
    KrSimEvent(int id, const std::string& sender, const std::vector<std::uint8_t>& data);
    /// Null with a size above zero gives no payload and a warning.
    KrSimEvent(int id, unsigned int size, const void* bytes);
    KrSimEvent(const KrSimEvent& other);
    KrSimEvent(KrSimEvent&& other) noexcept;
    KrSimEvent& operator=(const KrSimEvent& other);
    KrSimEvent& operator=(KrSimEvent&& other) noexcept;
    ~KrSimEvent();

    [[nodiscard]] int ID() const noexcept { return _id; }  ///< The number that listeners are registered for.
    void setID(int id) noexcept { _id = id; }              ///< Changes the number only; the name follows from it.
    /// From the event-id list; empty for a number without a name.
    [[nodiscard]] std::string nameForID() const;

    /// The payload: bytes() bytes, valid until the event changes.
    [[nodiscard]] std::uint8_t* data() noexcept { return _heap ? _heap.get() : _inline.data(); }
    [[nodiscard]] const std::uint8_t* data() const noexcept { return constData(); }
    [[nodiscard]] const std::uint8_t* constData() const noexcept { return _heap ? _heap.get() : _inline.data(); }
    [[nodiscard]] std::size_t bytes() const noexcept { return _size; }  ///< Size of the payload.

    /// The payload as one value; empty when its size differs, which is logged at error level and never thrown.
    template <class T>
    [[nodiscard]] std::optional<T> read() const {
        static_assert(std::is_trivially_copyable_v<T> && std::is_default_constructible_v<T>);
        if (!_hasSizeOf(typeid(T), sizeof(T))) return std::nullopt;
        T value;
        std::memcpy(&value, constData(), sizeof(T));
        return value;
    }

    /// "host:4711", the host name and process id of the process that made the event.
    [[nodiscard]] const std::string& sender() const noexcept { return _sender ? *_sender : me(); }
    /// The name of this process makes isFromMe() true.
    void setSender(const std::string& sender);
    /// The sender name of this process.
    [[nodiscard]] static const std::string& me();
    /// Whether this process made the event.
    [[nodiscard]] bool isFromMe() const noexcept { return !_sender; }

    /// Seconds from sending to delivery; 0 is none. Negative delays end with the next frame, NaN becomes 0.
    [[nodiscard]] double getDelay() const noexcept { return _delaySeconds; }
    /// NaN becomes 0.
    void setDelay(double delaySeconds) noexcept { _delaySeconds = delaySeconds == delaySeconds ? delaySeconds : 0.0; }

    /// Copies of this event share a done signal from now on, which is not raised yet: send this event with any
    /// operation that delivers it in this process, continue, and call waitForDoneSignal() later.
    void expectDoneSignal();
    /// Waits until the done signal of this event is raised, at most for a time in seconds.
    /// \return  true when it was raised; false when the time is over, when all other copies of the event were destroyed
    ///          before, and when no signal is expected. May be called again.
    /// Never call it on the thread that delivers the event: that is a deadlock.
    bool waitForDoneSignal(double timeoutSeconds = std::numeric_limits<double>::infinity());
    /// Whether the done signal is raised as soon as all listeners were called.
    [[nodiscard]] bool isDoneSignalAutomatic() const noexcept;
    /// From now on raiseDoneSignal() releases the sender, or the destruction of the last copy of the event.
    void disableAutomaticDoneSignal() noexcept;
    /// The same from a listener, which keeps a copy of the event to raise the signal later. No effect without a sender.
    void disableAutomaticDoneSignal() const noexcept;
    /// Releases the waiting sender; does nothing when no sender waits. Any thread.
    void raiseDoneSignal() const noexcept;

private:
    friend struct detail::SimEventAccess;

    void _assign(const void* bytes, std::size_t size);
    [[nodiscard]] bool _hasSizeOf(const std::type_info& type, std::size_t size) const;

    std::int32_t _id{0};
    bool _isDoneSignalAutomatic{true};
    bool _ofApplication{false};
    double _delaySeconds{0.0};
    std::size_t _size{0};
    std::unique_ptr<std::uint8_t[]> _heap;       // null while the payload fits inside
    std::shared_ptr<const std::string> _sender;  // null: this process
    std::shared_ptr<detail::DoneSignal> _done;   // null: no sender waits
    std::array<std::uint8_t, kInlineBytes> _inline {};
};

}  // namespace KrSim
