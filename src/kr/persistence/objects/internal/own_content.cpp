#include "kr/persistence/objects/internal/own_content.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "kr/core/connection_access.h"
#include "kr/core/connection_base.h"
#include "kr/data/container.h"
#include "kr/data/field_access.h"
#include "kr/data/field_internal.h"
#include "kr/data/stored_path.h"
#include "kr/extension/extension.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/object.h"
#include "kr/extension/object_access.h"
#include "kr/extension/waiting_connection.h"
#include "kr/persistence/objects/internal/content_access.h"
#include "kr/persistence/objects/internal/kept_content.h"
#include "kr/platform/log.h"

namespace KrPersistence::detail {

using KrData::FieldBase;
using KrData::OwnFields;
using KrData::detail::FieldAccess;
using KrSim::KrExtension;
using KrSim::KrObject;
using KrSim::OwnRecord;
using KrSim::detail::ObjectAccess;

namespace {

constexpr auto kStoredParts = ~KrData::kOwnRemoval;

std::array<const KrData::Container*, 3> groupsOf(const KrExtension& extension) {
    const auto& fields = extension.getFieldsContainer();
    return {&fields.getInputs(), &fields.getOutputs(), &fields.getParameters()};
}

bool isGroup(const FieldBase& field) {
    return field.getDataType() == KrData::Types::kContainer && !field.isFieldArray();
}

// --- Fields to be written ------------------------------------------------------------------------------------------

/// The own fields, with the groups around them.
class Chooser {
public:
    Chooser(const OwnFields& own, OwnContent::Fields& chosen) : _own(own), _chosen(chosen) {}

    void chooseBelow(const KrData::Container& group) {
        _chooseBelow(group, (_own.getParts(group) & KrData::kOwnOrder) != 0);  // which all fields make together
    }

private:
    bool _chooseBelow(const KrData::Container& group, bool isWhole) {
        const auto twins = _findTwins(group);
        bool isAny = false;
        for (const auto* field : group) {
            if (_choose(*field, isWhole || twins.contains(field->getID().getNumber()))) isAny = true;
        }
        return isAny;
    }

    bool _choose(const FieldBase& field, bool isWhole) {
        const auto parts = _own.getParts(field) & kStoredParts;
        if (!isGroup(field)) {
            const bool isChosen = isWhole || _own.hasAny(field, kStoredParts);
            if (isChosen) _addTree(field);
            return isChosen;
        }
        const bool isWholeBelow = isWhole || (parts & (KrData::kOwnOrder | KrData::kOwnField)) != 0;
        const bool isAny = _chooseBelow(static_cast<const KrData::Container&>(field), isWholeBelow);
        if (!isAny && !isWhole && parts == 0) return false;
        _chosen.insert(&field);
        return true;
    }

    /// The identifiers that several fields have, of which a later one has own parts: all of them are written, or the
    /// later one would become the first.
    [[nodiscard]] std::unordered_set<std::int32_t> _findTwins(const KrData::Container& group) const {
        std::unordered_set<std::int32_t> twins;
        for (const auto* field : group) {
            const bool isFirst = *group.find(field->getID()) == field;
            if (!isFirst && _own.hasAny(*field, kStoredParts)) twins.insert(field->getID().getNumber());
        }
        return twins;
    }

    void _addTree(const FieldBase& field) {
        _chosen.insert(&field);
        for (const auto* child : field.getChildren())
            _addTree(*child);
    }

