#include "kr/platform/unique_names.h"

#include <new>
#include <optional>
#include <string_view>

#include "kr/platform/text.h"

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
    const auto number = Kr::parseNumber<std::uint64_t>(digits);
    if (!number || digits.front() == '0' || *number < 2) return std::nullopt;
    return NumberedName{name.substr(0, blank), *number};
}

}  // namespace

template <class Map>
auto* UniqueNamesCollection::_findNumbers(Map& all, const std::string& name, std::uint64_t& number) {
    const auto split = all.empty() ? std::nullopt : splitNumber(name);
    const auto found = split ? all.find(split->base) : all.end();
    if (found != all.end()) number = split->number;
    return found != all.end() ? &found->second : nullptr;
}

bool UniqueNamesCollection::contains(const std::string& name) const {
    std::uint64_t number = 0;
    const auto* numbers = _findNumbers(_numbers, name, number);
    return (numbers != nullptr && numbers->hasGivenOut(number)) || _names.contains(name);
}

std::string UniqueNamesCollection::add(const std::string& name) {
    std::uint64_t asked = 0;
    auto* known = _findNumbers(_numbers, name, asked);
    const bool isGivenOut = known != nullptr && known->hasGivenOut(asked);
    if (!isGivenOut) {
        auto answer = name;
        if (_names.insert(name).second) {
            // A freed number that is used again is no longer free.
            if (known != nullptr) known->passedOver.insert(known->freed.extract(asked));
            return answer;
        }
    }

    Numbers& numbers = _numbers[name];
    while (true) {
        // The lowest freed number, else a new one, which may be part of a name that was added unchanged.
        const bool isOld = !numbers.freed.empty();
        std::string numbered = name + ' ' + std::to_string(isOld ? *numbers.freed.begin() : numbers.next);
        if (isOld) {
            numbers.freed.erase(numbers.freed.begin());
            ++_numberedCount;
            return numbered;
        }
        const bool isTaken = _names.contains(numbered);
        if (isTaken) numbers.passedOver.insert(numbers.next);
        ++numbers.next;
        if (isTaken) continue;
        ++_numberedCount;
        return numbered;
    }
}

bool UniqueNamesCollection::remove(const std::string& name) noexcept {
    std::uint64_t number = 0;
    auto* numbers = _findNumbers(_numbers, name, number);
    if (const auto found = _names.find(name); found != _names.end()) {
        _names.erase(found);
        if (numbers != nullptr) numbers->freed.insert(numbers->passedOver.extract(number));
    } else if (numbers != nullptr && numbers->hasGivenOut(number)) {
        try {
            numbers->freed.insert(number);
        } catch (const std::bad_alloc&) {  // the number is not given out again; nothing else is lost
        }
        --_numberedCount;
    } else {
        return false;
    }
    // All numbers were freed: the entry is not needed any more.
    if (numbers != nullptr && numbers->freed.size() == numbers->next - 2) {
        _numbers.erase(_numbers.find(std::string_view(name).substr(0, name.rfind(' '))));
    }
    return true;
}

void UniqueNamesCollection::clear() noexcept {
    _names.clear();
    _numbers.clear();
    _numberedCount = 0;
}

}  // namespace KrSim::StringUtils
