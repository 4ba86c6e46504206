#include "kr/platform/unique_names.h"

#include <charconv>
#include <optional>
#include <string_view>

namespace KrSim::StringUtils {
namespace {

struct NumberedName {
    std::string_view base;
    std::uint64_t number;
};

/// The parts of "Wheel 2", provided that add() could have put them together.
std::optional<NumberedName> splitNumber(std::string_view name) {
    const std::size_t blank = name.rfind(' ');
    if (blank == std::string_view::npos) return std::nullopt;
    const std::string_view digits = name.substr(blank + 1);
    const char* const end = digits.data() + digits.size();
    std::uint64_t number = 0;
    const auto [parsed, error] = std::from_chars(digits.data(), end, number);
    if (error != std::errc() || parsed != end || digits.front() == '0' || number < 2) return std::nullopt;
    return NumberedName{name.substr(0, blank), number};
}

}  // namespace

std::string UniqueNamesCollection::add(const std::string& name) {
    if (_names.insert(name).second) return name;

    Numbers& numbers = _numbers[name];
    while (true) {
        // The lowest number that came back, else a new one; either may be taken by a name that was added as it is.
        const std::uint64_t number =
            numbers.freed.empty() ? numbers.next++ : numbers.freed.extract(numbers.freed.begin()).value();
        std::string numbered = name + ' ' + std::to_string(number);
        if (_names.insert(numbered).second) return numbered;
    }
}

bool UniqueNamesCollection::remove(const std::string& name) {
    if (_names.erase(name) == 0) return false;
    const auto split = splitNumber(name);
    if (!split) return true;
    const auto found = _numbers.find(std::string(split->base));
    if (found == _numbers.end() || split->number >= found->second.next) return true;
    found->second.freed.insert(split->number);
    // All numbers came back: nothing is left to remember.
    if (found->second.freed.size() == found->second.next - 2) _numbers.erase(found);
    return true;
}

void UniqueNamesCollection::clear() noexcept {
    _names.clear();
    _numbers.clear();
}

}  // namespace KrSim::StringUtils
