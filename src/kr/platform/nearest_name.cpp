#include "kr/platform/nearest_name.h"

#include <algorithm>
#include <numeric>
#include <utility>
#include <vector>

namespace Kr {

namespace {

char toLower(char each) noexcept {
    return each >= 'A' && each <= 'Z' ? static_cast<char>(each - 'A' + 'a') : each;
}

}  // namespace

std::size_t countEdits(std::string_view left, std::string_view right) {
    std::vector<std::size_t> row(right.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= left.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i);
        for (std::size_t j = 1; j <= right.size(); ++j) {
            const bool isSame = toLower(left[i - 1]) == toLower(right[j - 1]);
            const auto replaced = diagonal + (isSame ? 0 : 1);
            diagonal = std::exchange(row[j], std::min({replaced, row[j] + 1, row[j - 1] + 1}));
        }
    }
    return row.back();
}

std::string suggestName(std::string_view name, std::span<const std::string> known) {
    constexpr std::size_t kLettersForAFault = 3;
    constexpr std::size_t kTwoExchanged = 2;
    const std::string* nearest = nullptr;
    std::size_t fewest = 0;
    for (const auto& each : known) {
        // Texts whose lengths differ by too much are not near; names from files may be of any length.
        const auto [shorter, longer] = std::minmax({name.size(), each.size()});
        const auto allowed = std::max(longer / kLettersForAFault, kTwoExchanged);
        if (longer - shorter > allowed) continue;
        const auto edits = countEdits(name, each);
        if (edits > allowed || edits >= longer || (nearest != nullptr && edits >= fewest)) continue;
        nearest = &each;
        fewest = edits;
    }
    return nearest != nullptr ? "; did you mean '" + *nearest + "'?" : std::string();
}

}  // namespace Kr
