// Built against an installed copy of the library: only what is installed may be needed to compile, link and run it.
#include <kr/foundation.h>

#include <cstdio>
#include <string>

int main(int count, char** arguments) {
    const std::string compiledWith = std::to_string(KR_VERSION_MAJOR) + "." + std::to_string(KR_VERSION_MINOR) + "." +
                                     std::to_string(KR_VERSION_PATCH);
    std::printf("compiled with %s, running with %s\n", compiledWith.c_str(), Kr::getLibraryVersion());

    KrData::Container tree("Tree");
    tree.add<double>("Mass", 1.5);
    const bool isComplete = tree["Mass"].get<double>() == 1.5 && !KrSim::KrUuid::createFromName("Tree").isNull();

    // The plug-in lies in the folder that is given.
    auto& plugins = KrPluginSystem::KrPluginManager::instance();
    if (count > 1) plugins.addPluginSearchDir(arguments[1]);
    const bool hasPlugin = plugins.load("Guest");
    return isComplete && hasPlugin && compiledWith == Kr::getLibraryVersion() ? 0 : 1;
}
