#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "kr/persistence/archives/binary_in_archive.h"
#include "kr/persistence/archives/binary_out_archive.h"
#include "kr/persistence/files/serialize_filename.h"
#include "tests/support/case_name.h"

namespace filename_test {

struct FilenameCase {
    const char* name;
    std::string path;         // before the save
    std::string archiveName;  // of the save
    std::string stored;
    std::string movedName;  // of the archive on loading
    std::string loaded;
};

class Filename : public testing::TestWithParam<FilenameCase> {};

TEST_P(Filename, FollowsTheFile) {
    using KrPersistence::serializeFilename;
    std::stringstream stream;
    std::string text = GetParam().path;
    {
        KrPersistence::BinaryOutArchive archive(stream, 1);
        archive.setArchiveName(GetParam().archiveName);
        serializeFilename(archive, text, "Mesh");
    }
    EXPECT_EQ(text, GetParam().path);
    std::string stored;
    KrPersistence::BinaryInArchive(stream, 1) >> stored;
    EXPECT_EQ(stored, GetParam().stored);

    stream.clear();
    stream.seekg(0);
    KrPersistence::BinaryInArchive archive(stream, 1);
    archive.setArchiveName(GetParam().movedName);
    serializeFilename(archive, text, "Mesh");
    EXPECT_EQ(text, GetParam().loaded);
}

const std::string kHere = std::filesystem::current_path().string();

const FilenameCase kFilenames[] = {
    {"Beside", "/a/b/car.obj", "/a/b/car.kr", "car.obj", "/x/car.kr", "/x/car.obj"},
    {"Above", "/a/c/car.obj", "/a/b/car.kr", "../c/car.obj", "/x/y/car.kr", "/x/c/car.obj"},
    {"RelativeArchive", kHere + "/car.obj", "sub/car.kr", "../car.obj", "sub/car.kr", kHere + "/car.obj"},
    {"AlreadyRelative", "c/car.obj", "/a/b/car.kr", "c/car.obj", "/x/car.kr", "/x/c/car.obj"},
    {"NoArchiveName", "/a/car.obj", "", "/a/car.obj", "/x/car.kr", "/a/car.obj"},
    {"NeverNamed", "car.obj", "", "car.obj", "", "car.obj"},
    {"Nothing", "", "/a/b/car.kr", "", "/x/car.kr", ""},
    {"ForeignAbsolute", "C:\\a\\car.obj", "/a/b/car.kr", "C:\\a\\car.obj", "/x/car.kr", "C:\\a\\car.obj"},
    {"Marker", "*Current File*", "/a/b/car.kr", "*Current File*", "/x/car.kr", "*Current File*"},
};
INSTANTIATE_TEST_SUITE_P(Files, Filename, testing::ValuesIn(kFilenames), test_support::caseName);

struct ContentNameCase {
    const char* name;
    std::string path;
    std::string referringFile;
    std::string file;  // the part of identity
};

class ContentFileName : public testing::TestWithParam<ContentNameCase> {};

TEST_P(ContentFileName, IsNeverAbsolute) {
    EXPECT_EQ(KrPersistence::contentFileName(GetParam().path, GetParam().referringFile), GetParam().file);
}

const ContentNameCase kContentNames[] = {
    {"Beside", "/a/b/car.kro", "/a/b/setup.xml", "car.kro"},
    {"Below", "/a/b/content/car.kro", "/a/b/setup.xml", "content/car.kro"},
    {"Elsewhere", "/c/car.kro", "/a/b/setup.xml", "../../c/car.kro"},
    {"RoundAbout", "/a/b/x/../car.kro", "/a/b/setup.xml", "car.kro"},
    {"BothRelative", "content/car.kro", "setup.xml", "content/car.kro"},
    {"AbsoluteAlone", "/a/b/car.kro", "", "car.kro"},
    {"RelativeAlone", "./content//car.kro", "", "content/car.kro"},
    {"Nothing", "", "/a/b/setup.xml", ""},
};
INSTANTIATE_TEST_SUITE_P(Files, ContentFileName, testing::ValuesIn(kContentNames), test_support::caseName);

}  // namespace filename_test
