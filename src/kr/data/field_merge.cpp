// How a tree of fields follows another one, but for what is its holder's own.

#include "kr/data/field_merge.h"

#include <algorithm>
#include <memory>

#include "kr/data/container_access.h"
#include "kr/data/field_access.h"
#include "kr/data/field_array.h"
#include "kr/data/internal/child_pairs.h"
#include "kr/data/internal/field_properties.h"
#include "kr/data/internal/notification_frame.h"

namespace KrData {

using detail::ChildPairs;
using detail::NotificationFrame;

namespace {

bool isContainer(const FieldBase& field) {
    return field.getDataType() == Types::kContainer;
}

/// What an override shows stays with the source.
void copyOwnValue(FieldBase& field, const FieldBase& source) {
    if (!source.isOverridden() || field.getDataType() != source.getDataType()) {
        field.copyValue(source);
        return;
    }
    withValueType(field.getDataType(), [&]<class T>(std::type_identity<T>) {
        return static_cast<Field<T>&>(field).setValue(static_cast<const Field<T>&>(source).getOwnValue());
    });
}

/// Items of a copy have the identifiers of the items that they were made from.
void alignItems(Container& items, const Container& source) {
    if (items.size() != source.size()) return;
    const NotificationFrame frame(items, source);
    for (std::size_t i = 0; !frame.fieldDied() && !frame.changedDied() && i < items.size() && i < source.size(); ++i)
        items.at(i).setID(source.at(i).getID());
    if (!frame.fieldDied() && !frame.changedDied()) detail::ContainerAccess::takeInternalIdentifiers(items, source);
}

class Follower {
public:
    Follower(const OwnFields& own, const MergeRules& rules) : _own(own), _rules(rules) {}

    std::vector<std::string> follow(Container& tree, const Container& source) {
        const NotificationFrame frame(tree, source);
        _followProperties(tree, source);
        if (!frame.fieldDied() && !frame.changedDied()) {
            _followChildren(tree, source, detail::FieldAccess::hasIncomingConnections(tree));
        }
        return std::move(_lost);
    }

private:
    void _followChildren(Container& fields, const Container& source, bool isDriven) {
        const NotificationFrame frame(fields, source);
        const auto isOver = [&] { return frame.fieldDied() || frame.changedDied(); };
        _drop(fields, source);
        if (isOver()) return;
        ChildPairs pairs(source.getChildren(), fields.getChildren());
        std::size_t place = 0;  // behind the counterpart of the child before
        for (std::size_t i = 0; !isOver() && i < source.size(); ++i) {
            const auto& from = source[i];
            if (auto* field = pairs.find(i)) {
                const bool isNext = place < fields.size() && fields.getChildren()[place] == field;
                place = isNext ? place + 1 : _placeBehind(fields, *field);
                _followField(*field, from, isDriven);
            } else if (!from.isDynamic() || !_own.isRemoved(fields, from)) {
                if (_add(fields, from, place) && !isOver()) {
                    pairs.noteInserted();
                    ++place;
                }
            }
        }
        if (!isOver() && (_own.getParts(fields) & kOwnOrder) == 0) takeOrder(fields, source);
    }

    [[nodiscard]] static std::size_t _placeBehind(const Container& fields, const FieldBase& field) {
        const auto found = std::find(fields.begin(), fields.end(), &field);
        return static_cast<std::size_t>(found - fields.begin()) + (found != fields.end() ? 1 : 0);
    }

    // --- Fields that the source does not have ----------------------------------------------------------------------

    void _drop(Container& fields, const Container& source) {
        ChildPairs pairs(fields.getChildren(), source.getChildren());
        std::vector<FieldReference> gone;
        for (std::size_t i = 0; i < fields.size(); ++i) {
            auto& field = fields[i];
            if (pairs.find(i) != nullptr || !field.isDynamic() || (_own.getParts(field) & kOwnField) != 0) continue;
            if (_own.hasAny(field, kOwnValue)) {
                _keepLost(field);
            } else {
                gone.emplace_back(&field);
            }
        }
        const NotificationFrame frame(fields, source);
        for (const auto& each : gone) {
            auto* field = each.get();
            if (frame.fieldDied() || field == nullptr || field->getParent() != &fields) continue;
            _noteLeaving(*field);
            fields.erase(std::find(fields.begin(), fields.end(), field));
        }
    }

    void _noteLeaving(FieldBase& field) const {
        if (_rules.noteLeaving) _rules.noteLeaving(field);
    }

    void _keepLost(FieldBase& field) {
        _lost.push_back(field.getPath());
        field.setMetadata(kMarkedAsLost, true);
    }

    // --- Fields that only the source has ---------------------------------------------------------------------------

