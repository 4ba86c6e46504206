#include "kr/extension/internal/own_data.h"

#include <algorithm>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "kr/data/field_access.h"
#include "kr/data/field_array.h"
#include "kr/data/field_loading.h"
#include "kr/data/stored_path.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/object.h"

namespace KrSim::detail {

using KrData::detail::FieldAccess;

// --- Copies of own fields ------------------------------------------------------------------------------------------

namespace {

const KrData::Container* asContainer(const KrData::FieldBase& field) {
    return field.getDataType() == KrData::Types::kContainer ? static_cast<const KrData::Container*>(&field) : nullptr;
}

constexpr auto kWhole = ~(KrData::kOwnState | KrData::kOwnRemoval);

/// The identifiers that several fields have, of which a later one has own parts: in the copy it must not become the
/// first.
std::unordered_set<std::int32_t> findOwnTwins(const KrData::Container& source, const KrData::OwnFields& own) {
    std::unordered_set<std::int32_t> twins;
    for (const auto* field : source) {
        const bool isFirst = *source.find(field->getID()) == field;
        if (!isFirst && own.hasAny(*field, kWhole)) twins.insert(field->getID().getNumber());
    }
    return twins;
}

std::unique_ptr<KrData::Container> copyBelow(const KrData::Container& source, const KrData::OwnFields& own) {
    std::unique_ptr<KrData::Container> copies;
    const bool isOrderOwn = (own.getParts(source) & KrData::kOwnOrder) != 0;  // which all fields make together
    const auto twins = findOwnTwins(source, own);
    const auto take = [&](std::unique_ptr<KrData::FieldBase> copy) {
        if (!copy) return;
        if (!copies) copies = std::make_unique<KrData::Container>(source.getID(), nullptr, source.getFieldType());
        copy->_setDynamic(true);
        if (copies->_addField(copy.get())) static_cast<void>(copy.release());
    };
    for (const auto* field : source) {
        const auto* group = asContainer(*field);
        const bool isWhole = isOrderOwn || twins.count(field->getID().getNumber()) != 0 ||
                             (own.getParts(*field) & kWhole) != 0 ||
                             (field->isFieldArray() && own.hasAny(*field, kWhole));
        if (isWhole) {
            take(std::unique_ptr<KrData::FieldBase>(FieldAccess::duplicate(*field)));
        } else if (group != nullptr && !field->isFieldArray()) {
            take(copyBelow(*group, own));
        }
    }
    return copies;
}

}  // namespace

std::unique_ptr<KrData::Container> copyOwnFields(const KrExtension& extension, const KrData::OwnFields& own) {
    const auto& fields = extension.getFieldsContainer();
    std::unique_ptr<KrData::Container> all;
    for (const auto* group : {&fields.getInputs(), &fields.getOutputs(), &fields.getParameters()}) {
        auto copies = copyBelow(*group, own);
        if (!copies) continue;
        if (!all) all = std::make_unique<KrData::Container>(Kr::KrID());
        copies->_setDynamic(true);
        if (all->_addField(copies.get())) static_cast<void>(copies.release());
    }
    return all;
}

// --- Laying over ---------------------------------------------------------------------------------------------------

namespace {

class Layer {
public:
    Layer(KrExtension& extension, const KrData::Container& fields) : _extension(extension), _fields(fields) {}

    void lay(const std::string& path, std::int32_t parts) {
        if ((parts & KrData::kOwnRemoval) != 0) {
            _remove(path);
            parts &= ~KrData::kOwnRemoval;
            if (parts == 0) return;  // else of the next field of this identifier, which has the path now
        }
        const auto* from = KrData::_findStoredPath(_fields, path);
        if (from == nullptr) return;
        auto* to = _find(path);
        if (to == nullptr) {
            _add(*from, from->getID(), path, parts);
        } else if ((parts & (KrData::kOwnValue | KrData::kOwnField)) != 0) {
            _layValue(*to, *from, path);
        }
        to = _find(path);
        if (to == nullptr) return;
        takeProperties(*to, *from, parts);
        if (KrObject::isInstanceData(*from)) KrObject::setInstanceData(*to);
    }

