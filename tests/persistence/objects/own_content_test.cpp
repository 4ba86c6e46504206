#include <gmock/gmock.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

#include "kr/core/connections/connection_factory.h"
#include "kr/data/field_access.h"
#include "kr/extension/input_output_container.h"
#include "kr/persistence/objects/object_file.h"
#include "tests/persistence/objects/garage.h"
#include "tests/support/case_name.h"
#include "tests/support/log_capture.h"
#include "tests/support/same_bytes.h"
#include "tests/support/temporary_folder.h"

/// Instances of which a file has only what is their own.
namespace own_content_test {

using namespace garage;  // NOLINT(google-build-using-namespace): what the tests are about
using KrData::detail::FieldAccess;
using test_support::areSame;
using test_support::LogCapture;
using testing::AllOf;
using testing::HasSubstr;

/// A car of eight motors in a row, each with its parameters; its XML is about 15 kB.
class Fleet {
public:
    Fleet() {
        for (std::uint64_t i = 1; i <= 8; ++i) {
            const auto motor = make(kMotorType, ("Motor " + std::to_string(i)).c_str(), 10 + i);
            for (int each = 1; each <= 8; ++each)
                motor->addParameter("Parameter " + std::to_string(each), KrData::Types::kDouble);
            car->add(motor.get());
        }
        for (std::size_t i = 0; i < 7; ++i)
            Kr::KrConnectionFactory::connect(car->getExtension(i)->getOutput("Speed"),
                                             car->getExtension(i + 1)->getInput("Pedal"));
    }

    void add(std::uint64_t count) {
        for (std::uint64_t i = 0; i < count; ++i) {
            instances.emplace_back(car->instantiate(KrContentID::createFromWords(8, 1 + instances.size())).get());
            getPart(instances.size() - 1, 2).getParameter("Mass")->set(5.0);
        }
    }
    [[nodiscard]] Extensions withDefinition() const {
        Extensions all{car};
        all.insert(all.end(), instances.begin(), instances.end());
        return all;
    }
    [[nodiscard]] KrExtension& getPart(std::size_t instance, std::size_t part) const {
        return *static_cast<KrObject&>(*instances[instance]).getExtension(part);
    }
    void clear() {
        instances.clear();
        car.reset();
    }

    TypeScope types;
    KrSmartPtr<KrObject> car = makeObject({}, "Car", 1);
    Extensions instances;
};

struct SizeCase {
    friend void PrintTo(const SizeCase& each, std::ostream* out) { *out << each.name; }
    const char* name;
    int flags;
    std::size_t mostBytes;
};

class InstanceSize : public testing::TestWithParam<SizeCase> {};

TEST_P(InstanceSize, IsThatOfOneParameter) {
    constexpr std::uint64_t kCount = 100;
    Fleet fleet;
    fleet.add(1);
    const auto one = save(fleet.withDefinition(), GetParam().flags).size();
    fleet.add(kCount);
    const auto many = save(fleet.withDefinition(), GetParam().flags).size();
    EXPECT_LE((many - one) / kCount, GetParam().mostBytes);
}

INSTANTIATE_TEST_SUITE_P(Kind, InstanceSize,
                         testing::Values(SizeCase{"Xml", KrFile::kXml, 1200}, SizeCase{"Binary", 0, 300}),
                         test_support::caseName);

/// Where the definition is when an instance is saved.
struct PlaceCase {
    friend void PrintTo(const PlaceCase& each, std::ostream* out) { *out << each.name; }
    const char* name;
    bool isInFile;
    const char* definitionFile;
    int flags;
    std::size_t ownOnlyCount;  // extensions of which the file has only what is their own
    const char* lines;         // of the log
};

class DefinitionPlace : public testing::TestWithParam<PlaceCase> {};

TEST_P(DefinitionPlace, DecidesWhetherAnInstanceIsComplete) {
    Fleet fleet;
    fleet.car->_setDefinitionFileName(Kr::KrString<512>(GetParam().definitionFile));
    fleet.add(1);
    const LogCapture log;
    const auto text =
        save(GetParam().isInFile ? fleet.withDefinition() : fleet.instances, KrFile::kXml | GetParam().flags);
    std::size_t count = 0;
    for (auto at = text.find("<IsOwnOnly"); at != std::string::npos; at = text.find("<IsOwnOnly", at + 1))
        ++count;
    EXPECT_EQ(count, GetParam().ownOnlyCount);
    EXPECT_THAT(testing::PrintToString(log.lines()), HasSubstr(GetParam().lines));
}

INSTANTIATE_TEST_SUITE_P(
    Of, DefinitionPlace,
    testing::Values(PlaceCase{"SameFile", true, "", 0, 2, "{}"}, PlaceCase{"OtherFile", false, "car.kro", 0, 2, "{}"},
                    PlaceCase{"NoFile", false, "", 0, 0,
                              "instances are stored complete, because their definitions are neither in this file nor "
                              "loaded from another one: 'Car'"},
                    PlaceCase{"SelfContained", true, "car.kro", KrFile::kSelfContained, 0, "{}"}),
    test_support::caseName);

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

TEST(OwnContent, NamesTheDefinitionFromTheFileAlsoWhenThatWasLoadedByARelativeName) {
    const test_support::TemporaryFolder folder;
    Fleet fleet;
    KrExtension* const definitions[] = {fleet.car.get()};
    ASSERT_TRUE(KrPersistence::saveObjects((folder / "car.xml").string(), definitions, KrFile::kXml));
    fleet.clear();
    const auto relative = std::filesystem::relative(folder / "car.xml").string();
    const auto loaded = KrPersistence::loadObjects(relative);
    ASSERT_TRUE(loaded) << loaded.toString();
    const auto instance = loaded->getObject(0)->instantiate();
    KrExtension* const instances[] = {instance.get()};
    ASSERT_TRUE(KrPersistence::saveObjects((folder / "fleet.xml").string(), instances, KrFile::kXml));
    EXPECT_THAT(readFile((folder / "fleet.xml").string()), HasSubstr("<File>car.xml</File>\n     </Definition>"));
}

class WaitingInstance : public testing::Test {
protected:
    WaitingInstance() {
        saveTo(_carFile, {_fleet.car});
        _fleet.car = loadCar();
        _fleet.add(2);
        // From a part that the file does not need to one that it needs for this.
        Kr::KrConnectionFactory::connect(_fleet.getPart(0, 7).getOutput("Speed"),
                                         _fleet.getPart(1, 0).getInput("Pedal"));
        saveTo(_fleetFile, _fleet.instances);
        _bytes = readFile(_fleetFile);
        _fleet.clear();
        auto loaded = KrPersistence::loadObjects(_fleetFile);
        _fleet.instances = loaded->objects;
        _problems = loaded->problems;
    }

