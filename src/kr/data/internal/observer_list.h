#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

#include "kr/data/delegate_connection.h"
#include "kr/data/fwd.h"
#include "kr/platform/smart_ptr.h"

namespace KrData::detail {

class NotificationFrame;
class ObserverList;

using ObserverFunction = std::function<void(const FieldBase&)>;

class ObserverEntry final : public DelegateRegistration {
public:
    ObserverEntry(ObserverList& list, ObserverFunction function);
    ~ObserverEntry() override;
    void disconnect() noexcept override;
    [[nodiscard]] bool isConnected() const noexcept override { return _live.load(); }

private:
    friend class ObserverList;
    ObserverList& _list;  // kept alive by this entry
    ObserverFunction _function;
    std::atomic<bool> _live{true};
};

/// The observers of one field: read without a lock on every notification, changed under a mutex.
///
/// Entries stand in a block that only grows at its end; a reader takes the block and its size of that moment. A block
/// that is replaced, and a function that is dropped, waits until no reader is inside. The order of the sequentially
/// consistent operations makes that safe: a reader counts itself in before it loads the block, a writer stores the
/// block (or the entry's death) before it looks at the count. "A block waits" is a bit of the same word as the count,
/// so the last reader cannot leave without seeing it.
///
/// The list outlives its field while a reader or a handle needs it.
class ObserverList {
public:
    /// Called under the mutex, while the field surely lives, when the first observer comes and the last one goes.
    /// Answers the owner that counts the field as a watched output, or null; it is told without the mutex.
    using PresenceChanged = IFieldOwner* (*)(FieldBase& field, bool present);

    ObserverList(FieldBase& field, PresenceChanged changed) noexcept : _field(&field), _changed(changed) {}
    ObserverList(const ObserverList&) = delete;
    ObserverList& operator=(const ObserverList&) = delete;

    [[nodiscard]] DelegateConnection add(ObserverFunction function);
    /// Ends every registration.
    void clear() noexcept;
    /// The same, for a dying field, which lets go of the list.
    void close() noexcept;

    /// The observers of this moment; those that disconnect before their turn are passed over.
    class Reader {
    public:
        explicit Reader(ObserverList* list) noexcept;
        Reader(const Reader&) = delete;
        Reader& operator=(const Reader&) = delete;
        ~Reader();
        void notify(const FieldBase& changed, const NotificationFrame& frame) const;

    private:
        ObserverList* _list;
        const Kr::KrSmartPtr<ObserverEntry>* _entries{nullptr};
        std::uint32_t _size{0};
    };

private:
    friend class ObserverEntry;

    struct Block {
        explicit Block(std::uint32_t room) : entries(new Kr::KrSmartPtr<ObserverEntry>[room]), capacity(room) {}
        std::unique_ptr<Kr::KrSmartPtr<ObserverEntry>[]> entries;
        std::uint32_t capacity;
        std::atomic<std::uint32_t> size{0};
        std::unique_ptr<Block> nextRetired;
    };

    static constexpr std::uint64_t kReader = 1;
    static constexpr std::uint64_t kReaders = 0xffffffff;
    static constexpr std::uint64_t kHolder = std::uint64_t{1} << 32;
    static constexpr std::uint64_t kBlockWaits = std::uint64_t{1} << 63;
    static constexpr std::uint32_t kAlwaysRebuildBelow = 32;

    ~ObserverList() = default;
    void _remove(ObserverEntry& entry) noexcept;
    void _end(bool forGood) noexcept;
    void _releaseHolder() noexcept;
    void _leave() noexcept;
    void _freeRetired() noexcept;
    [[nodiscard]] static std::unique_ptr<Block> _copyLive(const Block& block, std::uint32_t live, std::uint32_t room);
    [[nodiscard]] std::unique_ptr<Block> _replaceBlock(std::unique_ptr<Block> next) noexcept;

    std::atomic<std::uint64_t> _uses{kHolder};  // readers; field and entries as holders; whether a block waits
    std::atomic<const Block*> _published{nullptr};

    std::mutex _mutex;  // guards the members below
    FieldBase* _field;  // null once it is dying
    PresenceChanged _changed;
    std::unique_ptr<Block> _block;
    std::unique_ptr<Block> _retired;
    std::uint32_t _live{0};
};

}  // namespace KrData::detail
