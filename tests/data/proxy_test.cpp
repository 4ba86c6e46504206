#include "kr/data/proxy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "kr/data/field_access.h"
#include "kr/data/field_array.h"
#include "kr/data/i_extension_facts.h"
#include "kr/data/value_conversion.h"
#include "tests/support/fake_content.h"
#include "tests/support/field_doubles.h"
#include "tests/support/log_capture.h"

namespace proxy_test {

using KrData::detail::FieldAccess;
using namespace test_support;
using KrData::Link;
using KrData::Proxy;
using KrSim::KrContentID;
using KrSim::KrContentReference;
using testing::ElementsAre;
using testing::IsEmpty;

/// What proxies see of an extension: its content ID, and its fields in three containers.
class Extension final : public Container, public KrData::IFieldOwner {
public:
    explicit Extension(std::uint64_t id) : Container("Fields"), _content(KrContentID::createFromWords(0, id)) {
        _all()[asExtension()] = this;
    }
    ~Extension() override {
        _content.leave();
        clear();
        _all().erase(asExtension());
        _content.enter();
    }

    Container& inputs = *new Container("Inputs", this, Types::kInput);
    Container& outputs = *new Container("Outputs", this, Types::kOutput);
    Container& parameters = *new Container("Parameters", this, Types::kParameter);
    int connected{0};

    [[nodiscard]] KrContentReference reference() { return KrContentReference(_content.id()); }
    void onOutputCountsChanged(int connectedDelta, int) override { connected += connectedDelta; }
    KrSim::KrExtension* asExtension() noexcept override { return _content.asExtension(); }
    [[nodiscard]] IFieldOwner* _getFieldOwner() const override { return const_cast<Extension*>(this); }

    static void installFunctions() {
        struct Facts final : KrData::IExtensionFacts {
            [[nodiscard]] std::string getName(KrSim::KrExtension&) const override { return "Car"; }
            [[nodiscard]] std::string getTypeName(KrSim::KrExtension&) const override { return "Vehicle"; }
            [[nodiscard]] Container* getFields(KrSim::KrExtension& extension) const override {
                return _all().at(&extension);
            }
        };
        static const Facts facts;
        Kr::UpperLayer<KrData::IExtensionFacts>::install(&facts);
    }

private:
    static std::map<KrSim::KrExtension*, Extension*>& _all() {
        static std::map<KrSim::KrExtension*, Extension*> all;
        return all;
    }

    FakeContent _content;
};

class Proxies : public testing::Test {
protected:
    Proxies() { Extension::installFunctions(); }
    ~Proxies() override { Kr::UpperLayer<KrData::IExtensionFacts>::install(nullptr); }

    Proxy* addProxy(const char* id, Types::DataTypeEnum type = Types::kUnknown) {
        return new Proxy(id, type, &car.inputs);
    }

