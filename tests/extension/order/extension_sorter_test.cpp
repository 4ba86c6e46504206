#include "kr/extension/order/extension_sorter.h"

#include <gmock/gmock.h>

#include <barrier>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "kr/core/connection_base.h"
#include "kr/extension/extension.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/object.h"
#include "kr/extension/order/internal/execution_order.h"
#include "tests/support/context_host.h"
#include "tests/support/log_capture.h"
#include "tests/support/stress.h"

namespace extension_sorter_test {

using KrSim::detail::ExtensionAccess;
using namespace test_support;
using Kr::KrArray;
using Kr::KrSmartPtr;
using KrSim::KrExtension;
using KrSim::KrExtensionSorter;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

/// Registers itself with the sorter, and leaves it unless it is told to forget that.
class Link final : public Kr::KrConnectionBase {
    KR_BASE_CLASS(Link, KrConnectionBase)

    Link(KrData::FieldBase& source, KrData::FieldBase& sink, bool isExcluded = false) : _isExcluded(isExcluded) {
        _setFields(&source, &sink);
        _setOwners(source.getOwnerExtension(), sink.getOwnerExtension());
        source._addConnection(this);
        sink._addConnection(this);
        KrExtensionSorter::instance()._addConnection(this);
    }
    ~Link() override {
        if (!forgetsToLeave) KrExtensionSorter::instance()._removeConnection(this);
        if (getSource()) getSource()->_removeConnection(this);
        if (getSink()) getSink()->_removeConnection(this);
    }
    [[nodiscard]] bool isValid() const override { return getSource() && getSink(); }
    [[nodiscard]] bool isEnabled() const override { return true; }
    void enable(bool) override {}
    void disable(bool) override {}
    void transferValue(const KrData::FieldBase&) override {}
    [[nodiscard]] KrConnectionBase* _createBetween(KrData::FieldBase&, KrData::FieldBase&) const override {
        return nullptr;
    }
    [[nodiscard]] bool _isExcludedFromOrdering() const noexcept override { return _isExcluded; }
    using KrConnectionBase::_setOwners;

    bool forgetsToLeave{false};

private:
    bool _isExcluded;
};

class Sorter : public testing::Test {
protected:
    Sorter() { _sorter.reset(); }
    ~Sorter() override {
        _links.clear();
        _sorter.reset();
    }

    KrSmartPtr<KrExtension> make(const char* name, bool isRegistered = true) {
        auto extension = Kr::makeSmart<KrExtension>();
        extension->setName(name);
        extension->addInput("In", KrData::Types::kDouble);
        extension->addOutput("Out", KrData::Types::kDouble);
        if (isRegistered) _sorter.addExtension(extension.get());
        return extension;
    }
    Link& link(const KrSmartPtr<KrExtension>& source, const KrSmartPtr<KrExtension>& sink, bool isExcluded = false) {
        _links.push_back(std::make_unique<Link>(*source->getOutput("Out"), *sink->getInput("In"), isExcluded));
        return *_links.back();
    }
    std::vector<std::string> order() { return namesOf(_sorter.getGlobalOrder()); }
    template <class List>
    static std::vector<std::string> namesOf(const List& list) {
        std::vector<std::string> names;
        for (const auto& each : list)
            names.push_back(each == nullptr ? "null" : each->getName());
        return names;
    }

