// Who makes connections, keeps and copies them, and ends them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "kr/application/context/application_modes.h"
#include "kr/core/connection_access.h"
#include "kr/core/connections/connection.h"
#include "kr/core/connections/connection_factory.h"
#include "kr/core/connections/field_base_to_proxy_connection.h"
#include "kr/core/connections/proxy_to_field_base_connection.h"
#include "kr/core/connections/sim_queued_connection.h"
#include "kr/core/enum.h"
#include "kr/data/container.h"
#include "kr/data/field_access.h"
#include "kr/data/proxy.h"
#include "kr/data/stored_path.h"
#include "kr/data/vector.h"
#include "kr/extension/extension.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/i_object.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/object.h"
#include "kr/extension/order/extension_sorter.h"
#include "tests/support/dispatcher_scope.h"
#include "tests/support/field_doubles.h"
#include "tests/support/log_capture.h"

namespace connection_factory_test {

using Kr::detail::ConnectionAccess;
using KrData::detail::FieldAccess;
using KrSim::detail::FieldsAccess;
using namespace test_support;
using Kr::FieldBaseToProxyConnection;
using Kr::KrConnection;
using Kr::KrConnectionBase;
using Kr::KrConnectionFactory;
using Kr::KrSmartPtr;
using Kr::ProxyToFieldBaseConnection;
using KrData::Proxy;
using KrSim::KrExtension;
using testing::ElementsAre;

class Owners : public testing::Test {
protected:
    static KrSmartPtr<KrExtension> make(const char* name) {
        auto extension = Kr::makeSmart<KrExtension>();
        extension->setName(name);
        extension->addInput("In", Types::kDouble);
        extension->addOutput("Out", Types::kDouble);
        return extension;
    }
    static bool lives(const KrConnectionBase* connection) { return Kr::KrBase::isKrBaseValid(connection); }

