#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kr/content/content_id.h"
#include "kr/data/field_merge.h"
#include "kr/extension/factory_key.h"
#include "kr/extension/object.h"
#include "kr/platform/export.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim {

/// The own data of one extension of an instance. Thread: application. Ownership: owns copies of fields.
struct KR_API KrObject::InstanceDataItem {
    InstanceDataItem();
    InstanceDataItem(InstanceDataItem&&) noexcept;
    InstanceDataItem& operator=(InstanceDataItem&&) noexcept;
    ~InstanceDataItem();

    KrContentID contentID;  ///< of the extension in the instance
    std::string name;
    KrFactoryKey key;
    std::uint64_t position{0};
    bool isObject{false};
    bool wasLost{false};                 ///< the extension was a lost one
    Kr::KrSmartPtr<KrExtension> holder;  ///< the extension; null for one without a holder
    KrData::OwnFields::Paths own;        ///< the own parts, by the paths of fields; "Name" for the name
    /// "Inputs", "Outputs" and "Parameters" with the own fields only; containers above an own field come along. Null
    /// when there are none.
    std::unique_ptr<KrData::Container> fields;
    /// Extensions added by hand to the extension, an object below the instance.
    std::vector<Kr::KrSmartPtr<KrExtension>> content;
};

}  // namespace KrSim