    /// When all fields exist.
    void layOrder(const std::string& path) {
        const auto* from = KrData::_findStoredPath(_fields, path);
        auto* to = _find(path);
        if (from == nullptr || to == nullptr || asContainer(*from) == nullptr || asContainer(*to) == nullptr) return;
        KrData::takeOrder(static_cast<KrData::Container&>(*to), static_cast<const KrData::Container&>(*from));
    }

    std::vector<std::string> takeLost() { return std::move(_lost); }

private:
    [[nodiscard]] KrData::FieldBase* _find(std::string_view path) const {
        return KrData::_findStoredPath(_extension.getFieldsContainer(), path);
    }

    void _remove(const std::string& path) {
        auto* field = _find(path);
        auto* parent = field != nullptr ? field->getParent() : nullptr;
        if (parent == nullptr || !field->isDynamic()) return;
        parent->erase(std::find(parent->begin(), parent->end(), field));
    }

    void _add(const KrData::FieldBase& from, const Kr::KrID& id, const std::string& path, std::int32_t parts) {
        const auto dot = path.rfind('.');
        auto* above = dot != std::string::npos ? _find(path.substr(0, dot)) : nullptr;
        if (above == nullptr || above->getDataType() != KrData::Types::kContainer) {
            // With the group that held it, and all that is own in there.
            if (dot != std::string::npos && from.getParent() != nullptr)
                _add(*from.getParent(), from.getParent()->getID(), path.substr(0, dot), 0);
            return;
        }
        auto& parent = static_cast<KrData::Container&>(*above);
        if (parent.isFieldArray()) {
            _addItem(static_cast<KrData::FieldArrayBase&>(parent), from);
            return;
        }
        auto* copy = from.clone(id, &parent);
        if (copy != nullptr && (parts & KrData::kOwnField) == 0) _noteLost(*copy);
    }

    static void _addItem(KrData::FieldArrayBase& items, const KrData::FieldBase& from) {
        if (!items.resize(items.size() + 1)) return;
        items.getChildren().back()->setID(from.getID());
        items.getChildren().back()->copyValue(from);
    }

    void _layValue(KrData::FieldBase& to, const KrData::FieldBase& from, const std::string& path) {
        FieldAccess::takeBits(to, from);
        if (to.getDataType() == KrData::Types::kContainer && from.getDataType() == KrData::Types::kContainer &&
            !to.isFieldArray()) {
            KrData::_loadFields(static_cast<KrData::Container&>(to), static_cast<const KrData::Container&>(from));
        } else if (!to.copyValue(from)) {
            // Beside it, under another name.
            _add(from, to.getParent()->getUniqueFieldId(from.getID()), path, KrData::kOwnValue);
        }
    }

    void _noteLost(KrData::FieldBase& field) {
        _lost.push_back(field.getPath());
        field.setMetadata(KrData::kMarkedAsLost, true);
    }

    KrExtension& _extension;
    const KrData::Container& _fields;
    std::vector<std::string> _lost;
};

}  // namespace

std::vector<std::string> layOver(KrExtension& extension, const KrData::Container& fields,
                                 const KrData::OwnFields::Paths& own) {
    Layer layer(extension, fields);
    for (const auto& [path, parts] : own)  // upper fields are first
        layer.lay(path, parts);
    for (const auto& [path, parts] : own) {
        if ((parts & KrData::kOwnOrder) != 0) layer.layOrder(path);
    }
    return layer.takeLost();
}

// --- Reports -------------------------------------------------------------------------------------------------------

void reportLostFields(KrExtension& extension, const std::vector<std::string>& paths) {
    static const std::string start = "Lost data: ";
    std::vector<std::string> messages;
    messages.reserve(paths.size());
    for (const auto& path : paths) {
        messages.emplace_back(start).append("the definition has no place for the field '").append(path);
        messages.back() += "' any more. The own value that it has is kept here.";
    }
    std::vector<std::string> outdated;
    for (std::size_t i = 0; i < extension.getErrorCount(); ++i) {
        const auto& error = extension.getError(i);
        const bool isKnown = std::find(messages.begin(), messages.end(), error) != messages.end();
        if (error.compare(0, start.size(), start) == 0 && !isKnown) outdated.push_back(error);
    }
    for (const auto& each : outdated)
        extension.removeError(each, false);
    for (const auto& each : messages)
        extension.addError(each, true);
}

}  // namespace KrSim::detail
