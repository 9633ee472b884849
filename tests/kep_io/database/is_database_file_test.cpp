#include "kep_io/kep_database_file.h"
#include "tests/support/folder_fixture.h"

#include <gtest/gtest.h>

namespace is_database_file_test {

using IsDatabaseFile = Folder;

TEST_F(IsDatabaseFile, IsToldByTheFirstBytes) {
  EXPECT_TRUE(kep_is_database_file(write("d", "\xCBKDB\r\n\x1A\nand more")));
  EXPECT_FALSE(kep_is_database_file(write("m", "{\"modules\": {}}")));
  EXPECT_FALSE(kep_is_database_file(write("short", "\xCBKDB")));
  EXPECT_FALSE(kep_is_database_file(write("empty", "")));
}

TEST_F(IsDatabaseFile, IsFalseOfWhatCannotBeRead) {
  EXPECT_FALSE(kep_is_database_file("-"));
  EXPECT_FALSE(kep_is_database_file(path("nowhere")));
  EXPECT_FALSE(kep_is_database_file(path("")));
  EXPECT_FALSE(kep_is_database_file(path(std::string(5000, 'a')))) << "a name that no file can have";
}

} // namespace is_database_file_test
