#pragma once

#include <vector>

#include "kr/data/container.h"
#include "kr/data/i_copy_map.h"
#include "kr/platform/export.h"

// Steps of copying a tree of extensions that need the whole copied tree. Thread: application.

namespace KrData {

/// The child of `copy` that corresponds to `field` among its siblings; null without one. Fields are paired by
/// identifier, several with one identifier by internal identifier, else in order.
[[nodiscard]] KR_API FieldBase* _findCounterpartIn(const Container& copy, const FieldBase& field);

/// The field below `copy` that corresponds to `field` below its outermost container; null without one.
[[nodiscard]] KR_API FieldBase* _findCounterpart(const FieldBase& field, Container& copy);

/// Sets the values below `copy` to those below `source`, without clamping, transfer or notification. References to
/// copied extensions refer to their copies. `changed` receives the fields whose observers must be notified.
KR_API void _copyValues(Container& copy, const Container& source, const ICopyMap& map,
                        std::vector<FieldBase*>& changed);

/// Sets references below `copy` to originals to the copies, in the same way.
KR_API void _redirectReferences(Container& copy, const ICopyMap& map, std::vector<FieldBase*>& changed);

/// Gives the proxies below `copy` the links of those below `source`: links to copied fields refer to the copies.
KR_API void _copyLinks(Container& copy, const Container& source, const ICopyMap& map);

/// Removes all links from a new copy of a field and from the fields below it.
KR_API void _dropLinks(FieldBase& copy);

}  // namespace KrData
