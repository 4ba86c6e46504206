#pragma once

#include "kr/data/container.h"
#include "kr/platform/export.h"

namespace KrData {

/// Options for loading saved fields.
struct FieldLoading {
    /// Also applies ranges, descriptions, physical dimensions and internal identifiers to existing fields, which
    /// otherwise keep those declared.
    bool withDeclarations{false};
    /// Clones of missing fields are dynamic only if the saved field was; otherwise they are all dynamic. Fields below
    /// them are always as dynamic as saved.
    bool keepsDynamic{false};
    /// Proxies get no links: the copies of linked fields may not exist yet.
    bool withoutLinks{false};
};

/// Loads saved fields into a container, at any depth: values and hidden metadata into the fields of the same
/// identifier, clones of missing fields at their position among their siblings. Several fields with one identifier
/// remain several, each with its own value. Fields that were not saved are unchanged. Observers are notified of values.
/// Thread: application.
KR_API void _loadFields(Container& fields, const Container& saved, FieldLoading how = {});

}  // namespace KrData