    const OwnFields& _own;
    OwnContent::Fields& _chosen;
};

void choose(const KrExtension& extension, OwnContent::Part& part) {
    part.listed = part.own.record.fields;
    for (const auto* group : groupsOf(extension)) {
        if (part.own.own.hasAny(*group, kStoredParts)) Chooser(part.own.own, part.fields).chooseBelow(*group);
        forEachValue(*group, [&](const FieldBase& field) {
            if (!part.fields.contains(&field)) return;
            const auto [entry, isNew] = part.listed.try_emplace(KrData::_getStoredPath(field), 0);
            if (entry->second == getImpliedParts(field)) part.listed.erase(entry);
        });
    }
}

// --- What else the definition may have otherwise ---------------------------------------------------------------------

const KrData::Container* getHidden(const FieldBase& field) {
    const auto* internal = FieldAccess::getInternalIfAny(field);
    const auto* hidden = internal != nullptr ? internal->get() : nullptr;
    return hidden != nullptr && !hidden->empty() ? hidden : nullptr;
}

bool areMarksSame(const FieldBase& one, const FieldBase& other) {
    const auto* hidden = getHidden(one);
    const auto* otherHidden = getHidden(other);
    if (one.getDescription() != other.getDescription() || (hidden != nullptr) != (otherHidden != nullptr)) return false;
    return hidden == nullptr || KrData::areSameFields(*hidden, *otherHidden, {});
}

bool isKeptSame(const KrExtension& extension, const KrExtension& original) {
    const auto* kept = KeptContent::find(extension);
    if (kept == nullptr) return true;
    if (!kept->connections.empty() || !kept->standInConnections.empty()) return false;
    const auto* other = KeptContent::find(original);
    const std::size_t others = other != nullptr ? other->references.size() + other->standIns.size() : 0;
    return kept->references.size() + kept->standIns.size() == others;
}

/// The sources of connections that the user has ended or given other settings: a load must find both ends before it
/// makes those of the definition.
std::vector<const KrExtension*> findChangedSources(
    const std::unordered_map<const KrExtension*, OwnContent::Part>& parts) {
    std::unordered_set<KrSim::KrContentID::Identifier> wanted;
    for (const auto& [extension, part] : parts) {
        for (const auto* connections : {&part.own.record.changed, &part.own.record.removed}) {
            for (const auto& each : *connections)
                wanted.insert(each.source);
        }
    }
    std::vector<const KrExtension*> found;
    for (auto part = parts.begin(); !wanted.empty() && part != parts.end(); ++part) {
        if (wanted.contains(part->first->getContentID().getRawID())) found.push_back(part->first);
    }
    return found;
}

/// Whether the file says where the definition comes from.
bool isFileKnown(const KrObject& definition) {
    return !definition.getDefinitionFileName().view().empty();
}

/// A part of an instance is only there once that has followed its own definition.
bool isPartOfInstance(const KrObject& definition) {
    for (const auto* above = definition.getOwner(); above != nullptr; above = above->getOwner()) {
        if (above->isInstance()) return true;
    }
    return false;
}

}  // namespace

std::int32_t getImpliedParts(const FieldBase& field) {
    const auto* top = &field;
    while (top->getParent() != nullptr && top->getParent()->getParent() != nullptr)
        top = top->getParent();
    return top->getFieldType() == KrData::Types::kOutput ? KrData::kOwnState : KrData::kOwnValue;
}

// --- Choosing the instances ------------------------------------------------------------------------------------------

OwnContent::OwnContent(const Extensions& all, bool isSelfContained,
                       const std::function<std::string(const KrExtension&)>& getData) {
    const bool hasInstances = std::any_of(all.begin(), all.end(), [](const auto& each) {
        const auto* object = asObject(each.get());
        return object != nullptr && object->isInstance();
    });
    if (!hasInstances) return;
    for (const auto& each : all)
        _included.insert(each.get());
    for (const auto& each : all) {  // outer ones come first
        const auto* object = asObject(each.get());
        if (object == nullptr || !object->isInstance() || _parts.contains(object)) continue;
        if (!_isStoredComplete(*object, isSelfContained)) _add(*object, getData);
    }
    _markNeeded();
    for (auto& [extension, part] : _parts) {
        if (part.isNeeded) choose(*extension, part);
    }
    _report();
}

bool OwnContent::_isStoredComplete(const KrObject& instance, bool isSelfContained) {
    const auto count = [&](std::size_t& number, std::string& first) {
        if (number++ == 0) first = describePath(instance);
    };
    if (!ObjectAccess::base(instance)) {  // has not followed its definition since it was loaded
        const bool isOwnOnly = OwnRecord::of(instance).isOwnOnly;
        if (isOwnOnly && isSelfContained) count(_waitingCount, _firstWaiting);
        return !isOwnOnly;
    }
    const auto* definition = instance.getDefinition();
    if (isSelfContained || definition == nullptr || isPartOfInstance(*definition)) return true;
    if (_included.contains(definition) || isFileKnown(*definition)) return false;
    count(_completeCount, _firstComplete);
    return true;
}

void OwnContent::_add(const KrObject& instance, const std::function<std::string(const KrExtension&)>& getData) {
    // Implementations may change their fields while they are asked.
    Data data;
    for (const auto* each : KrSim::detail::collectTree(instance))
        data.emplace(each, getData(*each));
    if (const auto* definition = instance.getDefinition()) {
        for (const auto* each : KrSim::detail::collectTree(*definition)) {
            if (!_originalData.contains(each)) _originalData.emplace(each, getData(*each));
        }
    }
    for (auto& [extension, own] : KrSim::detail::findOwnParts(instance)) {
        auto& part = _parts[extension];
        part.own = std::move(own);
        part.instance = &instance;
        part.data = std::move(data[extension]);
    }
}

// --- What of them is needed
// --------------------------------------------------------------------------------------------

void OwnContent::_markNeeded() {
    for (auto& [extension, part] : _parts) {
        if (_isNeeded(*extension, part)) _need(*extension);
    }
    for (const auto* each : findChangedSources(_parts))
        _need(*each);
    for (const auto* each : _included) {
        const auto* object = asObject(each);
        const auto* definition = object != nullptr && object->isInstance() ? object->getDefinition() : nullptr;
        if (definition != nullptr && _parts.contains(definition)) _need(*definition);
    }
}

/// With the objects around it.
void OwnContent::_need(const KrExtension& extension) {
    for (const auto* each = &extension; each != nullptr; each = each->getOwner()) {
        const auto part = _parts.find(each);
        if (part == _parts.end() || std::exchange(part->second.isNeeded, true)) return;
    }
}

bool OwnContent::_isNeeded(const KrExtension& extension, const Part& part) const {
    const auto* original = part.own.original;
    if (&extension == part.instance || original == nullptr || !part.own.record.empty()) return true;
    const auto data = _originalData.find(original);
    if (data == _originalData.end() || data->second != part.data) return true;
    const bool isSameType = extension.getCreationKey() == original->getCreationKey() &&
                            getSavedVersion(extension) == getSavedVersion(*original) &&
                            extension.getVersions() == original->getVersions();
    if (!isSameType || !isKeptSame(extension, *original)) return true;
    if (!areMarksSame(extension.getFieldsContainer().getNameField(), original->getFieldsContainer().getNameField())) {
        return true;
    }
    if (_hasOtherConnections(extension.getFieldsContainer())) return true;
    const auto* object = asObject(&extension);
    if (object == nullptr) return false;
    if (!ObjectAccess::getWaitingConnections(*object).empty()) return true;
    const auto below = object->getExtensions();
    return std::any_of(below.begin(), below.end(), [&](const auto& each) { return !_parts.contains(each.get()); });
}

bool OwnContent::_hasOtherConnections(const FieldBase& field) const {
    if (FieldAccess::hasIncomingConnections(field)) {
        const auto& all = FieldAccess::getIncomingConnections(field);
        const bool hasOther = std::any_of(all.begin(), all.end(), [&](const auto* each) {
            return each->isValid() && !Kr::detail::ConnectionAccess::isContentOfOther(*each) && !isLeftOut(*each);
        });
        if (hasOther) return true;
    }
    const auto& children = field.getChildren();
    return std::any_of(children.begin(), children.end(),
                       [&](const auto* child) { return _hasOtherConnections(*child); });
}

const OwnContent::Part* OwnContent::find(const KrExtension& extension) const {
    if (_parts.empty()) return nullptr;
    const auto found = _parts.find(&extension);
    return found != _parts.end() ? &found->second : nullptr;
}

bool OwnContent::isLeftOut(const KrExtension& extension) const {
    const auto* part = find(extension);
    return part != nullptr && !part->isNeeded;
}

bool OwnContent::isLeftOut(const Kr::KrConnectionBase& connection) const {
    if (_parts.empty()) return false;
    const auto* source = connection.getSourceOwner();
    const auto* sink = connection.getSinkOwner();
    if (source == nullptr || sink == nullptr) return false;
    const auto* from = find(*source);
    const auto* to = find(*sink);
    if (from == nullptr || to == nullptr || from->instance != to->instance) return false;
    if (from->own.original == nullptr || to->own.original == nullptr) return false;
    const auto& record = to->own.record;
    if (record.added.empty() && record.changed.empty()) return true;
    const KrSim::InnerConnection inner{source->getContentID().getRawID(),
                                       KrData::_getStoredPath(*connection.getSource()), sink->getContentID().getRawID(),
                                       KrData::_getStoredPath(*connection.getSink())};
    return !record.added.contains(inner) && !record.changed.contains(inner);
}

void OwnContent::_report() const {
    const auto log = [](Kr::eLogLevel level, const char* format, std::size_t count, const std::string& first) {
        const auto more = count > 1 ? " and " + std::to_string(count - 1) + " more" : std::string();
        if (count > 0) Kr::logMessage(level, format, first.c_str(), more.c_str());
    };
    log(Kr::eLogLevel::kInfo,
        "KrObjectSection: instances are stored complete, because their definitions are neither in this file nor loaded "
        "from another one: '%s'%s\n",
        _completeCount, _firstComplete);
    log(Kr::eLogLevel::kWarn,
        "KrObjectSection: instances cannot be stored complete, because their definitions are not there; the file has "
        "their own data only: '%s'%s\n",
        _waitingCount, _firstWaiting);
}

}  // namespace KrPersistence::detail
