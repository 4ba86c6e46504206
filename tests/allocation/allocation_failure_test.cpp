// Every allocation of an operation fails once, alone and with all that follow: the operation succeeds, or it fails and
// leaves everything as it was, and then succeeds.

#include "tests/allocation/allocation_failure.h"

#include <gmock/gmock.h>

#include <cstdarg>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <ostream>
#include <tuple>

#include "kr/core/connections/connection_factory.h"
#include "kr/data/field_array.h"
#include "kr/data/vector.h"
#include "kr/extension/content_registry.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/input_output_container.h"
#include "kr/persistence/files/internal/file_calls.h"
#include "kr/persistence/objects/object_file.h"
#include "kr/persistence/objects/object_section.h"
#include "kr/persistence/objects/open_ends.h"
#include "kr/persistence/states/simulation_snapshot.h"
#include "kr/persistence/states/simulation_state_file.h"
#include "kr/persistence/states/snapshot_ring.h"
#include "kr/platform/log.h"
#include "kr/platform/plugins/plugin_manager.h"
#include "tests/allocation/world.h"

namespace allocation_test {
using KrSim::detail::FieldsAccess;

namespace {

using KrPersistence::KrFile;
using KrPersistence::SimulationSnapshot;
using test_support::AllocationFailure;

// --- Content -------------------------------------------------------------------------------------------------------

class TownOperation : public Operation {
public:
    [[nodiscard]] std::string describe() const override {
        return (town ? allocation_test::describe(*town) : "no town\n") +
               (made ? allocation_test::describe(*made) : "nothing made\n");
    }

protected:
    KrSmartPtr<KrObject> town = makeTown();
    KrSmartPtr<KrExtension> made;
};

class CloneTree final : public TownOperation {
    bool run() override {
        made = town->clone();
        return made != nullptr;
    }
};

class Create final : public TownOperation {
    bool run() override {
        part = KrSim::KrExtensionFactory::create(kPartType);
        return part != nullptr;
    }
    [[nodiscard]] std::string describe() const override {
        return TownOperation::describe() + (part && part->hasImplementation() ? "made" : "not made");
    }
    KrSmartPtr<KrExtension> part;
};

class Instantiate final : public TownOperation {
    bool run() override {
        made = town->instantiate();
        return made != nullptr;
    }
};

/// The definition changes, and the user of its instance has changed something else.
class FollowDefinition : public TownOperation {
protected:
    FollowDefinition() {
        country->add(instance.get());
        Kr::KrConnectionFactory::connect(neighbour->getOutput("Speed"),
                                         instance->findExtensionByName("Well", true)->getInput("Force"));
        instance->findExtensionByName("Mill", false)->getParameter("Text")->set<std::string>(kOwn);
        auto* mill = town->findExtensionByName("Mill", false);
        mill->getParameter("Added at run time")->set<double>(3.5);
        mill->addParameter("Added later", KrData::Types::kDouble);
        const auto tower = makePart("Tower");
        town->add(tower.get());
        Kr::KrConnectionFactory::connect(tower->getOutput("Speed"), mill->getInput("Force"));
        auto* block = static_cast<KrObject*>(town->findExtensionByName("Block", false));
        block->remove(block->getExtension(0));
    }
    [[nodiscard]] std::string describe() const override {
        return TownOperation::describe() + allocation_test::describe(*country) + allocation_test::describe(*neighbour);
    }
    /// The instance is at its place, and has the changes of its user.
    [[nodiscard]] std::string describeKept() const override {
        const auto* mill = instance->findExtensionByName("Mill", false);
        return country->getName() + std::to_string(country->getExtensionCount()) + instance->getPath() +
               mill->getParameter("Text")->toString() +
               std::to_string(KrSim::KrContentRegistry::instance().find(instance->getContentID()) == instance.get());
    }

