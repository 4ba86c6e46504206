#pragma once

#include "kr/content/fwd.h"
#include "kr/events/fwd.h"
#include "kr/platform/export.h"

namespace KrSim {

/// Own identifier, runtime ID, raw ID (two 8-byte words each), file, 4-byte count of the chain, its entries likewise.
KR_API EventData& operator<<(EventData& data, const KrContentID& id);
/// The ID takes the parts that can be read; words that cannot are zero, and each missing part is reported as EventData
/// reports it. A chain ends with the first incomplete entry. Entries nest at most KrContentID::kMaxNesting deep: a
/// deeper one is reported as an error and reads as empty.
KR_API const EventData& operator>>(const EventData& data, KrContentID& id);

/// A byte, 1 for strong and 0 for weak, then the ID.
KR_API EventData& operator<<(EventData& data, const KrContentReference& reference);
/// The reference takes strength and ID, and is connected to the registry. It is weak when no byte is left.
KR_API const EventData& operator>>(const EventData& data, KrContentReference& reference);

}  // namespace KrSim
