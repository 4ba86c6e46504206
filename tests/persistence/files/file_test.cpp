#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "tests/persistence/files/notes.h"
#include "tests/support/log_capture.h"
#include "tests/support/temporary_folder.h"

namespace file_test {

using KrPersistence::KrFile;
using notes::Notes;

TEST(File, BringsSectionsBackInTheirOrder) {
    const test_support::TemporaryFolder folder;
    const std::string path = folder / "a.kr";
    KrFile file;
    file.setName("Document");
    file.setDescription("what it is");
    file.addSection(new Notes("one"));
    file.addSection(new Notes("two"));
    ASSERT_TRUE(file.save(path)) << file.getLastError();

    KrFile copy;
    ASSERT_TRUE(copy.load(path)) << copy.getLastError();
    ASSERT_EQ(copy.getSections().size(), 2U);
    EXPECT_EQ(dynamic_cast<Notes&>(*copy.getSections()[1]).text, "two");
    EXPECT_EQ(copy.getName(), "Document");
}

}  // namespace file_test
