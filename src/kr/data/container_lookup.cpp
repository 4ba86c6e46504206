// How a container finds its children: by identifier, by path, and by names that they had in earlier releases.

#include <algorithm>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_set>

#include "kr/data/container.h"
#include "kr/data/i_extension_facts.h"
#include "kr/data/internal/field_rare_state.h"
#include "kr/platform/log.h"

namespace KrData {

Container::iterator Container::_findOwn(const Kr::KrID& id) const noexcept {
    return begin() + static_cast<std::ptrdiff_t>(_lookup.find(_children, id));
}

Container::iterator Container::find(const Kr::KrID& id) const noexcept {
    const auto found = _findOwn(id);
    return found != end() ? found : _findDeprecated(id);
}

FieldBase& Container::operator[](const Kr::KrID& id) {
    const auto position = find(id);
    return position != end() ? **position : getInvalidField();
}

const FieldBase& Container::operator[](const Kr::KrID& id) const {
    const auto position = find(id);
    return position != end() ? **position : getInvalidField();
}

FieldBase& Container::operator[](std::size_t index) {
    return index < size() ? *_children[index] : getInvalidField();
}

const FieldBase& Container::operator[](std::size_t index) const {
    return index < size() ? *_children[index] : getInvalidField();
}

namespace {

/// The position in `path` after `text` as the next step after the first `matched` characters; npos when it does not
/// match.
std::size_t matchStep(std::string_view path, std::size_t matched, std::string_view text) {
    if (matched == std::string_view::npos || text.empty()) return matched;
    auto rest = path.substr(matched);
    if (matched != 0) {
        if (!rest.starts_with('.')) return std::string_view::npos;
        rest.remove_prefix(1);
    }
    return rest.starts_with(text) ? path.size() - rest.size() + text.size() : std::string_view::npos;
}

/// How many characters of `path` the path of the container itself covers; npos when it is no prefix.
std::size_t matchContainer(std::string_view path, const Container& container) {
    const auto* parent = container.getParent();
    if (parent != nullptr) return matchStep(path, matchContainer(path, *parent), container.getID().str());
    return container.getOwnerExtension() != nullptr ? 0 : matchStep(path, 0, container.getID().str());
}

}  // namespace

FieldBase* Container::findFieldFromPath(std::string_view path) const {
    const auto matched = path.empty() ? std::string_view::npos : matchContainer(path, *this);
    return matched != std::string_view::npos ? _findBelow(path, matched) : nullptr;
}

FieldBase* Container::_findBelow(std::string_view path, std::size_t matched) const {
    auto* found = _findOwnBelow(path, matched);
    return found != nullptr ? found : _findDeprecatedBelow(path, matched);
}

FieldBase* Container::_findOwnBelow(std::string_view path, std::size_t matched) const {
    detail::ChildLookup::Steps steps;
    const auto begin = matched + static_cast<std::size_t>(matched != 0);  // behind a dot, which _findFrom checks
    if (_lookup.findSteps(_children, path.substr(std::min(begin, path.size())), steps)) {
        for (std::size_t i = 0; i < steps.count; ++i) {
            if (auto* found = _findFrom(*_children[steps.positions[i]], path, matched)) return found;
        }
        return nullptr;
    }
    for (auto* child : _children) {
        if (auto* found = _findFrom(*child, path, matched)) return found;
    }
    return nullptr;
}

FieldBase* Container::_findFrom(FieldBase& child, std::string_view path, std::size_t matched) {
    const auto end = matchStep(path, matched, child.getID().str());
    if (end == std::string_view::npos || end == path.size()) return end == path.size() ? &child : nullptr;
    return child.getDataType() == Types::kContainer ? static_cast<const Container&>(child)._findBelow(path, end)
                                                    : nullptr;
}

// --- Deprecated names ----------------------------------------------------------------------------------------------

namespace {

/// Each text is logged once, however many fields of one type there are.
void logOnce(const std::string& text) {
    static auto& mutex = *new std::mutex;  // guards the texts
    static auto& logged = *new std::unordered_set<std::string>;
    {
        const std::lock_guard lock(mutex);
        if (!logged.insert(text).second) return;
    }
    Kr::logMessage(Kr::eLogLevel::kWarn, "%s", text.c_str());
}

}  // namespace

const detail::DeprecatedName* Container::_findDeclaration(const Kr::KrID& former) const noexcept {
    const auto* rare = _rareIfAny();
    if (rare == nullptr) return nullptr;
    for (const auto& each : rare->deprecatedNames) {
        if (each.former == former) return &each;
    }
    return nullptr;
}

bool Container::addDeprecatedName(const Kr::KrID& former, const Kr::KrID& present) {
    if (former.isEmpty() || present.isEmpty()) return false;
    if (const auto* known = _findDeclaration(former)) return known->present == present;
    // A chain that leads back would never end.
    for (const auto* next = &present; next != nullptr;) {
        if (*next == former) return false;
        const auto* declaration = _findDeclaration(*next);
        next = declaration != nullptr ? &declaration->present : nullptr;
    }
    _rareState().deprecatedNames.emplace_front(former, present);
    return true;
}

Container::iterator Container::_findDeprecated(const Kr::KrID& former) const noexcept {
    for (const auto* next = _findDeclaration(former); next != nullptr; next = _findDeclaration(next->present)) {
        const auto found = _findOwn(next->present);
        if (found == end()) continue;
        _tellDeprecated(former, **found);
        return found;
    }
    return end();
}

void Container::_tellDeprecated(const Kr::KrID& former, const FieldBase& field) const noexcept {
    const auto& declaration = *_findDeclaration(former);
    if (declaration.isTold.exchange(true, std::memory_order_relaxed)) return;
    try {
        const auto type = IExtensionFacts::typeNameOf(getOwnerExtension());
        const auto path = getPath();
        const auto prefix = path.empty() ? path : path + ".";
        logOnce("Container: field '" + prefix + former.str() + "'" + (type.empty() ? "" : " of type '" + type + "'") +
                " is deprecated; use '" + prefix + field.getID().str() + "'.\n");
    } catch (...) {  // a log line for which there is no memory, or whose handler throws, is lost
    }
}

FieldBase* Container::_findDeprecatedBelow(std::string_view path, std::size_t matched) const {
    const auto* rare = _rareIfAny();
    if (rare == nullptr) return nullptr;
    for (const auto& each : rare->deprecatedNames) {
        const auto behind = matchStep(path, matched, each.former.str());
        if (behind == std::string_view::npos || _findOwn(each.former) != end()) continue;
        const auto child = _findDeprecated(each.former);
        if (child == end()) continue;
        if (behind == path.size()) return *child;
        if ((*child)->getDataType() != Types::kContainer) continue;
        if (auto* found = static_cast<const Container*>(*child)->_findBelow(path, behind)) return found;
    }
    return nullptr;
}

}  // namespace KrData