    bool _add(Container& fields, const FieldBase& source, std::size_t place) {
        if (fields.isFieldArray()) return _addItem(static_cast<FieldArrayBase&>(fields), source, place);
        std::unique_ptr<FieldBase> made(detail::FieldAccess::duplicate(source));
        if (!made) return false;
        _settle(*made, source);
        auto* field = made.get();
        const NotificationFrame frame(*field, source);
        const auto at = fields.begin() + static_cast<std::ptrdiff_t>(std::min(place, fields.size()));
        if (!fields._addField(field, at)) return false;
        static_cast<void>(made.release());
        if (!frame.fieldDied() && !frame.changedDied()) _followReferences(*field, source);
        return true;
    }

    /// An array makes its items itself.
    bool _addItem(FieldArrayBase& items, const FieldBase& source, std::size_t place) {
        const NotificationFrame frame(items, source);
        if (!items.resize(items.size() + 1) || frame.changedDied() || items.empty()) return false;
        auto& item = *items.getChildren().back();
        const NotificationFrame itemFrame(item, item);
        item.setID(source.getID());
        if (!itemFrame.fieldDied() && !frame.changedDied()) _followField(item, source, false);
        for (auto i = place + 1; !frame.fieldDied() && i < items.size(); ++i)
            items.moveField(items.end(), items[place].getID());
        return true;
    }

    void _followReferences(FieldBase& made, const FieldBase& source) {
        if (isReferenceField(made) && _rules.followReference) _rules.followReference(made, source);
        const auto& children = made.getChildren();
        for (std::size_t i = 0; i < children.size() && i < source.getChildren().size(); ++i)
            _followReferences(*children[i], *source.getChildren()[i]);
    }

    void _settle(FieldBase& made, const FieldBase& source) const {
        if (_rules.isInner) made.setMetadata(kMarkedAsOwn, false);
        detail::inheritMarks(made, source, _rules.isInner);
        const auto count = std::min(made.getChildren().size(), source.getChildren().size());
        for (std::size_t i = 0; i < count; ++i)
            _settle(*made.getChildren()[i], *source.getChildren()[i]);
    }

    // --- Fields that both have -------------------------------------------------------------------------------------

    void _followField(FieldBase& field, const FieldBase& source, bool isAboveDriven) {
        const auto parts = _own.getParts(field);
        if ((parts & kOwnField) != 0) return;
        const NotificationFrame frame(field, source);
        const bool isKind =
            field.getDataType() == source.getDataType() && field.isFieldArray() == source.isFieldArray();
        if (!isKind) {
            _changeType(field, source);
            return;
        }
        if (detail::hasMark(field, kMarkedAsLost)) field.setMetadata(kMarkedAsLost, false);
        _followProperties(field, source);
        if (frame.fieldDied() || frame.changedDied()) return;
        const bool isDriven = isAboveDriven || detail::FieldAccess::hasIncomingConnections(field);
        if (field.isFieldArray()) {
            _followItems(static_cast<FieldArrayBase&>(field), static_cast<const FieldArrayBase&>(source), isDriven);
        } else if (isContainer(field)) {
            _followChildren(static_cast<Container&>(field), static_cast<const Container&>(source), isDriven);
        } else if ((parts & kOwnValue) == 0 && _takesState(parts, isDriven)) {
            _followValue(field, source);
        }
    }

    /// Whether a value that is not own follows the source, although it may be state.
    [[nodiscard]] bool _takesState(std::int32_t parts, bool isDriven) const {
        const bool isState = (parts & kOwnState) != 0;
        if (_rules.isOwnOnly) return !isState;
        return _rules.withValues && !isDriven && !(_rules.keepsState && isState);
    }

    void _followProperties(FieldBase& field, const FieldBase& source) {
        const NotificationFrame frame(field, source);
        takeProperties(field, source, ~_own.getParts(field));
        if (!frame.fieldDied() && !frame.changedDied()) detail::inheritMarks(field, source, _rules.isInner);
    }

    void _followValue(FieldBase& field, const FieldBase& source) {
        if (isReferenceField(field) && _rules.followReference) {
            _rules.followReference(field, source);
            return;
        }
        detail::FieldAccess::takeBits(field, source);
        if (!detail::isValueSame(field, source)) copyOwnValue(field, source);
    }

    void _followItems(FieldArrayBase& items, const FieldArrayBase& source, bool isDriven) {
        const auto parts = _rules.isOwnOnly ? _own.getParts(items) : 0;
        if (_rules.isOwnOnly ? (parts & kOwnState) != 0 : !_rules.withValues || isDriven) return;
        const bool hasOwn =
            _own.hasAny(items, kOwnValue | kOwnField | kOwnOrder | kOwnState) || _hasRemovals(items, source);
        const NotificationFrame frame(items, source);
        if (!hasOwn) {
            for (auto i = source.size(); i < items.size(); ++i)
                _noteLeaving(items.at(i));
        }
        // As a whole if possible: a fixed number of items prevents an exchange one by one.
        if (!hasOwn && (items.isEqual(source) || items.copyValue(source)) && !frame.fieldDied())
            alignItems(items, source);
        if (!frame.fieldDied() && !frame.changedDied()) _followChildren(items, source, isDriven);
    }