    KrSmartPtr<KrExtension> _from = make("From"), _to = make("To");
    FieldBase& _out = *_from->getOutput("Out");
    FieldBase& _in = *_to->getInput("In");
};

TEST_F(Owners, KeepAConnectionAsLongAsTheExtensionOfItsSink) {
    auto* kept = KrConnectionFactory::connect(_out, _in);
    ASSERT_NE(kept, nullptr);
    KrSim::KrExtensionSorter::instance().destroyConnections(&_out);
    ASSERT_TRUE(lives(kept)) << "somebody owns it";
    _out.set(4.0);
    EXPECT_EQ(_in.toReal(), 4.0);
    _to.reset();
    EXPECT_FALSE(lives(kept) || FieldAccess::hasOutgoingConnections(_out));

    Container ownerless("I", nullptr, Types::kInput), others("O", nullptr, Types::kOutput);
    auto* sink = ownerless.add<double>("Sink");
    kept = KrConnectionFactory::connect(_out, *sink);
    ASSERT_NE(kept, nullptr);
    _from.reset();
    EXPECT_FALSE(lives(kept) || FieldAccess::hasIncomingConnections(*sink));
    const LogCapture log;
    EXPECT_EQ(KrConnectionFactory::connect(*others.add<double>("Source"), *sink), nullptr);
    EXPECT_THAT(log.lines(), ElementsAre("3 KrConnectionFactory: 'O.Source' is not connected with 'I.Sink': neither of "
                                         "them belongs to an extension, which could keep a connection.\n"));
}

TEST_F(Owners, AreAskedToDisconnect) {
    auto* kept = KrConnectionFactory::connect(&_out, &_in);
    auto* unowned = KrConnectionFactory::_create(&_out, &_in);
    auto* queued = KrConnectionFactory::connectQueued(&_out, &_in);
    EXPECT_TRUE(dynamic_cast<Kr::KrSimQueuedConnection*>(queued));
    const KrConnection own(&_out, &_in);
    EXPECT_FALSE(KrConnectionFactory::disconnect(&_in, &_out));
    EXPECT_TRUE(KrConnectionFactory::disconnect(&_out, &_in));
    EXPECT_FALSE(lives(kept));
    EXPECT_FALSE(lives(unowned));
    EXPECT_FALSE(lives(queued));
    EXPECT_THAT(FieldAccess::getOutgoingConnections(_out), ElementsAre(&own)) << "it is for its owner to end";
    EXPECT_FALSE(KrConnectionFactory::disconnect(&_out, &_in));
    EXPECT_FALSE(KrConnectionFactory::disconnect(nullptr, &_in));
    const LogCapture log;
    EXPECT_EQ(KrConnectionFactory::connect(&_out, nullptr), nullptr);
    EXPECT_THAT(log.lines(), ElementsAre("3 KrConnectionFactory: 'From.Outputs.Out' is not connected with no field: a "
                                         "sink is missing.\n"));
}

/// Two fields of 'Car/Motor' and a reason not to connect them.
struct RefusedCase {
    const char* name;
    const char* source;
    const char* sink;
    bool isQueued;
    const char* reason;
};

class RefusedConnection : public testing::TestWithParam<RefusedCase> {};

TEST_P(RefusedConnection, IsAWarningWithBothPathsAndTheReason) {
    const auto car = Kr::makeSmart<KrSim::KrObject>();
    const auto motor = Kr::makeSmart<KrExtension>();
    car->setName("Car");
    motor->setName("Motor");
    car->add(motor.get());
    auto& fields = motor->getFieldsContainer();
    fields.getInputs().add<double>("Number");
    fields.getInputs().add<Kr::KrColor>("Colour");
    fields.getInputs().add<Kr::KrEnum>("Level", Kr::KrEnum(Kr::eLogLevel::kInfo));
    fields.getOutputs().add<double>("Number");
    fields.getOutputs().add<Kr::KrEnum>("Mode", Kr::KrEnum(KrSim::eApplicationMode::kEditing));
    new KrData::Vector<double>("List", &fields.getOutputs());
    new KrData::Vector<int>("List", &fields.getInputs());
    Field<double> loose("Loose");
    const auto find = [&](const std::string& path) {
        return path == "Loose" ? static_cast<FieldBase*>(&loose) : KrData::_findStoredPath(fields, path);
    };
    auto* const source = find(GetParam().source);
    auto* const sink = find(GetParam().sink);
    const auto pathOf = [](const char* path) {
        return path == std::string("Loose") ? path : std::string("Car/Motor.") + path;
    };
    const LogCapture log;
    EXPECT_EQ(GetParam().isQueued ? KrConnectionFactory::connectQueued(source, sink)
                                  : KrConnectionFactory::connect(source, sink),
              nullptr);
    EXPECT_EQ(log.lines().back(), "3 KrConnectionFactory: '" + pathOf(GetParam().source) + "' is not connected with '" +
                                      pathOf(GetParam().sink) + "': " + GetParam().reason + ".\n");
}

INSTANTIATE_TEST_SUITE_P(
    Table, RefusedConnection,
    testing::Values(RefusedCase{"Roles", "Inputs.Number", "Outputs.Number", false,
                                "fields of the role Input do not drive those of the role Output"},
                    RefusedCase{"Loose", "Outputs.Number", "Loose", false, "'Loose' is in no container"},
                    RefusedCase{"Types", "Outputs.Number", "Inputs.Colour", false,
                                "values of the type Double do not convert to the type Color"},
                    RefusedCase{"TypesQueued", "Outputs.Number", "Inputs.Colour", true,
                                "values of the type Double do not convert to the type Color"},
                    RefusedCase{"Enumerations", "Outputs.Mode", "Inputs.Level", false,
                                "values of the type Enumeration 'KrSim::eApplicationMode' do not convert to the type "
                                "Enumeration 'Kr::eLogLevel'"},
                    RefusedCase{"Vectors", "Outputs.List", "Inputs.List", false,
                                "values of the type Vector of Double do not convert to the type Vector of Integer"}),
    [](const auto& each) { return std::string(each.param.name); });

TEST_F(Owners, HandBackWhatTheyKeepAndDropWhatIsInvalid) {
    auto& keeper = _to->getFieldsContainer();
    auto* kept = KrConnectionFactory::connect(_out, _in);
    EXPECT_EQ(FieldsAccess::releaseConnection(_from->getFieldsContainer(), *kept), nullptr) << "another one keeps it";
    auto released = FieldsAccess::releaseConnection(keeper, *kept);
    EXPECT_EQ(released.get(), kept);
    EXPECT_EQ(FieldsAccess::releaseConnection(keeper, *kept), nullptr);
    EXPECT_TRUE(kept->isValid());
    FieldsAccess::ownConnection(keeper, std::move(released));
    FieldsAccess::ownConnection(keeper, nullptr);
    auto token = std::make_shared<int>();
    const std::weak_ptr<int> life = token;
    FieldsAccess::ownConnection(keeper, std::make_unique<FakeConnection>(_out, _in, [token](const FieldBase&) {}));
    token.reset();
    _from->removeOutput("Out");
    EXPECT_FALSE(kept->isValid());
    EXPECT_FALSE(life.expired());
    auto* out = _from->addOutput("Out", Types::kDouble);
    for (int i = 0; i < 10; ++i)
        KrConnectionFactory::connect(*out, _in);
    EXPECT_TRUE(life.expired()) << "many that come take the invalid ones away";
    EXPECT_EQ(FieldAccess::getOutgoingConnections(*out).size(), 10U);
}

TEST_F(Owners, HandBackManyInAnyOrderWhileOthersComeAndEnd) {
    auto& keeper = _to->getFieldsContainer();
    std::mt19937 random(20260114);
    std::vector<KrConnectionBase*> kept;
    std::vector<KrData::FieldBase*> sources;
    for (int step = 0; step < 2'000; ++step) {
        const auto at = kept.empty() ? 0 : random() % kept.size();
        if (kept.size() < 60 || random() % 2 == 0) {
            sources.push_back(_from->addOutput("Source", Types::kDouble));
            kept.push_back(KrConnectionFactory::connect(*sources.back(), _in));
            continue;
        }
        if (random() % 4 == 0) {
            _from->removeOutput(sources[at]->getID());  // which ends the connection
        } else {
            ASSERT_EQ(FieldsAccess::releaseConnection(keeper, *kept[at]).get(), kept[at]) << "step " << step;
        }
        kept.erase(kept.begin() + static_cast<std::ptrdiff_t>(at));
        sources.erase(sources.begin() + static_cast<std::ptrdiff_t>(at));
    }
    EXPECT_THAT(FieldAccess::getIncomingConnections(_in), testing::UnorderedElementsAreArray(kept));
}

TEST_F(Owners, MayBeEndedByTheTransferThatTheirFirstConnectionMakes) {
    _out.set(5.0);
    for (const bool isSink : {true, false}) {
        auto from = make("From"), to = make("To");
        from->getOutput("Out")->set(5.0);
        const auto observer = to->getInput("In")->addObserver([&](const FieldBase&) { (isSink ? to : from).reset(); });
        const LogCapture log;
        EXPECT_EQ(KrConnectionFactory::connect(*from->getOutput("Out"), *to->getInput("In")), nullptr);
        EXPECT_THAT(log.lines(), testing::Contains(testing::HasSubstr("while it was made, an observer destroyed it")));
        EXPECT_EQ(KrConnectionFactory::connect(_out, _in)->isValid(), true);
    }
}

struct Group : KrSim::IObject {
    explicit Group(KrSim::KrObject* proxy) : IObject(proxy, 1) {}
    bool isCompatible(KrExtension*) const override { return true; }
};

TEST_F(Owners, AreCopiedTogetherWithTheirConnections) {
    const DispatcherScope dispatcher;
    auto object = Kr::makeSmart<KrSim::KrObject>();
    object->add(_from.get());
    object->add(_to.get());
    auto* proxy = new KrData::Proxy("Proxy", Types::kUnknown, &_to->getInputContainer());
    proxy->addLink(&_in);
    const auto addSink = [&](const char* name) { return _to->addInput(name, Types::kDouble); };
    KrConnection withFunction(&_out, addSink("Function")), disabled(&_out, addSink("Disabled")),
        outOfSorter(&_out, addSink("OutOfSorter"));
    const Kr::KrSimQueuedConnection queued(&_out, addSink("Queued"));
    const std::unique_ptr<KrConnectionBase> toProxy(KrConnectionFactory::_create(&_out, proxy));
    withFunction.setTransferFunction([](double x) { return 10 * x; });
    _out.set(1.0);
    disabled.disable(false);
    outOfSorter.disable(true);
    _out.set(2.0);

    const auto copy = object->clone();
    auto* copied = dynamic_cast<KrSim::KrObject*>(copy.get());
    ASSERT_TRUE(copied);
    ASSERT_TRUE(copied->getExtensionCount() == 2);
    auto* out = copied->getExtension(0)->getOutput("Out");
    auto* to = copied->getExtension(1);
    const auto made = FieldAccess::getOutgoingConnections(*out);
    ASSERT_EQ(made.size(), 5U);
    const std::vector<const KrConnectionBase*> originals{&withFunction, &disabled, &outOfSorter, &queued,
                                                         toProxy.get()};
    for (std::size_t i = 0; i < made.size(); ++i) {
        EXPECT_EQ(made[i]->getClassName(), originals[i]->getClassName());
        EXPECT_EQ(made[i]->isEnabled(), originals[i]->isEnabled());
        EXPECT_EQ(ConnectionAccess::isRegisteredInSorter(*made[i]),
                  ConnectionAccess::isRegisteredInSorter(*originals[i]));
    }
    EXPECT_EQ(to->getInput("Disabled")->toReal(), 1.0) << "copied as it is";
    out->set(3.0);
    EXPECT_EQ(to->getInput("Function")->toReal(), 30.0);
    EXPECT_EQ(to->getInput("Queued")->toReal(), 3.0);
    EXPECT_EQ(to->getInput("In")->toReal(), 3.0);
    EXPECT_EQ(to->getInput("Disabled")->toReal() + to->getInput("OutOfSorter")->toReal(), 2.0);
    EXPECT_EQ(_in.toReal(), 2.0) << "the originals have nothing to do with it";
}

class Proxies : public testing::Test {
protected:
    Container _outputs{"O", nullptr, Types::kOutput};
    Container _inputs{"I", nullptr, Types::kInput};
    KrData::Field<double>* _source = _outputs.add<double>("Source", 1.0);
    KrData::Field<double>* _linkedOut = _outputs.add<double>("LinkedOut", 2.0);
    KrData::Field<double>* _first = _inputs.add<double>("First");
    KrData::Field<int>* _second = _inputs.add<int>("Second");
    Proxy _from{"From", Types::kUnknown, &_outputs};
    Proxy _to{"To", Types::kUnknown, &_inputs};
};

TEST_F(Proxies, AreChosenByTheFactory) {
    auto* color = _inputs.add<Kr::KrColor>("Color");
    _from.addLink(_linkedOut);
    _to.addLink(_first);
    struct Case {
        FieldBase* source;
        FieldBase* sink;
        const char* made;
        std::vector<std::string> lines;
    };
    const std::string none = "5 KrConnection: could not create connection from .O.";
    const std::vector<Case> cases{
        {_source, _first, "KrConnection", {}},
        {_source, &_to, "FieldBaseToProxyConnection", {}},
        {&_from, _second, "ProxyToFieldBaseConnection", {}},
        {&_from, &_to, "ProxyToFieldBaseConnection", {}},
        {&_from, color, "", {none + "From -> I.Color. Check that types match. \n"}},
        {&_from, &_from, "ProxyToFieldBaseConnection", {}},
        {_first, &_from, "", {"2 KrConnection: invalid source/sink pair: First (Input) -> From (Output)\n"}},
        {nullptr, _first, "", {}},
        {_source, nullptr, "", {}},
    };
    for (const auto& each : cases) {
        const LogCapture log;
        const std::unique_ptr<Kr::KrConnectionBase> made(KrConnectionFactory::_create(each.source, each.sink));
        EXPECT_EQ(made ? made->getClassName() : "", each.made);
        EXPECT_EQ(log.lines(), each.lines);
    }
    Proxy colors("Colors", Types::kColor, &_inputs);
    const LogCapture log;
    EXPECT_EQ(KrConnectionFactory::_create(&_from, &colors), nullptr);
    EXPECT_FALSE(ProxyToFieldBaseConnection(_source, _first).isValid());
    EXPECT_FALSE(FieldBaseToProxyConnection(_source, _first).isValid());
    EXPECT_FALSE(FieldBaseToProxyConnection(_source, &colors).isValid());
    EXPECT_THAT(log.lines(),
                ElementsAre("2 FieldBaseToProxyConnection: the source cannot be a proxy.\n",
                            "2 ProxyToFieldBaseConnection: the source must be a proxy.\n",
                            "2 FieldBaseToProxyConnection: the sink must be a proxy.\n",
                            "5 ProxyConnection: could not create connection from O.Source -> I.Colors. Check that "
                            "types match.\n"));
}

TEST(TransferGuards, WorkUntilTheVeryEndOfAThread) {
    struct AtEnd {
        ~AtEnd() {
            source->setValue(2.0);
            *result = sink->getValue();
        }
        Container outputs{"O", nullptr, Types::kOutput};
        Field<double>* source = outputs.add<double>("Source");
        Field<double>* sink = outputs.add<double>("Sink");
        std::unique_ptr<KrConnection> connection;
        double* result{nullptr};
    };
    double result = 0.0;
    std::thread([&] {
        static thread_local AtEnd atEnd;  // outlives whatever the first transfer of the thread makes
        atEnd.result = &result;
        atEnd.connection = std::make_unique<KrConnection>(atEnd.source, atEnd.sink);
        atEnd.source->setValue(1.0);
    }).join();
    EXPECT_EQ(result, 2.0);
}

}  // namespace connection_factory_test
