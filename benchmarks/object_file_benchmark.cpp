// Files of much content: that time grows with the content, and how much memory a load takes on its way.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

#include "benchmarks/extension_types.h"
#include "benchmarks/memory_peak.h"
#include "kr/core/connections/connection_factory.h"
#include "kr/data/container.h"
#include "kr/extension/object.h"
#include "kr/persistence/files/file.h"
#include "kr/persistence/objects/object_section.h"

namespace {

using kr_benchmark::Vehicle;
using KrPersistence::KrFile;
using KrPersistence::KrObjectSection;
using KrSim::KrObject;

constexpr std::int64_t kBranch = 100;

const KrSim::KrFactoryKey& vehicleType() {
    static const kr_benchmark::Types<Vehicle> types(1);
    return types.keys.front();
}

/// Child objects of a hundred vehicles each. Every vehicle drives the three that come after it.
Kr::KrSmartPtr<KrObject> makeConvoy(std::int64_t count) {
    auto root = Kr::makeSmart<KrObject>();
    std::vector<Vehicle*> vehicles;
    for (std::int64_t made = 0; made < count; made += kBranch) {
        const auto child = Kr::makeSmart<KrObject>();
        for (std::int64_t i = 1; i < kBranch; ++i) {
            const auto vehicle = KrSim::KrExtensionFactory::create(vehicleType());
            vehicle->setName(("Vehicle " + std::to_string(i)).c_str());
            child->add(vehicle.get());
            vehicles.push_back(vehicle->getImplementationAs<Vehicle>());
        }
        root->add(child.get());
    }
    for (std::size_t i = 0; i + 3 < vehicles.size(); ++i) {
        const auto& from = *vehicles[i];
        Kr::KrConnectionFactory::connect(from.speed.getField(), vehicles[i + 1]->force.getField());
        Kr::KrConnectionFactory::connect(from.distance.getField(), vehicles[i + 2]->brake.getField());
        Kr::KrConnectionFactory::connect(from.heading.getField(), vehicles[i + 3]->steering.getField());
    }
    return root;
}

/// The content of a section that a file owns.
std::unique_ptr<KrFile> makeFile(KrSim::KrExtension* object) {
    auto file = std::make_unique<KrFile>();
    auto section = std::make_unique<KrObjectSection>();
    section->addObject(object);
    file->addSection(section.release());
    return file;
}

std::string saveToText(KrFile& file, int flags = 0) {
    std::ostringstream stream;
    return file.save(stream, "", flags) ? std::move(stream).str() : std::string();
}

/// The file of a convoy; the convoy itself is gone.
const std::string& savedConvoy(std::int64_t count, int flags = 0) {
    static auto& files = *new std::map<std::pair<std::int64_t, int>, std::string>;
    auto& text = files[{count, flags}];
    if (text.empty()) text = saveToText(*makeFile(makeConvoy(count).get()), flags);
    return text;
}

void saveConvoy(benchmark::State& state, int flags) {
    const auto convoy = makeConvoy(state.range(0));
    const auto file = makeFile(convoy.get());
    std::size_t bytes = 0;
    for (auto _ : state)
        bytes = saveToText(*file, flags).size();
    if (bytes == 0) state.SkipWithError("not saved");
    state.counters["bytes"] = static_cast<double>(bytes);
}

void BM_SaveObjectFile(benchmark::State& state) {
    saveConvoy(state, 0);
}

void BM_SaveObjectFileUnchecked(benchmark::State& state) {
    saveConvoy(state, KrFile::kNoChecksum);
}

void loadConvoy(benchmark::State& state, int flags) {
    const auto& text = savedConvoy(state.range(0), flags);
    for (auto _ : state) {
        std::istringstream stream(text);
        auto file = std::make_unique<KrFile>();
        if (!file->load(stream)) state.SkipWithError("not loaded");
        state.PauseTiming();
        file.reset();
        state.ResumeTiming();
    }
}

void BM_LoadObjectFile(benchmark::State& state) {
    loadConvoy(state, 0);
}

void BM_LoadObjectFileUnchecked(benchmark::State& state) {
    loadConvoy(state, KrFile::kNoChecksum);
}

/// How far the memory of the process rises while a file is loaded, to what stays.
void BM_LoadingMemory(benchmark::State& state) {
    const auto& text = savedConvoy(state.range(0));
    for (auto _ : state) {
        std::istringstream stream(text);
        auto file = std::make_unique<KrFile>();
        const kr_benchmark::MemoryPeak memory;
        if (!file->load(stream)) state.SkipWithError("not loaded");
        const auto peak = memory.rise();
        const auto stays = memory.stays();
        state.counters["bytes_that_stay"] = stays;
        state.counters["peak_to_stay"] = stays > 0.0 ? peak / stays : 0.0;
        state.PauseTiming();
        file.reset();
        state.ResumeTiming();
    }
}

// --- Much content in few extensions ----------------------------------------------------------------------------------

KrSim::KrExtension& addPlain(KrObject& root, const char* name) {
    const auto extension = Kr::makeSmart<KrSim::KrExtension>();
    extension->setName(name);
    root.add(extension.get());
    return *extension;
}

/// One field of a first extension drives one of a second one, so many times.
Kr::KrSmartPtr<KrObject> makeTwoConnected(std::int64_t count) {
    auto root = Kr::makeSmart<KrObject>();
    auto& source = addPlain(*root, "Source");
    auto& sink = addPlain(*root, "Sink");
    for (std::int64_t i = 0; i < count; ++i) {
        auto* from = source.addOutput("Output " + std::to_string(i), typeid(double));
        auto* to = sink.addInput("Input " + std::to_string(i), typeid(double));
        Kr::KrConnectionFactory::connect(from, to);
    }
    return root;
}

Kr::KrSmartPtr<KrObject> makeReferences(std::int64_t count) {
    auto root = Kr::makeSmart<KrObject>();
    auto& holder = addPlain(*root, "Holder");
    auto& target = addPlain(*root, "Target");
    for (std::int64_t i = 0; i < count; ++i)
        holder.addParameter("Reference " + std::to_string(i), KrData::Types::kExtension)->set(&target);
    return root;
}

Kr::KrSmartPtr<KrObject> makeFields(std::int64_t count) {
    auto root = Kr::makeSmart<KrObject>();
    auto& holder = addPlain(*root, "Holder");
    for (std::int64_t i = 0; i < count; ++i)
        holder.addParameter("Field " + std::to_string(i), typeid(double));
    return root;
}

using Make = Kr::KrSmartPtr<KrObject> (*)(std::int64_t count);

void BM_Load(benchmark::State& state, Make make) {
    const std::string text = saveToText(*makeFile(make(state.range(0)).get()));
    for (auto _ : state) {
        std::istringstream stream(text);
        auto file = std::make_unique<KrFile>();
        if (!file->load(stream)) state.SkipWithError("not loaded");
        state.PauseTiming();
        file.reset();
        state.ResumeTiming();
    }
}
BENCHMARK_CAPTURE(BM_Load, connections, makeTwoConnected)->Arg(4'000)->Arg(40'000)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Load, references, makeReferences)->Arg(4'000)->Arg(40'000)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Load, fields, makeFields)->Arg(4'000)->Arg(40'000)->Unit(benchmark::kMillisecond);

