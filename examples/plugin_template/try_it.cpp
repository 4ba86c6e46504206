#include <kr/foundation.h>

#include <cstdio>

int main(int count, char** arguments) {
    // The folder of the plug-in; what is not found there is looked for beside the library.
    auto& plugins = KrPluginSystem::KrPluginManager::instance();
    plugins.addPluginSearchDir(count > 1 ? arguments[1] : ".");

    const KrSim::KrFactoryKey key("c1cc32ca-534d-422e-aed7-dc6a7f583235", "Simulation", "Road Vehicle", "RoadVehicle");
    const auto vehicle = KrSim::KrExtensionFactory::create(key);  // loads RoadVehicle.krp
    if (!vehicle) return 1;                                       // the log says why

    vehicle->getInput("Force")->set(3000.0);
    std::printf("%s accelerates with %s m/s2\n", vehicle->getName().c_str(),
                vehicle->getOutput("Acceleration")->toString().c_str());

    // An application does this with its modules, frame by frame.
    const KrSim::KrFactoryKey trafficKey("b53058a4-f899-4c88-9733-147b6482f00e", "Simulation", "Road Traffic",
                                         "RoadVehicle");
    const auto traffic =
        Kr::dynamicPointerCast<KrSim::KrSimulatorModule>(KrSim::KrExtensionFactory::create(trafficKey));
    if (!traffic) return 1;
    traffic->addExtension(vehicle);
    for (int frame = 0; frame < 100; ++frame)
        traffic->update(KrSim::eApplicationMode::kSimulating);
    std::printf("after 2 s it does %.2f m/s\n", vehicle->getOutput("Speed")->as<double>()->getValue());
}
