#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "kr/platform/uuid.h"

// Text of any kind: parse() either refuses it and leaves its result alone, or its answer survives the way back to text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const KrSim::KrUuid before = KrSim::KrUuid::createFromName("before");
    KrSim::KrUuid parsed = before;
    if (!KrSim::KrUuid::parse(text, parsed)) {
        if (parsed != before || !KrSim::KrUuid(text).isNull()) std::abort();
        return 0;
    }
    KrSim::KrUuid again;
    if (!KrSim::KrUuid::parse(parsed.toString(), again) || again != parsed) std::abort();
    if (!KrSim::KrUuid::parse("{" + parsed.toString() + "}", again) || again != parsed) std::abort();
    return 0;
}