/// Copied and destroyed again.
void BM_Clone(benchmark::State& state, Make make) {
    const auto root = make(state.range(0));
    for (auto _ : state)
        benchmark::DoNotOptimize(root->clone());
}
BENCHMARK_CAPTURE(BM_Clone, connections, makeTwoConnected)->Arg(4'000)->Arg(40'000)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Clone, fields, makeFields)->Arg(4'000)->Arg(40'000)->Unit(benchmark::kMillisecond);

void BM_Disconnect(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        const auto root = makeTwoConnected(state.range(0));
        const auto& from = root->getExtension(0)->getOutputContainer();
        const auto& to = root->getExtension(1)->getInputContainer();
        state.ResumeTiming();
        for (std::size_t i = 0; i < from.size(); ++i)
            Kr::KrConnectionFactory::disconnect(from.begin()[static_cast<std::ptrdiff_t>(i)],
                                                to.begin()[static_cast<std::ptrdiff_t>(i)]);
    }
}
BENCHMARK(BM_Disconnect)->Arg(4'000)->Arg(40'000)->Unit(benchmark::kMillisecond);

// --- Instances -------------------------------------------------------------------------------------------------------

/// A car of eight connected vehicles, about 15 kB of XML.
Kr::KrSmartPtr<KrObject> makeDefinition() {
    auto car = Kr::makeSmart<KrObject>();
    car->setName("Car");
    Vehicle* before = nullptr;
    for (int i = 1; i <= 8; ++i) {
        const auto part = KrSim::KrExtensionFactory::create(vehicleType());
        part->setName(("Part " + std::to_string(i)).c_str());
        car->add(part.get());
        auto* vehicle = part->getImplementationAs<Vehicle>();
        if (before != nullptr) Kr::KrConnectionFactory::connect(before->speed.getField(), vehicle->force.getField());
        before = vehicle;
    }
    return car;
}

