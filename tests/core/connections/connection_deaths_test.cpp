// For each death at each moment: no dead object is accessed, and the others work on.

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kr/core/connection_access.h"
#include "kr/core/connections/connection.h"
#include "kr/core/connections/connection_factory.h"
#include "kr/core/connections/sim_queued_connection.h"
#include "kr/data/container.h"
#include "kr/data/field_access.h"
#include "kr/data/field_array.h"
#include "kr/data/field_listener.h"
#include "kr/data/proxy.h"
#include "kr/data/vector.h"
#include "kr/extension/extension.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/order/extension_sorter.h"
#include "tests/support/dispatcher_scope.h"
#include "tests/support/growth.h"

namespace connection_deaths_test {

using Kr::detail::ConnectionAccess;
using KrData::detail::FieldAccess;
using KrSim::detail::ExtensionAccess;
using KrSim::detail::FieldsAccess;
using namespace test_support;
using Kr::KrConnection;
using Kr::KrConnectionBase;
using KrData::Container;
using KrData::Field;
using KrData::FieldBase;
using KrData::Types;

/// Two extensions with one connection of some kind between them, and a second one from the same source.
class Rig {
public:
    explicit Rig(const std::string& kind) {
        auto& outputs = from->getOutputContainer();
        auto& inputs = to->getInputContainer();
        const auto use = [&](FieldBase* newSource, FieldBase* newSink) {
            source = newSource;
            sink = watched = newSink;
        };
        if (kind == "Container") {
            auto *sources = outputs.addContainer("Source"), *sinks = inputs.addContainer("Sink");
            auto* leaf = sources->addContainer("Nested")->add<double>("X");
            use(sources, sinks);
            watched = sinks->addContainer("Nested")->add<double>("X");
            set = [leaf](double value) { leaf->setValue(value); };
        } else if (kind == "Array") {
            using Array = KrData::FieldArray<Field<double>>;
            auto* items = new Array("Source", &outputs, Types::kOutput);
            use(items, new Array("Sink", &inputs, Types::kInput));
            set = [items](double value) {
                items->append();  // so that the whole array is transferred
                items->item(0)->setValue(value);
            };
        } else if (kind == "Vector") {
            auto* items = new KrData::Vector<double>("Source", &outputs, {1.0, 2.0, 3.0});
            use(items, new KrData::Vector<double>("Sink", &inputs));
            items->enableIncrementalDataTransfer(true);
            set = [items](double value) { items->setItem(2, value); };
        } else {
            auto* number = outputs.add<double>("Number");
            use(number, inputs.addField("Sink", kind == "Converting" ? Types::kInteger : Types::kDouble));
            set = [number](double value) { number->setValue(value); };
            const auto proxyOf = [](FieldBase* field) {
                auto* proxy = new KrData::Proxy("Proxy", Types::kUnknown, field->getParent());
                proxy->addLink(field);
                return proxy;
            };
            if (kind == "FromProxy") source = proxyOf(number);
            if (kind == "ToProxy") sink = proxyOf(watched);
        }
        source->_setDynamic(true);
        sink->_setDynamic(true);
        sourceLife = KrData::FieldReference(source);
        sinkLife = KrData::FieldReference(sink);
        if (kind == "Queued") {
            connection = std::make_unique<Kr::KrSimQueuedConnection>(source, sink);
        } else {
            connection.reset(Kr::KrConnectionFactory::_create(source, sink));
        }
        if (auto* direct = dynamic_cast<KrConnection*>(connection.get()); direct && kind == "Function") {
            direct->setTransferFunction([](double x) { return x; });
        }
        next.reset(Kr::KrConnectionFactory::_create(source, sink));
    }

    [[nodiscard]] static std::vector<std::string> kinds() {
        return {"Plain", "Converting", "Function", "Container", "Array", "Vector", "Queued", "FromProxy", "ToProxy"};
    }
    /// A converted value is equal in number only.
    [[nodiscard]] bool areEqual() const {
        return sink->isEqual(*source) || (sink->as<int>() && sink->toReal() == source->toReal());
    }

    using Act = void (*)(Rig&);
    [[nodiscard]] static const std::vector<std::pair<const char*, Act>>& acts() {
        static const std::vector<std::pair<const char*, Act>> all{
            {"Source", [](Rig& rig) { rig.from->getOutputContainer().clear(); }},
            {"Sink", [](Rig& rig) { rig.to->getInputContainer().clear(); }},
            {"Connection", [](Rig& rig) { rig.connection.reset(); }},
            {"SourceOwner", [](Rig& rig) { rig.from.reset(); }},
            {"SinkOwner", [](Rig& rig) { rig.to.reset(); }},
        };
        return all;
    }
    void doSafely(Act act) {
        if (from && to) act(*this);
    }

