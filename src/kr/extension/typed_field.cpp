#include "kr/extension/typed_field.h"

#include <memory>

#include "kr/data/container.h"
#include "kr/data/container_access.h"
#include "kr/data/field_access.h"
#include "kr/extension/extension.h"
#include "kr/extension/i_extension.h"
#include "kr/extension/input_output_container.h"
#include "kr/platform/log.h"

namespace KrSim::detail {

using KrData::detail::ContainerAccess;
using KrData::detail::FieldAccess;

namespace {

KrData::Container& groupOf(Kr::KrInputOutputContainer& fields, KrData::Types::FieldTypeEnum role) {
    switch (role) {
        case KrData::Types::kInput:
            return fields.getInputs();
        case KrData::Types::kOutput:
            return fields.getOutputs();
        default:
            return fields.getParameters();
    }
}

}  // namespace

bool placeDeclaredField(IExtension* owner, KrData::Types::FieldTypeEnum role, KrData::FieldBase* field) {
    std::unique_ptr<KrData::FieldBase> made(field);
    auto* proxy = owner != nullptr ? owner->_getProxy() : nullptr;
    if (proxy == nullptr) return false;
    auto& group = groupOf(proxy->getFieldsContainer(), role);
    auto position = ContainerAccess::findOwn(group, field->getID());
    if (position != group.end() && (*position)->getDataType() == field->getDataType()) {
        // Left by the implementation before, or loaded while there was none.
        field->initializeFrom(**position);
        FieldAccess::setInternalIdentifier(*field, (*position)->getInternalIdentifier());
        position = group.erase(position);
    } else if (position != group.end()) {
        const auto id = group.getUniqueFieldId(field->getID());
        Kr::logMessage(Kr::eLogLevel::kWarn,
                       "KrExtension: '%s' has a %s of another type already, so the declared one is named '%s'\n",
                       (*position)->getPath().c_str(), KrData::Types::nameFor(role), id.str().c_str());
        field->_setDynamic(true);
        field->setID(id);
        field->_setDynamic(false);
        position = group.end();
    }
    if (!group._addField(field, position)) return false;
    static_cast<void>(made.release());
    return true;
}

bool addDeprecatedFieldName(KrData::FieldBase& field, const Kr::KrID& former) {
    auto* group = field.getParent();
    if (group == nullptr || !group->addDeprecatedName(former, field.getID())) return false;
    const auto left = ContainerAccess::findOwn(*group, former);
    if (left == group->end() || !(*left)->isDynamic()) return true;
    // Left by an implementation of an earlier release, or loaded while there was none.
    field.initializeFrom(**left);
    group->erase(left);
    return true;
}

}  // namespace KrSim::detail
