#pragma once

#include <memory>
#include <string>

#include "kr/content/content_id.h"
#include "kr/data/value_plan.h"
#include "kr/extension/factory_key.h"

namespace KrSim::detail {

/// The data that all states of one extension share until it changes.
struct StateHeader {
    KrContentID contentID;
    KrFactoryKey creationKey;
    std::string name;
    std::shared_ptr<const KrData::ValuePlan> plan;

    // For prefetching only: the extension may have died.
    const void* extension{nullptr};
    const void* fields{nullptr};
    const void* implementation{nullptr};
};

}  // namespace KrSim::detail
