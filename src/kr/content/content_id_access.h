#pragma once

#include <string>

#include "kr/content/content_id.h"
#include "kr/platform/export.h"

namespace KrSim::detail {

/// What readers of stored IDs may do with them. Thread: as an int. Ownership: none.
struct KR_API ContentIDAccess {
    using Chain = KrContentID::Chain;
    using Identifier = KrContentID::Identifier;

    /// Takes all parts as they were stored and recomputes nothing.
    [[nodiscard]] static KrContentID fromParts(const Identifier& own, const Identifier& runtime, const Identifier& raw,
                                               std::string file, Chain chain);
    /// The placement with this chain; the empty ID for an empty chain.
    [[nodiscard]] static KrContentID fromChain(Chain chain);
    /// As setFile with the file of another ID, which has no chain; both share its text.
    static void setFileOf(KrContentID& id, const KrContentID& other);
};

}  // namespace KrSim::detail
