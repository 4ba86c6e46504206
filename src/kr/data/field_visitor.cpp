#include "kr/data/field_visitor.h"

namespace KrData {

FieldVisitor::~FieldVisitor() = default;
void FieldVisitor::visitContainer(Container&) {}
void FieldVisitor::visitField(FieldBase&) {}

}  // namespace KrData
