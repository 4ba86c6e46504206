#include "kr/data/types.h"

#include <algorithm>
#include <array>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kr/data/container.h"
#include "kr/data/container_access.h"
#include "kr/data/extension_field.h"
#include "kr/data/field.h"
#include "kr/data/i_extension_facts.h"
#include "kr/data/proxy.h"
#include "kr/platform/guard.h"

namespace KrData {

namespace {

constexpr std::array kFieldTypeNames{"Field", "Input", "Output", "Parameter", "Undefined"};

struct DataType {
    Types::DataTypeEnum number{Types::kUnknown};
    const char* name{nullptr};
    const char* interfaceName{nullptr};  // of a reference to extensions of a built-in interface
};

constexpr DataType kDataTypes[] = {
#define KR_NAMED(T) {ValueTraits<T>::kDataType, ValueTraits<T>::kName},
    KR_FOR_EACH_VALUE_TYPE(KR_NAMED)
#undef KR_NAMED
        {Types::kUnknown, "Unknown data type"},
    {Types::kContainer, "Data Container"},
    {Types::kVector, "Vector"},
    {Types::kVectorItem, "Vector Item"},
    {Types::kPart, "Part", "KrDynamics::Part"},
    {Types::kAssembly, "Assembly", "KrDynamics::Assembly"},
    {Types::kAttachment, "Attachment", "KrDynamics::Attachment"},
    {Types::kAttachmentPoint, "Attachment Point", "KrDynamics::AttachmentPoint"},
    {Types::kConstraint, "Constraint", "KrDynamics::Constraint"},
    {Types::kCollisionGeometry, "Collision Geometry", "KrDynamics::CollisionGeometry"},
    {Types::kMechanism, "Mechanism", "KrDynamics::Mechanism"},
    {Types::kGraphicsNode, "Graphics Node", "KrGraphics::Node"},
    {Types::kGraphicsGeometry, "Graphics Geometry", "KrGraphics::Geometry"},
    {Types::kGraphicsMaterial, "Graphics Material", "KrGraphics::Material"},
    {Types::kTexture, "Texture", "KrGraphics::Texture"},
    {Types::kProxy, "Proxy"},
    {Types::kSimulatorModule, "Simulator Module", "KrSim::ISimulatorModule"},
    {Types::kSkeleton, "Skeleton", "KrGraphics::Skeleton"},
};

constexpr std::size_t kNumberCount = std::size_t{Types::kMatrix44Float} + 1;

/// The data type of each number; null where the number has no meaning.
constexpr auto kDataTypesByNumber = [] {
    std::array<const DataType*, kNumberCount> byNumber{};
    for (const auto& each : kDataTypes)
        byNumber.at(each.number) = &each;
    return byNumber;
}();

const DataType* findDataType(Types::DataTypeEnum number) {
    return number < kNumberCount ? kDataTypesByNumber[number] : nullptr;
}

using Producer = FieldBase* (*)(const Kr::KrID& id);

struct ValueType {
    Types::DataTypeEnum dataType;
    const std::type_info* valueType;
    Producer produce;
};

template <class T>
FieldBase* produceField(const Kr::KrID& id) {
    return new Field<T>(id);
}

const std::vector<ValueType>& valueTypes() {
#define KR_VALUE_TYPE(T) ValueType{ValueTraits<T>::kDataType, &typeid(T), &produceField<T>},
    static const auto& table = *new std::vector<ValueType>{KR_FOR_EACH_VALUE_TYPE(KR_VALUE_TYPE)};
#undef KR_VALUE_TYPE
    return table;
}

const ValueType* findValueType(Types::DataTypeEnum dataType) {
    // Indexed by data type, so that producing a field costs no search.
    static const auto& byDataType = *[] {
        auto* index = new std::array<const ValueType*, kNumberCount>{};
        for (const auto& each : valueTypes())
            index->at(each.dataType) = &each;
        return index;
    }();
    return dataType < byDataType.size() ? byDataType[dataType] : nullptr;
}

const ValueType* findValueType(const std::type_info& valueType) {
    const auto& all = valueTypes();
    const auto found =
        std::find_if(all.begin(), all.end(), [&](const ValueType& each) { return *each.valueType == valueType; });
    return found != all.end() ? &*found : nullptr;
}

struct RegisteredInterface {
    std::string displayName;
    std::shared_ptr<const Types::AcceptancePredicate> predicate;  // shared, so that a caller need not copy it
};

struct InterfaceTable {
    std::mutex mutex;  // guards the map
    std::unordered_map<Kr::KrID, RegisteredInterface> interfaces;
};

InterfaceTable& interfaceTable() {
    // Outlives plug-ins that unregister while the process ends.
    static auto& table = *new InterfaceTable;
    return table;
}

constexpr Kr::GuardTexts kPredicateTexts{Kr::eLogLevel::kWarn, "Types: fatal error in '%s' acceptance predicate [%s]\n",
                                         "Types: unhandled exception in '%s' acceptance predicate\n",
                                         "acceptance predicate"};

FieldBase* giveTo(Container* parent, FieldBase* field) {
    return field != nullptr && detail::ContainerAccess::adopt(field, parent) ? field : nullptr;
}

}  // namespace

// --- Names ---------------------------------------------------------------------------------------------------------

const char* Types::nameFor(DataTypeEnum dataType) noexcept {
    const auto* known = findDataType(dataType);
    return known != nullptr ? known->name : "Invalid data type";
}

const char* Types::nameFor(FieldTypeEnum fieldType) noexcept {
    const auto index = static_cast<std::size_t>(fieldType);
    return index < kFieldTypeNames.size() ? kFieldTypeNames[index] : "Invalid field type";
}

std::string Types::nameFor(const Kr::KrID& interfaceId) {
    auto& table = interfaceTable();
    const std::lock_guard lock(table.mutex);
    const auto found = table.interfaces.find(interfaceId);
    return found != table.interfaces.end() ? found->second.displayName : nameFor(kExtension);
}

// --- Producing fields ----------------------------------------------------------------------------------------------

FieldBase* Types::_make(DataTypeEnum dataType, const Kr::KrID& id, FieldTypeEnum fieldType) {
    FieldBase* field = nullptr;
    if (const auto* type = findValueType(dataType)) {
        field = type->produce(id);
    } else if (dataType == kContainer) {
        field = new Container(id, nullptr, fieldType);
    } else if (dataType == kProxy) {
        field = new Proxy(id);
    } else {
        const auto* known = findDataType(dataType);
        if (known == nullptr || known->interfaceName == nullptr) return nullptr;
        field = new ExtensionField(id, known->interfaceName);
    }
    field->_setDynamic(true);
    return field;
}

FieldBase* Types::produce(DataTypeEnum dataType, const Kr::KrID& id, Container* parent) {
    return giveTo(parent, _make(dataType, id, parent != nullptr ? parent->getFieldType() : kField));
}

FieldBase* Types::produce(const std::type_info& valueType, const Kr::KrID& id, Container* parent) {
    const auto* type = findValueType(valueType);
    return type != nullptr ? produce(type->dataType, id, parent) : nullptr;
}

FieldBase* Types::produceExtensionField(const Kr::KrID& id, const Kr::KrID& interfaceId, Container* parent) {
    auto* field = new ExtensionField(id, interfaceId);
    field->_setDynamic(true);
    return giveTo(parent, field);
}

// --- Data type and value type --------------------------------------------------------------------------------------

const std::type_info& Types::mapType(DataTypeEnum dataType) noexcept {
    const auto* type = findValueType(dataType);
    return type != nullptr ? *type->valueType : typeid(void);
}

Types::DataTypeEnum Types::mapType(const std::type_info& valueType) noexcept {
    const auto* type = findValueType(valueType);
    return type != nullptr ? type->dataType : kUnknown;
}

// --- Interface types -----------------------------------------------------------------------------------------------

Kr::KrID Types::_registerInterfaceFieldType(const char* interfaceName, const char* displayName,
                                            AcceptancePredicate predicate) {
    const Kr::KrID id(interfaceName);
    RegisteredInterface entry{displayName != nullptr ? displayName : "",
                              std::make_shared<Types::AcceptancePredicate>(std::move(predicate))};
    auto& table = interfaceTable();
    const std::lock_guard lock(table.mutex);
    // The replaced entry is destroyed after the lock: its predicate is code of others.
    std::swap(table.interfaces[id], entry);
    return id;
}

void Types::_unregisterInterfaceFieldType(const char* interfaceName) {
    auto& table = interfaceTable();
    std::unordered_map<Kr::KrID, RegisteredInterface>::node_type removed;
    const std::lock_guard lock(table.mutex);
    removed = table.interfaces.extract(Kr::KrID(interfaceName));
}

bool Types::extensionIsInterfaceFieldType(KrSim::KrExtension* extension, const Kr::KrID& interfaceId) {
    auto* implementation = IExtensionFacts::implementationOf(extension);
    if (implementation == nullptr) return false;
    std::shared_ptr<const AcceptancePredicate> predicate;
    {
        auto& table = interfaceTable();
        const std::lock_guard lock(table.mutex);
        const auto found = table.interfaces.find(interfaceId);
        if (found == table.interfaces.end()) return false;
        predicate = found->second.predicate;
    }
    if (!*predicate) return false;
    bool accepted = false;
    Kr::callGuarded(
        kPredicateTexts, [&] { return interfaceId.str(); }, [&] { accepted = (*predicate)(implementation); });
    return accepted;
}

}  // namespace KrData