    static constexpr const char* kOwn = "a text that only the instance has";
    KrSmartPtr<KrObject> country = makeHouse("Country");
    KrSmartPtr<KrObject> instance = town->instantiate();
    KrSmartPtr<KrExtension> neighbour = makePart("Neighbour");
};

class Sync final : public FollowDefinition {
    bool run() override { return instance->sync(); }
};

class AddToObject final : public TownOperation {
    bool run() override { return town->add(part.get()); }
    KrSmartPtr<KrExtension> part = makePart("Mill");
};

class Connect final : public TownOperation {
    bool run() override {
        auto* mill = town->findExtensionByName("Mill", false);
        auto* well = town->findExtensionByName("Well", true);
        return Kr::KrConnectionFactory::connect(well->getOutput("Speed"), mill->getInput("Force")) != nullptr;
    }
};

class ConnectQueued final : public TownOperation {
    bool run() override {
        auto* mill = town->findExtensionByName("Mill", false);
        auto* well = town->findExtensionByName("Well", true);
        return Kr::KrConnectionFactory::connectQueued(well->getOutput("Speed"), mill->getInput("Force")) != nullptr;
    }
    test_support::DispatcherScope dispatcher;
};

class ConnectContainers final : public TownOperation {
    bool run() override {
        auto* mill = town->findExtensionByName("Mill", false);
        auto* well = town->findExtensionByName("Well", true);
        return Kr::KrConnectionFactory::connect(&mill->getParameterContainer(), &well->getParameterContainer()) !=
               nullptr;
    }
};

class Disconnect final : public TownOperation {
    bool run() override {
        auto* mill = town->findExtensionByName("Mill", false);
        auto* well = town->findExtensionByName("Well", true);
        return Kr::KrConnectionFactory::disconnect(mill->getOutput("Speed"), well->getInput("Force"));
    }
};

class DestroyTree final : public TownOperation {
    bool run() override {
        town.reset();
        return true;
    }
    [[nodiscard]] bool mayThrow() const override { return false; }
};

// --- Application ---------------------------------------------------------------------------------------------------

class SimulationOperation : public Operation {
public:
    [[nodiscard]] std::string describe() const override {
        return simulation.describe() + allocation_test::describe(*town);
    }

protected:
    Simulation simulation;
    KrSmartPtr<KrObject> town = makeTown();
};

class AddToApplication final : public SimulationOperation {
    bool run() override { return simulation.application->add(town.get()); }
};

class InApplication : public SimulationOperation {
protected:
    InApplication() { simulation.application->add(town.get()); }
};

class RemoveFromApplication final : public InApplication {
    bool run() override { return simulation.application->remove(town.get()); }
    [[nodiscard]] bool mayThrow() const override { return false; }
};

class RemoveAllExtensions final : public InApplication {
    bool run() override {
        simulation.application->removeAllExtensions();
        return true;
    }
    [[nodiscard]] bool mayThrow() const override { return false; }
};

class CreateApplication final : public Operation {
    bool run() override {
        application = KrSim::KrApplication::create(clock);
        return application != nullptr;
    }
    [[nodiscard]] std::string describe() const override {
        return application ? std::to_string(application->getExtensionCount()) : "none";
    }
    Kr::ManualClock clock;
    test_support::DispatcherScope dispatcher;
    KrSmartPtr<KrSim::KrApplication> application;
};

class InsertModule final : public SimulationOperation {
public:
    InsertModule() {
        simulation.application->add(town.get());
        proxy->setName("Another");
        worker = new Worker(proxy.get());
    }

private:
    bool run() override {
        return simulation.application->insertModule(KrSim::KrSmartInterface<KrSim::ISimulatorModule>(worker));
    }
    [[nodiscard]] std::string describe() const override {
        return SimulationOperation::describe() + allocation_test::describe(*proxy) +
               std::to_string(simulation.application->getModuleCount()) + " modules, managed " +
               std::to_string(worker->managedCount());
    }
    KrSmartPtr<KrSim::KrSimulatorModule> proxy = Kr::makeSmart<KrSim::KrSimulatorModule>();
    Worker* worker{nullptr};
};

class DestroyApplication final : public InApplication {
    bool run() override {
        simulation.application.reset();
        return true;
    }
    [[nodiscard]] bool mayThrow() const override { return false; }
    [[nodiscard]] std::string describe() const override {
        return simulation.application ? InApplication::describe() : allocation_test::describe(*town);
    }
};

// --- States --------------------------------------------------------------------------------------------------------

class TakeSnapshot final : public InApplication {
    bool run() override {
        snapshot = SimulationSnapshot::take(*simulation.application);
        return snapshot != nullptr;
    }
    [[nodiscard]] std::string describe() const override {
        return InApplication::describe() +
               (snapshot ? std::to_string(snapshot->getState().getExtensionStates().size()) : "none");
    }
    std::shared_ptr<const SimulationSnapshot> snapshot;
};

class RestoreState final : public InApplication {
public:
    RestoreState() {
        simulation.sendLater(kEvent, 1.0);
        simulation.sendLater(kEvent + 1, 2.0);
        snapshot = SimulationSnapshot::take(*simulation.application);
        simulation.sendLater(kEvent + 2, 3.0);
        simulation.worker->shift = 2;
        auto* mill = town->findExtensionByName("Mill", false);
        mill->getImplementationAs<Part>()->memory = 8;
        auto& fields = mill->getParameterContainer();
        fields["Text"].set<std::string>("short");
        KrData::Vector<std::string>::from(fields["Stones"])->clear();
        KrData::Vector<double>::from(fields["Weights"])->clear();
        using Numbers = KrData::FieldArray<KrData::Field<double>>;
        static_cast<Numbers&>(fields["Sails"]).resize(0);
        static_cast<Numbers&>(fields["Gears"]).resize(5);
    }

private:
    static constexpr int kEvent = 70'000;
    bool run() override { return snapshot->restore(*simulation.application).isRestored; }
    std::shared_ptr<const SimulationSnapshot> snapshot;
};

/// Drops the later snapshots of the ring only when the earlier one was restored.
class Rewind final : public InApplication {
public:
    Rewind() {
        simulation.application->setSyncMode(KrSim::eSynchronizationMode::kSyncOff);
        ring.record();
        simulation.application->update();
        ring.record();
    }

private:
    bool run() override {
        bool isRestored = false;
        ring.rewindTo(0, [&](const KrPersistence::RestoreReport& report) { isRestored = report.isRestored; });
        return isRestored;
    }
    [[nodiscard]] std::string describe() const override {
        return InApplication::describe() + std::to_string(ring.size()) + " snapshots";
    }
    KrPersistence::SnapshotRing ring{*simulation.application};
};

/// A file that a save replaces.
class SavedFile {
public:
    /// The file that was just saved is what each save has to give; now there is another one.
    void expectSame() {
        _whole = _read();
        std::ofstream(path) << kOld;
    }
    [[nodiscard]] std::string describe() const {
        const auto bytes = _read();
        const char* what = bytes == _whole ? "whole" : bytes == kOld ? "old" : "damaged";
        return std::string(what) + (std::filesystem::exists(path + ".temp") ? ", with a rest" : "");
    }

private:
    static constexpr const char* kOld = "what was there before";
    [[nodiscard]] std::string _read() const {
        std::ifstream stream(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    test_support::TemporaryFolder _folder;
    std::string _whole;

public:
    const std::string path = _folder / "file";
};

template <int kFlags>
class SaveState final : public InApplication {
public:
    SaveState() {
        SaveState::run();
        file.expectSame();
    }

private:
    bool run() override {
        return static_cast<bool>(KrPersistence::saveSimulationState(*simulation.application, file.path, {kFlags}));
    }
    [[nodiscard]] bool mayThrow() const override { return false; }
    [[nodiscard]] std::string describe() const override { return InApplication::describe() + file.describe(); }
    SavedFile file;
};

// --- Object files --------------------------------------------------------------------------------------------------

template <int kFlags>
class SaveObjects final : public TownOperation {
public:
    SaveObjects() {
        SaveObjects::run();
        file.expectSame();
    }

private:
    bool run() override {
        KrObject* const objects[] = {town.get()};
        return static_cast<bool>(KrPersistence::saveObjects(file.path, objects, kFlags));
    }
    [[nodiscard]] bool mayThrow() const override { return false; }
    [[nodiscard]] std::string describe() const override { return TownOperation::describe() + file.describe(); }
    SavedFile file;
};

template <int kFlags>
class LoadObjects final : public TownOperation {
public:
    LoadObjects() {
        KrObject* const objects[] = {town.get()};
        EXPECT_TRUE(KrPersistence::saveObjects(path, objects, kFlags));
        town.reset();
    }

private:
    bool run() override {
        auto loaded = KrPersistence::loadObjects(path);
        if (!loaded) return false;
        made = loaded->objects.front();
        return true;
    }
    [[nodiscard]] bool mayThrow() const override { return false; }
    test_support::TemporaryFolder folder;
    const std::string path = folder / "town";
};

/// Existing content waits for content of the file: a connection and a reference.
class LoadWhatIsMissing final : public Operation {
public:
    LoadWhatIsMissing() {
        {
            const auto town = makeTown();
            yard->add(makePart("Pump").get());
            auto* pump = yard->getExtension(0);
            auto* mill = town->findExtensionByName("Mill", false);
            pump->addParameter("Target", KrData::Types::kExtension)->set<KrExtension*>(mill);
            Kr::KrConnectionFactory::connect(mill->getOutput("Speed"), pump->getInput("Force"));
            KrObject* const towns[] = {town.get()};
            KrObject* const yards[] = {yard.get()};
            EXPECT_TRUE(KrPersistence::saveObjects(townPath, towns));
            EXPECT_TRUE(KrPersistence::saveObjects(yardPath, yards));
            yard.reset();
        }
        yard = KrSmartPtr<KrObject>(KrPersistence::loadObjects(yardPath)->getObject(0));
    }

private:
    bool run() override {
        auto loaded = KrPersistence::loadObjects(townPath);
        if (!loaded) return false;
        made = loaded->objects.front();
        return true;
    }
    [[nodiscard]] bool mayThrow() const override { return false; }
    [[nodiscard]] std::string describe() const override {
        const auto text =
            allocation_test::describe(*yard) + (made ? allocation_test::describe(*made) : "nothing made\n");
        return text + std::to_string(KrPersistence::describeOpenEnds(*yard->getExtension(0)).size()) + " wait\n";
    }
    /// A connection that ended with its source lives on in the list of its sink until the next one comes.
    void undoLasting() override { FieldsAccess::ownConnection(yard->getExtension(0)->getFieldsContainer(), nullptr); }
    test_support::TemporaryFolder folder;
    const std::string townPath = folder / "town";
    const std::string yardPath = folder / "yard";
    KrSmartPtr<KrObject> yard = makeHouse("Yard");
    KrSmartPtr<KrExtension> made;
};

class DestroyFile final : public TownOperation {
public:
    DestroyFile() {
        auto* section = new KrPersistence::KrObjectSection;
        section->addObject(town.get());
        file->addSection(section);
        for (auto* each : {town.get()})
            file->registerReferencableObject(each);
    }

private:
    bool run() override {
        file.reset();
        return true;
    }
    [[nodiscard]] bool mayThrow() const override { return false; }
    KrSmartPtr<KrFile> file = Kr::makeSmart<KrFile>();
};

// --- Plug-ins ------------------------------------------------------------------------------------------------------

class PluginOperation : public Operation {
protected:
    PluginOperation() {
        manager.resetPluginSearchDirs();
        manager.addPluginSearchDir(KR_PLUGIN_ZOO);
    }
    ~PluginOperation() override {
        made.reset();
        manager.unload("Animals");
        manager.resetPluginSearchDirs();
    }
    [[nodiscard]] std::string describe() const override {
        return made && made->hasImplementation() ? "made" : "not made";
    }
    KrPluginSystem::KrPluginManager& manager = KrPluginSystem::KrPluginManager::instance();
    KrSmartPtr<KrExtension> made;
};

class LoadPlugin final : public PluginOperation {
    bool run() override { return manager.load("Animals"); }
};

class UnloadPlugin final : public PluginOperation {
public:
    UnloadPlugin() { manager.load("Animals"); }

private:
    bool run() override { return manager.unload("Animals"); }
};

class CreateFromPlugin final : public PluginOperation {
    bool run() override {
        made =
            KrSim::KrExtensionFactory::create({"5f0c7b52-0d3e-4a57-9f0e-2b8d9c1a6e41", "Animal", "Horse", "Animals"});
        return made != nullptr;
    }
    /// The plug-in may have been loaded when the extension failed.
    void undoLasting() override { manager.unload("Animals"); }
};

// --- The table -----------------------------------------------------------------------------------------------------

using MakeOperation = std::unique_ptr<Operation> (*)();

template <class T>
std::unique_ptr<Operation> make() {
    return std::unique_ptr<Operation>(new T);
}

struct Case {
    const char* name;
    MakeOperation make;

    friend void PrintTo(const Case& row, std::ostream* stream) { *stream << row.name; }
};

void dropLogMessages(Kr::eLogLevel, const char*, std::va_list) {}

/// Waits for no disk.
class QuickFiles final : public KrPersistence::detail::FileCalls {
public:
    QuickFiles() { replace(this); }
    ~QuickFiles() override { replace(nullptr); }
    int fsync(int) override { return 0; }
};

class FailingAllocation : public testing::TestWithParam<std::tuple<Case, AllocationFailure::Kind>> {
protected:
    FailingAllocation() { Kr::LogSetHandler(dropLogMessages); }
    ~FailingAllocation() override { Kr::LogSetHandler(nullptr); }
    Types types;
    QuickFiles files;
};

struct Worlds {
    std::string kept;
    std::string after;
};

std::string describeAll(const Operation& operation) {
    return operation.describe() + describeProcess();
}

/// The second of two, because the first one makes what stays for good.
Worlds runUndisturbed(MakeOperation make) {
    Worlds worlds;
    for (int i = 0; i < 2; ++i) {
        const auto operation = make();
        worlds.kept = operation->describeKept();
        EXPECT_TRUE(operation->run());
        worlds.after = describeAll(*operation);
    }
    return worlds;
}

TEST_P(FailingAllocation, LeavesEverythingAsItWasOrSucceeds) {
    const auto& [row, kind] = GetParam();
    const auto expected = runUndisturbed(row.make);
    const auto processBefore = describeProcess();
    bool hasStruck = true;
    for (std::size_t number = 1; hasStruck && !HasFailure(); ++number) {
        SCOPED_TRACE("allocation " + std::to_string(number));
        auto operation = row.make();
        bool hasSucceeded = false;
        bool hasThrown = false;
        {
            AllocationFailure failure(number, kind);
            try {
                hasSucceeded = operation->run();
            } catch (...) {
                hasThrown = true;
            }
            failure.end();
            hasStruck = failure.hasStruck();
        }
        EXPECT_TRUE(!hasThrown || operation->mayThrow());
        if (!hasSucceeded) operation->undoLasting();
        if (hasSucceeded) {
            EXPECT_EQ(describeAll(*operation), expected.after);
        } else {
            EXPECT_EQ(operation->describeKept(), expected.kept);
            EXPECT_TRUE(operation->run());
            EXPECT_EQ(describeAll(*operation), expected.after);
        }
        operation.reset();
        EXPECT_EQ(describeProcess(), processBefore);
    }
}

const Case kCases[] = {
    {"CloneTree", make<CloneTree>},
    {"TakeSnapshot", make<TakeSnapshot>},
    {"RestoreState", make<RestoreState>},
    {"Rewind", make<Rewind>},
    {"SaveStateBinary", make<SaveState<0>>},
    {"SaveStateXml", make<SaveState<KrFile::kXml>>},
    {"SaveObjectsBinary", make<SaveObjects<0>>},
    {"SaveObjectsJson", make<SaveObjects<KrFile::kJson>>},
    {"LoadObjectsBinary", make<LoadObjects<0>>},
    {"LoadObjectsXml", make<LoadObjects<KrFile::kXml>>},
    {"LoadWhatIsMissing", make<LoadWhatIsMissing>},
    {"LoadPlugin", make<LoadPlugin>},
    {"UnloadPlugin", make<UnloadPlugin>},
    {"Create", make<Create>},
    {"CreateFromPlugin", make<CreateFromPlugin>},
    {"Instantiate", make<Instantiate>},
    {"Sync", make<Sync>},
    {"AddToObject", make<AddToObject>},
    {"AddToApplication", make<AddToApplication>},
    {"RemoveFromApplication", make<RemoveFromApplication>},
    {"RemoveAllExtensions", make<RemoveAllExtensions>},
    {"InsertModule", make<InsertModule>},
    {"CreateApplication", make<CreateApplication>},
    {"DestroyTree", make<DestroyTree>},
    {"DestroyApplication", make<DestroyApplication>},
    {"DestroyFile", make<DestroyFile>},
    {"Connect", make<Connect>},
    {"ConnectQueued", make<ConnectQueued>},
    {"ConnectContainers", make<ConnectContainers>},
    {"Disconnect", make<Disconnect>},
};

INSTANTIATE_TEST_SUITE_P(Of, FailingAllocation,
                         testing::Combine(testing::ValuesIn(kCases),
                                          testing::Values(AllocationFailure::Kind::kSingle,
                                                          AllocationFailure::Kind::kLasting)),
                         [](const auto& each) {
                             return std::string(std::get<0>(each.param).name) +
                                    (std::get<1>(each.param) == AllocationFailure::Kind::kSingle ? "Once"
                                                                                                 : "FromThenOn");
                         });
}  // namespace
}  // namespace allocation_test
