#include "kr/extension/own_parts.h"

#include <array>
#include <cstddef>
#include <iterator>
#include <utility>

#include "kr/data/container.h"
#include "kr/data/stored_path.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/internal/instance_comparison.h"
#include "kr/extension/internal/placed_content.h"
#include "kr/extension/object.h"
#include "kr/extension/object_access.h"

namespace KrSim::detail {

namespace {

using KrData::FieldBase;

std::array<const KrData::Container*, 3> groupsOf(const KrExtension& extension) {
    const auto& fields = extension.getFieldsContainer();
    return {&fields.getInputs(), &fields.getOutputs(), &fields.getParameters()};
}

/// Adds the state of one group: values of outputs, and those that come over connections.
class StateFinder {
public:
    /// \param original  the group of the original; null without one: all state counts then.
    StateFinder(const KrData::Container& group, const KrData::Container* original, KrData::OwnFields& own)
        : _original(original), _isOutput(group.getFieldType() == KrData::Types::kOutput), _own(own) {
        if (original != nullptr) findOwnFields(group, *original, {}, _differences);
        for (const auto* field : group.getChildren())
            _add(*field);
    }

private:
    void _add(const FieldBase& field) {
        constexpr auto kTaken = KrData::kOwnValue | KrData::kOwnField;
        const bool isGroup = field.getDataType() == KrData::Types::kContainer && !field.isFieldArray();
        if (isGroup) {
            for (const auto* child : field.getChildren())
                _add(*child);
        } else if ((_own.getParts(field) & kTaken) == 0 && _isStateOfItsOwn(field)) {
            _own.add(field, KrData::kOwnState);
        }
    }

    [[nodiscard]] bool _isStateOfItsOwn(const FieldBase& field) const {
        if (_original == nullptr) return _isOutput;
        if (field.isFieldArray()) return _isOutput && !_isSameArray(field);
        const auto parts = _differences.getParts(field);
        return (parts & (_isOutput ? KrData::kOwnValue | KrData::kOwnState : KrData::kOwnState)) != 0;
    }

    [[nodiscard]] bool _isSameArray(const FieldBase& field) const {
        const auto path = KrData::_getStoredPath(field);
        const auto dot = path.find('.');  // behind the group
        const auto* original = KrData::_findStoredPath(*_original, path.substr(dot + 1));
        return original != nullptr && field.isEqual(*original);
    }

    const KrData::Container* _original;
    bool _isOutput;
    KrData::OwnFields& _own;
    KrData::OwnFields _differences;
};

void addState(const KrExtension& extension, OwnPart& part) {
    const auto groups = groupsOf(extension);
    for (std::size_t i = 0; i < groups.size(); ++i) {
        const auto* original = part.original != nullptr ? groupsOf(*part.original)[i] : nullptr;
        StateFinder(*groups[i], original, part.own);
    }
    part.record.fields = part.own.toPaths();
}

OwnParts readParts(const KrObject& instance, const InstanceComparison& comparison) {
    OwnParts parts;
    for (const auto* extension : collectTree(instance)) {
        const auto* entry = comparison.find(*extension);
        if (entry == nullptr || ExtensionAccess::isUnknownPlaceholder(*extension)) continue;
        parts.emplace(extension, OwnPart{nullptr, entry->own, OwnRecord::of(*extension)});
    }
    return parts;
}

}  // namespace

OwnParts findOwnParts(const KrObject& instance) {
    const InstanceComparison comparison(instance);
    const auto* definition = instance.getDefinition();
    if (!comparison.hasBase() || definition == nullptr) return readParts(instance, comparison);
    const TreeIndex originals(*definition, TreeIndex::Lost::kLeftOut);
    OwnParts parts;
    for (auto& [extension, record] : comparison.getRecords()) {
        const auto* entry = comparison.find(*extension);
        OwnPart part{originals.findExactly(entry->node->id), entry->own, std::move(record)};
        addState(*extension, part);
        parts.emplace(extension, std::move(part));
    }
    return parts;
}

}  // namespace KrSim::detail