    [[nodiscard]] bool _hasRemovals(const Container& items, const Container& source) const {
        return std::any_of(source.begin(), source.end(),
                           [&](const auto* each) { return _own.isRemoved(items, *each); });
    }

    /// Only fields made at run time change their type; the others keep the one that their code declares.
    void _changeType(FieldBase& field, const FieldBase& source) {
        const bool isOwn = _own.hasAny(field, kOwnValue);
        if (!field.isDynamic()) {
            if (!isOwn && (_rules.withValues || _rules.isOwnOnly)) field.copyValue(source);
            return;
        }
        std::unique_ptr<FieldBase> made(detail::FieldAccess::duplicate(source));
        auto* parent = field.getParent();
        if (!made || parent == nullptr) return;
        if (isOwn && (isContainer(field) || isContainer(source) || !made->copyValue(field))) {
            _keepLost(field);
            return;
        }
        _settle(*made, source);
        const auto index = std::find(parent->begin(), parent->end(), &field) - parent->begin();
        const NotificationFrame frame(*parent, source);
        _noteLeaving(field);
        parent->_removeField(&field);
        const std::unique_ptr<FieldBase> gone(&field);
        if (frame.fieldDied() || frame.changedDied()) return;
        const auto place = std::min<std::size_t>(static_cast<std::size_t>(index), parent->size());
        if (parent->_addField(made.get(), parent->begin() + static_cast<std::ptrdiff_t>(place))) {
            static_cast<void>(made.release());
        }
    }

    const OwnFields& _own;
    const MergeRules& _rules;
    std::vector<std::string> _lost;
};

}  // namespace

std::vector<std::string> followFields(Container& tree, const Container& source, const OwnFields& own,
                                      const MergeRules& rules) {
    return Follower(own, rules).follow(tree, source);
}

void takeOrder(Container& fields, const Container& source) {
    std::unordered_map<const FieldBase*, std::size_t> places;
    std::vector<FieldBase*> ordered;
    ChildPairs pairs(source.getChildren(), fields.getChildren());
    for (std::size_t i = 0; i < source.size(); ++i) {
        if (auto* field = pairs.find(i)) ordered.push_back(field);
    }
    for (std::size_t i = 0; i < fields.size(); ++i)
        places.emplace(&fields[i], i);
    std::vector<std::size_t> taken;
    taken.reserve(ordered.size());
    for (const auto* field : ordered)
        taken.push_back(places.at(field));
    if (std::is_sorted(taken.begin(), taken.end())) return;
    std::sort(taken.begin(), taken.end());
    auto wanted = fields.getChildren();
    for (std::size_t i = 0; i < taken.size(); ++i)
        wanted[taken[i]] = ordered[i];
    for (const auto* field : wanted)
        fields.moveField(fields.end(), field->getID());
}

void takeProperties(FieldBase& field, const FieldBase& source, std::int32_t parts) {
    const NotificationFrame frame(field, source);
    const auto isOver = [&] { return frame.fieldDied() || frame.changedDied(); };
    if ((parts & kOwnDescription) != 0) field.setDescription(source.getDescription());
    if (!isOver() && (parts & kOwnDimension) != 0) field.setPhysicalDimension(source.getPhysicalDimension());
    if (!isOver() && (parts & kOwnRange) != 0 && !detail::isRangeSame(field, source)) detail::takeRange(field, source);
    if (!isOver() && (parts & kOwnMetadata) != 0 && !detail::isMetadataSame(field, source)) {
        detail::takeMetadata(field, source);
    }
}

void settleCopy(Container& tree, const Container& source, bool isInner) {
    ChildPairs pairs(source.getChildren(), tree.getChildren());
    for (std::size_t i = 0; i < source.size(); ++i) {
        auto* field = pairs.find(i);
        if (field == nullptr) continue;
        if (isInner) {
            if (detail::hasMark(*field, kMarkedAsOwn)) field->setMetadata(kMarkedAsOwn, false);
            detail::inheritMarks(*field, source[i], true);
        }
        if (!isContainer(*field) || !isContainer(source[i])) continue;
        auto& below = static_cast<Container&>(*field);
        const auto& sourceBelow = static_cast<const Container&>(source[i]);
        if (below.isFieldArray() && sourceBelow.isFieldArray()) alignItems(below, sourceBelow);
        settleCopy(below, sourceBelow, isInner);
    }
}

}  // namespace KrData
