#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "kr/data/container.h"
#include "kr/data/field_reference.h"

namespace KrData::detail {

/// The prefix of the relative paths of the fields below a container: its path and a period, or nothing.
[[nodiscard]] std::string pathPrefix(const Container& container);

/// The container to which a difference is applied. Each operation returns whether the entry was applied; the container
/// must be alive when it is called, and may have died afterwards.
class DiffTarget {
public:
    explicit DiffTarget(Container& target) : _target(target), _prefix(pathPrefix(target)) {}

    bool remove(std::string_view path);
    bool add(std::string_view path, const FieldBase& recorded);
    bool modify(std::string_view path, const FieldBase& recorded);

private:
    [[nodiscard]] FieldBase* _find(std::string_view path) const;
    [[nodiscard]] Container* _parentOf(std::string_view path, const FieldBase& recorded);
    [[nodiscard]] FieldBase* _childOf(Container& parent, const Kr::KrID& id) const;
    void _enter(Container& parent, std::string_view path);
    static bool _replace(FieldBase& old, const FieldBase& recorded);

    Container& _target;
    std::string _prefix;
    // The parent of the last field that was added or given a value: entries come parent by parent, and nothing is
    // searched twice. What was noted of its children is noted anew when an observer has changed their number.
    FieldReference _parent;
    std::string _parentPath;
    std::size_t _parentSize{0};
    std::unordered_map<std::int32_t, std::size_t> _places;  // index of the first child with an identifier's number
    std::unordered_set<std::uint32_t> _internalIdentifiers;
};

}  // namespace KrData::detail