    FakeContentScope scope;
    Extension car{1};
    Extension other{2};
    Proxy& proxy = *addProxy("Control");
    Field<double>* first = car.inputs.add<double>("First", 1.0);
    Field<int>* second = other.inputs.add<int>("Second", 2);
};

TEST_F(Proxies, LinkFieldsOfTheirRoleAndTypeThatAreNotAboveThem) {
    auto* group = car.inputs.addContainer("Group");
    Proxy inGroup("Inner", Types::kUnknown, group);
    Proxy& containers = *addProxy("Containers", Types::kContainer);
    KrData::FieldArray<Field<double>> array("Array", &other.inputs, Types::kInput);
    EXPECT_FALSE(proxy.canLink(nullptr));
    EXPECT_FALSE(proxy.canLink(&proxy));
    EXPECT_FALSE(proxy.canLink(&FieldBase::getInvalidField()));
    EXPECT_FALSE(proxy.canLink(car.parameters.add<double>("Mass"))) << "another role";
    EXPECT_FALSE(Proxy("Detached").canLink(std::make_unique<Field<double>>("Mass").get())) << "no role";
    EXPECT_FALSE(proxy.setProxyDataType(Types::kProxy));
    EXPECT_FALSE(proxy.setProxyDataType(Types::kInvalid));
    EXPECT_TRUE(proxy.addLink(first));
    EXPECT_EQ(proxy.getProxyDataType(), Types::kDouble);
    EXPECT_FALSE(proxy.setProxyDataType(Types::kInteger));
    EXPECT_FALSE(proxy.addLink(first)) << "twice";
    EXPECT_TRUE(proxy.canLink(second)) << "an integer for a double";
    EXPECT_FALSE(proxy.canLink(car.inputs.add<Kr::KrColor>("Paint")));
    EXPECT_FALSE(inGroup.canLink(group));
    EXPECT_FALSE(inGroup.canLink(&car.inputs));
    EXPECT_TRUE(containers.canLink(group));
    EXPECT_TRUE(containers.canLink(&array));
    EXPECT_FALSE(containers.canLink(&proxy));
    EXPECT_FALSE(containers.canLink(first));
}

TEST_F(Proxies, FormNoCycles) {
    Proxy &a = *addProxy("A"), &b = *addProxy("B"), &c = *addProxy("C"), &sibling = *addProxy("Sibling");
    EXPECT_TRUE(a.addLink(&b));
    EXPECT_TRUE(b.addLink(&c));
    EXPECT_TRUE(b.addLink(&sibling));
    EXPECT_FALSE(b.canLink(&a)) << "directly";
    EXPECT_FALSE(c.canLink(&a)) << "through another";
    EXPECT_FALSE(c.canLink(&sibling)) << "linked by the same proxy";
    Container* group = car.inputs.addContainer("Group");
    Proxy inner("Inner", Types::kUnknown, group);
    Proxy& groups = *addProxy("Groups");
    EXPECT_TRUE(groups.addLink(group));
    EXPECT_FALSE(inner.canLink(&groups)) << "through a container";
    EXPECT_TRUE(b.removeLink(&c));
    EXPECT_FALSE(b.removeLink(&c));
    EXPECT_TRUE(c.canLink(&a));
}

TEST_F(Proxies, SetEveryFieldInOrderWhileOneTakesTheValue) {
    const LogCapture log;
    Proxy& text = *addProxy("Text", Types::kString);
    Events order;
    const auto onFirst = first->addObserver([&](const FieldBase&) { order.emplace_back("First"); });
    const auto onSecond = second->addObserver([&](const FieldBase&) { order.emplace_back("Second"); });
    auto* note = other.inputs.add<std::string>("Note");
    EXPECT_TRUE(text.addLink(second));
    EXPECT_TRUE(text.addLink(first));
    EXPECT_TRUE(text.addLink(note));
    EXPECT_THAT(order, ElementsAre("First")) << "takes the value of the field linked before";
    EXPECT_TRUE(text.copyValue(Field<float>("Source", nullptr, 3.5F)));
    EXPECT_THAT(order, ElementsAre("First", "Second", "First"));
    EXPECT_TRUE(text.copyValue(Field<std::string>("Source", nullptr, "fast")));
    EXPECT_EQ(second->toString() + " " + first->toString() + " " + note->getValue(), "4 3.5 fast");
    text.reset();
    EXPECT_EQ(second->toString() + " " + first->toString() + " " + note->getValue(), "0 0 ");
    car.inputs.removeField("First");
    other.inputs.clear();
    EXPECT_EQ(text.getLinkCount(), 3U);
    EXPECT_FALSE(text.copyValue(Field<int>("Source")));
    EXPECT_EQ(log.lines().back(), "5 Proxy: unable to copy value from Source to Inputs.Text.\n");
    EXPECT_EQ(text.removeInvalidLinks(), 3U);
}

TEST_F(Proxies, HandOverTheValueOfTheirFirstField) {
    Proxy &outer = *addProxy("Outer"), &empty = *addProxy("Empty"), &groups = *addProxy("Groups");
    Field<double> sink("Sink");
    EXPECT_TRUE(outer.addLink(&empty));
    EXPECT_TRUE(outer.addLink(&proxy));
    EXPECT_FALSE(sink.copyValue(outer));
    EXPECT_TRUE(proxy.addLink(second));
    EXPECT_TRUE(outer.setProxyDataType(Types::kInteger));
    EXPECT_TRUE(sink.copyValue(outer));
    EXPECT_EQ(sink.getValue(), 2.0);
    EXPECT_TRUE(outer.canConvertTo(sink));
    EXPECT_TRUE(sink.canConvertTo(outer));
    EXPECT_TRUE(outer.canConvertTo(Types::kString));
    EXPECT_FALSE(outer.canConvertTo(Types::kColor));
    const auto twice = [](double x) { return 2.0 * x; };
    EXPECT_TRUE(KrData::CanApplyTransferFunction(outer, sink));
    EXPECT_TRUE(KrData::ApplyTransferFunction(outer, sink, twice));
    EXPECT_TRUE(KrData::ApplyTransferFunction(sink, outer, twice));
    EXPECT_EQ(second->getValue(), 8);

    KrData::FieldArray<Field<double>> array("Array", &car.inputs, Types::kInput);
    array.resize(3);
    Field<KrMath::Vector3T<double>> vector("Vector", nullptr, {1, 2, 3});
    EXPECT_TRUE(groups.addLink(&array));
    EXPECT_TRUE(groups.canConvertTo(vector));
    EXPECT_TRUE(groups.copyValue(vector));
    Container copy("Copy");
    copy.add<double>("3", 0.0);
    EXPECT_TRUE(copy.copyValue(groups));
    EXPECT_EQ(copy["3"].get<double>(), 3.0);
}

TEST_F(Proxies, EqualWhatWouldChangeNothing) {
    Proxy& same = *addProxy("Same");
    const Field<std::string> one("One", nullptr, "1");
    EXPECT_TRUE(same.isEqual(proxy));
    EXPECT_TRUE(proxy.addLink(first));
    EXPECT_TRUE(proxy.addLink(second));
    EXPECT_FALSE(same.isEqual(proxy));
    EXPECT_FALSE(proxy.isEqual(same));
    EXPECT_TRUE(one.isEqual(proxy));
    EXPECT_TRUE(same.addLink(first));
    EXPECT_TRUE(same.isEqual(proxy));
    second->setValue(3);
    EXPECT_FALSE(one.isEqual(proxy));
    EXPECT_FALSE(same.isEqual(proxy));
}

TEST_F(Proxies, TellOnceOfTheirValueAfterAllFieldsHaveIt) {
    EXPECT_TRUE(proxy.addLink(first));
    EXPECT_TRUE(proxy.addLink(second));
    Events told;
    const auto observer = proxy.addObserver(
        [&](const FieldBase& changed) { told.push_back(changed.getID().str() + " " + second->toString()); });
    proxy.copyValue(Field<double>("Source", nullptr, 5.0));
    EXPECT_THAT(told, ElementsAre("Control 5"));
    first->setValue(6.0);
    second->setValue(7);
    EXPECT_THAT(told, ElementsAre("Control 5", "Control 5")) << "the second field does not make the value";
    car.inputs.removeField("First");
    second->setValue(8);
    proxy.removeAllLinks();
    second->setValue(9);
    EXPECT_THAT(told, ElementsAre("Control 5", "Control 5", "Control 8"));
}

TEST_F(Proxies, HearEvenWhereObserversAreSilent) {
    auto* group = car.outputs.addContainer("Group");
    Proxy result("Result", Types::kContainer, &car.outputs);
    Field<double> sink("Sink");
    const FakeConnection connection(result, sink);
    const int before = car.connected;
    EXPECT_TRUE(result.addLink(group));
    EXPECT_EQ(car.connected, before + 1) << "a linked output is connected";
    auto* leaf = group->add<double>("Leaf");
    leaf->_setApplicationModeIsEditing(false);
    leaf->setValue(1.0);
    EXPECT_TRUE(group->hasWatchers());
    EXPECT_TRUE(leaf->hasWatchers());
    EXPECT_EQ(connection.transfers(), 1);
    EXPECT_TRUE(result.removeLink(group));
    EXPECT_EQ(car.connected, before);
    EXPECT_FALSE(leaf->hasWatchers());
    EXPECT_TRUE(result.addLink(group));
    car.outputs.removeField("Group");
    EXPECT_EQ(car.connected, before);
}

TEST_F(Proxies, SurviveWhatObserversDoToThem) {
    Field<double> source("Source", nullptr, 5.0);
    auto *dying = addProxy("Dying"), *outer = addProxy("Outer");
    auto* third = car.inputs.add<double>("Third");
    EXPECT_TRUE(dying->addLink(first));
    EXPECT_TRUE(dying->addLink(second));
    EXPECT_TRUE(dying->addLink(third));
    EXPECT_TRUE(outer->addLink(first));
    {
        const auto observer = first->addObserver([&](const FieldBase&) {
            dying->removeLink(first);
            other.inputs.removeField("Second");
        });
        EXPECT_TRUE(dying->copyValue(source));
        EXPECT_EQ(third->getValue(), 5.0) << "behind a link that went and a field that died";
    }
    const auto observer = third->addObserver([&](const FieldBase&) { car.inputs.removeField("Dying"); });
    source.setValue(6.0);
    EXPECT_TRUE(dying->copyValue(source));
    const auto heir = proxy.addPropertyObserver([&](const FieldBase&) { car.inputs.removeField("Heir"); });
    auto* last = other.inputs.add<double>("Last");
    EXPECT_TRUE(proxy.addLink(last));
    EXPECT_TRUE(addProxy("Heir")->addLink(last));
    other.inputs.removeField("Last");
    const auto killer = outer->addObserver([&](const FieldBase&) { car.inputs.removeField("Outer"); });
    first->setValue(9.0);
    EXPECT_THAT(FieldAccess::getProxies(*first), IsEmpty());
}

/// Three proxies each of two containers, moved so that the containers hold proxies of themselves or of each other.
struct MovedProxies {
    const char* name;
    bool isCrossed;
};

class ProxiesMovedIntoWhatTheyLink : public Proxies, public testing::WithParamInterface<MovedProxies> {
protected:
    ProxiesMovedIntoWhatTheyLink() {
        for (const char* id : {"P", "Q", "R"}) {
            proxies.push_back(linked(id, *group, GetParam().isCrossed ? *otherGroup : *group));
            proxies.push_back(linked(id, *otherGroup, GetParam().isCrossed ? *group : *otherGroup));
        }
    }

