#pragma once

#include <memory>
#include <string>

#include "kr/content/content_id.h"
#include "kr/data/value_plan.h"
#include "kr/extension/factory_key.h"

namespace KrSim::detail {

/// What all states of one extension share as long as nothing of it changes.
struct StateHeader {
    KrContentID contentID;
    KrFactoryKey creationKey;
    std::string name;
    std::shared_ptr<const KrData::ValuePlan> plan;

    // Only to be fetched: the extension may be gone.
    const void* extension{nullptr};
    const void* fields{nullptr};
    const void* implementation{nullptr};
};

}  // namespace KrSim::detail
