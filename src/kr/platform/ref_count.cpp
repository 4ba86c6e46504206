#include "kr/platform/ref_count.h"

namespace Kr {
namespace {

// A state is the count of holders times four, plus two when marked as being destroyed. Bit 0 is free to tell a state
// from the address of a control block.
constexpr std::int64_t kMarked = 2;
constexpr std::int64_t kOneHolder = 4;
// The destructor may form and drop holders of its own object; far below zero they never reach the last release again.
constexpr std::int64_t kDestroyed = -(std::int64_t{1} << 40) * kOneHolder + kMarked;

constexpr bool isPromotable(std::int64_t state) noexcept {
    return state >= kOneHolder && (state & kMarked) == 0;
}

constexpr bool hasBlock(std::int64_t word) noexcept {
    return (word & 1) != 0;
}

KrRefCount::WeakBlock* toBlock(std::int64_t word) noexcept {
    return reinterpret_cast<KrRefCount::WeakBlock*>(static_cast<std::intptr_t>(word - 1));
}

std::int64_t toWord(const KrRefCount::WeakBlock* block) noexcept {
    return static_cast<std::int64_t>(reinterpret_cast<std::intptr_t>(block)) + 1;
}

}  // namespace

KrRefCount::~KrRefCount() {
    const std::int64_t word = _word.load(std::memory_order_acquire);
    if (!hasBlock(word)) return;
    WeakBlock* block = toBlock(word);
    block->_state.store(kDestroyed, std::memory_order_release);
    block->_releaseWeak();
}

std::int32_t KrRefCount::getRefCount() const noexcept {
    // Loaded once: a weak reference made meanwhile would put the address of its block where the state was.
    const std::int64_t word = _word.load(std::memory_order_acquire);
    const std::int64_t state = hasBlock(word) ? toBlock(word)->_state.load(std::memory_order_acquire) : word;
    return state < 0 ? -1 : static_cast<std::int32_t>(state / kOneHolder);
}

bool KrRefCount::_isBeingDestroyed() const noexcept {
    const std::int64_t word = _word.load(std::memory_order_acquire);
    return hasBlock(word) ? toBlock(word)->_isExpired() : !isPromotable(word);
}

void KrRefCount::_markBeingDestroyed() noexcept {
    std::int64_t word = _word.load(std::memory_order_acquire);
    while (!hasBlock(word)) {
        if (_word.compare_exchange_weak(word, word | kMarked, std::memory_order_acq_rel, std::memory_order_acquire)) {
            return;
        }
    }
    toBlock(word)->_state.fetch_or(kMarked, std::memory_order_acq_rel);
}

void KrRefCount::_addRef() const noexcept {
    std::int64_t word = _word.load(std::memory_order_acquire);
    while (!hasBlock(word)) {
        if (_word.compare_exchange_weak(word, word + kOneHolder, std::memory_order_acquire)) {
            return;
        }
    }
    toBlock(word)->_state.fetch_add(kOneHolder, std::memory_order_relaxed);
}

void KrRefCount::_release() const noexcept {
    // Acquire and release: all that other holders did happens before the destructor.
    std::int64_t before = _word.load(std::memory_order_acquire);
    while (!hasBlock(before)) {
        if (_word.compare_exchange_weak(before, before - kOneHolder, std::memory_order_acq_rel,
                                        std::memory_order_acquire)) {
            break;
        }
    }
    if (hasBlock(before)) before = toBlock(before)->_state.fetch_sub(kOneHolder, std::memory_order_acq_rel);

    const bool wasLast = before >= kOneHolder && before < 2 * kOneHolder;
    if (!wasLast) return;
    _state().store(kDestroyed, std::memory_order_relaxed);
    delete this;
}

void KrRefCount::_releaseAlive() const noexcept {
    std::int64_t word = _word.load(std::memory_order_acquire);
    while (!hasBlock(word)) {
        if (_word.compare_exchange_weak(word, word - kOneHolder, std::memory_order_acq_rel,
                                        std::memory_order_acquire)) {
            return;
        }
    }
    toBlock(word)->_state.fetch_sub(kOneHolder, std::memory_order_acq_rel);
}

KrRefCount::WeakBlock* KrRefCount::_acquireWeakBlock() const {
    std::int64_t word = _word.load(std::memory_order_acquire);
    if (!hasBlock(word)) {
        auto* made = new WeakBlock(word);
        while (!_word.compare_exchange_weak(word, toWord(made), std::memory_order_acq_rel, std::memory_order_acquire)) {
            if (hasBlock(word)) break;  // another thread was first
            made->_state.store(word, std::memory_order_relaxed);
        }
        if (hasBlock(word)) {
            delete made;
        } else {
            word = toWord(made);
        }
    }
    WeakBlock* block = toBlock(word);
    block->_addWeak();
    return block;
}

std::atomic<std::int64_t>& KrRefCount::_state() const noexcept {
    const std::int64_t word = _word.load(std::memory_order_acquire);
    return hasBlock(word) ? toBlock(word)->_state : _word;
}

void KrRefCount::WeakBlock::_addWeak() noexcept {
    _weakCount.fetch_add(1, std::memory_order_relaxed);
}

void KrRefCount::WeakBlock::_releaseWeak() noexcept {
    if (_weakCount.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

bool KrRefCount::WeakBlock::_tryAddRef() noexcept {
    std::int64_t state = _state.load(std::memory_order_acquire);
    while (isPromotable(state)) {
        if (_state.compare_exchange_weak(state, state + kOneHolder, std::memory_order_acquire)) return true;
    }
    return false;
}

bool KrRefCount::WeakBlock::_isExpired() const noexcept {
    return !isPromotable(_state.load(std::memory_order_acquire));
}

}  // namespace Kr
