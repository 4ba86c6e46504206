#include <gmock/gmock.h>

#include <thread>

#include "kr/core/connection_access.h"
#include "kr/core/connection_base.h"
#include "kr/core/connections/connection.h"
#include "kr/data/field_access.h"
#include "kr/data/vector.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/order/extension_sorter.h"
#include "tests/persistence/objects/garage.h"
#include "tests/support/log_capture.h"
#include "tests/support/same_bytes.h"

namespace object_connections_test {

using Kr::detail::ConnectionAccess;
using KrData::detail::FieldAccess;
using namespace garage;  // NOLINT(google-build-using-namespace): what the tests are about
using test_support::areSame;
using test_support::LogCapture;
using testing::ElementsAre;
using testing::HasSubstr;

/// "Source.Field>Sink.Field" of each connection that ends at the extension, with what is special about it.
std::vector<std::string> connectionsTo(const KrSmartPtr<KrExtension>& sink) {
    std::vector<std::string> texts;
    for (const auto* connection : KrSim::KrExtensionSorter::instance().getConnectionsTo(sink.get())) {
        texts.push_back(connection->getSourceOwner()->getName() + "." + connection->getSource()->getPath() + ">" +
                        connection->getSink()->getPath() + (connection->isEnabled() ? "" : " off"));
    }
    return texts;
}

class SavedConnections : public testing::Test {
protected:
    Kr::KrConnectionBase* connect() {
        return Kr::KrConnectionFactory::connect(motorOf(_left).speed.getField(), motorOf(_right).pedal.getField());
    }

    TypeScope _types;
    KrSmartPtr<KrExtension> _left = make(kMotorType, "Left", 1);
    KrSmartPtr<KrExtension> _right = make(kMotorType, "Right", 2);
};

TEST_F(SavedConnections, WithAPartThatItsDefinitionHasLostComeBackThroughAFile) {
    std::string bytes;
    {
        const auto axle = makeObject({}, "Axle", 11);
        axle->add(_right.get());
        const auto instance = axle->instantiate(KrContentID::createFromWords(7, 12));
        Kr::KrConnectionFactory::connect(motorOf(_left).speed.getField(), instance->getExtension(0)->getInput("Pedal"));
        axle->remove(_right.get());
        ASSERT_TRUE(instance->sync());
        bytes = save({axle, instance, _left});
    }
    _left.reset();
    _right.reset();
    auto loaded = load(bytes);
    ASSERT_EQ(loaded.objects.size(), 3U);
    EXPECT_THAT(loaded.problems, ElementsAre(HasSubstr("is kept, but cannot be made now")));
    static_cast<KrObject&>(*loaded.objects[0]).add(make(kMotorType, "Right", 2).get());
    bytes = save(loaded.objects);
    loaded = {};
    loaded = load(bytes);
    ASSERT_EQ(loaded.objects.size(), 3U);
    EXPECT_TRUE(loaded.problems.empty());
    const auto& instance = static_cast<const KrObject&>(*loaded.objects[1]);
    ASSERT_EQ(instance.getExtensionCount(), 1U);
    motorOf(loaded.objects[2]).speed = 4.0;
    EXPECT_EQ(instance.getExtension(0)->getInput("Pedal")->toReal(), 4.0);
}

/// An axle, an instance of it, and a motor that drives a part of the instance which the axle does not have yet.
class ConnectionsToAPartToCome : public SavedConnections {
protected:
    ConnectionsToAPartToCome() {
        std::string bytes;
        {
            const auto axle = makeObject({}, "Axle", 11);
            axle->add(_right.get());
            const auto instance = axle->instantiate(KrContentID::createFromWords(7, 12));
            auto* pedal = instance->getExtension(0)->getInput("Pedal");
            Kr::KrConnectionFactory::connect(motorOf(_left).speed.getField(), pedal);
            axle->remove(_right.get());
            EXPECT_TRUE(instance->sync());
            bytes = save({axle, instance, _left});
        }
        _left.reset();
        _right.reset();
        _loaded = load(bytes);
        motorOf(_loaded.objects[2]).speed = 4.0;
    }
    void addPart() { static_cast<KrObject&>(*_loaded.objects[0]).add(make(kMotorType, "Right", 2).get()); }
    [[nodiscard]] KrObject& instance() { return static_cast<KrObject&>(*_loaded.objects[1]); }
    [[nodiscard]] std::vector<std::string> connectionsToThePart() {
        return connectionsTo(KrSmartPtr<KrExtension>(instance().getExtension(0)));
    }

