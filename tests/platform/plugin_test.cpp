#include <elf.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <latch>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "kr/platform/plugins/plugin_manager.h"
#include "kr/platform/plugins/plugin_manifest.h"
#include "kr/platform/plugins/plugin_manifest_reader.h"
#include "kr/platform/version.h"
#include "tests/support/log_capture.h"
#include "tests/support/temporary_folder.h"

namespace plugin_test {

using KrPluginSystem::KrPluginManager;
using test_support::LogCapture;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

const std::filesystem::path kZoo = KR_PLUGIN_ZOO;

/// Only the zoo is searched, and afterwards none of its plug-ins is loaded.
class Plugins : public testing::Test {
protected:
    Plugins() {
        manager.resetPluginSearchDirs();
        manager.addPluginSearchDir(kZoo);
    }
    ~Plugins() override {
        for (const auto& plugin : manager.getLoadedPlugins())
            manager.unload(plugin.name);
        manager.resetPluginSearchDirs();
    }
    KrPluginManager& manager = KrPluginManager::instance();
};

void writeFile(const std::filesystem::path& path, std::string_view bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

/// The messages of one level: '3' for the warnings, '4' for what the plug-ins tell.
std::vector<std::string> linesOf(const LogCapture& log, char level) {
    std::vector<std::string> lines = log.lines();
    std::erase_if(lines, [&](const std::string& line) { return line[0] != level; });
    return lines;
}

TEST_F(Plugins, StayInMemoryAndRegisterAgainAfterBeingUnloaded) {
    bool areInstancesAlive = true;
    LogCapture log([&](const std::string& message) {
        if (areInstancesAlive && message == "4 Good unregisters\n") throw 1;
    });
    EXPECT_TRUE(manager.load("Good"));
    EXPECT_TRUE(manager.load("Good"));
    EXPECT_TRUE(manager.isLoaded("Good"));
    const auto loaded = manager.getLoadedPlugins();
    ASSERT_EQ(loaded.size(), 1U);
    EXPECT_EQ(loaded[0].name + " " + loaded[0].version + " " + loaded[0].file,
              "Good 1.2 " + (kZoo / "Good.krp").string());
    EXPECT_THAT(loaded[0].types, ElementsAre("Animal.Horse", "Animal.Ox"));

    EXPECT_FALSE(manager.unload("Good"));
    EXPECT_TRUE(manager.isLoaded("Good"));
    areInstancesAlive = false;
    EXPECT_TRUE(manager.unload("Good"));
    EXPECT_TRUE(manager.unload("Good"));
    EXPECT_TRUE(!manager.isLoaded("Good"));

    manager.resetPluginSearchDirs();
    EXPECT_TRUE(manager.load("Good"));
    EXPECT_THAT(log.lines(),
                ElementsAre("4 Good registers\n", StartsWith("5 KrPluginManager: Loaded plug-in 'Good' 1.2"),
                            "4 Good unregisters\n", HasSubstr("Cannot unload plug-in 'Good': instances"),
                            "4 Good unregisters\n", "4 Good registers\n", HasSubstr("in memory already")));
}

TEST(PluginManifest, OnlyTheLastNumberOfTheVersionMayDiffer) {
    const std::string build = KR_PLUGIN_BUILD;
    EXPECT_TRUE(KrPluginSystem::isPluginCompatible({KR_VERSION, KR_PLUGIN_PLAIN_BUILD_, "Good", "1.2", {}}));
    for (const char* version : {KR_VERSION, "2020.3.7", "2020.4.0", "2020.30.0", "2020", "2020.3"}) {
        const bool isFit = std::string_view(version).starts_with("2020.3.");
        EXPECT_EQ(KrPluginSystem::isPluginCompatible({version, build, "Good", "1.2", {}}), isFit) << version;
        EXPECT_FALSE(KrPluginSystem::isPluginCompatible({version, build + " in debug mode", "Good", "1.2", {}}))
            << version;
    }
}

TEST_F(Plugins, UnfitOnesAreRefusedWithOneWarningThatNamesFileAndReason) {
    struct Case {
        std::string name, reason;
        bool isRegistered;
    };
    const Case cases[] = {
        {"NoManifest", "has no plug-in manifest", false},
        {"OtherVersion", "was built for library 2019.1.0 (" KR_PLUGIN_BUILD "), and this is " KR_VERSION " (", false},
        {"Undefined", "undefined symbol: _Z8notTherev", false},
        {"NoEntry", "has no entry function kr_plugin_unregister_v1", false},
        {"ThrowsException", "registering [out of order]", true},
        {"ThrowsNumber", "registering\n", true}};
    for (const auto& [name, reason, isRegistered] : cases) {
        const LogCapture log;
        EXPECT_FALSE(manager.load(name));
        EXPECT_FALSE(manager.isLoaded(name));
        EXPECT_THAT(linesOf(log, '3'),
                    ElementsAre(AllOf(StartsWith("3 KrPluginManager: Cannot load plug-in '" + name),
                                      HasSubstr("'" + (kZoo / (name + ".krp")).string() + "'"), HasSubstr(reason))));
        EXPECT_EQ(linesOf(log, '4').size(), isRegistered ? 2U : 0U) << "what registered is told to unregister";
    }
}

using PluginsDeathTest = Plugins;
// The system's loader lets no exception through: only another process can try such a file.
TEST_F(PluginsDeathTest, StaticInitialiserThatThrowsEndsTheProcess) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_EXIT(manager.load("ThrowsEarly"), testing::KilledBySignal(SIGABRT), "out of order");
}

TEST_F(Plugins, OddNamesAreRefusedUnsearched) {
    for (const std::string& name :
         {std::string(), std::string("."), std::string(".."), std::string(".Hidden"), std::string("../plugins/Good"),
          std::string(kZoo / "Good"), std::string("..\\Good"), std::string("Go\nod"), std::string("Good\0", 5),
          std::string(252, 'G'), std::string(10'000'000, 'G')}) {
        const LogCapture log;
        EXPECT_FALSE(manager.load(name));
        EXPECT_THAT(log.lines(),
                    ElementsAre(testing::MatchesRegex("3 [^\n]{25,150}: the name is not that of a file[^\n]*\n")));
    }
}

TEST_F(Plugins, MissingOneIsLookedForEverywhereAndTheFirstFileOfItsNameCounts) {
    const test_support::TemporaryFolder folder;
    const LogCapture log;
    for (const char* name : {"first", "second"})
        std::filesystem::create_directory(folder / name);
    manager.resetPluginSearchDirs();
    for (const std::string directory : {"absent", "first", "second", "first"})
        manager.addPluginSearchDir(folder / directory);
    for (const std::string& odd : {std::string(), std::string("/tmp\0/x", 7)})
        manager.addPluginSearchDir(odd);
    EXPECT_EQ(manager.getAddedPluginsSearchDirs().size(), 3U);
    const auto searched = manager.getPluginSearchDirs();
    ASSERT_EQ(searched.size(), 4U);
    EXPECT_TRUE(std::filesystem::exists(std::filesystem::path(searched[3]) / "libKrFoundation.so"));

    const std::string all =
        "searched: '" + searched[0] + "', '" + searched[1] + "', '" + searched[2] + "', '" + searched[3] + "'\n";
    EXPECT_FALSE(manager.load(std::string(251, 'L')));
    std::filesystem::copy(kZoo / "Good.krp", folder / "first/Renamed.krp");
    writeFile(folder / "second/Renamed.krp", "");
    EXPECT_FALSE(manager.load("Renamed"));
    EXPECT_THAT(log.lines(), ElementsAre(HasSubstr("directory '': it is empty"), HasSubstr("directory '/tmp?/x':"),
                                         AllOf(HasSubstr("no directory has a file"), EndsWith(all)),
                                         AllOf(HasSubstr("first/Renamed.krp' holds plug-in 'Good'"), EndsWith(all))));
}

/// A copy of the good plug-in in which a case breaks something.
struct Image {
    std::ifstream file{kZoo / "Good.krp", std::ios::binary};
    std::string bytes{std::istreambuf_iterator<char>(file), {}};

