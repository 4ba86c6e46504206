// A fleet of quarter cars in three forms: plain C++, one extension for a car, and six parts with connections. Items are
// steps of cars.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bare_fleet.h"
#include "benchmarks/counted_loop.h"
#include "benchmarks/second_thread.h"
#include "fleet_modules.h"
#include "quarter_car_parts.h"

namespace {

using fleet::BareCar;
using fleet::CarState;
using fleet::eRoadClass;
using fleet::kStepsPerFrame;
using Kr::KrSmartPtr;
using KrSim::KrApplication;
using KrSim::KrExtension;

/// How many frames are compared with the plain program; large fleets take long.
int checkedFramesOf(std::size_t cars) {
    return static_cast<int>(std::clamp<std::size_t>(20'000 / cars, 2, 60));
}

eRoadClass roadClassOf(std::size_t car) {
    return static_cast<eRoadClass>(car % 8);
}

/// Every car has a road of its own.
std::vector<BareCar> makeBareCars(std::size_t count) {
    std::vector<BareCar> cars(count);
    for (std::size_t i = 0; i < count; ++i)
        cars[i].road = fleet::makeRoadProfile(roadClassOf(i), static_cast<std::int32_t>(i));
    return cars;
}

template <class Form>
void giveRoad(Form& car, std::size_t number) {
    car.roadClass = Kr::KrEnum(roadClassOf(number));
    car.seed = static_cast<std::int32_t>(number);
}

std::vector<double> valuesOf(const CarState& car) {
    return {car.distance,       car.elevation,         car.compression,           car.tyreForce,
            car.damping,        car.suspension.force,  car.suspension.deflection, car.suspension.dissipatedEnergy,
            car.wheel.position, car.wheel.velocity,    car.wheel.acceleration,    car.body.position,
            car.body.velocity,  car.body.acceleration, car.ride.peakAcceleration, car.ride.discomfort};
}

/// A car of one extension.
class OnePart {
public:
    using Module = fleet::CarsModule;

    OnePart(KrApplication& application, std::size_t number) : _car(*new fleet::WholeCar(_proxy.get())) {
        giveRoad(_car, number);
        application.add(_proxy.get());
    }

    [[nodiscard]] std::vector<double> getValues() const {
        return {_car.distance,      _car.elevation,        _car.compression,       _car.tyreForce,
                _car.damping,       _car.suspensionForce,  _car.deflection,        _car.dissipatedEnergy,
                _car.wheelPosition, _car.wheelVelocity,    _car.wheelAcceleration, _car.bodyPosition,
                _car.bodyVelocity,  _car.bodyAcceleration, _car.peakAcceleration,  _car.discomfort};
    }

private:
    KrSmartPtr<KrExtension> _proxy = Kr::makeSmart<KrExtension>();
    fleet::WholeCar& _car;
};

/// A car of six extensions.
class SixParts {
public:
    using Module = fleet::PartsModule;

    SixParts(KrApplication& application, std::size_t number) {
        giveRoad(_parts.road, number);
        fleet::connectParts(_parts);
        for (const auto& each : _proxies)
            application.add(each.get());
    }

    [[nodiscard]] std::vector<double> getValues() const {
        const auto& [road, tyre, skyhook, suspension, wheel, body] = _parts;
        return {road.distance,   road.elevation,    tyre.compression,      tyre.force,
                skyhook.damping, suspension.force,  suspension.deflection, suspension.dissipatedEnergy,
                wheel.position,  wheel.velocity,    wheel.acceleration,    body.position,
                body.velocity,   body.acceleration, body.peakAcceleration, body.discomfort};
    }

private:
    template <class Part>
    Part& _make() {
        _proxies.push_back(Kr::makeSmart<KrExtension>());
        return *new Part(_proxies.back().get());
    }

    std::vector<KrSmartPtr<KrExtension>> _proxies;
    fleet::QuarterCarParts _parts{_make<fleet::Road>(),       _make<fleet::Tyre>(),  _make<fleet::Skyhook>(),
                                  _make<fleet::Suspension>(), _make<fleet::Wheel>(), _make<fleet::Body>()};
};

template <class Car>
class Fleet {
public:
    explicit Fleet(std::size_t count) {
        _application->setSyncMode(KrSim::eSynchronizationMode::kSyncOff);
        _application->setSimulationFrameRate(60.0);
        _application->setApplicationMode(KrSim::eApplicationMode::kSimulating);
        const auto proxy = Kr::makeSmart<KrSim::KrSimulatorModule>();
        _application->insertModule(
            KrSim::KrSmartInterface<KrSim::ISimulatorModule>(new typename Car::Module(proxy.get())));
        for (std::size_t i = 0; i < count; ++i)
            _cars.push_back(std::make_unique<Car>(*_application, i));
        _isExact = _matchesBareCars();
    }

    void runFrame() const { _application->update(); }
    /// Whether the first frames had the bits of the plain program.
    [[nodiscard]] bool isExact() const noexcept { return _isExact; }

private:
    [[nodiscard]] bool _matchesBareCars() const {
        auto bare = makeBareCars(_cars.size());
        const double stepSeconds = _application->getSimulationTimeStep() / kStepsPerFrame;
        for (int frame = 0; frame < checkedFramesOf(_cars.size()); ++frame) {
            runFrame();
            fleet::runFrameStepByStep(bare, stepSeconds);
        }
        for (std::size_t i = 0; i < _cars.size(); ++i)
            if (_cars[i]->getValues() != valuesOf(bare[i].state)) return false;
        return true;
    }

    KrSmartPtr<KrApplication> _application = KrApplication::create();
    std::vector<std::unique_ptr<Car>> _cars;
    bool _isExact{false};
};

/// Made once for all runs; never destroyed.
template <class Car>
const Fleet<Car>& sharedFleet(std::int64_t count) {
    static auto& fleets = *new std::map<std::int64_t, Fleet<Car>>;
    return fleets.try_emplace(count, static_cast<std::size_t>(count)).first->second;
}

template <class Car>
void runFleet(benchmark::State& state) {
    const auto& cars = sharedFleet<Car>(state.range(0));
    cars.runFrame();
    {
        const kr_benchmark::CountedLoop counted(state);
        for (auto _ : state) {
            cars.runFrame();
        }
    }
    if (!cars.isExact()) state.SkipWithError("the values are not those of the plain program");
    state.SetItemsProcessed(state.iterations() * state.range(0) * kStepsPerFrame);
}

using RunFrame = void (*)(std::vector<BareCar>&, double);

void runBareFleet(benchmark::State& state, RunFrame runFrame) {
    auto cars = makeBareCars(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        runFrame(cars, 1.0 / 60.0 / kStepsPerFrame);
    }
    if (!(cars.back().state.ride.discomfort > 0.0)) state.SkipWithError("the last car did not move");
    state.SetItemsProcessed(state.iterations() * state.range(0) * kStepsPerFrame);
}

void BM_SixParts(benchmark::State& state) {
    runFleet<SixParts>(state);
}
void BM_OnePart(benchmark::State& state) {
    runFleet<OnePart>(state);
}
/// All cars make a step before any makes the next one, as the six parts do.
void BM_Bare(benchmark::State& state) {
    runBareFleet(state, fleet::runFrameStepByStep);
}
/// A car makes all its steps of a frame at once, as a car of one part does.
void BM_BareCarByCar(benchmark::State& state) {
    runBareFleet(state, fleet::runFrameCarByCar);
}
BENCHMARK(BM_Bare)->Arg(1)->Arg(1000)->Arg(10000);
BENCHMARK(BM_BareCarByCar)->Arg(1)->Arg(1000)->Arg(10000);
BENCHMARK(BM_OnePart)->Arg(1)->Arg(1000)->Arg(10000);
BENCHMARK(BM_SixParts)->Arg(1)->Arg(1000)->Arg(10000);

}  // namespace
