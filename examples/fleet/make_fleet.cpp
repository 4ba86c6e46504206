// Writes a fleet as files: make_fleet PLUGIN_FOLDER CARS DEFINITION_FILE FLEET_FILE
// The definition is a quarter car of six parts; the cars of the fleet are instances of it, each on a road of its own.

#include <kr/foundation.h>

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Kr::KrSmartPtr;
using KrSim::KrObject;

constexpr std::int32_t kMostCars = 100'000;
constexpr std::int32_t kRoadClasses = 8;

/// 0 for what is no number of cars.
std::int32_t readCount(const char* text) {
    std::int32_t count = 0;
    const auto* end = text + std::strlen(text);
    const auto read = std::from_chars(text, end, count);
    return read.ec == std::errc{} && read.ptr == end && count >= 1 && count <= kMostCars ? count : 0;
}

/// By its key: this program does not have the classes of the plug-in.
KrSmartPtr<KrObject> makeDefinition() {
    const KrSim::KrFactoryKey key("1a2d1bab-73cb-46c6-88b1-e68b30bbc279", "Fleet", "Quarter Car", "Fleet");
    auto car = Kr::dynamicPointerCast<KrObject>(KrSim::KrExtensionFactory::create(key));
    if (!car) throw std::runtime_error("there is no quarter car: see the log, and the folder of plug-ins");
    car->setName("Quarter Car");
    return car;
}

/// Car 1 drives on a road of class A, car 2 on one of class B, and so on.
KrSmartPtr<KrObject> makeCar(KrObject& definition, std::int32_t number) {
    auto car = definition.instantiate();
    auto* road = car ? car->findExtensionByName("Road", false) : nullptr;
    if (road == nullptr) throw std::runtime_error("the quarter car has no road");
    car->setName(("Car " + std::to_string(number)).c_str());
    auto roadClass = road->getParameter("Road Class")->toEnum();
    roadClass.setValue((number - 1) % kRoadClasses);
    road->getParameter("Road Class")->set(roadClass);
    road->getParameter("Seed")->set(number);
    return car;
}

void save(const char* file, const std::vector<KrObject*>& objects) {
    if (const auto saved = KrPersistence::saveObjects(file, objects, KrPersistence::KrFile::kXml); !saved)
        throw std::runtime_error(saved.toString());
}

void writeFleet(std::int32_t count, const char* definitionFile, const char* fleetFile) {
    save(definitionFile, {makeDefinition().get()});
    // Loaded from its file, the definition has an identity by which the instances find it again.
    const auto loaded = KrPersistence::loadObjects(definitionFile, {.referringFile = fleetFile});
    if (!loaded) throw std::runtime_error(loaded.toString());
    auto& definition = *loaded->getObject(0);
    std::vector<KrSmartPtr<KrObject>> cars;
    std::vector<KrObject*> objects;
    for (std::int32_t number = 1; number <= count; ++number) {
        cars.push_back(makeCar(definition, number));
        objects.push_back(cars.back().get());
    }
    save(fleetFile, objects);
}

}  // namespace

int main(int count, char** arguments) {
    const std::int32_t cars = count == 5 ? readCount(arguments[2]) : 0;
    if (cars == 0) {
        std::fprintf(stderr, "make_fleet PLUGIN_FOLDER CARS DEFINITION_FILE FLEET_FILE, with 1 to %d cars\n",
                     static_cast<int>(kMostCars));
        return 2;
    }
    try {
        KrPluginSystem::KrPluginManager::instance().addPluginSearchDir(arguments[1]);
        writeFleet(cars, arguments[3], arguments[4]);
        return 0;
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "make_fleet: %s\n", exception.what());
        return 1;
    }
}