    Elf64_Ehdr& head() { return *reinterpret_cast<Elf64_Ehdr*>(bytes.data()); }
    Elf64_Phdr& segment(Elf64_Word type) {
        auto* const first = reinterpret_cast<Elf64_Phdr*>(bytes.data() + head().e_phoff);
        return *std::find_if(first, first + head().e_phnum,
                             [&](const Elf64_Phdr& each) { return each.p_type == type; });
    }
    void replace(std::string_view before, std::string_view after) {
        bytes.replace(bytes.find(before), after.size(), after);
    }
};

struct BrokenCase {
    const char* reason;
    void (*breakIt)(Image& file);
};
const BrokenCase kBroken[] = {
    {"is empty", [](Image& file) { file.bytes.clear(); }},
    {"not begin as an ELF file", [](Image& file) { file.bytes = "[settings]\n"; }},
    {"is cut short", [](Image& file) { file.bytes.pop_back(); }},
    {"is cut short", [](Image& file) { file.segment(PT_LOAD).p_filesz = ~0ULL; }},
    {"is cut short", [](Image& file) { file.segment(PT_NOTE).p_offset = 1U << 30U; }},
    {"more than a mebibyte", [](Image& file) { file.segment(PT_NOTE).p_filesz = 1U << 21U; }},
    {"a note is longer", [](Image& file) { file.replace(std::string_view("\4\0\0\0\x14", 5), "\xF0\xFF"); }},
    {"a note is longer", [](Image& file) { file.replace(std::string_view("\x14\0\0\0\3", 5), "\xF0\xFF"); }},
    {"another machine", [](Image& file) { file.head().e_machine = EM_68K; }},
    {"no shared library", [](Image& file) { file.head().e_type = ET_REL; }},
    {"the table of its segments", [](Image& file) { file.head().e_phnum = 0xFFFF; }},
    {"do not fit together", [](Image& file) { file.segment(PT_LOAD).p_vaddr = 1ULL << 62U; }},
    {"do not fit together", [](Image& file) { file.segment(PT_LOAD).p_align = 24; }},
    {"do not fit together", [](Image& file) { file.segment(PT_DYNAMIC).p_vaddr += 1U << 20U; }},
    {"no table of dynamic links", [](Image& file) { file.segment(PT_DYNAMIC).p_type = PT_NULL; }},
    {"no plug-in manifest", [](Image& file) { file.replace("KrP", "KrX"); }},
    {"corrupt manifest", [](Image& file) { file.replace("Animal.Horse", "Animal\rHorse"); }},
    {"corrupt manifest", [](Image& file) { file.replace("\nGood\n", "\n../x\n"); }},
    {"corrupt manifest", [](Image& file) { file.replace("Animal.Ox\n", "Animal.Oxx"); }}};
TEST(PluginManifest, BrokenFilesAreFoundOutBeforeTheyAreLoaded) {
    const test_support::TemporaryFolder folder;
    for (const BrokenCase& each : kBroken) {
        Image image;
        each.breakIt(image);
        writeFile(folder / "Broken.krp", image.bytes);
        const auto manifest = KrPluginSystem::readPluginManifest(folder / "Broken.krp");
        EXPECT_EQ(manifest.failure, Kr::FileResult::eFailure::kRefused) << each.reason;
        EXPECT_THAT(manifest.reason, HasSubstr(each.reason)) << "case " << &each - kBroken;
    }
}

TEST(PluginManifest, WhatIsNoRegularFileIsRefused) {
    const test_support::TemporaryFolder folder;
    std::filesystem::create_symlink("nowhere", folder / "link");
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    for (const auto& [name, reason] : {std::pair(".", "no regular file"), std::pair("pipe", "no regular file"),
                                       std::pair("link", "cannot be opened: No such file")}) {
        const auto manifest = KrPluginSystem::readPluginManifest(folder / name);
        EXPECT_FALSE(manifest) << name;
        EXPECT_THAT(manifest.toString(), HasSubstr(name + std::string("' ")));
        EXPECT_THAT(manifest.reason, HasSubstr(reason)) << name;
    }
}

TEST_F(Plugins, ManyThreadsShareOneRegistration) {
    constexpr int kThreads = 8;
    const LogCapture log;
    for (int round = 1; round <= 20; ++round) {
        std::latch start(kThreads);
        std::atomic<int> loaded{0};
        std::vector<std::jthread> threads(kThreads);
        for (std::jthread& thread : threads) {
            thread = std::jthread([&] {
                start.arrive_and_wait();
                loaded += manager.load("Good") ? 1 : 0;
            });
        }
        threads.clear();
        ASSERT_EQ(loaded, kThreads);
        ASSERT_EQ(std::ranges::count(log.lines(), "4 Good registers\n"), round);
        ASSERT_TRUE(manager.unload("Good"));
    }
}

TEST_F(Plugins, MayLoadEachOtherOnOneThread) {
    const LogCapture log;
    EXPECT_TRUE(manager.load("NeedsGood"));
    EXPECT_TRUE(manager.isLoaded("Good"));
    EXPECT_TRUE(manager.load("NeedsItself"));
    EXPECT_TRUE(manager.load("CircleA"));
    EXPECT_TRUE(manager.isLoaded("CircleB"));
    std::string told;
    for (const std::string& line : linesOf(log, '4'))
        told += line.substr(2, line.size() - 3) + ", ";
    EXPECT_EQ(told,
              "NeedsGood registers, Good registers, NeedsGood has Good, NeedsItself registers, "
              "NeedsItself lacks NeedsItself, CircleA registers, CircleB registers, CircleB lacks CircleA, "
              "CircleA has CircleB, ");
    EXPECT_EQ(linesOf(log, '3').size(), 2U);
}

TEST_F(Plugins, CircleOverTwoThreadsDoesNotWaitForItself) {
    std::latch bothRegister(2);
    const LogCapture log([&](const std::string& message) {
        if (message.ends_with(" registers\n")) bothRegister.arrive_and_wait();
    });
    std::jthread other([&] { EXPECT_TRUE(manager.load("CircleB")); });
    EXPECT_TRUE(manager.load("CircleA"));
    other.join();
    EXPECT_THAT(log.lines(), testing::Contains(HasSubstr(" lacks ")).Times(1));
}

// The initialiser runs under the lock of the system's loader, which the other thread may need to finish.
TEST_F(Plugins, StaticInitialiserDoesNotWaitForAnotherThread) {
    std::latch goodRegisters(1);
    std::latch earlyRegisters(1);
    const LogCapture log([&](const std::string& message) {
        if (message == "4 LoadsEarly registers\n") earlyRegisters.count_down();
        if (message != "4 Good registers\n") return;
        goodRegisters.count_down();
        earlyRegisters.wait();
    });
    const std::jthread other([&] { EXPECT_TRUE(manager.load("Good")); });
    goodRegisters.wait();
    EXPECT_TRUE(manager.load("LoadsEarly"));
}

}  // namespace plugin_test
