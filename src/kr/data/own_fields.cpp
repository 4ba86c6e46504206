// Which parts of a tree of fields are its holder's own, and how they are found.

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "kr/data/field_access.h"
#include "kr/data/field_array.h"
#include "kr/data/field_merge.h"
#include "kr/data/internal/child_pairs.h"
#include "kr/data/internal/field_properties.h"
#include "kr/data/stored_path.h"
#include "kr/data/vector_base.h"

namespace KrData {

using detail::ChildPairs;

bool isReferenceField(const FieldBase& field) {
    const auto type = field.getDataType();
    return type == Types::kExtension || type == Types::kProxy ||
           (type == Types::kVector && static_cast<const VectorBase&>(field).getItemDataType() == Types::kExtension);
}

// --- Own fields ----------------------------------------------------------------------------------------------------

void OwnFields::add(const FieldBase& field, std::int32_t parts) {
    if (parts != 0) _parts[&field] |= parts;
}

void OwnFields::addTree(const FieldBase& field, std::int32_t parts) {
    add(field, parts);
    for (const auto* child : field.getChildren())
        addTree(*child, parts);
}

void OwnFields::addRemoval(const Container& parent, std::string step) {
    _removals.emplace(&parent, std::move(step));
}

void OwnFields::addMarked(const FieldBase& field) {
    if (detail::hasMark(field, kMarkedAsOwn) || detail::hasMark(field, kMarkedAsLost)) {
        addTree(field, kOwnValue);
        return;
    }
    for (const auto* child : field.getChildren())
        addMarked(*child);
}

void OwnFields::addPaths(const Container& tree, const Paths& paths) {
    for (const auto& [path, parts] : paths) {
        if ((parts & kOwnRemoval) != 0) {
            const auto dot = path.rfind('.');
            const bool isBelow = dot != std::string::npos;
            const FieldBase* parent = isBelow ? _findStoredPath(tree, path.substr(0, dot)) : &tree;
            if (parent != nullptr && parent->getDataType() == Types::kContainer) {
                addRemoval(static_cast<const Container&>(*parent), isBelow ? path.substr(dot + 1) : path);
            }
        }
        // Where the first of several fields with one identifier was removed, the next one has its path.
        const auto left = parts & ~kOwnRemoval;
        const auto* field = left != 0 ? _findStoredPath(tree, path) : nullptr;
        if (field != nullptr) add(*field, left);
    }
}

std::int32_t OwnFields::getParts(const FieldBase& field) const {
    if (_parts.empty()) return 0;
    const auto found = _parts.find(&field);
    return found != _parts.end() ? found->second : 0;
}

bool OwnFields::hasAny(const FieldBase& field, std::int32_t parts) const {
    if (_parts.empty()) return false;
    if ((getParts(field) & parts) != 0) return true;
    const auto& children = field.getChildren();
    return std::any_of(children.begin(), children.end(), [&](const auto* child) { return hasAny(*child, parts); });
}

bool OwnFields::isRemoved(const Container& parent, const FieldBase& original) const {
    return !_removals.empty() && _removals.count({&parent, _getStoredStep(original)}) != 0;
}

OwnFields::Paths OwnFields::toPaths() const {
    Paths paths;
    for (const auto& [field, parts] : _parts)
        paths[_getStoredPath(*field)] |= parts;
    for (const auto& [parent, step] : _removals) {
        const auto above = _getStoredPath(*parent);
        paths[above.empty() ? step : above + "." + step] |= kOwnRemoval;
    }
    return paths;
}

// --- Comparing -----------------------------------------------------------------------------------------------------

namespace {

/// A mark that the holder set: one that came with a copy is in the base, too.
bool isMarked(const FieldBase& field, const FieldBase& base) {
    if (detail::hasMark(field, kMarkedAsOwn)) return true;
    return detail::hasMark(field, kMarkedInSource) && !detail::hasMark(base, kMarkedInSource) &&
           !detail::hasMark(base, kMarkedAsOwn);
}

class Comparer {
public:
    /// What makes a value own beside its difference.
    enum class Marks { kCount, kIgnored };

    Comparer(const MergeRules& rules, OwnFields& own, Marks marks) : _rules(rules), _own(own), _marks(marks) {}

