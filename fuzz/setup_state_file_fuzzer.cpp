#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "kr/extension/content_registry.h"
#include "kr/platform/log.h"
#include "tests/persistence/states/saved_files.h"

// A whole file of a setup or a state. What can be loaded must be fit to be restored and saved, and nothing may stay.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Kr::LogSetLevel(Kr::eLogLevel::kOff);
    static auto& simulation = *new saved_files::Simulation;
    const auto before = KrSim::KrContentRegistry::instance().getExtensionCount();
    bool isSound = true;
    simulation.load(std::string(data, data + size), isSound);
    if (!isSound || KrSim::KrContentRegistry::instance().getExtensionCount() != before) std::abort();
    return 0;
}
