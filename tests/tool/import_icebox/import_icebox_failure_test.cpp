#include "tests/tool/import_icebox/icebox_fixture.h"

#include <gmock/gmock.h>

namespace import_icebox_failure_test {

using testing::StartsWith;
using testing::UnorderedElementsAre;

/// A chip that imports; the cases below put one thing wrong behind it or inside it.
constexpr std::string_view GOOD = R"(.device tiny 2 2 3
.logic_tile 0 0
.logic_tile 1 0
.net 0
0 0 a
1 0 a
.net 1
0 0 b
.net 2
1 0 c
.buffer 0 0 1 B0 B1
10 0
)";

std::string good_and(std::string_view tail) {
  return std::string(GOOD) + std::string(tail);
}

/// GOOD with `line` in place of its line `number`.
std::string good_with(int number, std::string_view line) {
  std::string result;
  std::size_t start = 0;
  for (int at = 1; start < GOOD.size(); ++at) {
    const std::size_t end = GOOD.find('\n', start) + 1;
    result += at == number ? std::string(line) + "\n" : std::string(GOOD.substr(start, end - start));
    start = end;
  }
  return result;
}

struct BAD_TEXT {
  std::string m_text;
  std::string m_reason;
};

void PrintTo(const BAD_TEXT& bad, std::ostream* out) {
  *out << bad.m_reason;
}

class MalformedIcebox : public Icebox, public testing::WithParamInterface<BAD_TEXT> {};

TEST_P(MalformedIcebox, IsRefusedWithItsLineAndLeavesTheOldFiles) {
  write("model.json", "old model");
  write("routing.jsonl", "old routing");
  EXPECT_EQ(failure(GetParam().m_text), GetParam().m_reason);
  EXPECT_EQ(read("model.json"), "old model");
  EXPECT_EQ(read("routing.jsonl"), "old routing");
  EXPECT_THAT(files(), UnorderedElementsAre("chip.txt", "model.json", "routing.jsonl"));
}

INSTANTIATE_TEST_SUITE_P(
    texts, MalformedIcebox,
    testing::Values(
        BAD_TEXT{"", ":1: there is no \".device\""}, BAD_TEXT{"# nothing\n", ":1: there is no \".device\""},
        BAD_TEXT{"0 0 a\n", ":1: text before the first section"},
        BAD_TEXT{".logic_tile 0 0\n", ":1: section \".logic_tile\" before \".device\""},
        BAD_TEXT{good_with(1, ".device tiny 2 2"), ":1: expected \".device DEVICE WIDTH HEIGHT NUM_NETS\""},
        BAD_TEXT{good_with(1, ".device tiny 2 two 3"), ":1: height \"two\" is not a number"},
        BAD_TEXT{good_with(1, ".device tiny 2 2 4"), ":1: 4 nets are declared, but 3 follow"},
        BAD_TEXT{good_with(1, ".device tiny 2 2 3\nmore"), ":2: section \".device\" has no lines of its own"},
        BAD_TEXT{good_and(".device tiny 2 2 3\n"), ":13: a second \".device\", the first is in line 1"},
        BAD_TEXT{good_with(3, ".logic_tile 2 0"), ":3: tile 2 0 lies outside the device of 2 by 2"},
        BAD_TEXT{good_with(3, ".logic_tile 0 0"), ":3: a second tile 0 0"},
        BAD_TEXT{good_with(3, ".logic_tile 1"), ":3: expected \".KIND_tile X Y\""},
        BAD_TEXT{good_with(3, ".logic_tile 1 -1"), ":3: Y \"-1\" is not a number"},
        BAD_TEXT{good_with(3, ".logic_tile 1 4294967296"), ":3: Y \"4294967296\" is not a number"},
        BAD_TEXT{good_with(3, ".logic:tile_tile 1 0"), ":3: expected \".KIND_tile X Y\""},
        BAD_TEXT{good_with(3, ".logic_tile 1 0\n1 0"), ":4: section \".logic_tile\" has no lines of its own"},
        BAD_TEXT{good_with(7, ".net"), ":7: expected \".net NET\""},
        BAD_TEXT{good_with(7, ".net 0"), ":7: a second net 0"},
        BAD_TEXT{good_with(8, "0 1 b"), ":8: there is no tile 0 1 above this line"},
        BAD_TEXT{good_with(8, "0 0"), ":8: expected \"X Y NAME\""},
        BAD_TEXT{good_with(8, "0 0 b c"), ":8: expected \"X Y NAME\""},
        BAD_TEXT{good_with(8, "0 0 a"), ":8: local wire \"a\" of tile 0 0 is on net 0 already"},
        BAD_TEXT{good_with(8, "0 0 a:b"), ":8: \"a:b\" can't be a local name"},
        BAD_TEXT{good_with(8, "0 0 a.b"), ":8: \"a.b\" can't be a local name"},
        BAD_TEXT{good_with(8, "0 0 \"b"), ":8: \"\"b\" can't be a local name"},
        BAD_TEXT{good_with(8, "0 0 /b"), ":8: \"/b\" can't be a local name"},
        BAD_TEXT{good_with(8, "0 0 b/"), ":8: \"b/\" can't be a local name"},
        BAD_TEXT{good_with(8, "0 0 b\x80"), ":8: \"b\x80\" can't be a local name"},
        BAD_TEXT{good_and(".buffer 0 0\n"), ":13: expected \".buffer X Y NET CONFIG_BITS...\""},
        BAD_TEXT{good_and(".routing 0\n"), ":13: expected \".routing X Y NET CONFIG_BITS...\""},
        BAD_TEXT{good_and(".routing 0 1 1 B\n"), ":13: there is no tile 0 1 above this line"},
        BAD_TEXT{good_and(".routing 0 0 7 B\n"), ":13: there is no net 7 above this line"},
        BAD_TEXT{good_and(".routing 0 0 2 B\n"), ":13: net 2 has no local name in tile 0 0"},
        BAD_TEXT{good_and(".routing 0 0 1 B\n"), ":13: \".routing\" without a source"},
        BAD_TEXT{good_and(".routing 0 0 1 B\n.pins x\n"), ":13: \".routing\" without a source"},
        BAD_TEXT{good_and("11 2\n"), ":13: net 2 has no local name in tile 0 0"},
        BAD_TEXT{good_and("11 9\n"), ":13: there is no net 9 above this line"},
        BAD_TEXT{good_and("11\n"), ":13: expected \"CONFIG_BIT_VALUES NET\""},
        BAD_TEXT{good_and("11 0x0\n"), ":13: net \"0x0\" is not a number"},
        BAD_TEXT{good_and("1 0\n"), ":13: \"1\" is not 2 values of 0 or 1"},
        BAD_TEXT{good_and("12 0\n"), ":13: \"12\" is not 2 values of 0 or 1"}));

