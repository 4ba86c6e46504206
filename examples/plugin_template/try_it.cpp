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

    // The module steps the vehicle, frame by frame, in an application that simulates.
    const KrSim::KrFactoryKey trafficKey("b53058a4-f899-4c88-9733-147b6482f00e", "Simulation", "Road Traffic",
                                         "RoadVehicle");
    const auto traffic = KrSim::KrExtensionFactory::create(trafficKey);
    if (!traffic) return 1;
    const auto application = KrSim::KrApplication::create();
    application->setSyncMode(KrSim::eSynchronizationMode::kSyncOff);  // as fast as it goes
    application->setApplicationMode(KrSim::eApplicationMode::kSimulating);
    application->insertModule(
        KrSim::KrSmartInterface<KrSim::ISimulatorModule>(traffic->getImplementationAs<KrSim::ISimulatorModule>()));
    application->add(vehicle.get());
    application->run({.seconds = 2.0});
    std::printf("after 2 s it does %.2f m/s\n", vehicle->getOutput("Speed")->as<double>()->getValue());
}
