#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <utility>

#include "kr/platform/export.h"
#include "kr/platform/smart_ptr.h"
#include "kr/signals/delegate_connection.h"

namespace Kr {

/// The registrations of one source: read without a lock and without an allocation on every notification, changed under
/// a mutex. CallbackList below is the version for functions.
///
/// Entries are in a block that only grows at its end; a reader takes the block and its current size. A replaced block,
/// and a dropped function, is freed when no reader is inside. The order of the sequentially consistent operations makes
/// that safe: a reader registers before it loads the block, a writer stores the block (or the entry's death) before it
/// counts the readers.
///
/// The first reader takes a place of its own, which it leaves with a plain store; nested readers and those of further
/// threads are counted. A reader that leaves at the very moment when another thread replaces the block may not notice
/// the waiting block; the next change of the list, or the death of the source, frees it.
///
/// Thread: any. Ownership: on the heap, shared by its source, the handles, and a reader during which the source died.
class KR_API SnapshotList {
public:
    class Entry;
    class Reader;

    /// Called under the mutex when the first registration begins and the last one ends; a dying source waits for it.
    using PresenceChanged = void (*)(void* source, bool present);

    SnapshotList(const SnapshotList&) = delete;
    SnapshotList& operator=(const SnapshotList&) = delete;

    [[nodiscard]] bool isEmpty() const noexcept { return _published.load() == nullptr; }
    /// Ends every registration.
    void clear() noexcept;
    /// The same for a source that dies.
    void close() noexcept;

protected:
    SnapshotList(void* source, PresenceChanged changed) noexcept : _source(source), _changed(changed) {}
    virtual ~SnapshotList();

    void _add(KrSmartPtr<Entry> entry);

private:
    /// A count and, behind it in the same memory, the entries: a reader follows one pointer to them. The list holds
    /// each entry of the current block once; what leaves that block waits.
    struct Block {
        static std::unique_ptr<Block> make(std::uint32_t room) {
            return std::unique_ptr<Block>(new (room) Block(room));
        }

        static void* operator new(std::size_t size, std::uint32_t room) {
            return ::operator new(size + room * sizeof(Entry*));  // NOLINT(bugprone-sizeof-expression)
        }
        static void operator delete(void* memory) noexcept { ::operator delete(memory); }
        static void operator delete(void* memory, std::uint32_t) noexcept { ::operator delete(memory); }

        [[nodiscard]] Entry** entries() noexcept { return reinterpret_cast<Entry**>(this + 1); }
        [[nodiscard]] Entry* const* entries() const noexcept { return reinterpret_cast<Entry* const*>(this + 1); }

        std::uint32_t capacity;
        std::atomic<std::uint32_t> size{0};
        std::unique_ptr<Block> nextRetired;

    private:
        explicit Block(std::uint32_t room) : capacity(room) {}
    };

    /// Memory that is freed when no reader is inside.
    struct Waiting {
        std::unique_ptr<Block> blocks;
        Entry* ended{nullptr};  // the first of a chain
        bool sourceLeaves{false};
    };

    static constexpr std::uint32_t kAlwaysRebuildBelow = 32;

    void _remove(Entry& entry) noexcept;
    void _presenceChanged(bool present);
    void _end(bool forGood) noexcept;
    void _hold() noexcept { _holders.fetch_add(1, std::memory_order_relaxed); }
    void _release() noexcept;
    void _leave(bool isFirst) noexcept {
        if (isFirst) {
            _firstIsInside.store(false, std::memory_order_release);
        } else {
            _furtherInside.fetch_sub(1);
        }
    }
    void _leaveAndCollect(bool isFirst) noexcept;
    void _collect() noexcept;
    [[nodiscard]] Waiting _takeWaiting() noexcept;
    void _free(Waiting waiting) noexcept;
    [[nodiscard]] bool _isReaderInside() const noexcept { return _firstIsInside.load() || _furtherInside.load() != 0; }
    void _rebuild(std::uint32_t room);
    void _tryRebuild() noexcept;
    void _replaceBlock(std::unique_ptr<Block> next) noexcept;

