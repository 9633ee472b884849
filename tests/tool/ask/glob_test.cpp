#include "tools/kep-rg/ask/glob.h"

#include <gtest/gtest.h>

namespace glob_test {

bool matches(const char* pattern, const char* name) {
  return GLOB(pattern).matches(name);
}

TEST(Glob, FitsWholeNamesAcrossTheHierarchy) {
  EXPECT_TRUE(matches("*/m:o", "a/b/m:o"));
  EXPECT_TRUE(matches("*", ":p"));
  EXPECT_TRUE(matches("a/?:o", "a/b:o"));
  EXPECT_FALSE(matches("a/?:o", "a/bc:o"));
  EXPECT_FALSE(matches("a/b", "a/b:o"));
  EXPECT_TRUE(matches("x[0-2]y[!3]:o", "x2y4:o"));
  EXPECT_FALSE(matches("x[0-2]y[!3]:o", "x2y3:o"));
}

TEST(Glob, LetsBracketsStandForThemselves) {
  EXPECT_TRUE(matches("m:i[1]", "m:i[1]"));
  EXPECT_TRUE(matches("m:i[1]", "m:i1"));
  EXPECT_FALSE(matches("m:i[1]", "m:i[2]"));
  EXPECT_TRUE(matches("m:i[*]", "m:i[12]"));
  EXPECT_TRUE(matches("m:i\\[1]", "m:i[1]"));
  EXPECT_FALSE(matches("m:i\\[1]", "m:i1"));
  EXPECT_TRUE(matches("m\\*:o", "m*:o"));
  EXPECT_FALSE(matches("m\\*:o", "mm:o"));
}

TEST(Glob, TellsWhatAllNamesBeginWith) {
  EXPECT_EQ(GLOB("a/b*").get_prefix(), "a/b");
  EXPECT_EQ(GLOB("a/b[1]:o").get_prefix(), "a/b");
  EXPECT_EQ(GLOB("a\\*").get_prefix(), "a");
  EXPECT_EQ(GLOB("?").get_prefix(), "");
  EXPECT_EQ(GLOB("a/b:c").get_prefix(), "a/b:c");
}

} // namespace glob_test
