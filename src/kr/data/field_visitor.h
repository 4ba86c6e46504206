#pragma once

#include "kr/data/fwd.h"
#include "kr/platform/export.h"

namespace KrData {

/// Visits a tree of fields through Container::accept: each container before its children, children in order. A visitor
/// may change values; it must not add, remove or move fields of a container that is being visited.
/// Thread: that of the fields. Ownership: borrowed for the call.
class KR_API FieldVisitor {
public:
    FieldVisitor() = default;
    FieldVisitor(const FieldVisitor&) = delete;
    FieldVisitor& operator=(const FieldVisitor&) = delete;
    virtual ~FieldVisitor();

    virtual void visitContainer(Container& container);
    virtual void visitField(FieldBase& field);  ///< every field that is no container
};

}  // namespace KrData
