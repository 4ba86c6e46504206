#include "kr/data/stored_path.h"

#include <algorithm>
#include <unordered_map>
#include <vector>

#include "kr/data/field_access.h"

namespace KrData {

namespace {

/// An identifier that reads as one with a number gets a number itself.
bool looksNumbered(std::string_view text) {
    return text.ends_with('}');
}

/// Number of earlier siblings with this identifier.
std::size_t countUpTo(const Container& container, const Kr::KrID& id, Container::iterator end) {
    return static_cast<std::size_t>(
        std::count_if(container.begin(), end, [&](const FieldBase* each) { return each->getID() == id; }));
}

std::size_t rankOf(const FieldBase& field) {
    const auto* parent = field.getParent();
    if (parent == nullptr || *parent->find(field.getID()) == &field) return 0;
    return countUpTo(*parent, field.getID(), std::find(parent->begin(), parent->end(), &field));
}

/// What follows `step` in the path; no value where the path begins with something else.
bool takeStep(std::string_view& path, std::string_view step) {
    if (!path.starts_with(step)) return false;
    const auto rest = path.substr(step.size());
    if (!rest.empty() && rest.front() != '.') return false;
    path = rest.empty() ? rest : rest.substr(1);
    return true;
}

FieldBase* findBelow(const Container& container, std::string_view path);

FieldBase* findFrom(FieldBase& child, std::string_view path, std::string_view step) {
    if (!takeStep(path, step)) return nullptr;
    if (path.empty()) return &child;
    return child.getDataType() == Types::kContainer ? findBelow(static_cast<const Container&>(child), path) : nullptr;
}

FieldBase* findBelow(const Container& container, std::string_view path) {
    std::unordered_map<std::int32_t, std::size_t> ranks;
    for (auto* child : container) {
        const auto rank = ranks[child->getID().getNumber()]++;
        const auto numbered = child->getID().str() + "{" + std::to_string(rank + 1) + "}";
        if (auto* found = findFrom(*child, path, numbered)) return found;
    }
    for (auto* child : container) {
        if (auto* found = findFrom(*child, path, child->getID().str())) return found;
    }
    return nullptr;
}

}  // namespace

std::string _getStoredStep(const Kr::KrID& id, std::size_t rank) {
    if (rank == 0 && !looksNumbered(id.str())) return id.str();
    return id.str() + "{" + std::to_string(rank + 1) + "}";
}

std::string _getStoredStep(const FieldBase& field) {
    return _getStoredStep(field.getID(), rankOf(field));
}

std::string _getNextStoredStep(const Container& container, const Kr::KrID& id) {
    const bool isFirst = container.find(id) == container.end();
    return _getStoredStep(id, isFirst ? 0 : countUpTo(container, id, container.end()));
}

std::string _getStoredPath(const FieldBase& field) {
    std::vector<std::size_t> ranks;
    bool isPlain = true;
    for (const auto* each = &field; each != nullptr; each = detail::FieldAccess::getHolder(*each)) {
        ranks.push_back(rankOf(*each));
        isPlain = isPlain && ranks.back() == 0 && !looksNumbered(each->getID().str());
    }
    if (isPlain) return field.getPath();
    std::string path;
    std::size_t depth = 0;
    for (const auto* each = &field; each != nullptr; each = detail::FieldAccess::getHolder(*each)) {
        const bool isTopOfOwner =
            detail::FieldAccess::getHolder(*each) == nullptr && each->getOwnerExtension() != nullptr;
        const auto step = isTopOfOwner ? std::string() : _getStoredStep(each->getID(), ranks[depth]);
        ++depth;
        if (!step.empty()) path = path.empty() ? step : step + "." + path;
    }
    return path;
}

FieldBase* _findStoredPath(const Container& top, std::string_view path) {
    if (path.find('}') == std::string_view::npos) return top.findFieldFromPath(path);
    auto rest = path;
    const bool isNamed = top.getParent() == nullptr && top.getOwnerExtension() == nullptr && !top.getID().str().empty();
    if (isNamed && !takeStep(rest, _getStoredStep(top.getID(), 0))) return top.findFieldFromPath(path);
    auto* found = findBelow(top, rest);
    return found != nullptr ? found : top.findFieldFromPath(path);
}

}  // namespace KrData
