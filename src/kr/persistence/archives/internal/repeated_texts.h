#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace KrPersistence::detail {

// A number in a file that refers to a text costs its reader the text each time. To keep memory and time in proportion
// to the file, longer texts are written again after some uses, and readers accept no more than a multiple of the file.
// Files of earlier releases, which contain each text once, stay far below that limit unless they were made to harm.
inline constexpr std::size_t kShortText = 256;  // uses of longer ones are counted
inline constexpr std::uint8_t kMostUses = 16;
inline constexpr std::uint64_t kRepeatedBytesEach = 64;  // for each byte of the file
inline constexpr std::uint64_t kFreeRepeatedBytes = std::uint64_t{16} << 20U;

/// Numbers texts in the order of their first use: a flat open table with all texts in one piece of memory, since a file
/// of objects looks up the same few hundred thousand content IDs again and again.
class RepeatedTexts {
public:
    /// The number of the text, and whether it has to be written.
    std::pair<int, bool> add(std::string_view text) {
        if (2 * (_texts.size() + 1) > _slots.size()) _grow();
        const auto hash = static_cast<std::uint32_t>(std::hash<std::string_view>()(text));
        const std::size_t mask = _slots.size() - 1;
        for (std::size_t at = hash & mask;; at = (at + 1) & mask) {
            Slot& slot = _slots[at];
            if (slot.place == kEmpty) {
                slot = {hash, static_cast<std::int32_t>(_texts.size())};
                _bytes += text;
                _texts.push_back({_bytes.size(), _count, 1});
                return {_count++, true};
            }
            if (slot.hash == hash && _text(slot.place) == text)
                return _use(_texts[static_cast<std::size_t>(slot.place)], text);
        }
    }

private:
    static constexpr std::int32_t kEmpty = -1;

    struct Slot {
        std::uint32_t hash{0};
        std::int32_t place{kEmpty};
    };
    struct Text {
        std::size_t end{0};
        std::int32_t number{0};
        std::uint8_t uses{0};  // of a long text, since it was last written
    };

    std::pair<int, bool> _use(Text& known, std::string_view text) {
        if (text.size() <= kShortText) return {known.number, false};
        if (known.uses++ < kMostUses) return {known.number, false};
        known.uses = 1;
        known.number = _count++;
        return {known.number, true};
    }
    [[nodiscard]] std::string_view _text(std::int32_t at) const {
        const auto place = static_cast<std::size_t>(at);
        const std::size_t begin = place > 0 ? _texts[place - 1].end : 0;
        return std::string_view(_bytes).substr(begin, _texts[place].end - begin);
    }
    void _grow() {
        std::vector<Slot> larger(_slots.empty() ? 64 : 2 * _slots.size());
        const std::size_t mask = larger.size() - 1;
        for (const Slot& slot : _slots) {
            if (slot.place == kEmpty) continue;
            std::size_t at = slot.hash & mask;
            while (larger[at].place != kEmpty)
                at = (at + 1) & mask;
            larger[at] = slot;
        }
        _slots.swap(larger);
    }

    std::vector<Slot> _slots;  // a power of two, at most half full
    std::string _bytes;
    std::vector<Text> _texts;  // by their places in the bytes
    std::int32_t _count{0};
};

}  // namespace KrPersistence::detail
