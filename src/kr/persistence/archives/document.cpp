#include "kr/persistence/archives/internal/document.h"

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
    if (_lastName < _followers.size() && !hasEscapedBytes(name)) {
        const std::uint32_t guess = _followers[_lastName];
        if (guess < _names.size() && *_names[guess] == name) return _lastName = guess;
    }
    const auto [position, isNew] = _numbers.try_emplace(hasEscapedBytes(name) ? unescapeBytes(name) : std::string(name),
                                                        static_cast<std::uint32_t>(_names.size()));
    if (isNew) {
        _names.push_back(&position->first);
        _followers.push_back(kNoName);
    }
    if (_lastName < _followers.size()) _followers[_lastName] = position->second;
    return _lastName = position->second;
}

std::uint32_t Document::add(eKind kind, std::uint32_t nameNumber, std::size_t offset, std::size_t length) {
    if ((_size & kBlockMask) == 0) _blocks.push_back(std::make_unique<Node[]>(kBlockMask + 1));
    const auto number = static_cast<std::uint32_t>(_size++);
    node(number) = {_pack(kind, nameNumber), static_cast<std::uint32_t>(offset), static_cast<std::uint32_t>(length),
                    static_cast<std::uint32_t>(_size)};
    return number;
}

}  // namespace KrPersistence::detail
