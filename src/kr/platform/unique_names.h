#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "kr/platform/export.h"

namespace KrSim::StringUtils {

/// Set of names that makes every added name unique: "Wheel", "Wheel 2", "Wheel 3".
/// Adding takes the same time for any number of equal names.
/// Thread: one at a time. Ownership: copies the names.
class KR_API UniqueNamesCollection {
public:
    /// Adds the name and returns it; a name that is taken gets a blank and the lowest free number from 2 up. Throws
    /// std::bad_alloc, and the collection is unchanged then.
    std::string add(const std::string& name);
    /// Frees a name; false when the collection does not contain it.
    bool remove(const std::string& name) noexcept;
    [[nodiscard]] bool contains(const std::string& name) const;
    [[nodiscard]] std::size_t size() const noexcept { return _names.size() + _numberedCount; }
    void clear() noexcept;

private:
    /// The numbers of one base name. All below `next` are used, except freed ones and those that are part of a name
    /// that was added unchanged. So a thousand wheels cost no thousand texts.
    struct Numbers {
        std::uint64_t next{2};
        std::set<std::uint64_t> freed;
        std::set<std::uint64_t> passedOver;

        [[nodiscard]] bool hasGivenOut(std::uint64_t number) const {
            return number < next && !freed.contains(number) && !passedOver.contains(number);
        }
    };

    /// The numbers that the last word of this name could be one of, and that number; null when it could be of none.
    template <class Map>
    [[nodiscard]] static auto* _findNumbers(Map& all, const std::string& name, std::uint64_t& number);

    /// Allows searching parts of texts without a copy.
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const noexcept { return std::hash<std::string_view>()(text); }
    };

    std::unordered_set<std::string, Hash, std::equal_to<>> _names;  // added as they are
    std::unordered_map<std::string, Numbers, Hash, std::equal_to<>> _numbers;
    std::size_t _numberedCount{0};
};

}  // namespace KrSim::StringUtils
