#include "kr/persistence/states/simulation_state_file.h"

#include <gmock/gmock.h>

#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "kr/data/field_array.h"
#include "kr/data/vector.h"
#include "kr/events/event_id_list.h"
#include "kr/extension/state_access.h"
#include "kr/persistence/files/file.h"
#include "tests/persistence/states/world.h"
#include "tests/support/log_capture.h"
#include "tests/support/replaced.h"
#include "tests/support/temporary_folder.h"

namespace simulation_state_file_test {

using KrPersistence::eStatePayload;
using KrPersistence::KrFile;
using KrPersistence::KrSimulationStateSection;
using KrPersistence::saveSimulationState;
using KrPersistence::SimulationSnapshot;
using KrSim::detail::StateAccess;
using states_test::proxyOf;
using states_test::World;

/// Values of every kind, with those that texts lose easily.
void furnish(World& world) {
    auto& fields = proxyOf(world.first).getParameterContainer();
    fields.add<double>("Minus Zero", -0.0);
    fields.add<double>("Third", 1.0 / 3.0);
    fields.add<double>("Infinity", -std::numeric_limits<double>::infinity());
    fields.add<double>("Nothing", std::numeric_limits<double>::quiet_NaN());
    fields.add<float>("A.float", 0.1F);
    fields.add<std::string>("Text", std::string("a\0\xff", 3));
    fields.add<Kr::KrEnum>("Mode", Kr::KrEnum(KrSim::eApplicationMode::kPlayback));
    fields.add<KrMath::Vector3T<double>>("Place", {1.5, -0.0, 3.0});
    static_cast<void>(new KrData::Vector<int>("Items", &fields, {3, 2, 1}));
    auto* group = fields.addContainer("Group");
    auto* array = new KrData::FieldArray<KrData::Field<int>>("Array", group);
    for (const int item : {1, 2, 3})
        *array->append() = item;
    static_cast<void>(array->remove(0));
    proxyOf(world.first)
        .addParameter("Target", KrData::Types::kExtension)
        ->set<KrSim::KrExtension*>(&proxyOf(world.second));
}

std::string save(const std::shared_ptr<const SimulationSnapshot>& snapshot, int flags,
                 eStatePayload payload = eStatePayload::kNormal) {
    KrFile file;
    file.setFileType(KrFile::eFileType::kSimulationState);
    auto* section = new KrSimulationStateSection;
    section->setSnapshot(snapshot, payload);
    file.addSection(section);
    std::ostringstream stream(std::ios::binary);
    EXPECT_TRUE(file.save(stream, "", flags)) << file.getLastError();
    return stream.str();
}

const KrSimulationStateSection* load(KrFile& file, const std::string& bytes) {
    std::istringstream stream(bytes, std::ios::binary);
    if (!file.load(stream)) return nullptr;
    return file.isValid() ? dynamic_cast<const KrSimulationStateSection*>(file.getSections().front()) : nullptr;
}

class StateFile : public testing::TestWithParam<int> {};

TEST_P(StateFile, BringsEveryBitBackAndSavesAsItWasLoaded) {
    World world;
    furnish(world);
    world.application->setRandomSeed(4000000000);
    auto gusts = world.application->getContext().getRandomStream("Gusts");
    gusts.getUniform();
    world.run(3);
    world.application->setSimulationFrameRate(50.0);
    world.run(2);
    const int number = KrSim::EventIDList::instance().add("Tests.StateFile");
    KrSim::KrSimEvent event(number, {1, 2, 255});
    event.setDelay(0.5);
    KrSim::KrEventDispatcher::sendEventLocally(event);
    const auto before = world.take();
    const auto bytes = save(before, GetParam());
    const double time = world.application->getContext().getSimulatedSeconds();
    const double gust = gusts.getUniform();

    world.application->setRandomSeed(1);
    world.application->setSimulationFrameRate(60.0);
    world.run(40);
    auto& fields = proxyOf(world.first).getParameterContainer();
    fields.reset();
    static_cast<KrData::FieldArrayBase&>(fields["Group"]["Array"]).resize(5);
    KrFile file;
    const auto* section = load(file, bytes);
    ASSERT_NE(section, nullptr) << file.getLastError();
    EXPECT_EQ(section->getFrame(), 5U);
    EXPECT_EQ(section->getExtensionCount(), 3U);
    EXPECT_TRUE(section->getSnapshot()->restore(*world.application).isComplete());

    const auto after = world.take();
    for (const auto& state : before->getState().getExtensionStates()) {
        const auto* other = after->getState().findExtensionState(state->getContentID());
        ASSERT_NE(other, nullptr);
        const auto& plan = StateAccess::getPlan(*state);
        const auto index = plan.findDifference(StateAccess::getValues(*state), StateAccess::getPlan(*other),
                                               StateAccess::getValues(*other));
        EXPECT_FALSE(index) << plan.getPath(*index) << ": " << plan.getText(*index, StateAccess::getValues(*state));
        EXPECT_EQ(state->getImplementationData(), other->getImplementationData());
    }
    const auto& pending = after->getEvents().pending;
    ASSERT_EQ(pending.events.size(), 1U);
    EXPECT_EQ(pending.events[0].event.ID(), number);
    EXPECT_EQ(pending.events[0].event.bytes(), 3U);
    EXPECT_NEAR(pending.events[0].dueSeconds - pending.nowSeconds, 0.5, 1e-9);
    EXPECT_EQ(after->getPosition().frames, 5U);
    EXPECT_EQ(world.application->getContext().getSimulatedSeconds(), time);
    EXPECT_EQ(gusts.getUniform(), gust);
    EXPECT_EQ(after->getPosition().elapsedSeconds, before->getPosition().elapsedSeconds);

    std::ostringstream again(std::ios::binary);
    EXPECT_TRUE(file.save(again, "", GetParam()));
    EXPECT_EQ(again.str(), bytes);
}

INSTANTIATE_TEST_SUITE_P(Kinds, StateFile, testing::Values(0, KrFile::kJson, KrFile::kXml));

TEST(StateFile, KeepsDoublesAsFloatsWhenCompact) {
    World world;
    world.first->drag = 1.0 / 3.0;
    const auto normal = save(world.take(), 0);
    const auto compact = save(world.take(), 0, eStatePayload::kCompact);
    KrFile file;
    const auto* section = load(file, compact);
    ASSERT_NE(section, nullptr) << file.getLastError();
    section->getSnapshot()->restore(*world.application);
    EXPECT_EQ(world.first->drag, static_cast<double>(static_cast<float>(1.0 / 3.0)));
    std::ostringstream again(std::ios::binary);
    EXPECT_TRUE(file.save(again, ""));
    EXPECT_EQ(again.str(), compact);
}

TEST(StateFile, IsRefusedWithAMomentOrAPaceThatNoRunHas) {
    World world;
    const auto bytes = save(world.take(), KrFile::kXml);
    const auto with = [&](const std::string& name, const std::string& value) {
        const auto start = bytes.find("<" + name + ">") + name.size() + 2;
        return bytes.substr(0, start) + value + bytes.substr(bytes.find('<', start));
    };
    const test_support::LogCapture log;
    const std::tuple<const char*, const char*, bool> cases[] = {
        {"FrameRate", "0.1", true},
        {"FrameRate", "100000.0", true},
        {"FrameRate", "0.0", false},
        {"FrameRate", "-60.0", false},
        {"FrameRate", "1e+09", false},
        {"FrameRate", "NaN", false},
        {"Frames", "9007199254740992", true},
        {"Frames", "9007199254740993", false},
        {"Frames", "18446744073709551615", false},
        {"ElapsedSeconds", "-1.0", false},
        {"ElapsedSeconds", "Infinity", false},
    };
    for (const auto& [name, value, isTaken] : cases) {
        KrFile file;
        EXPECT_EQ(load(file, with(name, value)) != nullptr, isTaken) << name << ' ' << value;
        EXPECT_THAT(file.getLastError(), testing::HasSubstr(isTaken ? "" : name)) << value;
    }
}

TEST(StateFile, KeepsReferencesToContentThatIsNotHere) {
    std::string bytes;
    {
        World world;
        furnish(world);
        bytes = save(world.take(), 0);
    }
    KrFile file;
    const auto* section = load(file, bytes);
    ASSERT_NE(section, nullptr) << file.getLastError();
    World other;
    const auto report = section->getSnapshot()->restore(*other.application);
    EXPECT_EQ(std::tuple(report.restored, report.missing, report.untouched), std::tuple(0U, 3U, 3U));
    std::ostringstream again(std::ios::binary);
    EXPECT_TRUE(file.save(again, ""));
    EXPECT_EQ(again.str(), bytes);
}

TEST(StateFile, FindsFieldsByTheirDeprecatedNames) {
    World world;
    world.first->drag = 0.25;
    auto text = save(world.take(), KrFile::kXml);
    ASSERT_THAT(text, testing::HasSubstr("Drag"));
    KrFile file;
    const auto* section = load(file, test_support::replaced(text, "Drag", "Friction"));
    ASSERT_NE(section, nullptr) << file.getLastError();
    world.first->drag = 0.5;
    for (auto* unit : {world.first, world.second})
        ASSERT_TRUE(unit->drag.addDeprecatedName("Friction"));
    EXPECT_TRUE(section->getSnapshot()->restore(*world.application).isComplete());
    EXPECT_EQ(world.first->drag, 0.25);
}

TEST(StateFile, GoesToDiskAndSaysWhatIsWrong) {
    World world;
    test_support::LogCapture log;
    const test_support::TemporaryFolder folder;
    const auto name = (folder.path() / "state.kr").string();
    const auto saved = saveSimulationState(*world.application, name);
    EXPECT_TRUE(saved) << saved.toString();
    EXPECT_EQ(KrFile::GetFileType(name), KrFile::eFileType::kSimulationState);
    EXPECT_TRUE(KrPersistence::restoreSimulationState(*world.application, name)->isComplete());
    const auto nowhere = saveSimulationState(*world.application, (folder.path() / "no" / "folder").string());
    EXPECT_EQ(nowhere.failure, Kr::FileResult::eFailure::kNotWritten);
    EXPECT_NE(nowhere.toString(), "");
    EXPECT_EQ(KrPersistence::restoreSimulationState(*world.application, name + "x").failure,
              Kr::FileResult::eFailure::kMissing);
    KrFile empty;
    empty.save(name);
    EXPECT_THAT(KrPersistence::restoreSimulationState(*world.application, name).text,
                testing::HasSubstr("holds no simulation state"));
    world.stepper->inUpdate = [&] {
        EXPECT_EQ(saveSimulationState(*world.application, name).toString(),
                  "a simulation state is saved between two frames only");
    };
    world.run(1);
}

}  // namespace simulation_state_file_test
