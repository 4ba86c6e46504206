#include "apps/krsim/nearest.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <utility>

namespace krsim {
namespace {

bool isAlike(char left, char right) {
    return std::tolower(static_cast<unsigned char>(left)) == std::tolower(static_cast<unsigned char>(right));
}

}  // namespace

std::size_t getDistance(const std::string& left, const std::string& right) {
    std::vector<std::size_t> row(right.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= left.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i);
        for (std::size_t j = 1; j <= right.size(); ++j) {
            const auto replaced = diagonal + (isAlike(left[i - 1], right[j - 1]) ? 0 : 1);
            diagonal = std::exchange(row[j], std::min({replaced, row[j] + 1, row[j - 1] + 1}));
        }
    }
    return row.back();
}

std::string suggest(const std::string& text, const std::vector<std::string>& choices) {
    const auto nearest = std::min_element(choices.begin(), choices.end(), [&](const auto& left, const auto& right) {
        return getDistance(text, left) < getDistance(text, right);
    });
    constexpr std::size_t kLettersForAFault = 3;
    constexpr std::size_t kTwoExchanged = 2;
    const auto most = std::max(text.size() / kLettersForAFault, kTwoExchanged);
    if (nearest == choices.end() || getDistance(text, *nearest) > most) return {};
    return "; did you mean '" + *nearest + "'?";
}

}  // namespace krsim
