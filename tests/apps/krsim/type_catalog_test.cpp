#include "apps/krsim/type_catalog.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "apps/krsim/assembly.h"
#include "apps/krsim/failure.h"
#include "tests/support/case_name.h"
#include "tests/support/temporary_folder.h"

namespace krsim_type_catalog_test {

using testing::HasSubstr;

const std::filesystem::path kZoo(KR_PLUGIN_ZOO);

struct Question {
    const char* name;
    const char* text;
    const char* answer;  // the key and its plug-in, or a part of the failure
};
class KrsimTypes : public testing::TestWithParam<Question> {};

TEST_P(KrsimTypes, AreFoundByEachOfTheirNames) {
    const test_support::TemporaryFolder folder;
    for (const char* plugin : {"Animals.krp", "Good.krp", "Duplicate.krp", "OtherVersion.krp"})
        std::filesystem::create_symlink(kZoo / plugin, folder / plugin);
    const krsim::TypeCatalog catalog({folder.path().string()});
    std::string answer;
    try {
        const auto& key = catalog.find(GetParam().text);
        answer = key.toString() + " " + key.plugin;
    } catch (const krsim::Failure& failure) {
        answer = failure.what();
        EXPECT_EQ(failure.getCode(), krsim::eExitCode::kUsage);
    }
    EXPECT_THAT(answer, HasSubstr(GetParam().answer));
}

const Question kQuestions[] = {
    {"DisplayName", "Stable", "Animal.Stable {5f0c7b52-0d3e-4a57-9f0e-2b8d9c1a6e40} Duplicate"},
    {"TypeName", "Application.Object", "Application.Object {4836e8fa-6bdb-4d3f-8bfc-3846eaa48030} "},
    {"UniqueId", "5F0C7B52-0D3E-4A57-9F0E-2B8D9C1A6E42", "Animal.Ox {5f0c7b52-"},
    {"Both", "Animal.Ox {5f0c7b52-0d3e-4a57-9f0e-2b8d9c1a6e42}", "6e42} Animals"},
    {"NameOfTwo", "Ox", "6e42} of Animals\n  Animal.Ox {8208a0f6-ed79-5a0d-8a94-d1dc09e3e7ab} of Good"},
    {"IdOfTwo", "5f0c7b52-0d3e-4a57-9f0e-2b8d9c1a6e41", "6e41} of Animals\n  Animal.Mule {"},
    {"OtherCase", "animal.stable", "there is no type 'animal.stable'; the nearest are 'Animal.Stable', '"},
    {"NoneOfAnUnfitPlugin", "Animal.Hors", "not searched: '"},
    {"Nothing", "", "there is no type ''"},
    {"IdOnly", " {5f0c7b52-0d3e-4a57-9f0e-2b8d9c1a6e42}", "Animal.Ox"},
};
INSTANTIATE_TEST_SUITE_P(Catalog, KrsimTypes, testing::ValuesIn(kQuestions), test_support::caseName);

TEST(KrsimCatalog, TakesTheFirstFileOfEachNameAndSaysWhatIsUnfit) {
    const test_support::TemporaryFolder first;
    const test_support::TemporaryFolder second;
    std::ofstream(first / "Animals.krp") << "no plug-in";
    for (const auto& [folder, link] : {std::pair(&first, "Renamed.krp"), std::pair(&second, "Animals.krp")})
        std::filesystem::create_symlink(kZoo / "Animals.krp", *folder / link);
    const krsim::TypeCatalog catalog({first.path().string(), "/nowhere", second.path().string()});
    const auto& plugins = catalog.getPlugins();
    ASSERT_EQ(plugins.size(), 2U);
    EXPECT_EQ(plugins[0].path, (first / "Animals.krp").string());
    EXPECT_FALSE(plugins[0].unfit.empty());
    EXPECT_EQ(plugins[1].unfit, "holds plug-in 'Animals': rename it to Animals.krp");
    EXPECT_THROW(static_cast<void>(catalog.find("Ox")), krsim::Failure);
}

}  // namespace krsim_type_catalog_test
