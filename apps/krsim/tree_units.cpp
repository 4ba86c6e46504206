#include "apps/krsim/tree_units.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "kr/core/physical_dimension.h"
#include "kr/platform/text.h"

namespace krsim {
namespace {

using Dimension = Kr::KrPhysicalDimension;

TreeNode* find(TreeNode& parent, std::string_view name) {
    const auto it = std::find_if(parent.children.begin(), parent.children.end(),
                                 [&](const TreeNode& each) { return each.name == name; });
    return it == parent.children.end() ? nullptr : &*it;
}

Dimension::ePhysicalDimension parseDimension(const std::string& name) {
    for (int i = 1; i < Dimension::kDimensionCount; ++i) {
        const auto dimension = static_cast<Dimension::ePhysicalDimension>(i);
        if (name == Dimension::nameFor(dimension)) return dimension;
    }
    return Dimension::ePhysicalDimension::kNone;
}

/// The display unit of a field, which its hidden fields have.
Dimension::eDimensionHint findHint(TreeNode& field, Dimension::ePhysicalDimension dimension) {
    auto* node = find(field, "Metadata");
    for (const auto* name : {"[PhysicalDimensionDisplayHint]", "Value", "Text"}) {
        if (node != nullptr) node = find(*node, name);
    }
    if (node == nullptr) return Dimension::eDimensionHint::kNone;
    for (const auto& unit : Dimension::getUnits(dimension)) {
        if (node->value == unit.name) return unit.hint;
    }
    return Dimension::eDimensionHint::kNone;
}

void addUnit(TreeNode& field, Kr::eUnitSystem system) {
    const auto* name = find(field, "PhysicalDimension");
    auto* value = find(field, "Value");
    if (name == nullptr || value == nullptr || value->kind != TreeNode::eKind::kValue) return;
    const auto dimension = parseDimension(name->value);
    const auto unit = Kr::chooseUnit(dimension, findHint(field, dimension), system);
    const auto number = Kr::parseNumber<double>(value->value);
    const auto* shown = Dimension::getUnit(unit);
    if (!number || shown == nullptr || *shown->symbol == '\0') return;
    value->value.append(" (").append(Dimension::format(*number, dimension, unit)).append(")");
}

}  // namespace

void addShownUnits(TreeNode& root, Kr::eUnitSystem system) {
    std::vector<TreeNode*> nodes{&root};
    while (!nodes.empty()) {
        TreeNode& node = *nodes.back();
        nodes.pop_back();
        addUnit(node, system);
        for (auto& each : node.children)
            nodes.push_back(&each);
    }
}

}  // namespace krsim
