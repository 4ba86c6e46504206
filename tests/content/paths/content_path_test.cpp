#include "kr/content/paths/content_path.h"

#include <gtest/gtest.h>

#include <vector>

#include "kr/content/content_reference.h"
#include "kr/content/paths/i_application_content.h"
#include "kr/extension/extension.h"
#include "kr/extension/object.h"
#include "kr/platform/smart_ptr.h"

namespace content_path_test {

using Kr::KrSmartPtr;
using KrSim::KrContentPath;
using KrSim::KrContentReference;
using KrSim::KrExtension;
using KrSim::KrObject;

template <class T>
KrSmartPtr<T> add(KrObject* parent, const char* name) {
    auto made = Kr::makeSmart<T>();
    if (*name != '\0') made->setName(name);
    if (parent) parent->add(made.get());
    return made;
}

/// Scene { Car { Engine, Wheel { Tyre } }, Wheel }, and an unnamed extension in the scene.
class ContentPath : public testing::Test {
protected:
    KrSmartPtr<KrObject> world = add<KrObject>(nullptr, "World");
    KrSmartPtr<KrObject> scene = add<KrObject>(world.get(), "Scene");
    KrSmartPtr<KrObject> car = add<KrObject>(scene.get(), "Car");
    KrSmartPtr<KrExtension> engine = add<KrExtension>(car.get(), "Engine");
    KrSmartPtr<KrObject> wheel = add<KrObject>(car.get(), "Wheel");
    KrSmartPtr<KrExtension> tyre = add<KrExtension>(wheel.get(), "Tyre");
    KrSmartPtr<KrExtension> sign = add<KrExtension>(scene.get(), "Wheel");
};

class ParsedPath : public ContentPath, public testing::WithParamInterface<std::pair<const char*, const char*>> {};

TEST_P(ParsedPath, LeadsToTheExtensionOrToNone) {
    const auto& [text, found] = GetParam();
    const KrContentPath path(text, scene.get());
    EXPECT_EQ(path.getExtension() ? path.getExtension()->getPath() : "", found) << text;
}

INSTANTIATE_TEST_SUITE_P(
    Below, ParsedPath,
    testing::Values(std::pair("kr://Car", "World/Scene/Car"), std::pair("kr://Wheel", "World/Scene/Wheel"),
                    std::pair("kr://Car/Wheel/Tyre", "World/Scene/Car/Wheel/Tyre"), std::pair("kr://Car/Tyre", ""),
                    std::pair("kr://Car/Engine/Tyre", ""), std::pair("kr://Scene/Car", ""), std::pair("kr://car", ""),
                    std::pair("kr://Car/", ""), std::pair("kr:///Car", ""), std::pair("kr://", ""),
                    std::pair("Car", ""), std::pair("KR://Car", ""), std::pair("kr:/", ""), std::pair("", "")));

TEST_F(ContentPath, IsBuiltFromTheRootDownAndResolvesToTheSame) {
    struct Case {
        KrExtension* target;
        KrExtension* root;
        const char* text;
    };
    for (const Case& each :
         {Case{tyre.get(), scene.get(), "kr://Car/Wheel/Tyre"},
          Case{tyre.get(), nullptr, "kr://World/Scene/Car/Wheel/Tyre"}, Case{car.get(), scene.get(), "kr://Car"},
          Case{scene.get(), scene.get(), "kr://Scene"}, Case{world.get(), nullptr, "kr://World"},
          Case{sign.get(), car.get(), ""}, Case{scene.get(), car.get(), ""}, Case{nullptr, car.get(), ""}}) {
        KrContentPath path(each.target, each.root);
        EXPECT_EQ(path.toString(), each.text);
        EXPECT_EQ(path.getExtension(), path.isEmpty() ? nullptr : each.target);
        EXPECT_EQ(path.parse(nullptr), path.getExtension());
        KrExtension* const found = path.getExtension();
        if (each.root && each.target != each.root) {
            EXPECT_EQ(path.parse(each.root), found);
        }
    }
    EXPECT_EQ(getContentPath(KrContentReference(tyre), scene.get()), KrContentPath("kr://Car/Wheel/Tyre"));
    EXPECT_TRUE(getContentPath(KrContentReference()).isEmpty());
}

TEST_F(ContentPath, NamesWhatHasNoNameOnTheWay) {
    const auto unnamed = Kr::makeSmart<KrObject>();
    const auto part = add<KrExtension>(unnamed.get(), "Part");
    const KrContentPath path(part.get(), nullptr);
    EXPECT_TRUE(unnamed->hasName());
    EXPECT_EQ(path.toString(), "kr://" + unnamed->getName() + "/Part");
}

TEST_F(ContentPath, ForgetsWhatDiedAndCopiesWhatItFound) {
    KrContentPath path("kr://Wheel", scene.get());
    const KrContentPath copy = std::move(path);
    EXPECT_EQ(path.getExtension(), sign.get());  // NOLINT(bugprone-use-after-move): moving copies
    scene->remove(sign.get());
    EXPECT_EQ(copy.getExtension(), sign.get());
    EXPECT_EQ(path.parse(scene.get()), nullptr);
    sign.reset();
    EXPECT_EQ(copy.getExtension(), nullptr);
    EXPECT_EQ(copy.toString(), "kr://Wheel");
}

TEST_F(ContentPath, BelowAnApplicationStartsWithWhatWasAddedToIt) {
    static std::vector<KrExtension*> content;
    content = {nullptr, engine.get(), world.get()};
    alignas(8) static char application[8];
    auto* const fake = reinterpret_cast<KrSim::KrApplication*>(application);
    const auto find = [&](const char* text) { return KrContentPath(text, fake).getExtension(); };
    Kr::UpperLayer<KrSim::IApplicationContent>::install(nullptr);
    EXPECT_EQ(find("kr://World"), nullptr) << "no application layer";
    struct Content final : KrSim::IApplicationContent {
        [[nodiscard]] std::vector<KrExtension*> getExtensions(KrSim::KrApplication&) const override { return content; }
    };
    static const Content answer;
    Kr::UpperLayer<KrSim::IApplicationContent>::install(&answer);
    EXPECT_EQ(find("kr://World"), world.get());
    EXPECT_EQ(find("kr://World/Scene/Car"), car.get());
    EXPECT_EQ(find("kr://Car"), nullptr);
    EXPECT_EQ(find("kr://World/"), nullptr);
    EXPECT_EQ(find("World"), nullptr);
    Kr::UpperLayer<KrSim::IApplicationContent>::install(nullptr);
}

}  // namespace content_path_test
