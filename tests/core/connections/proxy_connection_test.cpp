#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "kr/core/connections/connection.h"
#include "kr/core/connections/connection_factory.h"
#include "kr/core/connections/field_base_to_proxy_connection.h"
#include "kr/core/connections/proxy_to_field_base_connection.h"
#include "kr/data/container.h"
#include "kr/data/proxy.h"
#include "tests/support/log_capture.h"

namespace proxy_connection_test {

using namespace test_support;
using Kr::FieldBaseToProxyConnection;
using Kr::KrConnectionFactory;
using Kr::ProxyToFieldBaseConnection;
using KrData::Container;
using KrData::FieldBase;
using KrData::Proxy;
using KrData::Types;
using testing::ElementsAre;
using testing::IsEmpty;

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

TEST_F(Proxies, HandValuesOnBothWays) {
    _from.addLink(_linkedOut);
    _to.addLink(_first);
    _to.addLink(_second);
    auto* sink = _inputs.add<double>("Sink");
    FieldBaseToProxyConnection toProxy(_source, &_to);
    const ProxyToFieldBaseConnection fromProxy(&_from, sink);
    EXPECT_EQ(_first->getValue() + _second->getValue(), 2.0);
    EXPECT_EQ(sink->getValue(), 2.0);
    _source->setValue(3.0);
    _linkedOut->setValue(4.0);
    EXPECT_EQ(_first->getValue() + _second->getValue(), 6.0);
    EXPECT_EQ(sink->getValue(), 4.0) << "what the proxy links is its value";
    toProxy.disable(false);
    _source->setValue(5.0);
    EXPECT_EQ(_first->getValue(), 3.0);
    toProxy.enable(true);
    EXPECT_EQ(_first->getValue(), 5.0);

    const ProxyToFieldBaseConnection both(&_from, &_to);
    EXPECT_EQ(_second->getValue(), 4);
    _inputs.removeField("First");
    _linkedOut->setValue(6.0);
    EXPECT_EQ(_second->getValue(), 6) << "one link is dead, the others are served";
    _outputs.removeField("LinkedOut");
    _source->setValue(7.0);
    EXPECT_EQ(_second->getValue(), 7);
}

TEST_F(Proxies, StopALoopThroughWhatTheyLink) {
    Container outputs("P", nullptr, Types::kOutput);
    auto* linked = outputs.add<double>("Linked");
    Proxy proxy("Proxy", Types::kUnknown, &outputs);
    proxy.addLink(linked);
    const FieldBaseToProxyConnection there(_source, &proxy);
    Kr::KrConnection back(linked, _source);
    back.setTransferFunction([](double x) { return x + 1.0; });
    int heard = 0;
    const auto observer = linked->addObserver([&](const FieldBase&) { ++heard; });
    _source->setValue(10.0);
    EXPECT_EQ(linked->getValue(), 10.0);
    EXPECT_EQ(_source->getValue(), 11.0);
    EXPECT_EQ(heard, 1);
}

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

}  // namespace proxy_connection_test