TEST_F(Icebox, TwoMuxesThatWouldHaveOneNameAreRefused) {
  const std::string head = R"(.device tiny 1 1 2
.logic_tile 0 0
.net 0
0 0 w
.net 1
0 0 w/2
.buffer 0 0 0 B
1 1
.buffer 0 0 0 B
1 1
)";
  EXPECT_EQ(failure(head), "");
  EXPECT_EQ(failure(head + ".routing 0 0 1 B\n1 0\n"), "");
  EXPECT_EQ(failure(head + ".buffer 0 0 1 B\n1 0\n"),
            ":9: entry 2 for local wire \"w\" would have the name of an entry for \"w/2\"");
}

TEST_F(Icebox, TheGoodTextOfTheseCasesIsRead) {
  EXPECT_EQ(failure(GOOD), "");
}

TEST_F(Icebox, ATextCutOffAnywhereIsRefusedWithALineOrGivesWholeFiles) {
  int num_refused = 0;
  int num_read = 0;
  for (std::size_t length = 0; length < GOOD.size(); ++length) {
    SCOPED_TRACE(length);
    const std::string reason = failure(GOOD.substr(0, length));
    if (reason.empty()) {
      ++num_read;
      EXPECT_EQ(m_parser.load(path("model.json")).error(), simdjson::SUCCESS);
    } else {
      ++num_refused;
      EXPECT_THAT(reason, testing::MatchesRegex(":[0-9]+: .+"));
    }
  }
  EXPECT_GT(num_refused, 100);
  EXPECT_GT(num_read, 0);
}

TEST_F(Icebox, AChipDatabaseThatIsNotThereIsTold) {
  EXPECT_THROW(import_icebox(path("none.txt"), path("m.json"), path("r.jsonl")), std::runtime_error);
  EXPECT_THROW(import_icebox(path(""), path("m.json"), path("r.jsonl")), std::runtime_error);
  EXPECT_TRUE(files().empty());
}

TEST_F(Icebox, ATargetThatCannotBeWrittenLeavesTheOtherAsItWas) {
  write("chip.txt", GOOD);
  write("model.json", "old model");
  std::filesystem::create_directory(path("folder"));
  for (const std::string& target :
       {path("nowhere/routing.jsonl"), path("folder"), std::string("/dev/null")}) {
    SCOPED_TRACE(target);
    try {
      import_icebox(path("chip.txt"), path("model.json"), target);
      FAIL() << "no exception";
    } catch (const std::runtime_error& error) {
      EXPECT_THAT(error.what(), StartsWith(target + ": can't be written: "));
    }
    EXPECT_EQ(read("model.json"), "old model");
    EXPECT_THAT(files(), UnorderedElementsAre("chip.txt", "model.json", "folder"));
  }
}

TEST_F(Icebox, OneFileForTwoPurposesIsRefused) {
  write("chip.txt", GOOD);
  EXPECT_THROW(import_icebox(path("chip.txt"), path("m"), path("./m")), std::runtime_error);
  EXPECT_THROW(import_icebox(path("chip.txt"), path("chip.txt"), path("r")), std::runtime_error);
  EXPECT_THROW(import_icebox(path("chip.txt"), path("m"), path("chip.txt")), std::runtime_error);
  EXPECT_EQ(read("chip.txt"), GOOD);
  EXPECT_THAT(files(), UnorderedElementsAre("chip.txt"));
}

} // namespace import_icebox_failure_test
