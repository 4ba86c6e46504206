#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <new>

#include "kr/data/fwd.h"
#include "kr/platform/smart_ptr.h"
#include "kr/signals/delegate_connection.h"

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
/// consistent operations makes that safe: a reader says that it is inside before it loads the block, a writer stores
/// the block (or the entry's death) before it asks who is inside.
///
/// The first reader takes a place of its own, which it leaves with a plain store; nested readers and those of further
/// threads are counted. A reader that leaves at the very moment when another thread replaces the block may miss that
/// a block waits; the next change of the list, or the death of the field, frees it.
///
/// The list lives as long as its field, a handle, or a reader under which the field died.
class ObserverList {
public:
    /// Called when the first observer comes and the last one goes, under the mutex: a dying field waits for it, so the
    /// field and its owner live.
    using PresenceChanged = void (*)(FieldBase& field, bool present);

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
        explicit Reader(ObserverList* list) noexcept : _list(list) {
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
                _list->_leave(_isFirst);  // from here on the list may be gone
            }
        }
        void notify(const FieldBase& changed, const NotificationFrame& frame) const;

    private:
        ObserverList* _list;
        const Kr::KrSmartPtr<ObserverEntry>* _entries{nullptr};
        std::uint32_t _size{0};
        bool _isFirst{false};
    };

private:
    friend class ObserverEntry;

    /// A count and, behind it in the same memory, the entries: a reader follows one pointer to reach them.
    struct Block {
        static std::unique_ptr<Block> make(std::uint32_t room) {
            return std::unique_ptr<Block>(new (room) Block(room));
        }
        ~Block() { std::destroy_n(entries(), capacity); }

        static void* operator new(std::size_t size, std::uint32_t room) {
            return ::operator new(size + room * sizeof(Kr::KrSmartPtr<ObserverEntry>));
        }
        static void operator delete(void* memory) noexcept { ::operator delete(memory); }
        static void operator delete(void* memory, std::uint32_t) noexcept { ::operator delete(memory); }

        [[nodiscard]] Kr::KrSmartPtr<ObserverEntry>* entries() noexcept {
            return reinterpret_cast<Kr::KrSmartPtr<ObserverEntry>*>(this + 1);
        }
        [[nodiscard]] const Kr::KrSmartPtr<ObserverEntry>* entries() const noexcept {
            return reinterpret_cast<const Kr::KrSmartPtr<ObserverEntry>*>(this + 1);
        }

        std::uint32_t capacity;
        std::atomic<std::uint32_t> size{0};
        std::unique_ptr<Block> nextRetired;

    private:
        explicit Block(std::uint32_t room) : capacity(room) { std::uninitialized_default_construct_n(entries(), room); }
    };

    /// What waits until no reader is inside.
    struct Waiting {
        std::unique_ptr<Block> blocks;
        bool fieldLetsGo{false};
    };

    static constexpr std::uint32_t kAlwaysRebuildBelow = 32;

    ~ObserverList() = default;
    void _remove(ObserverEntry& entry) noexcept;
    void _presenceChanged(bool present);
    void _end(bool forGood) noexcept;
    void _hold() noexcept { _holders.fetch_add(1, std::memory_order_relaxed); }
    void _letGo() noexcept;
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
    [[nodiscard]] static std::unique_ptr<Block> _copyLive(const Block& block, std::uint32_t live, std::uint32_t room);
    void _replaceBlock(std::unique_ptr<Block> next) noexcept;

    std::atomic<bool> _firstIsInside{false};
    std::atomic<bool> _somethingWaits{false};  // a replaced block, or the field's hold
    std::atomic<std::uint32_t> _furtherInside{0};
    std::atomic<std::uint32_t> _holders{1};  // the field, and each entry
    std::atomic<const Block*> _published{nullptr};

    std::mutex _mutex;  // guards the members below
    FieldBase* _field;  // null once it is dying
    PresenceChanged _changed;
    std::unique_ptr<Block> _block;
    Waiting _waiting;
    std::uint32_t _live{0};
};

}  // namespace KrData::detail