    static void saveTo(const std::string& file, const Extensions& objects, int flags = 0) {
        std::vector<KrExtension*> all;
        for (const auto& object : objects)
            all.push_back(object.get());
        const auto saved = KrPersistence::saveObjects(file, all, flags);
        ASSERT_TRUE(saved) << saved.toString();
    }
    [[nodiscard]] KrSmartPtr<KrObject> loadCar() const {
        return KrSmartPtr<KrObject>(KrPersistence::loadObjects(_carFile)->getObject(0));
    }
    [[nodiscard]] std::string saveAgain(int flags = 0) const {
        saveTo(_fleetFile, _fleet.instances, flags);
        return readFile(_fleetFile);
    }

    test_support::TemporaryFolder _folder;
    const std::string _carFile = (_folder / "car.kro").string();
    const std::string _fleetFile = (_folder / "fleet.kro").string();
    Fleet _fleet;
    std::string _bytes;
    std::vector<std::string> _problems;
};

TEST_F(WaitingInstance, LosesNothingWhileItsDefinitionIsMissing) {
    EXPECT_THAT(_problems, testing::Contains(AllOf(HasSubstr("car.kro"), HasSubstr("only what is the instance's own is "
                                                                                   "here, the rest comes with it"))));
    EXPECT_TRUE(areSame(saveAgain(), _bytes));
}

TEST_F(WaitingInstance, CannotBeStoredComplete) {
    const LogCapture log;
    EXPECT_TRUE(areSame(saveAgain(KrFile::kSelfContained), _bytes));
    EXPECT_THAT(log.lines(),
                testing::Contains(HasSubstr("cannot be stored complete, because their definitions are not there")));
}

TEST_F(WaitingInstance, IsCompleteOnceTheDefinitionIsLoaded) {
    const auto definition = loadCar();
    const auto& instance = static_cast<KrObject&>(*_fleet.instances[0]);
    ASSERT_EQ(instance.getExtensionCount(), 8U);
    EXPECT_EQ(instance.getAllErrors(), "");
    EXPECT_EQ(_fleet.getPart(0, 2).getParameter("Mass")->toReal(), 5.0);
    EXPECT_EQ(_fleet.getPart(0, 3).getName(), "Motor 4");
    EXPECT_TRUE(areSame(saveAgain(), _bytes));
    _fleet.getPart(0, 7).getOutput("Speed")->set(9.0);
    EXPECT_EQ(_fleet.getPart(1, 0).getInput("Pedal")->toReal(), 9.0);
    EXPECT_EQ(FieldAccess::getOutgoingConnections(*_fleet.getPart(0, 0).getOutput("Speed")).size(), 1U);
}

TEST(OwnContent, HasTheStateThatDiffersFromThatOfTheDefinition) {
    Fleet fleet;
    fleet.add(1);
    fleet.getPart(0, 4).getOutput("Speed")->set(30.0);
    motorOf(KrSmartPtr<KrExtension>(&fleet.getPart(0, 1))).revolutions = 7;
    const auto bytes = save(fleet.withDefinition());
    fleet.clear();
    fleet.instances = load(bytes).objects;
    ASSERT_EQ(fleet.instances.size(), 2U);
    EXPECT_EQ(fleet.getPart(1, 4).getOutput("Speed")->toReal(), 30.0);
    EXPECT_EQ(fleet.getPart(1, 5).getInput("Pedal")->toReal(), 30.0);
    EXPECT_EQ(motorOf(KrSmartPtr<KrExtension>(&fleet.getPart(1, 1))).revolutions, 7);
    EXPECT_EQ(fleet.getPart(1, 2).getParameter("Mass")->toReal(), 5.0);
    EXPECT_TRUE(areSame(save(fleet.instances), bytes));
}

}  // namespace own_content_test
