#include "apps/krsim/preset_command.h"

#include <cstdio>
#include <string>

#include "apps/krsim/failure.h"
#include "apps/krsim/loaded_file.h"
#include "apps/krsim/output_file.h"
#include "kr/application/setup_presets.h"
#include "kr/persistence/files/magic_tag.h"
#include "kr/persistence/setups/setup_section.h"

namespace krsim {
namespace {

using KrPersistence::KrMagicTag;
using KrSim::SetupPresets;

/// The file is held by the caller.
KrSim::ApplicationConfig& findSetup(const KrPersistence::KrFile& file, const std::string& filename) {
    if (const auto setup = KrPersistence::KrSetupSection::find(file)) return *setup;
    throw Failure(eExitCode::kUsage, "'" + filename + "' holds no setup");
}

}  // namespace

void editPresets(const PresetPlan& plan) {
    if (plan.setupFile == kStandardStream || plan.variant == kStandardStream)
        throw Failure(eExitCode::kUsage, "presets are kept in a setup file, not in a stream");
    const auto file = loadFile(plan.setupFile);
    auto& setup = findSetup(*file, plan.setupFile);
    if (plan.name.empty()) {
        for (const auto& each : SetupPresets::getNames(setup))
            std::printf("%s\n", each.c_str());
        return;
    }
    if (!plan.variant.empty()) {
        const auto variant = loadFile(plan.variant);
        SetupPresets::store(setup, plan.name, findSetup(*variant, plan.variant));
    } else if (!SetupPresets::remove(setup, plan.name)) {
        throw Failure(eExitCode::kUsage, "'" + plan.setupFile + "' has no preset '" + plan.name + "'");
    }
    constexpr bool kIsForced = true;  // it is this file that is changed
    saveFile(*file, plan.setupFile,
             toFlags(kindOf(KrMagicTag::createFromFile(plan.setupFile).getFileFormat()), plan.hasChecksum), kIsForced);
}

}  // namespace krsim
