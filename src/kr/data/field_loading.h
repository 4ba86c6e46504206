#pragma once

#include "kr/data/container.h"
#include "kr/platform/export.h"

namespace KrData {

/// How fields take over what was saved.
struct FieldLoading {
    /// Also ranges, descriptions, physical dimensions and internal identifiers of fields that are there, which
    /// otherwise stay as they were declared.
    bool withDeclarations{false};
    /// Clones of fields that are not there are as dynamic as what was saved, otherwise they are all dynamic. What lies
    /// below them is as dynamic as it was.
    bool keepsDynamic{false};
    /// Proxies take no links: what they link may have copies that are not there yet.
    bool withoutLinks{false};
};

/// Takes saved fields over into a container, at any depth: values and hidden metadata into the fields of the same
/// identifier, clones of those that are not there, where they stood among their siblings. Several fields with one
/// identifier stay several, each with its own value. Fields that were not saved stay. Observers are notified of values.
/// Thread: the application thread.
KR_API void _loadFields(Container& fields, const Container& saved, FieldLoading how = {});

}  // namespace KrData