    KrExtensionSorter& _sorter = KrExtensionSorter::instance();
    std::vector<std::unique_ptr<Link>> _links;
};

TEST_F(Sorter, RunsSourcesFirstAndTheRestAsRegistered) {
    const auto p = make("P"), q = make("Q"), r = make("R");
    _sorter.addExtension(p.get());
    _sorter.addExtension(nullptr);
    link(r, p);
    EXPECT_THAT(order(), ElementsAre("Q", "R", "P"));
    link(p, q, true);
    EXPECT_THAT(order(), ElementsAre("Q", "R", "P")) << "one that delivers later orders nothing";
    _links.clear();
    EXPECT_THAT(order(), ElementsAre("P", "Q", "R"));
    _sorter.removeExtension(p.get());
    _sorter.addExtension(p.get());
    EXPECT_THAT(order(), ElementsAre("Q", "R", "P"));
}

TEST_F(Sorter, ReportsCyclesOnceAndNamesTheWay) {
    const auto p = make("P"), q = make("Q"), r = make("R");
    link(p, q);
    link(q, p);
    link(q, r);
    const LogCapture log;
    EXPECT_TRUE(_sorter.hasGraphCycle());
    EXPECT_THAT(order(), ElementsAre("P", "Q", "R"));
    EXPECT_THAT(
        log.lines(),
        ElementsAre("3 KrExtensionSorter: Connection cycles have been detected. This will have an impact on the "
                    "simulator performances. Here is the list of extensions having a connection loop:\n",
                    "3         [P]\n", "3         [Q]\n",
                    "3 KrExtensionSorter: make a connection that leads back a unit delay "
                    "(KrConnectionFactory::connectUnitDelay), which orders nothing.\n"));
    const auto cycles = _sorter.getCycles();
    ASSERT_EQ(cycles.size(), 1U);
    ASSERT_EQ(cycles[0].steps.size(), 2U);
    EXPECT_EQ(cycles[0].steps[0].extension, p.get());
    EXPECT_EQ(cycles[0].steps[1].extension, q.get());
    EXPECT_EQ(cycles[0].steps[0].sourceField + " " + cycles[0].steps[0].sinkField, "Outputs.Out Inputs.In");
}

TEST_F(Sorter, SortsAListAndBuildsOncePerChange) {
    const auto p = make("P"), q = make("Q"), r = make("R"), stranger = make("X", false);
    link(r, q);
    link(q, p);
    const LogCapture log;
    const auto before = _sorter.getLastBuildNumber();
    KrArray<KrSmartPtr<KrExtension>> single{p};
    _sorter.sortExtensions(single);
    EXPECT_EQ(_sorter.getLastBuildNumber(), before) << "one needs no order";

    KrArray<KrSmartPtr<KrExtension>> list{stranger, p, nullptr, q, r, p};
    _sorter.sortExtensions(list);
    EXPECT_THAT(namesOf(list), ElementsAre("R", "Q", "P", "null", "X", "P"));
    KrArray<KrSmartPtr<KrExtension>> repeating{q, nullptr, q, r};
    _sorter.sortExtensions(repeating);
    EXPECT_THAT(namesOf(repeating), ElementsAre("R", "Q", "null", "Q")) << "takes the foremost of those that are left";
    _sorter.sortExtensions(list);
    EXPECT_EQ(_sorter.getLastBuildNumber(), before + 1);
    link(p, make("S"));
    _sorter.sortExtensions(list);
    EXPECT_EQ(_sorter.getLastBuildNumber(), before + 2);
    EXPECT_EQ(log.lines()[0],
              "3 KrExtensionSorter::sortExtensions: 1 extension(s) were not added to KrExtensionSorter\n");
}

TEST_F(Sorter, LiftsAnEndToTheObjectThatIsRegistered) {
    const auto car = Kr::makeSmart<KrSim::KrObject>(), road = Kr::makeSmart<KrSim::KrObject>();
    car->setName("Car");
    road->setName("\"Road\"");
    const auto wheel = make("Wheel", false), engine = make("Engine", false), surface = make("Surface", false);
    car->add(wheel.get());
    car->add(engine.get());
    road->add(surface.get());
    _sorter.addExtension(car.get());
    _sorter.addExtension(road.get());
    link(engine, wheel);
    auto& across = link(surface, wheel);
    EXPECT_THAT(order(), ElementsAre("\"Road\"", "Car"));
    EXPECT_FALSE(_sorter.hasGraphCycle()) << "what is within one object is its own affair";
    EXPECT_THAT(_sorter.getConnectionsBetween(car.get(), road.get()), ElementsAre(&across));
    std::ostringstream picture;
    _sorter.toDot(picture);
    EXPECT_THAT(picture.str(), HasSubstr("e1 [label=\"1: \\\"Road\\\"\"]"));
    EXPECT_THAT(picture.str(), HasSubstr("e2 -> e2 [label=\"Outputs.Out -> Inputs.In\", style=dashed]"));
}

TEST_F(Sorter, FollowsOwnersThatChange) {
    const LogCapture log;
    const auto car = Kr::makeSmart<KrSim::KrObject>(), truck = Kr::makeSmart<KrSim::KrObject>(),
               shelf = Kr::makeSmart<KrSim::KrObject>();
    car->setName("Car");
    truck->setName("Truck");
    const auto wheel = make("Wheel", false), road = make("Road");
    _sorter.addExtension(truck.get());
    _sorter.addExtension(car.get());
    car->add(wheel.get());
    auto& up = link(road, wheel);
    auto& down = link(wheel, road);
    EXPECT_THAT(order(), ElementsAre("Truck", "Road", "Car"));
    EXPECT_EQ(_sorter.getCycles()[0].steps[0].extension, road.get());

    // A cycle with the truck from here on, by the next question of any kind.
    car->remove(wheel.get());
    EXPECT_THAT(_sorter.getCycles(), IsEmpty());
    truck->add(wheel.get());
    ASSERT_EQ(_sorter.getCycles().size(), 1U);
    EXPECT_EQ(_sorter.getCycles()[0].steps[1].extension, truck.get());
    truck->remove(wheel.get());
    std::ostringstream picture;
    _sorter.toDot(picture);
    EXPECT_THAT(picture.str(), Not(HasSubstr("->")));
    const auto build = _sorter.getLastBuildNumber();
    shelf->add(wheel.get());
    _sorter.build();
    EXPECT_EQ(_sorter.getLastBuildNumber(), build) << "where nobody is registered nothing changes";

    up._setOwners(road.get(), car.get());
    down._setOwners(car.get(), truck.get());
    EXPECT_THAT(order(), ElementsAre("Road", "Car", "Truck"));
    up._setOwners(truck.get(), road.get());
    EXPECT_THAT(order(), ElementsAre("Car", "Truck", "Road")) << "those of an edge that was known, too";
}

TEST_F(Sorter, StartsAfreshAfterReset) {
    const auto p = make("P"), q = make("Q"), r = make("R");
    auto& there = link(p, q);
    auto& back = link(q, r);
    EXPECT_THAT(order(), ElementsAre("P", "Q", "R"));
    _sorter.reset();
    EXPECT_THAT(order(), IsEmpty());
    _sorter.removeExtension(p.get());
    _sorter._removeConnection(&there);
    for (const auto& each : {r, q, p})
        _sorter.addExtension(each.get());
    EXPECT_THAT(order(), ElementsAre("R", "Q", "P")) << "connections are forgotten, too";
    EXPECT_FALSE(_sorter.isFieldConnected(q->getInput("In")));
    _sorter._addConnection(&back);
    there._setOwners(q.get(), p.get());
    _sorter._removeConnection(&there);
    EXPECT_THAT(order(), ElementsAre("Q", "P", "R"));
}

TEST_F(Sorter, KeepsUpWithRandomChanges) {
    const LogCapture log;
    std::mt19937 random(20261121);
    std::vector<KrSmartPtr<KrExtension>> all;
    for (int i = 0; i < 200; ++i)
        all.push_back(make(std::to_string(i).c_str()));
    const auto any = [&] { return all[random() % all.size()]; };
    for (int round = 0; round < 60; ++round) {
        // Growing and shrinking in turns, so that gaps are left and closed.
        const auto changes = random() % 120;
        for (unsigned i = 0; i < changes; ++i) {
            const bool isLeaving = random() % 4 < (round / 3 % 2 == 0 ? 1 : 3);
            if (const auto extension = any(); isLeaving)
                _sorter.removeExtension(extension.get());
            else
                _sorter.addExtension(extension.get());
            if (!isLeaving)
                link(any(), any());
            else if (!_links.empty())
                _links.erase(_links.begin() + static_cast<std::ptrdiff_t>(random() % _links.size()));
        }
        // The same from nothing.
        const auto extensions = _sorter.getExtensions();
        std::vector<KrExtension*> expected;
        std::map<const KrExtension*, std::uint32_t> numbers;
        for (auto* each : extensions)
            numbers.emplace(each, static_cast<std::uint32_t>(numbers.size()));
        std::vector<KrSim::detail::ExecutionEdge> edges;
        for (const auto& each : _links) {
            const auto source = numbers.find(each->getSourceOwner()), sink = numbers.find(each->getSinkOwner());
            if (source != numbers.end() && sink != numbers.end()) edges.push_back({source->second, sink->second});
        }
        for (const auto number :
             KrSim::detail::computeExecutionOrder(static_cast<std::uint32_t>(numbers.size()), edges).nodes)
            expected.push_back(extensions[number]);
        ASSERT_EQ(namesOf(_sorter.getGlobalOrder()), namesOf(expected)) << "round " << round;
    }
}

TEST_F(Sorter, AnswersForExtensionsAndFields) {
    const auto p = make("P"), q = make("Q");
    auto& there = link(p, q);
    auto& back = link(q, p);
    EXPECT_THAT(_sorter.getConnectionsFrom(p.get()), ElementsAre(&there));
    EXPECT_THAT(_sorter.getConnectionsTo(p.get()), ElementsAre(&back));
    EXPECT_THAT(_sorter.getConnections(p.get()), testing::UnorderedElementsAre(&there, &back));
    EXPECT_TRUE(_sorter.isFieldConnectedAsSource(p->getOutput("Out")));
    EXPECT_FALSE(_sorter.isFieldConnectedAsSink(p->getOutput("Out")));
    EXPECT_TRUE(_sorter.isFieldConnected(p->getInput("In")));
    EXPECT_FALSE(_sorter.isFieldConnected(nullptr));
    EXPECT_EQ(_sorter.getCycles().size(), 1U);
    p->removeInput("In");
    EXPECT_THAT(_sorter.getConnectionsTo(p.get()), IsEmpty());
    EXPECT_FALSE(_sorter.hasGraphCycle()) << "a connection that lost its end orders nothing";
    EXPECT_THAT(_sorter.getCycles(), IsEmpty());
}

TEST_F(Sorter, OutlivesWhatItKnows) {
    auto p = make("P");
    const auto q = make("Q");
    link(p, q).forgetsToLeave = true;
    const LogCapture log;
    _links.clear();
    p.reset();
    EXPECT_THAT(order(), ElementsAre("Q"));
    EXPECT_THAT(log.lines(), ElementsAre("3 KrConnectionBase is being deleted without being removed from the "
                                         "KrExtensionSorter. Please check the derived class constructor.\n"));
}

TEST_F(Sorter, DrawsThePictureOfTheDocuments) {
    std::map<std::string, KrSmartPtr<KrExtension>> all;
    for (const auto* name : {"Dashboard", "Suspension", "Vehicle", "Motor", "Driver"})
        all.emplace(name, make(name));
    const auto connect = [&](const char* source, const char* sink, const char* value, bool isExcluded = false) {
        auto* output = all[source]->getOutput(value);
        if (output == nullptr) output = all[source]->addOutput(value, KrData::Types::kDouble);
        auto* input = all[sink]->addInput(value, KrData::Types::kDouble);
        _links.push_back(std::make_unique<Link>(*output, *input, isExcluded));
    };
    connect("Driver", "Motor", "Throttle");
    connect("Motor", "Vehicle", "Torque");
    connect("Vehicle", "Suspension", "Load");
    connect("Suspension", "Vehicle", "Force");
    connect("Vehicle", "Dashboard", "Speed");
    connect("Vehicle", "Driver", "Speed", true);
    const LogCapture log;
    std::ostringstream picture, expected;
    _sorter.toDot(picture);
    expected << std::ifstream(KR_DOCS "/pictures/execution-order.dot").rdbuf();
    EXPECT_EQ(picture.str(), expected.str());
}

TEST_F(Sorter, TellsListenersWhoMayThrowAndLeave) {
    struct Recorder final : KrExtensionSorter::Listener {
        std::vector<std::string> heard;
        void onExtensionAdded(KrExtension* extension) override {
            heard.push_back("+" + extension->getName());
            throw std::runtime_error("no");
        }
        void onExtensionRemoved(KrExtension*) override {
            heard.emplace_back("-");
            KrExtensionSorter::instance().unregisterListener(this);
        }
        void onConnectionAdded(Kr::KrConnectionBase*) override { heard.emplace_back("link"); }
        void onBuilt(std::uint32_t) override { heard.emplace_back("built"); }
    } recorder;
    _sorter.registerListener(&recorder);
    _sorter.registerListener(&recorder);
    const LogCapture log;
    auto p = make("P");
    const auto q = make("Q");
    link(p, q);
    _sorter.build();
    p.reset();
    make("R");
    EXPECT_THAT(recorder.heard, ElementsAre("+P", "+Q", "link", "built", "-"));
}

TEST_F(Sorter, IsAskedFromManyThreads) {
    const auto work = [this](int, int) {
        KrArray<KrSmartPtr<KrExtension>> list;
        for (int i = 0; i < 4; ++i) {
            list.append(Kr::makeSmart<KrExtension>());
            _sorter.addExtension(list[list.size() - 1].get());
        }
        _sorter.sortExtensions(list);
    };
    runStress(100, work, [this] { static_cast<void>(_sorter.getExtensions()); });
    EXPECT_TRUE(_sorter.getExtensions().isEmpty());
}

/// An application with two extensions that feed each other, and a frame under way on the thread that makes it.
class LoopedApplication {
public:
    explicit LoopedApplication(const std::string& name) : _p(_make(name + ".P")), _q(_make(name + ".Q")) {
        _host.frame();
    }

