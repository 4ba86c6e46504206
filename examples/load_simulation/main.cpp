// Loads a simulation from its setup file and runs 20 s of it: load_simulation SETUP_FILE PLUGIN_FOLDER

#include <kr/foundation.h>

#include <cstdio>
#include <string>

int main(int count, char** arguments) {
    if (count != 3) return 2;
    const std::string files[] = {arguments[1]};
    Kr::LogSetLevel(Kr::eLogLevel::kWarn);
    const auto quiet = [](KrSim::ApplicationConfig& setup) { setup.loggingLevel = Kr::KrEnum(Kr::eLogLevel::kWarn); };
    const auto application = KrSim::KrApplication::create();
    const auto simulation =
        KrPersistence::loadSimulation(*application, files, {.pluginDirectories = {arguments[2]}, .adjustSetup = quiet});
    std::fputs(simulation.toString().c_str(), stderr);
    if (!simulation.isComplete()) return 1;
    const int exitValue = application->run({.seconds = 20.0});

    const auto* car = dynamic_cast<const KrSim::KrObject*>(application->getExtension(0));
    const auto* vehicle = car != nullptr ? car->findExtensionByName("Vehicle", false) : nullptr;
    if (vehicle == nullptr) return 1;
    std::printf("%s after 20 s: %.1f km/h, %.1f m\n", car->getName().c_str(),
                3.6 * vehicle->getOutput("Speed")->toReal(), vehicle->getOutput("Distance")->toReal());
    return exitValue;
}
