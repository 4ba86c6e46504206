#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>

#include "kr/core/unit_spelling.h"
#include "kr/core/unit_system.h"
#include "kr/platform/text.h"

namespace units_page_test {

using Kr::KrPhysicalDimension;
using Dimension = KrPhysicalDimension::ePhysicalDimension;

std::string inCode(const std::string& text) {
    return text.empty() ? "" : "`" + text + "`";
}

std::string listSpellings(const KrPhysicalDimension::Unit& unit) {
    std::string list = inCode(unit.symbol);
    if (std::string(unit.plainSymbol) != unit.symbol) list += ", " + inCode(unit.plainSymbol);
    for (const auto& alias : Kr::getUnitAliases())
        list += alias.hint == unit.hint ? ", " + inCode(alias.text) : "";
    return list;
}

std::string nameCounterpart(const KrPhysicalDimension::Unit& unit, Kr::eUnitSystem system) {
    const auto* shown =
        KrPhysicalDimension::getUnit(Kr::chooseUnit(KrPhysicalDimension::dimensionOf(unit.hint), unit.hint, system));
    return inCode(shown->symbol);
}

/// A row as the page has it.
std::string describe(const KrPhysicalDimension::Unit& unit) {
    const auto offset = unit.offset > 0.0 ? " + " + Kr::toText(unit.offset) : std::string();
    return std::string("| ") + KrPhysicalDimension::nameFor(KrPhysicalDimension::dimensionOf(unit.hint)) + " | " +
           unit.name + " | " + listSpellings(unit) + " | " + Kr::toText(unit.factor) + offset + " | " +
           nameCounterpart(unit, Kr::eUnitSystem::kSI) + " | " + nameCounterpart(unit, Kr::eUnitSystem::kUSCustomary) +
           " |\n";
}

TEST(PageOfUnits, HasTheTableOfTheCode) {
    std::string table;
    for (int i = 1; i < KrPhysicalDimension::kDimensionCount; ++i) {
        for (const auto& unit : KrPhysicalDimension::getUnits(static_cast<Dimension>(i)))
            table += describe(unit);
    }
    std::ostringstream page;
    page << std::ifstream(KR_UNITS_PAGE).rdbuf();
    EXPECT_NE(page.str().find(table), std::string::npos) << "docs/units.md must have these rows:\n" << table;
}

}  // namespace units_page_test
