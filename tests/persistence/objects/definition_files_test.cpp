#include "kr/persistence/objects/definition_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/persistence/objects/garage.h"
#include "tests/support/log_capture.h"
#include "tests/support/temporary_folder.h"

namespace definition_files_test {

using namespace garage;  // NOLINT(google-build-using-namespace): what the tests are about
using test_support::LogCapture;
using test_support::TemporaryFolder;

void saveTo(const std::string& file, const Extensions& objects) {
    std::vector<KrExtension*> all;
    for (const auto& object : objects)
        all.push_back(object.get());
    const auto saved = KrPersistence::saveObjects(file, all, KrFile::kXml);
    ASSERT_TRUE(saved) << saved.toString();
}

TEST(DefinitionFiles, AreLoadedWithThoseThatTheyNeed) {
    const TypeScope types;
    const TemporaryFolder folder;
    const LogCapture log;
    const auto place = [&](const char* name) { return (folder / name).string(); };
    {
        auto wheel = makeObject(kGarageType, "Wheel", 1);
        auto car = makeObject({}, "Car", 2);
        wheel->_setDefinitionFileName(Kr::KrString<512>(place("wheel.kro")));
        car->_setDefinitionFileName(Kr::KrString<512>(place("car.kro")));
        const auto front = wheel->instantiate(KrContentID::createFromWords(8, 1));
        car->add(front.get());
        saveTo(place("town.kro"), {car->instantiate(KrContentID::createFromWords(8, 2)),
                                   wheel->instantiate(KrContentID::createFromWords(8, 3))});
        saveTo(place("car.kro"), {car});
        saveTo(place("wheel.kro"), {wheel});
    }
    for (const bool isThere : {true, false}) {
        SCOPED_TRACE(isThere);
        if (!isThere) std::filesystem::remove(place("wheel.kro"));
        const auto town = KrPersistence::loadObjects(place("town.kro"));
        ASSERT_TRUE(town) << town.toString();
        std::vector<Kr::FileResult> refused;
        const std::string loaded[] = {place("town.kro")};
        const auto definitions = KrPersistence::loadDefinitions(loaded, refused);
        EXPECT_NE(town->getObject(0)->getDefinition(), nullptr);
        EXPECT_EQ(town->getObject(1)->getDefinition() != nullptr, isThere);
        ASSERT_EQ(definitions.size(), isThere ? 2U : 1U);
        const auto* front = static_cast<const KrObject*>(definitions[0].getObject(0))->getExtension(0);
        EXPECT_EQ(static_cast<const KrObject*>(front)->getDefinition() != nullptr, isThere);
        if (isThere) {
            EXPECT_THAT(refused, testing::IsEmpty());
        } else {
            EXPECT_THAT(refused, testing::ElementsAre(testing::Field(&Kr::FileResult::text,
                                                                     testing::HasSubstr("wheel.kro' are not loaded"))));
        }
        EXPECT_THAT(KrPersistence::loadDefinitions(loaded, refused), testing::SizeIs(0));
    }
}

}  // namespace definition_files_test
