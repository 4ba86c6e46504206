#pragma once

#include <kr/foundation.h>

#include <string>

namespace Demo {

/// The value as people like to read it: in the unit of the dimension hint, else in the SI unit.
std::string valueText(const KrData::FieldBase& field);

/// Prints a tree of fields, one a line, without knowing any of them: name, value, range, what it is for.
class TreePrinter final : public KrData::FieldVisitor {
public:
    void visitContainer(KrData::Container& container) override;
    void visitField(KrData::FieldBase& field) override;
};

}  // namespace Demo