    Loaded _loaded;
};

TEST_F(ConnectionsToAPartToCome, AreMadeByTheSyncThatBringsIt) {
    addPart();
    ASSERT_TRUE(instance().sync());
    EXPECT_EQ(instance().getExtension(0)->getInput("Pedal")->toReal(), 4.0);
    ASSERT_TRUE(instance().sync());
    EXPECT_THAT(connectionsToThePart(), ElementsAre("Left.Outputs.Speed>Inputs.Pedal"));
}

TEST_F(ConnectionsToAPartToCome, AreLeftToTheThreadThatLoadedThem) {
    addPart();
    std::thread([&] { EXPECT_TRUE(instance().sync()); }).join();
    EXPECT_THAT(connectionsToThePart(), ElementsAre());
    static_cast<const KrObject&>(*_loaded.objects[0]).getExtension(0)->getParameter("Mass")->set(2.0);
    ASSERT_TRUE(instance().sync());
    EXPECT_THAT(connectionsToThePart(), ElementsAre("Left.Outputs.Speed>Inputs.Pedal"));
}

TEST_F(SavedConnections, TransferNothingOnLoadAndStayOff) {
    auto* connection = connect();
    motorOf(_left).speed = 5.0;
    connection->disable(true);
    motorOf(_right).pedal.getField()->setValue(3.0);
    const auto bytes = save({_left, _right});
    _left.reset();
    _right.reset();
    const auto loaded = load(bytes);
    ASSERT_EQ(loaded.objects.size(), 2U);
    EXPECT_EQ(motorOf(loaded.objects[1]).pedal, 3.0);
    const auto incoming = FieldAccess::getIncomingConnections(*motorOf(loaded.objects[1]).pedal.getField());
    ASSERT_EQ(incoming.size(), 1U);
    EXPECT_FALSE(incoming[0]->isEnabled());
    EXPECT_FALSE(ConnectionAccess::isRegisteredInSorter(*incoming[0]));
    incoming[0]->enable(true);
    EXPECT_EQ(motorOf(loaded.objects[1]).pedal, 5.0);
    EXPECT_EQ(save({loaded.objects[0]}).find("Outputs.Speed"), std::string::npos) << "they belong to the sink";
}

TEST_F(SavedConnections, OfOneSourceKeepTheirOrder) {
    std::vector<std::string> sinks;
    Extensions all{_left};
    for (const int number : {9, 3, 7, 5}) {
        all.push_back(make(kMotorType, ("M" + std::to_string(number)).c_str(), static_cast<std::uint64_t>(number)));
        Kr::KrConnectionFactory::connect(motorOf(_left).speed.getField(), motorOf(all.back()).pedal.getField());
        sinks.push_back(all.back()->getName());
    }
    const auto bytes = save(all);
    all.clear();
    _left.reset();
    const auto loaded = load(bytes);
    std::vector<std::string> again;
    for (const auto* connection : FieldAccess::getOutgoingConnections(*motorOf(loaded.objects[0]).speed.getField()))
        again.push_back(connection->getSinkOwner()->getName());
    EXPECT_EQ(again, sinks);
}

TEST_F(SavedConnections, ToContentThatIsNotThereAreMadeWhenItComes) {
    connect();
    auto* references = new KrData::Vector<KrExtension*>("Friends", &_right->getParameterContainer());
    references->_setDynamic(true);
    references->setItems({_right.get(), _left.get()});
    _right->addParameter("Friend", Kr::KrID("Motor"))->set(_left.get());
    const auto right = save({_right});
    const auto left = save({_left});
    _left.reset();
    _right.reset();
    auto loaded = load(right);
    ASSERT_EQ(loaded.objects.size(), 1U);
    EXPECT_THAT(loaded.problems,
                ElementsAre(HasSubstr("Connection from 0000000000000007-0000000000000001.Outputs.Speed"),
                            HasSubstr("in its field Parameters.Friends"), HasSubstr("in its field Parameters.Friend")));
    EXPECT_TRUE(areSame(save(loaded.objects), right)) << "what is open is kept";
    loaded = load(save(loaded.objects));
    const auto found = load(left);
    EXPECT_THAT(connectionsTo(loaded.objects[0]), ElementsAre("Left.Outputs.Speed>Inputs.Pedal"));
    EXPECT_EQ(loaded.objects[0]->getParameter("Friend")->toExtension(), found.objects[0].get());
    EXPECT_TRUE(areSame(save(loaded.objects), right));
}

TEST_F(SavedConnections, OfRenamedFieldsAreRedirectedByTheirImplementation) {
    _right->addInput("Old pedal", KrData::Types::kDouble);
    _right->addInput("Stray", KrData::Types::kDouble);
    for (const char* field : {"Old pedal", "Stray"})
        Kr::KrConnectionFactory::connect(motorOf(_left).speed.getField(), _right->getInput(field));
    const auto bytes = save({_left, _right});
    _left.reset();
    _right.reset();
    Motor::whenLoading = [](KrData::Container& saved) {
        auto& inputs = static_cast<KrData::Container&>(saved["Inputs"]);
        inputs.removeField("Old pedal");
        inputs.removeField("Stray");
    };
    const auto loaded = load(bytes);
    ASSERT_EQ(loaded.objects.size(), 2U);
    EXPECT_EQ(motorOf(loaded.objects[1]).asked, "3 sink");
    EXPECT_THAT(connectionsTo(loaded.objects[1]), ElementsAre("Left.Outputs.Speed>Inputs.Pedal"));
    EXPECT_THAT(loaded.problems, ElementsAre(HasSubstr("Inputs.Stray is kept")));
    EXPECT_NE(save(loaded.objects).find("Inputs.Stray"), std::string::npos);

    Motor::isFailing = true;
    const LogCapture log;
    EXPECT_EQ(load(bytes).objects.size(), 2U);
    EXPECT_THAT(log.lines(),
                testing::Contains("3 KrExtension: fatal error in 'Right' onRestoringConnection() [no oil]\n"));
}

TEST_F(SavedConnections, ThatAnErrorHandlerRefusesAreKept) {
    _left->addInput("XX", KrData::Types::kDouble);
    _left->addOutput("X", KrData::Types::kDouble);
    Kr::KrConnectionFactory::connect(_left->getOutput("X"), _right->getParameter("Mass"));
    auto bytes = save({_left, _right}, KrFile::kNoChecksum);
    _left.reset();
    _right.reset();
    const auto source = bytes.rfind("Outputs.X");
    ASSERT_NE(source, std::string::npos);
    bytes.replace(source, 9, "Inputs.XX");  // which drives no parameter
    const LogCapture log([](const std::string& message) {
        if (message.rfind("2 ", 0) == 0) throw std::runtime_error(message);
    });
    const auto loaded = load(bytes);
    ASSERT_EQ(loaded.objects.size(), 2U);
    EXPECT_EQ(loaded.problems.size(), 1U);
    EXPECT_TRUE(areSame(save(loaded.objects, KrFile::kNoChecksum), bytes));
}

}  // namespace object_connections_test