    void compareTrees(const Container& tree, const Container& base) {
        _own.add(tree, _compareProperties(tree, base));
        _compareChildren(tree, base, detail::FieldAccess::hasIncomingConnections(tree));
    }

private:
    void _compareChildren(const Container& tree, const Container& base, bool isDriven) {
        const auto& children = tree.getChildren();
        ChildPairs pairs(base.getChildren(), children);
        std::unordered_map<const FieldBase*, std::size_t> places;
        const bool isAligned =
            std::equal(children.begin(), children.end(), base.begin(), base.end(),
                       [](const auto* one, const auto* other) { return one->getID() == other->getID(); });
        for (std::size_t i = 0; !isAligned && i < children.size(); ++i)
            places.emplace(children[i], i);
        std::size_t last = 0;
        for (std::size_t i = 0; i < base.size(); ++i) {
            const auto* field = pairs.find(i);
            if (field == nullptr) {
                _own.addRemoval(tree, _getStoredStep(base[i]));
                continue;
            }
            _compareField(*field, base[i], isDriven);
            if (isAligned) continue;
            const auto place = places.extract(field);
            if (place.empty()) continue;
            if (place.mapped() < last) _own.add(tree, kOwnOrder);
            last = std::max(last, place.mapped());
        }
        for (const auto& [added, place] : places)
            _noteAdded(*added);
    }

    void _noteAdded(const FieldBase& field) {
        if (detail::hasMark(field, kMarkedAsLost) || detail::hasMark(field, kMarkedAsOwn)) {
            _own.addTree(field, kOwnValue);
        }
        if (field.isDynamic() && !detail::hasMark(field, kMarkedAsLost)) _own.add(field, kOwnField);
    }

    void _compareField(const FieldBase& field, const FieldBase& base, bool isAboveDriven) {
        const bool isKind = field.getDataType() == base.getDataType() && field.isFieldArray() == base.isFieldArray();
        if (_marks == Marks::kCount && isMarked(field, base)) _own.addTree(field, kOwnValue);
        if (!isKind) {
            if (field.isDynamic()) _own.add(field, detail::hasMark(field, kMarkedAsLost) ? kOwnValue : kOwnField);
            return;
        }
        _own.add(field, _compareProperties(field, base));
        const bool isDriven = isAboveDriven || detail::FieldAccess::hasIncomingConnections(field);
        if (field.getDataType() == Types::kContainer) {
            if (_rules.withValues || !field.isFieldArray()) {
                _compareChildren(static_cast<const Container&>(field), static_cast<const Container&>(base), isDriven);
            }
        } else if (_rules.withValues && !_isSame(field, base)) {
            if (!isDriven || _marks == Marks::kCount) _own.add(field, isDriven ? kOwnState : kOwnValue);
        }
    }

    [[nodiscard]] bool _isSame(const FieldBase& field, const FieldBase& base) const {
        if (isReferenceField(field) && _rules.isSameReference) return _rules.isSameReference(field, base);
        return detail::isValueSame(field, base);
    }

    [[nodiscard]] static std::int32_t _compareProperties(const FieldBase& field, const FieldBase& base) {
        std::int32_t parts = 0;
        if (!detail::isRangeSame(field, base)) parts |= kOwnRange;
        if (field.getDescription() != base.getDescription()) parts |= kOwnDescription;
        if (field.getPhysicalDimension() != base.getPhysicalDimension()) parts |= kOwnDimension;
        if (!detail::isMetadataSame(field, base)) parts |= kOwnMetadata;
        return parts;
    }

    const MergeRules& _rules;
    OwnFields& _own;
    Marks _marks;
};

bool areMarksSame(const FieldBase& field, const FieldBase& other) {
    for (const auto mark : {kMarkedAsOwn, kMarkedInSource}) {
        if (detail::hasMark(field, mark) != detail::hasMark(other, mark)) return false;
    }
    return std::equal(field.getChildren().begin(), field.getChildren().end(), other.getChildren().begin(),
                      other.getChildren().end(),
                      [](const auto* one, const auto* another) { return areMarksSame(*one, *another); });
}

}  // namespace

void findOwnFields(const Container& tree, const Container& base, const MergeRules& rules, OwnFields& own) {
    Comparer(rules, own, Comparer::Marks::kCount).compareTrees(tree, base);
}

bool areSameFields(const Container& first, const Container& second, const MergeRules& rules) {
    OwnFields differences;
    Comparer(rules, differences, Comparer::Marks::kIgnored).compareTrees(first, second);
    return differences.empty() && areMarksSame(first, second);
}

}  // namespace KrData