    void addExtension(const char* name) { _extensions.push_back(_make(name)); }

private:
    KrSmartPtr<KrExtension> _make(const std::string& name) {
        auto extension = Kr::makeSmart<KrExtension>();
        extension->setName(name.c_str());
        extension->addInput("In", KrData::Types::kDouble);
        extension->addOutput("Out", KrData::Types::kDouble);
        ExtensionAccess::setApplicationContext(*extension, _host.context());
        KrExtensionSorter::instance().addExtension(extension.get());
        return extension;
    }

    ContextHost _host;
    KrSmartPtr<KrExtension> _p, _q;
    Link _there{*_p->getOutput("Out"), *_q->getInput("In")};
    Link _back{*_q->getOutput("Out"), *_p->getInput("In")};
    std::vector<KrSmartPtr<KrExtension>> _extensions;
};

TEST_F(Sorter, ReportsTheCyclesOfEachApplicationOnItsThreadWhenItHasChanged) {
    // The paths that a warning about cycles names.
    const auto reported = [&] {
        const LogCapture log;
        _sorter.build();
        auto lines = log.lines();
        std::erase_if(lines, [](const auto& line) { return line.find('[') == std::string::npos; });
        return lines;
    };
    using Lines = std::vector<std::string>;
    LoopedApplication here("Here");
    std::barrier turn(2);
    Lines elsewhereFirst, elsewhereAgain;
    std::thread thread([&] {
        const LoopedApplication elsewhere("Elsewhere");
        turn.arrive_and_wait();  // this thread builds
        turn.arrive_and_wait();
        elsewhereFirst = reported();
        turn.arrive_and_wait();  // it changes its content and builds again
        turn.arrive_and_wait();
        elsewhereAgain = reported();
        turn.arrive_and_wait();
    });
    const Lines mine{"3         [Here.P]\n", "3         [Here.Q]\n"};
    turn.arrive_and_wait();
    EXPECT_EQ(reported(), mine);
    EXPECT_EQ(_sorter.getCycles().size(), 1U);
    turn.arrive_and_wait();
    turn.arrive_and_wait();
    here.addExtension("Other");
    EXPECT_EQ(reported(), mine);
    turn.arrive_and_wait();
    turn.arrive_and_wait();
    thread.join();
    EXPECT_THAT(elsewhereFirst, ElementsAre("3         [Elsewhere.P]\n", "3         [Elsewhere.Q]\n"));
    EXPECT_THAT(elsewhereAgain, IsEmpty()) << "nothing of it has changed";
}

}  // namespace extension_sorter_test
