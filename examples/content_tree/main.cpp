// Content: loads a plug-in by the key of a type, builds a tree of objects, clones it, and places instances that follow
// their definition.

#include <kr/foundation.h>

#include <cstdio>
#include <filesystem>
#include <string>

namespace {

using Kr::KrSmartPtr;
using KrSim::KrContentID;
using KrSim::KrExtension;
using KrSim::KrExtensionFactory;
using KrSim::KrFactoryKey;
using KrSim::KrObject;

const KrFactoryKey& roadVehicleKey() {
    static const KrFactoryKey key("c1cc32ca-534d-422e-aed7-dc6a7f583235", "Simulation", "Road Vehicle", "RoadVehicle");
    return key;
}

void print(const KrExtension& extension, int depth = 0) {
    std::printf("%*s%s", 4 + 2 * depth, "", extension.getName().c_str());
    if (const auto* mass = extension.getParameter("Mass")) {
        std::printf(": %s, mass %s kg%s, acceleration %s m/s2", extension.getTypeName().c_str(),
                    mass->toString().c_str(), KrObject::isInstanceData(*mass) ? " (its own)" : "",
                    extension.getOutput("Acceleration")->toString().c_str());
    }
    std::printf("\n");
    if (const auto* object = dynamic_cast<const KrObject*>(&extension)) {
        for (std::size_t i = 0; i < object->getExtensionCount(); ++i)
            print(*object->getExtension(i), depth + 1);
    }
}

KrSmartPtr<KrObject> makeObject(const char* name) {
    auto object = Kr::makeSmart<KrObject>();
    object->setName(name);
    return object;
}

/// Null, with a warning in the log, without the plug-in.
KrSmartPtr<KrExtension> makeVehicle(const char* name, double mass) {
    auto vehicle = KrExtensionFactory::create(roadVehicleKey());
    if (!vehicle) return vehicle;
    vehicle->setName(name);
    vehicle->getParameter("Mass")->set(mass);
    return vehicle;
}

}  // namespace

int main(int count, char** arguments) {
    auto& plugins = KrPluginSystem::KrPluginManager::instance();
    const auto beside = std::filesystem::path(arguments[0]).parent_path() / "plugins";
    plugins.addPluginSearchDir(count > 1 ? arguments[1] : beside.string());

    std::printf("A type that no plug-in has been loaded for: %s\n", roadVehicleKey().toString().c_str());
    const auto truck = makeVehicle("Truck", 8000.0);
    if (!truck) return 1;
    for (const auto& plugin : plugins.getLoadedPlugins())
        std::printf("    its key named the plug-in, which is loaded now: %s %s\n", plugin.name.c_str(),
                    plugin.version.c_str());

    std::printf("\nA tree; names are unique in their object\n");
    const auto convoy = makeObject("Convoy");
    const auto escort = makeObject("Escort");
    convoy->add(truck.get());
    convoy->add(makeVehicle("Truck", 9000.0).get());
    convoy->add(escort.get());
    escort->add(makeVehicle("Car", 1500.0).get());
    truck->getInput("Force")->set(16000.0);
    print(*convoy);
    const KrSim::KrContentPath path("kr://Escort/Car", convoy.get());
    std::printf("    %s is %s\n", path.toString().c_str(), path.getExtension()->getPath().c_str());

    std::printf("\nA clone without the escort is content of its own\n");
    const auto clone = convoy->clone([&](const KrExtension* each) { return each != escort.get(); });
    clone->setName("Column");
    truck->getParameter("Mass")->set(10000.0);
    print(*clone);

    std::printf("\nAn instance follows its definition, but for what is its own\n");
    const auto id = KrContentID::createFromWords(0xAB, 0xCD);
    const auto instance = convoy->instantiate(id);
    auto* mass = instance->findExtensionByName("Truck 2", false)->getParameter("Mass");
    mass->set(9500.0);
    KrObject::setInstanceData(*mass);
    escort->add(makeVehicle("Motorcycle", 250.0).get());
    convoy->findExtensionByName("Truck 2", false)->getParameter("Mass")->set(4000.0);
    instance->sync();
    std::printf("    %s, from %s\n", instance->getContentID().toString().c_str(),
                instance->getDefinition()->getName().c_str());
    print(*instance);

    std::printf("\nA reference finds content by its ID when it comes\n");
    KrSim::KrContentReference reference(KrContentID::createFromWords(1, 2));
    std::printf("    before: %s\n", reference.get() != nullptr ? "found" : "waiting");
    const auto guest = convoy->instantiate(KrContentID::createFromWords(1, 2));
    std::printf("    after: %s\n", reference.get() == guest.get() ? "found" : "waiting");
}