    /// Invalid as soon as a field has died, and unknown to the other field and to the sorter.
    void expectConsistent() {
        for (auto* each : {connection.get(), next.get()}) {
            if (each == nullptr) continue;
            const bool areAlive = sourceLife.isAlive() && sinkLife.isAlive();
            EXPECT_EQ(each->isValid(), areAlive);
            EXPECT_EQ(ConnectionAccess::isRegisteredInSorter(*each), areAlive);
            EXPECT_EQ(each->getSource() != nullptr && each->getSink() != nullptr, areAlive);
            EXPECT_EQ(each->getSourceOwner() != nullptr, areAlive);
        }
        const int left = connection && next ? 2 : 1;
        if (sourceLife.isAlive()) {
            EXPECT_EQ(FieldAccess::getOutgoingConnections(*sourceLife.get()).size(), sinkLife.isAlive() ? left : 0);
        }
        if (sinkLife.isAlive()) {
            EXPECT_EQ(FieldAccess::getIncomingConnections(*sinkLife.get()).size(), sourceLife.isAlive() ? left : 0);
        }
    }

    DispatcherScope dispatcher;
    Kr::KrSmartPtr<KrSim::KrExtension> from = Kr::makeSmart<KrSim::KrExtension>();
    Kr::KrSmartPtr<KrSim::KrExtension> to = Kr::makeSmart<KrSim::KrExtension>();
    FieldBase* source{nullptr};
    FieldBase* sink{nullptr};
    FieldBase* watched{nullptr};
    KrData::FieldReference sourceLife, sinkLife;
    std::function<void(double)> set;
    std::unique_ptr<KrConnectionBase> connection, next;
};

class Deaths : public testing::TestWithParam<std::string> {};

TEST_P(Deaths, AtRestOrOutOfAnObserverDuringTheTransfer) {
    for (const bool isAtRest : {true, false}) {
        for (const auto& [name, act] : Rig::acts()) {
            for (const auto& [thenName, thenAct] : Rig::acts()) {
                SCOPED_TRACE(std::string(name) + " then " + thenName + (isAtRest ? " at rest" : ""));
                Rig rig(GetParam());
                rig.expectConsistent();
                bool isDone = false;
                const auto kill = [&, first = act, second = thenAct](const FieldBase&) {
                    if (std::exchange(isDone, true)) return;
                    rig.doSafely(first);
                    rig.doSafely(second);
                };
                const auto observer = rig.watched->addObserver(kill);
                if (isAtRest) kill(*rig.watched);
                if (rig.sourceLife.isAlive()) rig.set(5.0);
                EXPECT_TRUE(isDone);
                rig.expectConsistent();
                if (!rig.sourceLife.isAlive()) continue;
                rig.set(6.0);
                if (rig.sinkLife.isAlive()) {
                    EXPECT_TRUE(rig.areEqual()) << "the second connection works on";
                }
            }
        }
    }
}

TEST_P(Deaths, OfAFieldThatMovesWhileItIsTransferred) {
    Rig rig(GetParam());
    auto third = Kr::makeSmart<KrSim::KrExtension>();
    FieldsAccess::ownConnection(rig.to->getFieldsContainer(), std::move(rig.next));
    int calls = 0;
    const auto observer = rig.watched->addObserver([&](const FieldBase&) {
        if (++calls > 1) return;
        EXPECT_TRUE(rig.sink->setParent(&third->getInputContainer()));
        rig.to.reset();
    });
    rig.set(5.0);
    ASSERT_GE(calls, 1);
    EXPECT_EQ(rig.connection->getSinkOwner(), third.get());
    rig.expectConsistent();
    if (GetParam() == "ToProxy") return;  // what it links was left behind
    ExtensionAccess::setSuspended(*third, true);
    rig.set(6.0);
    EXPECT_EQ(rig.areEqual(), GetParam() == "Queued") << "its new owner takes nothing";
    ExtensionAccess::setSuspended(*third, false);
    rig.set(7.0);
    EXPECT_TRUE(rig.areEqual());
    if (rig.sink->getDataType() == Types::kContainer) return;  // which keeps its role
    rig.sink->setParent(&third->getParameterContainer());
    EXPECT_TRUE(rig.connection->isOutputToParameter());
    rig.source->setParent(&third->getInputContainer());
    rig.set(8.0);
    EXPECT_EQ(rig.areEqual(), GetParam() == "Queued") << "an input does not drive a parameter";
    rig.expectConsistent();
    third.reset();
    rig.expectConsistent();
}

/// Destroys a connection in its first callback about it.
struct Destroyer final : KrData::FieldListener, KrSim::KrExtensionSorter::Listener {
    void onOutgoingConnectionAdded(KrConnectionBase* connection) override { destroy(connection); }
    void onIncomingConnectionAdded(KrConnectionBase* connection) override { destroy(connection); }
    void onConnectionAdded(KrConnectionBase* connection) override { destroy(connection); }
    void destroy(KrConnectionBase* connection) {
        ++count;
        delete connection;
    }
    int count{0};
};

TEST_P(Deaths, OfAConnectionInTheMaking) {
    using Make = KrConnectionBase* (*)(Rig&);
    const bool isQueued = GetParam() == "Queued";
    const std::pair<const char*, Make> ways[] = {
        {"Factory", [](Rig& rig) { return Kr::KrConnectionFactory::connect(rig.source, rig.sink); }},
        {"Queued", [](Rig& rig) { return Kr::KrConnectionFactory::connectQueued(rig.source, rig.sink); }},
        {"Unowned", [](Rig& rig) { return Kr::KrConnectionFactory::_create(rig.source, rig.sink); }},
        {"UnownedQueued",
         [](Rig& rig) {
             return Kr::KrConnectionFactory::_create(rig.source, rig.sink, true, Kr::eConnectionKind::kQueued);
         }},
        {"UnownedUnitDelay",
         [](Rig& rig) {
             return Kr::KrConnectionFactory::_create(rig.source, rig.sink, true, Kr::eConnectionKind::kUnitDelay);
         }},
        {"UnownedInterpolated",
         [](Rig& rig) {
             return Kr::KrConnectionFactory::_create(rig.source, rig.sink, true, Kr::eConnectionKind::kInterpolated);
         }},
        {"Copy", [](Rig& rig) { return ConnectionAccess::createBetween(*rig.connection, *rig.source, *rig.sink); }},
        {"Enable",
         [](Rig& rig) -> KrConnectionBase* {
             rig.connection.release()->enable(true);
             return nullptr;
         }},
        {"Init",
         [](Rig& rig) -> KrConnectionBase* {
             EXPECT_FALSE((new Kr::KrSimQueuedConnection)->init(rig.source, rig.sink));
             return nullptr;
         }},
    };
    for (const std::string where : {"Source", "Sink", "Sorter", "FirstTransfer"}) {
        for (const auto& [name, make] : ways) {
            SCOPED_TRACE(where + " " + name);
            const bool isCopy = name == std::string("Copy"), isEnable = name == std::string("Enable");
            const bool isHeard = !isEnable || where == "Sorter" || where == "FirstTransfer";
            const bool isQueuedWay = std::string_view(name).ends_with("Queued") || name == std::string("Init");
            if (!isHeard || (!isCopy && !isEnable && isQueuedWay != isQueued)) continue;
            Destroyer destroyer, second;
            Rig rig(GetParam());
            rig.next.reset();
            if (isEnable) rig.connection->disable(true);
            if (!isCopy && !isEnable) rig.connection.reset();
            KrData::DelegateConnection observer;
            auto& sorter = KrSim::KrExtensionSorter::instance();
            if (where == "Source") rig.source->registerListener(&destroyer);
            if (where == "Sink") rig.sink->registerListener(&destroyer);
            if (where == "Sorter") {
                sorter.registerListener(&destroyer);
                sorter.registerListener(&second);
            }
            if (where == "FirstTransfer") {
                if (isCopy) rig.connection->disable(false);
                rig.set(5.0);
                if (isCopy) rig.connection->enable(false);
                observer = rig.watched->addObserver([&](const FieldBase&) {
                    if (destroyer.count == 0)
                        destroyer.destroy(FieldAccess::getOutgoingConnections(*rig.source).back());
                });
            }
            EXPECT_EQ(make(rig), nullptr);
            EXPECT_EQ(destroyer.count, 1);
            EXPECT_EQ(second.count, 0);
            sorter.unregisterListener(&destroyer);
            sorter.unregisterListener(&second);
            EXPECT_EQ(FieldAccess::getOutgoingConnections(*rig.source).size(), isCopy ? 1 : 0);
            EXPECT_EQ(FieldAccess::getIncomingConnections(*rig.sink).size(), isCopy ? 1 : 0);
            rig.set(6.0);
            EXPECT_EQ(rig.areEqual(), isCopy);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Each, Deaths, testing::ValuesIn(Rig::kinds()), [](const auto& each) { return each.param; });

using Connections = std::vector<std::unique_ptr<KrConnection>>;

/// A way in which all connections of one source end.
struct Ending {
    const char* name;
    void (*end)(Container& outputs, Connections& connections);
};
constexpr Ending kEndings[] = {
    {"InTheirOrder",
     [](Container&, Connections& connections) {
         for (auto& each : connections)
             each.reset();
     }},
    {"LastOneFirst",
     [](Container&, Connections& connections) {
         while (!connections.empty())
             connections.pop_back();
     }},
    {"WithTheirSource", [](Container& outputs, Connections&) { outputs.clear(); }},
};

class ManyConnections : public testing::TestWithParam<Ending> {};

TEST_P(ManyConnections, OfOneSourceEndInTimeThatGrowsWithTheirNumber) {
    const auto endAll = [](int count) {
        Container outputs("O", nullptr, Types::kOutput), inputs("I", nullptr, Types::kInput);
        auto* source = outputs.add<double>("Source");
        auto* sink = inputs.add<double>("Sink");
        Connections connections;
        for (int i = 0; i < count; ++i)
            connections.push_back(std::make_unique<KrConnection>(source, sink));
        source->setValue(1.0);
        GetParam().end(outputs, connections);
        EXPECT_FALSE(FieldAccess::hasIncomingConnections(*sink));
    };
    EXPECT_LT(test_support::measureGrowth(3'000, endAll), 10.0);
}

INSTANTIATE_TEST_SUITE_P(End, ManyConnections, testing::ValuesIn(kEndings),
                         [](const auto& each) { return each.param.name; });

}  // namespace connection_deaths_test