    Proxy* linked(const char* id, Container& container, Container& home) {
        auto* made = addProxy(id);
        EXPECT_TRUE(made->addLink(&container));
        made->_setDynamic(true);
        EXPECT_TRUE(made->setParent(&home));
        return made;
    }

    Container *group = car.inputs.addContainer("Group"), *otherGroup = other.inputs.addContainer("Group");
    Field<int>*leaf = group->add<int>("Leaf", 1), *otherLeaf = otherGroup->add<int>("Leaf", 1);
    std::vector<Proxy*> proxies;
};

TEST_P(ProxiesMovedIntoWhatTheyLink, AreNotSetReadOrNotifiedThroughThem) {
    int notified = 0;
    std::vector<KrData::DelegateConnection> observers;
    for (auto* each : proxies)
        observers.push_back(each->addObserver([&](const FieldBase&) { ++notified; }));
    leaf->setValue(2);
    FieldAccess::notifyObservers(*group, *leaf);
    EXPECT_EQ(notified, 0);
    EXPECT_TRUE(otherGroup->copyValue(*group));
    EXPECT_EQ(otherLeaf->getValue(), 2);
    EXPECT_TRUE(group->isEqual(*otherGroup));
    EXPECT_FALSE(proxies[0]->copyValue(*otherGroup));
    EXPECT_THAT(proxies, testing::Each(testing::Property(&Proxy::getLinkedField, testing::IsNull())));
    group->reset();
    EXPECT_EQ(leaf->getValue(), 0);
    EXPECT_EQ(otherLeaf->getValue(), 2);
}

TEST_P(ProxiesMovedIntoWhatTheyLink, LinkThemAgainWhenTheyAreMovedOut) {
    for (auto* each : proxies)
        EXPECT_TRUE(each->setParent(&car.inputs));
    EXPECT_EQ(proxies[0]->getLinkedField(), group);
    EXPECT_EQ(proxies[1]->getLinkedField(), otherGroup);
}

INSTANTIATE_TEST_SUITE_P(Table, ProxiesMovedIntoWhatTheyLink,
                         testing::Values(MovedProxies{"IntoTheirOwnContainer", false},
                                         MovedProxies{"IntoEachOthersContainer", true}),
                         [](const auto& each) { return std::string(each.param.name); });

TEST_F(Proxies, FindTheirFieldsWhenTheseCome) {
    auto late = std::make_unique<Extension>(3);
    const auto id = late->reference();
    const std::string name = "0000000000000000-0000000000000003";
    EXPECT_TRUE(proxy.addLink(id, "Inputs.Late"));
    EXPECT_TRUE(proxy.addLink(first));
    EXPECT_FALSE(proxy.addLink(id, "Inputs.Late"));
    EXPECT_FALSE(proxy.addLink(id, ""));
    EXPECT_EQ(proxy.getLink(0).toString(), "Extension: Car - " + name + " - Vehicle Field: Inputs.Late (invalid)");
    late->inputs.add<int>("Late", 9);
    EXPECT_TRUE(proxy.copyValue(Field<double>("Source", nullptr, 4.0)));
    EXPECT_EQ(late->inputs["Late"].get<int>(), 4);
    late->inputs["Late"].setID("New");
    EXPECT_EQ(proxy.getLink(0).toString(), "Extension: Car - " + name + " - Vehicle Field: Inputs.New (valid)");
    int told = 0;
    const auto properties = proxy.addPropertyObserver([&](const FieldBase&) { ++told; });
    late.reset();
    EXPECT_EQ(told, 1) << "of the dead field";
    EXPECT_EQ(proxy.getLink(0).toString(), "Extension: (invalid object) - " + name + " Field: Inputs.New (invalid)");
    EXPECT_EQ(proxy.getLinkedField(), first);

    late = std::make_unique<Extension>(3);
    auto* reloaded = late->inputs.add<int>("New", 9);
    Link alone(id, "Inputs.New");
    alone._updateField();
    EXPECT_EQ(alone.getField(), reloaded);
    proxy.updateLinks();
    EXPECT_EQ(reloaded->getValue(), 4) << "the value that all have";
    EXPECT_EQ(proxy.getLinkedField(), reloaded);
    EXPECT_TRUE(proxy.removeLink(id, "Inputs.New"));
    EXPECT_TRUE(proxy.addLink(id, "Inputs.Later"));
    late->inputs.add<Kr::KrColor>("Later");
    proxy.updateLinks();
    EXPECT_THAT(FieldAccess::getProxies(late->inputs["Later"]), IsEmpty()) << "no number";
    EXPECT_EQ(proxy.removeInvalidLinks(), 1U);
    EXPECT_FALSE(proxy.addLink(id, "Inputs.Later"));
}

TEST_F(Proxies, CopiesLinkWhatIsInTheirOwnTree) {
    proxy.setVisible(false);
    EXPECT_TRUE(proxy.addLink(first));
    EXPECT_TRUE(proxy.addLink(second));
    Extension twin(3);
    first->clone(&twin.inputs);
    auto* copy = proxy.clone(&twin.inputs);
    EXPECT_TRUE(copy->copyValue(Field<double>("Source", nullptr, 8.0)));
    EXPECT_EQ(first->getValue(), 1.0);
    EXPECT_EQ(twin.inputs["First"].get<double>(), 8.0);
    EXPECT_EQ(second->getValue(), 8) << "in another extension";
    Proxy loaded("Loaded", Types::kUnknown, &twin.inputs);
    EXPECT_TRUE(loaded.initializeFrom(proxy));
    EXPECT_TRUE(loaded.initializeFrom(proxy));
    EXPECT_FALSE(loaded.isVisible());
    EXPECT_EQ(loaded.getLinkCount(), 2U);
    EXPECT_EQ(loaded.getLinkedField(), &twin.inputs["First"]);
    EXPECT_FALSE(Proxy("Color", Types::kColor).initializeFrom(proxy));
    copy->_cloneFrom(Proxy("Empty"));
    EXPECT_THAT(FieldAccess::getProxies(twin.inputs["First"]), ElementsAre(&loaded));
}

}  // namespace proxy_test