/// Each has one parameter of its own.
std::vector<Kr::KrSmartPtr<KrObject>> makeInstances(KrObject& definition, std::int64_t count) {
    std::vector<Kr::KrSmartPtr<KrObject>> instances;
    for (std::int64_t i = 0; i < count; ++i) {
        instances.push_back(definition.instantiate());
        instances.back()->getExtension(2)->getParameter("Mass")->set(1.0 + static_cast<double>(i));
    }
    return instances;
}

std::string saveFleet(std::int64_t count, int flags) {
    const auto definition = makeDefinition();
    const auto instances = makeInstances(*definition, count);
    KrFile file;
    auto section = std::make_unique<KrObjectSection>();
    section->addObject(definition.get());
    for (const auto& each : instances)
        section->addObject(each.get());
    file.addSection(section.release());
    return saveToText(file, flags);
}

/// The bytes of a file that each further instance takes.
void BM_InstanceBytes(benchmark::State& state, int flags) {
    constexpr std::int64_t kCount = 1'000;
    for (auto _ : state) {
        const auto many = static_cast<double>(saveFleet(kCount + 1, flags).size());
        const auto one = static_cast<double>(saveFleet(1, flags).size());
        state.counters["bytes_each"] = (many - one) / static_cast<double>(kCount);
    }
    state.counters["bytes_of_definition"] = static_cast<double>(saveFleet(0, flags).size());
}
BENCHMARK_CAPTURE(BM_InstanceBytes, xml, KrFile::kXml)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_InstanceBytes, binary, 0)->Unit(benchmark::kMillisecond);

void BM_LoadInstances(benchmark::State& state) {
    const auto text = saveFleet(state.range(0), 0);
    for (auto _ : state) {
        std::istringstream stream(text);
        auto file = std::make_unique<KrFile>();
        if (!file->load(stream)) state.SkipWithError("not loaded");
        state.PauseTiming();
        file.reset();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_LoadInstances)->Arg(1'000)->Unit(benchmark::kMillisecond);

void BM_InstantiateAll(benchmark::State& state) {
    const auto definition = makeDefinition();
    for (auto _ : state) {
        auto instances = makeInstances(*definition, state.range(0));
        state.PauseTiming();
        instances.clear();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_InstantiateAll)->Arg(1'000)->Unit(benchmark::kMillisecond);

BENCHMARK(BM_SaveObjectFile)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SaveObjectFileUnchecked)->Arg(100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LoadObjectFileUnchecked)->Arg(100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LoadObjectFile)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LoadingMemory)->Arg(100'000)->Unit(benchmark::kMillisecond);

}  // namespace