    std::atomic<bool> _firstIsInside{false};
    std::atomic<bool> _somethingWaits{false};  // a replaced block, or the source's hold
    std::atomic<std::uint32_t> _furtherInside{0};
    std::atomic<std::uint32_t> _holders{1};  // the source, and each entry
    std::atomic<const Block*> _published{nullptr};

    std::mutex _mutex;  // guards the members below
    void* _source;      // null when it has begun to die
    PresenceChanged _changed;
    std::unique_ptr<Block> _block;
    Waiting _waiting;
    std::uint32_t _live{0};
    bool _hasEnded{false};  // an entry ended during a delivery and is still in the block
};

/// One registration. Keeps its list alive.
/// Thread: any. Ownership: shared by the list and its handle.
class KR_API SnapshotList::Entry : public KrData::detail::DelegateRegistration {
public:
    explicit Entry(SnapshotList& list) noexcept;
    ~Entry() override;
    void disconnect() noexcept final;
    [[nodiscard]] bool isConnected() const noexcept final { return _live.load(); }

private:
    friend class SnapshotList;
    /// Called when the registration has ended and no reader is inside; the entry may live on in its handle.
    virtual void _dropFunction() noexcept {}

    SnapshotList& _list;
    Entry* _nextEnded{nullptr};  // in the one chain that it is ever in
    std::atomic<bool> _live{true};
    bool _isDropped{false};  // its function, by the thread that ended it; written under the mutex
};

/// The registrations of one moment, without those that end before their turn. On the stack.
class SnapshotList::Reader {
public:
    /// Null is an empty list.
    explicit Reader(SnapshotList* list) noexcept : _list(list) {
        if (_list == nullptr) return;
        _isFirst = !_list->_firstIsInside.exchange(true);
        if (!_isFirst) _list->_furtherInside.fetch_add(1);
        if (const auto* block = _list->_published.load()) {
            _size = block->size.load(std::memory_order_acquire);
            _entries = block->entries();
        }
    }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;
    ~Reader() {
        if (_list == nullptr) return;
        if (_list->_somethingWaits.load(std::memory_order_relaxed)) [[unlikely]] {
            _list->_leaveAndCollect(_isFirst);
        } else {
            _list->_leave(_isFirst);  // the list may be dead from here on
        }
    }

    [[nodiscard]] std::uint32_t size() const noexcept { return _size; }
    /// Null when the registration has ended.
    [[nodiscard]] Entry* operator[](std::uint32_t index) const noexcept {
        auto* entry = _entries[index];
        return entry->_live.load() ? entry : nullptr;
    }
    /// Also an ended one; may omit earlier ended ones.
    [[nodiscard]] const Entry& at(std::uint32_t index) const noexcept { return *_entries[index]; }

private:
    SnapshotList* _list;
    Entry* const* _entries{nullptr};
    std::uint32_t _size{0};
    bool _isFirst{false};
};

/// Functions that are called with `Arguments`.
template <class... Arguments>
class CallbackList final : public SnapshotList {
public:
    using Function = std::function<void(Arguments...)>;

    explicit CallbackList(void* source = nullptr, PresenceChanged changed = nullptr) noexcept
        : SnapshotList(source, changed) {}

    [[nodiscard]] KrData::DelegateConnection add(Function function) {
        KrSmartPtr<Entry> entry(new Callback(*this, std::move(function)));
        _add(entry);
        return KrData::DelegateConnection(std::move(entry));
    }

    /// The functions of one moment. They are called through the guard of the caller.
    class Reader : public SnapshotList::Reader {
    public:
        explicit Reader(CallbackList* list) noexcept : SnapshotList::Reader(list) {}
        /// Null when the registration has ended.
        [[nodiscard]] const Function* operator[](std::uint32_t index) const noexcept {
            auto* entry = static_cast<const Callback*>(SnapshotList::Reader::operator[](index));
            return entry != nullptr ? &entry->function : nullptr;
        }
    };

private:
    struct Callback final : Entry {
        Callback(CallbackList& list, Function itsFunction) : Entry(list), function(std::move(itsFunction)) {}
        void _dropFunction() noexcept override { function = nullptr; }
        Function function;
    };
};

}  // namespace Kr
