#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace KrPersistence::detail {

/// Numbers by address and kind: a flat open table, since saving spends most of its time on looking up objects.
class AddressTable {
public:
    struct Entry {
        const void* address{nullptr};
        std::uint32_t number{0};
        std::int16_t kind{0};
        bool isPointer{false};  // for the user of the table
    };

    AddressTable() : _entries(64) {}

    [[nodiscard]] std::uint32_t size() const noexcept { return _size; }

    /// The entry of the address and kind, and whether it is new and got the number. Valid until the next call.
    std::pair<Entry*, bool> add(const void* address, std::int16_t kind, std::uint32_t number) {
        if (2 * (std::size_t{_size} + 1) > _entries.size()) _grow();
        Entry& entry = *_find(_entries, address, kind);
        if (entry.address != nullptr) return {&entry, false};
        entry.address = address;
        entry.number = number;
        entry.kind = kind;
        ++_size;
        return {&entry, true};
    }
    /// Null without an entry.
    [[nodiscard]] const Entry* find(const void* address, std::int16_t kind) {
        const Entry* entry = _find(_entries, address, kind);
        return entry->address != nullptr ? entry : nullptr;
    }

private:
    static Entry* _find(std::vector<Entry>& entries, const void* address, std::int16_t kind) {
        const std::size_t mask = entries.size() - 1;
        std::uint64_t hash = reinterpret_cast<std::uintptr_t>(address) >> 3U;
        hash = (hash ^ (std::uint64_t{static_cast<std::uint16_t>(kind)} << 44U)) * 0x9E3779B97F4A7C15U;
        for (std::size_t at = static_cast<std::size_t>(hash ^ (hash >> 29U)) & mask;; at = (at + 1) & mask) {
            Entry& entry = entries[at];
            if (entry.address == nullptr || (entry.address == address && entry.kind == kind)) return &entry;
        }
    }
    void _grow() {
        std::vector<Entry> larger(2 * _entries.size());
        for (const Entry& entry : _entries)
            if (entry.address != nullptr) *_find(larger, entry.address, entry.kind) = entry;
        _entries.swap(larger);
    }

    std::vector<Entry> _entries;  // a power of two, at most half full
    std::uint32_t _size{0};
};

}  // namespace KrPersistence::detail
