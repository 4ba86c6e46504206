#pragma once

#include <unordered_map>

#include "kr/data/field_merge.h"
#include "kr/extension/fwd.h"
#include "kr/extension/own_record.h"
#include "kr/platform/export.h"

namespace KrSim::detail {

/// What content needs of an extension of an instance to make it again from the definition.
/// Thread: application. Ownership: extension and fields are borrowed.
struct KR_API OwnPart {
    const KrExtension* original{nullptr};  ///< in the definition; null when there is none
    KrData::OwnFields own;                 ///< with kOwnState for all state that differs from that of the original
    OwnRecord record;                      ///< the same, by paths
};
using OwnParts = std::unordered_map<const KrExtension*, OwnPart>;

/// All extensions of an instance that follow one of its definition, itself included, but no lost ones. Those of an
/// instance that was loaded and waits for its definition are as the file has them, without originals.
/// Thread: application.
[[nodiscard]] KR_API OwnParts findOwnParts(const KrObject& instance);

}  // namespace KrSim::detail
