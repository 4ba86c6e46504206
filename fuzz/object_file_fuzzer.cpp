#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "kr/platform/log.h"
#include "tests/persistence/objects/garage.h"

// A whole object file. What can be loaded must be fit to be saved, and whatever happens, nothing may stay.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Kr::LogSetLevel(Kr::eLogLevel::kOff);
    static const garage::TypeScope& types = *new garage::TypeScope;
    static_cast<void>(types);
    const auto before = KrSim::KrContentRegistry::instance().getExtensionCount();
    {
        // Every second one as a damaged file that is recovered.
        const auto loaded = garage::load(std::string(data, data + size), size % 2 == 0 ? 0 : garage::KrFile::kRecover);
        if (!loaded.objects.empty()) static_cast<void>(garage::save(loaded.objects));
    }
    if (KrSim::KrContentRegistry::instance().getExtensionCount() != before) std::abort();
    return 0;
}
