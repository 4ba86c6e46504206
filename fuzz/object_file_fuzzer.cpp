#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "kr/platform/log.h"
#include "tests/persistence/content/garage.h"

// A whole object file. What can be loaded must be fit to be saved, and whatever happens, nothing may stay.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Kr::LogSetLevel(Kr::eLogLevel::kOff);
    static const garage::TypeScope& types = *new garage::TypeScope;
    static_cast<void>(types);
    const auto before = KrSim::KrContentRegistry::instance().getExtensionCount();
    {
        const auto loaded = garage::load(std::string(data, data + size));
        if (!loaded.objects.empty()) static_cast<void>(garage::save(loaded.objects));
    }
    if (KrSim::KrContentRegistry::instance().getExtensionCount() != before) std::abort();
    return 0;
}
