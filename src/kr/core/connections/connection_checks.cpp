#include "kr/core/connections/connection_checks.h"

#include <cstddef>
#include <utility>

#include "kr/core/connections/internal/functor_selection.h"
#include "kr/core/enum.h"
#include "kr/data/container.h"
#include "kr/data/full_path.h"
#include "kr/data/vector_base.h"

namespace Kr {

using KrData::Container;
using KrData::FieldBase;
using KrData::Types;

namespace {

const Container* asContainer(const FieldBase& field) {
    return field.getDataType() == Types::kContainer ? static_cast<const Container*>(&field) : nullptr;
}

std::string nameOf(const FieldBase& field) {
    std::string type = Types::nameFor(field.getDataType());
    if (field.getDataType() == Types::kEnumeration) return type + " '" + field.get<KrEnum>().getTypeString() + "'";
    if (field.getDataType() != Types::kVector) return type;
    return type + " of " + Types::nameFor(static_cast<const KrData::VectorBase&>(field).getItemDataType());
}

bool doTypesFit(const FieldBase& source, const FieldBase& sink, bool isQueued) {
    if (asContainer(source) != nullptr && asContainer(sink) != nullptr) return true;
    return isQueued || source.getDataType() == Types::kProxy || sink.getDataType() == Types::kProxy
               ? source.canConvertTo(sink)
               : detail::doValuesFit(source, sink);
}

/// The field that a connection of the containers brings together with the child of the source; null for none.
const FieldBase* partnerOf(const FieldBase& child, std::size_t index, const Container& source, const Container& sink) {
    if (source.isFieldArray() && sink.isFieldArray()) return index < sink.size() ? &sink.at(index) : nullptr;
    const auto found = sink.find(child.getID());
    return found != sink.end() ? *found : nullptr;
}

void addConflict(const FieldBase& source, const FieldBase& sink, std::vector<std::string>& texts) {
    constexpr auto kNone = KrPhysicalDimension::ePhysicalDimension::kNone;
    const auto has = source.getPhysicalDimension();
    const auto wants = sink.getPhysicalDimension();
    if (has == wants || has == kNone || wants == kNone) return;
    texts.push_back("'" + KrData::getFullPath(source) + "' measures " + KrPhysicalDimension::nameFor(has) + ", '" +
                    KrData::getFullPath(sink) + "' measures " + KrPhysicalDimension::nameFor(wants));
}

}  // namespace

std::string explainRefusal(const FieldBase& source, const FieldBase& sink, bool isQueued) {
    if (!isQueued) {
        for (const auto* each : {&source, &sink})
            if (each->getParent() == nullptr) return "'" + KrData::getFullPath(*each) + "' is in no container";
        if (!detail::mayDrive(source.getFieldType(), sink.getFieldType())) {
            return std::string("fields of the role ") + Types::nameFor(source.getFieldType()) +
                   " do not drive those of the role " + Types::nameFor(sink.getFieldType());
        }
    }
    if (doTypesFit(source, sink, isQueued)) return {};
    return "values of the type " + nameOf(source) + " do not convert to the type " + nameOf(sink);
}

std::vector<std::string> describeDimensionConflicts(const FieldBase& source, const FieldBase& sink) {
    std::vector<std::string> texts;
    if (asContainer(source) == nullptr || asContainer(sink) == nullptr) {
        addConflict(source, sink, texts);
        return texts;
    }
    // Without recursion: containers may lie deep inside one another.
    std::vector<std::pair<const FieldBase*, const FieldBase*>> open{{&source, &sink}};
    while (!open.empty()) {
        const auto [from, to] = open.back();
        open.pop_back();
        const auto* fromContainer = asContainer(*from);
        const auto* toContainer = asContainer(*to);
        if (fromContainer == nullptr || toContainer == nullptr) {
            addConflict(*from, *to, texts);
            continue;
        }
        for (auto index = fromContainer->size(); index-- > 0;) {
            const auto& child = fromContainer->at(index);
            const auto* partner = partnerOf(child, index, *fromContainer, *toContainer);
            if (partner != nullptr) open.emplace_back(&child, partner);
        }
    }
    return texts;
}

}  // namespace Kr
