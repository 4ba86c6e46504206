#include "kr/persistence/archives/internal/document.h"

#include <algorithm>
#include <utility>

#include "kr/persistence/archives/archive_error.h"
#include "kr/persistence/archives/internal/text_codec.h"

namespace KrPersistence::detail {

Document::Document() = default;

std::uint32_t Document::findName(std::string_view name) const {
    const auto found = _numbers.find(std::string(name));
    return found != _numbers.end() ? found->second : kNoName;
}

std::uint32_t Document::intern(std::string_view name) {
    // Objects of one class have the same names in the same order: most names stood behind the last one before.
    if (_lastName < _followers.size()) {
        const std::uint32_t guess = _followers[_lastName];
        if (guess < _names.size() && *_names[guess] == name) return _lastName = guess;
    }
    const bool isEscaped = hasEscapedBytes(name);
    const auto [position, isNew] = _numbers.try_emplace(isEscaped ? unescapeBytes(name) : std::string(name),
                                                        static_cast<std::uint32_t>(_names.size()));
    if (isNew) {
        _names.push_back(&position->first);
        _followers.push_back(kNoName);
    }
    // Others, whose bytes are a name with another form in the document, must not be taken for it.
    if (_lastName < _followers.size() && !hasEscapedBytes(position->first)) _followers[_lastName] = position->second;
    return _lastName = position->second;
}

void Document::dropLast() {
    _blocks.back().pop_back();
    if ((--_size & kBlockMask) == 0) _blocks.pop_back();
}

void Document::breakOff(std::vector<std::uint32_t> open, std::string reason) {
    for (const auto each : open)
        close(each);
    _broken = std::move(open);
    _breakReason = std::move(reason);
}

bool Document::isBroken(std::uint32_t number) const {
    return std::binary_search(_broken.begin(), _broken.end(), number);
}

}  // namespace KrPersistence::detail
