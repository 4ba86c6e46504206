#include <gtest/gtest.h>

#include <functional>
#include <latch>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kr/data/extension_field.h"
#include "kr/data/field_listener.h"
#include "tests/support/field_doubles.h"

namespace field_faults_test {

using test_support::Container;
using test_support::FakeConnection;
using test_support::FakeOwner;
using test_support::Field;
using test_support::FieldBase;
using test_support::Types;

class Listener final : public KrData::FieldListener {
public:
    using Told = std::function<void(Kr::KrConnectionBase*)>;
    explicit Listener(Told told) : _told(std::move(told)) {}
    void onIncomingConnectionRemoved(Kr::KrConnectionBase* connection) override { _told(connection); }
    void onOutgoingConnectionRemoved(Kr::KrConnectionBase* connection) override { _told(connection); }

private:
    Told _told;
};

// --- Connections that their owner deletes as soon as a field lets go of them -----------------------------------------

struct DyingEnd {
    const char* name;
    bool isSource;
    bool isTold;  // which end has the listener: the dying one or the other
};
class FieldFaultsDyingEnd : public testing::TestWithParam<DyingEnd> {};
TEST_P(FieldFaultsDyingEnd, AListenerMayDeleteTheConnection) {
    const DyingEnd given = GetParam();
    auto dying = std::make_unique<Field<int>>("Dying");
    Field<int> other("Other");
    std::vector<std::unique_ptr<FakeConnection>> connections;
    for (int i = 0; i < 3; ++i)
        connections.push_back(given.isSource ? std::make_unique<FakeConnection>(*dying, other)
                                             : std::make_unique<FakeConnection>(other, *dying));
    int later = 0;
    Listener listener([&](Kr::KrConnectionBase* connection) {
        for (auto& each : connections) {
            if (each.get() == connection) const auto deleted = std::exchange(each, nullptr);
        }
    });
    Listener second([&](Kr::KrConnectionBase* connection) { later += Kr::KrBase::isKrBaseValid(connection) ? 0 : 1; });
    FieldBase& told = given.isTold ? *dying : other;
    told.registerListener(&listener);
    told.registerListener(&second);
    dying.reset();
    for (const auto& each : connections)
        EXPECT_EQ(each, nullptr);
    EXPECT_EQ(later, 0) << "nobody is told of a connection that is gone";
    EXPECT_FALSE(other._hasOutgoingConnections());
    EXPECT_FALSE(other._hasIncomingConnections());
    other.unregisterListener(&listener);
    other.unregisterListener(&second);
}
INSTANTIATE_TEST_SUITE_P(Ends, FieldFaultsDyingEnd,
                         testing::Values(DyingEnd{"SourceToldAtTheSource", true, true},
                                         DyingEnd{"SourceToldAtTheSink", true, false},
                                         DyingEnd{"SinkToldAtTheSink", false, true},
                                         DyingEnd{"SinkToldAtTheSource", false, false}),
                         [](const auto& each) { return std::string(each.param.name); });

}  // namespace field_faults_test
