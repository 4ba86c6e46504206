#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "kr/persistence/files/file.h"
#include "kr/persistence/files/internal/file_calls.h"
#include "tests/persistence/files/notes.h"
#include "tests/support/case_name.h"
#include "tests/support/log_capture.h"
#include "tests/support/temporary_folder.h"

namespace safe_save_test {

namespace fs = std::filesystem;
using KrPersistence::KrFile;
using notes::Notes;
using testing::HasSubstr;

void write(const fs::path& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

/// Empty when there is none.
std::string read(const fs::path& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

/// Lets the n-th call of a name fail, once or from then on.
class FailingCalls final : public KrPersistence::detail::FileCalls {
public:
    FailingCalls(std::string name, int first, bool isForEver)
        : _name(std::move(name)), _first(first), _isForEver(isForEver) {
        replace(this);
    }
    ~FailingCalls() override { replace(nullptr); }

    int open(const char* path, int flags, unsigned int mode) override {
        return fails((flags & O_CREAT) != 0 ? "open" : "openFolder") ? -1 : FileCalls::open(path, flags, mode);
    }
    ssize_t write(int file, const char* bytes, std::size_t count) override {
        // What is written before the failure is half.
        return fails("write") ? -1 : FileCalls::write(file, bytes, count / 2 + 1);
    }
    int fsync(int file) override { return fails("fsync") ? -1 : FileCalls::fsync(file); }
    int close(int file) override {
        const int result = FileCalls::close(file);
        return fails("close") ? -1 : result;
    }
    int rename(const char* from, const char* to) override { return fails("rename") ? -1 : FileCalls::rename(from, to); }
    int lock(int file) override { return fails("lock") ? -1 : FileCalls::lock(file); }

private:
    bool fails(const std::string& name) {
        if (name != _name || ++_count < _first || (_count > _first && !_isForEver)) return false;
        errno = ENOSPC;
        return true;
    }

    std::string _name;
    int _first;
    bool _isForEver;
    int _count{0};
};

struct CallCase {
    const char* name;
    std::string call;
    int failures;  // how many of these calls the target depends on; 20: or more
    std::string error, errorOfNew;
};

class FailingCall : public testing::TestWithParam<CallCase> {};

TEST_P(FailingCall, LeavesTheTargetAsItWas) {
    const test_support::TemporaryFolder folder;
    const std::string path = folder / "a.kr";
    KrFile file;
    file.addSection(new Notes(std::string(300'000, 'x')));
    for (const bool hadTarget : {true, false}) {
        for (const bool isForEver : {true, false}) {
            int failures = 0;
            for (int n = 1;; ++n) {
                hadTarget ? write(path, "old") : void(fs::remove(path));
                const test_support::LogCapture log;
                const FailingCalls calls(GetParam().call, n, isForEver);
                if (file.save(path)) break;
                ++failures;
                EXPECT_THAT(file.getLastError(), HasSubstr(hadTarget ? GetParam().error : GetParam().errorOfNew));
                EXPECT_EQ(read(path), hadTarget ? "old" : "");
                EXPECT_EQ(log.lines()[0], "3 " + file.getLastError());
                EXPECT_FALSE(fs::exists(path + ".temp"));
            }
            EXPECT_EQ(std::min(failures, 20), GetParam().failures);
            EXPECT_TRUE(file.save(path)) << file.getLastError();
            EXPECT_TRUE(file.load(path)) << file.getLastError();
        }
    }
}

const CallCase kCalls[] = {
    {"Open", "open", 1, "cannot create a temporary file to save ", "cannot create a temporary file to save "},
    {"Write", "write", 20, "No space left on device when saving.\n", "No space left on device when saving.\n"},
    {"Flush", "fsync", 1, "a.kr.\nNo space left", "KrFile: cannot save to "},
    {"Close", "close", 1, "KrFile: cannot save to ", "a.kr.\nNo space left"},
    {"Rename", "rename", 1, "KrFile: cannot overwrite existing ", "KrFile: cannot save to "},
};
INSTANTIATE_TEST_SUITE_P(SafeSave, FailingCall, testing::ValuesIn(kCalls), test_support::caseName);

TEST(SafeSave, OnlyWarnsWhenTheFolderIsNotFlushed) {
    const test_support::TemporaryFolder folder;
    const std::string path = folder / "a.kr";
    KrFile file;
    for (const char* call : {"openFolder", "fsync"}) {
        const test_support::LogCapture log;
        const FailingCalls calls(call, call[0] == 'o' ? 1 : 2, false);
        EXPECT_TRUE(file.save(path));
        EXPECT_EQ(file.getLastError(), "");
        EXPECT_THAT(log.lines(), testing::ElementsAre(
                                     "3 KrFile: saved '" + path + "', but not its folder: No space left on device.\n",
                                     "4 KrFile: saved '" + path + "'.\n"));
    }
}

struct ObstacleCase {
    const char* name;
    std::function<void(const fs::path& target, const fs::path& temporary, const fs::path& bystander)> prepare;
    std::string error;  // empty: it is saved
    std::string reason;
};

class Obstacle : public testing::TestWithParam<ObstacleCase> {};

TEST_P(Obstacle, IsMovedOnlyIfItIsOurs) {
    const test_support::TemporaryFolder folder;
    const fs::path target = folder / "a.kr";
    const fs::path bystander = folder / "bystander";
    const test_support::LogCapture log;
    write(bystander, "untouched");
    GetParam().prepare(target, target.string() + ".temp", bystander);
    KrFile file;
    EXPECT_EQ(file.save(target), GetParam().error.empty());
    EXPECT_THAT(file.getLastError(), testing::StartsWith(GetParam().error));
    EXPECT_EQ(read(bystander), "untouched");
    EXPECT_THAT(file.getLastResult().toString(), HasSubstr(GetParam().reason));
    if (GetParam().error.empty()) {
        EXPECT_FALSE(fs::exists(target.string() + ".temp"));
        EXPECT_TRUE(file.load(target));
    }
}

const std::string kNoTemporary = "KrFile: cannot create a temporary file to save ";

const std::string kNoOverwriting = "KrFile: cannot overwrite existing ";

const ObstacleCase kObstacles[] = {
    {"LeftOver", [](auto&, auto& temporary, auto&) { write(temporary, std::string(999, 'x')); }, "", ""},
    {"Link", [](auto&, auto& temporary, auto& bystander) { fs::create_symlink(bystander, temporary); }, kNoTemporary,
     "a.kr.temp': File exists"},
    {"DanglingLink",
     [](auto&, auto& temporary, auto& bystander) { fs::create_symlink(bystander.string() + "2", temporary); },
     kNoTemporary, "a.kr.temp': File exists"},
    {"HardLink", [](auto&, auto& temporary, auto& bystander) { fs::create_hard_link(bystander, temporary); }, "", ""},
    {"Folder", [](auto&, auto& temporary, auto&) { fs::create_directory(temporary); }, kNoTemporary, "File exists"},
    {"TargetIsFolder", [](auto& target, auto&, auto&) { fs::create_directory(target); }, kNoOverwriting,
     "Is a directory"},
    {"TargetIsPipe", [](auto& target, auto&, auto&) { ASSERT_EQ(::mkfifo(target.c_str(), 0600), 0); }, kNoOverwriting,
     "no regular file"},
    {"TargetIsLinkToDevice", [](auto& target, auto&, auto&) { fs::create_symlink("/dev/null", target); },
     kNoOverwriting, "a link to a device"},
    {"TargetIsLinkToNothing", [](auto& target, auto&, auto&) { fs::create_symlink("nowhere", target); }, kNoOverwriting,
     "which cannot be reached"},
    {"TargetIsLinkToItself", [](auto& target, auto&, auto&) { fs::create_symlink(target, target); }, kNoOverwriting,
     "symbolic links"},
};
INSTANTIATE_TEST_SUITE_P(SafeSave, Obstacle, testing::ValuesIn(kObstacles), test_support::caseName);

TEST(SafeSave, FollowsLinksToARegularFileAndLeavesThemAsTheyAre) {
    const test_support::TemporaryFolder folder;
    fs::create_directory(folder / "far");
    write(folder / "far/real.kr", "old");
    fs::create_symlink("far/real.kr", folder / "second.kr");
    fs::create_symlink(folder / "second.kr", folder / "first.kr");
    KrFile file;
    file.addSection(new Notes("new"));
    // Beside the file, where it can be renamed, and not beside the link.
    notes::Notes::listener() = [&](const std::string& what, Notes&) {
        EXPECT_EQ(fs::exists(folder / "far/real.kr.temp"), what == "prepare" || what == "write");
    };
    EXPECT_TRUE(file.save(folder / "first.kr")) << file.getLastResult().toString();
    notes::Notes::listener() = nullptr;
    EXPECT_EQ(fs::read_symlink(folder / "second.kr"), "far/real.kr");
    EXPECT_TRUE(fs::is_symlink(folder / "first.kr"));
    EXPECT_TRUE(KrFile().load(folder / "far/real.kr"));
}

TEST(SafeSave, FollowsNoLinkWithASimulationState) {
    const test_support::TemporaryFolder folder;
    write(folder / "bystander", "untouched");
    fs::create_symlink("bystander", folder / "a.kr");
    const test_support::LogCapture log;
    KrFile file;
    file.setFileType(KrFile::eFileType::kSimulationState);
    EXPECT_FALSE(file.save(folder / "a.kr"));
    EXPECT_THAT(file.getLastError(), HasSubstr("cannot overwrite existing " + (folder / "a.kr").string()));
    EXPECT_EQ(read(folder / "bystander"), "untouched");
}

TEST(SafeSave, FollowsNoLinkOfAnotherUserInAFolderForAll) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can make a link of another user";
    const test_support::TemporaryFolder folder;
    fs::permissions(folder.path(), fs::perms::all | fs::perms::sticky_bit);
    write(folder / "bystander", "untouched");
    fs::create_symlink("bystander", folder / "a.kr");
    ASSERT_EQ(::lchown((folder / "a.kr").c_str(), 65534, 65534), 0);
    const test_support::LogCapture log;
    KrFile file;
    EXPECT_FALSE(file.save(folder / "a.kr"));
    EXPECT_THAT(file.getLastError(), testing::EndsWith("another user has made"));
    EXPECT_EQ(read(folder / "bystander"), "untouched");
}

struct LengthCase {
    const char* name;
    int length;
    bool isSaved;
};

class NameLength : public testing::TestWithParam<LengthCase> {};

TEST_P(NameLength, LeavesRoomForTheTemporaryFile) {
    const test_support::TemporaryFolder folder;
    const test_support::LogCapture log;
    const std::string path = folder / std::string(static_cast<std::size_t>(GetParam().length), 'x');
    KrFile file;
    EXPECT_EQ(file.save(path), GetParam().isSaved);
    EXPECT_EQ(file.getLastError(), GetParam().isSaved ? "" : kNoTemporary + path + ".\n");
    EXPECT_THAT(file.getLastResult().toString(),
                HasSubstr(GetParam().isSaved ? "" : "more than 255 bytes; use a shorter name"));
}

const LengthCase kLengths[] = {{"250", 250, true}, {"251", 251, false}, {"255", 255, false}};
INSTANTIATE_TEST_SUITE_P(SafeSave, NameLength, testing::ValuesIn(kLengths), test_support::caseName);

/// At the n-th call that saving makes, another saver saves over the same target.
class Interruption final : public KrPersistence::detail::FileCalls {
public:
    Interruption(std::string path, int at) : _path(std::move(path)), _at(at) { replace(this); }
    ~Interruption() override { replace(nullptr); }

    int open(const char* path, int flags, unsigned int mode) override {
        interrupt();
        const int file = FileCalls::open(path, flags, mode);
        const int error = errno;
        interrupt();
        errno = error;
        return file;
    }
    int lock(int file) override {
        interrupt();
        const int result = FileCalls::lock(file);
        const int error = errno;
        interrupt();
        errno = error;
        return result;
    }
    ssize_t write(int file, const char* bytes, std::size_t count) override {
        interrupt();
        return FileCalls::write(file, bytes, count);
    }
    int fsync(int file) override {
        interrupt();
        return FileCalls::fsync(file);
    }
    int close(int file) override {
        interrupt();
        return FileCalls::close(file);
    }
    int rename(const char* from, const char* to) override {
        interrupt();
        return FileCalls::rename(from, to);
    }

    [[nodiscard]] bool hasHappened() const { return _count > _at; }
    std::string errorOfOther;
    bool hasOtherSaved{false};

private:
    void interrupt() {
        if (_isBusy || _count++ != _at) return;
        _isBusy = true;
        KrFile other;
        other.addSection(new Notes("other"));
        hasOtherSaved = other.save(_path);
        errorOfOther = other.getLastResult().toString();
        _isBusy = false;
    }

    std::string _path;
    int _at;
    int _count{0};
    bool _isBusy{false};
};

TEST(SafeSave, OfTwoAtOneTimeEachSavesAWholeFileOrSaysThatTheOtherIsSaving) {
    for (const bool hasLeftOver : {false, true}) {
        for (int at = 0;; ++at) {
            const test_support::TemporaryFolder folder;
            const std::string path = folder / "a.kr";
            if (hasLeftOver) write(path + ".temp", "left over");
            const test_support::LogCapture log;
            KrFile file;
            file.addSection(new Notes("one"));
            Interruption other(path, at);
            const bool isSaved = file.save(path);
            if (!other.hasHappened()) {
                EXPECT_GT(at, 8);
                break;
            }
            SCOPED_TRACE("at call " + std::to_string(at) + (hasLeftOver ? " with a left-over" : ""));
            EXPECT_TRUE(isSaved || other.hasOtherSaved);
            if (!isSaved) {
                EXPECT_THAT(file.getLastResult().toString(), HasSubstr("another process is saving this file"));
            }
            if (!other.hasOtherSaved) {
                EXPECT_THAT(other.errorOfOther, testing::AllOf(testing::StartsWith(kNoTemporary + path),
                                                               HasSubstr("another process is saving this file")));
            }
            EXPECT_TRUE(KrFile().load(path));
            EXPECT_FALSE(fs::exists(path + ".temp"));
        }
    }
}

TEST(SafeSave, TakesNoLeftOverWhereFilesCannotBeLocked) {
    const test_support::TemporaryFolder folder;
    const std::string path = folder / "a.kr";
    const test_support::LogCapture log;
    const FailingCalls calls("lock", 1, true);
    KrFile file;
    EXPECT_TRUE(file.save(path)) << file.getLastResult().toString();
    write(path + ".temp", "left over");
    EXPECT_FALSE(file.save(path));
    EXPECT_THAT(file.getLastResult().toString(), HasSubstr("may have left it behind"));
    EXPECT_EQ(read(path + ".temp"), "left over");
}

TEST(SafeSave, KeepsThePermissionsOfTheTarget) {
    const test_support::TemporaryFolder folder;
    const fs::path path = folder / "a.kr";
    write(path, "old");
    fs::permissions(path, fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
    KrFile file;
    ASSERT_TRUE(file.save(path));
    EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
}

TEST(SafeSave, TellsOfAStreamThatTakesNoMore) {
    const test_support::LogCapture log;
    std::ofstream full("/dev/full", std::ios::binary);
    KrFile file;
    EXPECT_FALSE(file.save(full));
    EXPECT_THAT(file.getLastError(), testing::StartsWith("KrPersistence: error "));
}

}  // namespace safe_save_test
