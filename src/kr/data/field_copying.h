#pragma once

#include <vector>

#include "kr/data/container.h"
#include "kr/data/i_copy_map.h"
#include "kr/platform/export.h"

// The parts of copying a tree of extensions that need to know all that was copied. Thread: the application thread.

namespace KrData {

/// The child of `copy` that stands for `field` among its siblings; null when there is none. Fields are paired by
/// identifier, several with one identifier by internal identifier, else in order.
[[nodiscard]] KR_API FieldBase* _findCounterpartIn(const Container& copy, const FieldBase& field);

/// The field below `copy` that stands where `field` stands below its outermost container; null when there is none.
[[nodiscard]] KR_API FieldBase* _findCounterpart(const FieldBase& field, Container& copy);

/// Sets the values below `copy` to those below `source` as they are, without clamping, transfer or notification.
/// References to extensions lead to their copies. `changed` gets the fields whose observers are to be notified.
KR_API void _copyValues(Container& copy, const Container& source, const ICopyMap& map,
                        std::vector<FieldBase*>& changed);

/// Sets references below `copy` that lead to originals to their copies, in the same way.
KR_API void _redirectReferences(Container& copy, const ICopyMap& map, std::vector<FieldBase*>& changed);

/// Gives the proxies below `copy` the links of those below `source`: links to what was copied lead to the copies.
KR_API void _copyLinks(Container& copy, const Container& source, const ICopyMap& map);

/// Takes all links from a new copy of a field and from what lies below it.
KR_API void _dropLinks(FieldBase& copy);

}  // namespace KrData
