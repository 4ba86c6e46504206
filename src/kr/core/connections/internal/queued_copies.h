#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <unordered_set>

#include "kr/data/field_reference.h"
#include "kr/data/fwd.h"

namespace Kr::detail {

class CopyStore;

/// A copy of a value for a sink. While it is on its way, its address is the payload of its event.
struct QueuedCopy {
    std::shared_ptr<KrData::FieldBase> value{};
    KrData::FieldReference sink{};
    std::shared_ptr<CopyStore> store{};   // takes the copy back; null: it is destroyed after delivery
    bool isShared{false};                 // a simulation state has the value, too, so it must not change
    std::atomic<bool> isUnderWay{false};  // the event has it
    QueuedCopy* next{nullptr};            // in the list of its store
};

/// Destroys a copy, and forgets its address first.
struct DestroyCopy {
    void operator()(QueuedCopy* copy) const noexcept;
};
using OwnedCopy = std::unique_ptr<QueuedCopy, DestroyCopy>;

/// All copies of this process, so that none is lost with its event, and no address is used that this process did not
/// send. A copy is owned by its event while it is on its way, and this destroys what is left of those at the end.
///
/// Thread: any. Never destroyed: events may be delivered until the very end of the process.
class QueuedCopies {
public:
    static QueuedCopies& instance();

    /// Throws std::bad_alloc.
    [[nodiscard]] OwnedCopy make(KrData::FieldReference sink, std::shared_ptr<CopyStore> store);
    void forget(const QueuedCopy& copy) noexcept;
    /// Returns the payload for one event.
    [[nodiscard]] static const void* send(OwnedCopy copy) noexcept;
    /// Null when the payload belongs to no copy in progress.
    [[nodiscard]] OwnedCopy take(const void* payload) noexcept;

    struct Peeked {
        std::shared_ptr<KrData::FieldBase> value{};
        KrData::FieldReference sink{};
    };
    /// What the copy has, which stays in progress; empty for an unknown payload. The value does not change any more.
    [[nodiscard]] Peeked peek(const void* payload);
    [[nodiscard]] std::size_t count();

private:
    void _free();

    std::mutex _mutex;  // guards the set
    std::unordered_set<const void*> _all;
};

/// The delivered copies of one connection, which its next transfers use again, so that a steady frame allocates
/// nothing. It keeps as many as were in progress at the same time.
///
/// Thread: any, with one sender at a time. Shared by the connection and its copies, until it is closed.
class CopyStore : public std::enable_shared_from_this<CopyStore> {
public:
    explicit CopyStore(KrData::FieldReference sink) : _sink(std::move(sink)) {}
    CopyStore(const CopyStore&) = delete;
    CopyStore& operator=(const CopyStore&) = delete;
    ~CopyStore() = default;

    /// A copy of the value for the sink; null for a proxy without a value. For the sender.
    [[nodiscard]] OwnedCopy makeCopy(const KrData::FieldBase& source);
    /// For a copy that was delivered or never will be: its store takes it back, or it is destroyed.
    static void finish(OwnedCopy copy) noexcept;
    /// The connection ends: copies are destroyed from now on. For the sender.
    void close() noexcept;

private:
    [[nodiscard]] OwnedCopy _takeSpare() noexcept;

    const KrData::FieldReference _sink;
    QueuedCopy* _spares{nullptr};                 // of the sender
    std::atomic<QueuedCopy*> _returned{nullptr};  // a list, too, which the sender takes over as a whole
};

}  // namespace Kr::detail
