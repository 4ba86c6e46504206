#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace KrPersistence::detail {

/// Numbers texts in the order in which they come first: a flat open table with all texts in one piece of memory, since
/// a file of objects finds the same few hundred thousand content IDs again and again.
class RepeatedTexts {
public:
    /// The number of the text, and whether it is new.
    std::pair<int, bool> add(std::string_view text) {
        if (2 * (_ends.size() + 1) > _slots.size()) _grow();
        const auto hash = static_cast<std::uint32_t>(std::hash<std::string_view>()(text));
        const std::size_t mask = _slots.size() - 1;
        for (std::size_t at = hash & mask;; at = (at + 1) & mask) {
            Slot& slot = _slots[at];
            if (slot.number == kEmpty) {
                slot = {hash, static_cast<std::int32_t>(_ends.size())};
                _texts += text;
                _ends.push_back(_texts.size());
                return {slot.number, true};
            }
            if (slot.hash == hash && _text(slot.number) == text) return {slot.number, false};
        }
    }

private:
    static constexpr std::int32_t kEmpty = -1;

    struct Slot {
        std::uint32_t hash{0};
        std::int32_t number{kEmpty};
    };

    [[nodiscard]] std::string_view _text(std::int32_t number) const {
        const auto place = static_cast<std::size_t>(number);
        const std::size_t begin = place > 0 ? _ends[place - 1] : 0;
        return std::string_view(_texts).substr(begin, _ends[place] - begin);
    }
    void _grow() {
        std::vector<Slot> larger(_slots.empty() ? 64 : 2 * _slots.size());
        const std::size_t mask = larger.size() - 1;
        for (const Slot& slot : _slots) {
            if (slot.number == kEmpty) continue;
            std::size_t at = slot.hash & mask;
            while (larger[at].number != kEmpty)
                at = (at + 1) & mask;
            larger[at] = slot;
        }
        _slots.swap(larger);
    }

    std::vector<Slot> _slots;  // a power of two, at most half full
    std::string _texts;
    std::vector<std::size_t> _ends;  // of the texts, by their numbers
};

}  // namespace KrPersistence::detail
