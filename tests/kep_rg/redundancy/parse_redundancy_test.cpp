#include "tests/kep_rg/redundancy/parse_redundancy_fixture.h"
#include "tests/support/failure_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace parse_redundancy_test {

using namespace parse_redundancy;
using testing::ElementsAre;
using testing::IsEmpty;

const char* const MISSING_KEYWORD =
    "FATAL ERROR: Missing module_name keyword in first line of redundancy_data.\n"
    " from function KEP_RG_PARSE_REDUNDANCY::parse in kep_rg/kep_rg_parse_redundancy.cpp@LINE";

class ParseRedundancy : public testing::Test {
protected:
  bool parse(std::string_view text) {
    KEP_REPORT_CAPTURE capture;
    return m_parser.parse(&m_out, text);
  }
  /// The ports that were read from pairs below TILE.
  std::vector<std::string> read(const std::string& pairs) {
    parse("module_name: TILE " + pairs);
    return names(m_out);
  }
  /// The assertion with which a text ends, "" when it ends without.
  std::string assertion(std::string_view text) {
    const std::string found = assertion_text([&] { m_parser.parse(&m_out, text); });
    return found == "(no assertion failed)" ? "" : found;
  }
  void expect_nothing_reported() {
    EXPECT_EQ(m_parser.get_failed_module(), "");
    EXPECT_THAT(m_parser.get_failed_lines(), IsEmpty());
    EXPECT_THAT(m_parser.get_failed_offsets(), IsEmpty());
  }

  const NAMED_MODEL m_model{DEVICE};
  KEP_RG_PARSE_REDUNDANCY m_parser = quiet_parser(m_model.db());
  KEP_RG_MODULE_RELATIVE_PORTS m_out;
};

// --- outcomes ---------------------------------------------------------------------------------------------

TEST_F(ParseRedundancy, IsTrueWhenEveryLineCouldBeRead) {
  EXPECT_TRUE(parse("module_name: TILE\n0 c:x\n1 d:z\n0 c/x\n2 :z\n"));
  EXPECT_THAT(names(m_out), ElementsAre("c:x", "d:z", "c:x", ":z"));
  EXPECT_EQ(m_out.get_top(), m_model.module("TILE"));
  expect_nothing_reported();
}

TEST_F(ParseRedundancy, KeepsTheGoodLinesAndTellsTheBadOnes) {
  EXPECT_FALSE(parse("module_name: TILE\n0 c:x\n1 e:z\n0 c\n2 d:z\n"));
  EXPECT_THAT(names(m_out), ElementsAre("c:x", "d:z"));
  EXPECT_EQ(m_parser.get_failed_module(), "");
  EXPECT_THAT(m_parser.get_failed_lines(), ElementsAre("e:z", "c"));
}

TEST_F(ParseRedundancy, TellsModuleAndLinesWhenNoLineCouldBeRead) {
  EXPECT_FALSE(parse("module_name: TILE\n0 c:y\n1 e:z\n"));
  EXPECT_EQ(m_out.size(), 0U);
  EXPECT_EQ(m_parser.get_failed_module(), "TILE");
  EXPECT_THAT(m_parser.get_failed_lines(), ElementsAre("c:y", "e:z"));
  EXPECT_FALSE(m_parser.is_module_unknown());
}

TEST_F(ParseRedundancy, TellsTheModuleWhenItIsGivenNoLine) {
  for (const char* text : {"module_name: TILE", "module_name: TILE\n\n", "\"module_name:\"\tTILE\n"}) {
    EXPECT_FALSE(parse(text));
    EXPECT_EQ(m_out.size(), 0U);
    EXPECT_EQ(m_parser.get_failed_module(), "TILE");
    EXPECT_THAT(m_parser.get_failed_lines(), IsEmpty());
    EXPECT_FALSE(m_parser.is_module_unknown());
  }
}

TEST_F(ParseRedundancy, TellsAnUnknownModuleWithoutAnException) {
  EXPECT_FALSE(parse("module_name: ELSEWHERE\n0 c:x\n"));
  EXPECT_EQ(m_out.size(), 0U);
  EXPECT_EQ(m_out.get_top(), nullptr);
  EXPECT_EQ(m_parser.get_failed_module(), "ELSEWHERE");
  EXPECT_THAT(m_parser.get_failed_lines(), IsEmpty());
  EXPECT_TRUE(m_parser.is_module_unknown());
}

TEST_F(ParseRedundancy, ReplacesTheOutputAndItsTop) {
  ASSERT_TRUE(parse("module_name: TILE 0 c:x"));
  EXPECT_TRUE(parse("module_name: C 0 z"));
  EXPECT_THAT(names(m_out), ElementsAre(":z"));
  EXPECT_EQ(m_out.get_top(), m_model.module("C"));
  EXPECT_FALSE(parse("module_name: ELSEWHERE 0 z"));
  EXPECT_EQ(m_out.size(), 0U);
}

TEST_F(ParseRedundancy, ForgetsTheFailuresOfTheCallBefore) {
  const char* const bad[] = {"module_name: TILE 0 e:z 0 c", "module_name: TILE 0 c:x 0 c",
                             "module_name: ELSEWHERE 0 z", "module_name: TILE"};
  for (const char* text : bad) {
    ASSERT_FALSE(parse(text));
    EXPECT_TRUE(parse("module_name: TILE 0 c:x"));
    expect_nothing_reported();
    EXPECT_FALSE(m_parser.is_module_unknown());
  }
}

// --- the format -------------------------------------------------------------------------------------------

TEST_F(ParseRedundancy, SplitsAtBlanksTabsNewlinesAndQuotesAlone) {
  EXPECT_THAT(read("0 c:x 1\td:z\n2\n\n\t c:z"), ElementsAre("c:x", "d:z", "c:z"));
  EXPECT_THAT(read("\"0\" \"c:x\"1\"d:z\"\"2\"\"c:z\""), ElementsAre("c:x", "d:z", "c:z"));
  for (const char* text : {"0,c:x", "0 c:x\v", "0 c:x\f", "0 c:x;", "0 'c:x'"}) {
    SCOPED_TRACE(text);
    EXPECT_EQ(assertion(std::string("module_name: TILE ") + text).empty(), text[1] == ' ');
    EXPECT_EQ(m_out.size(), 0U);
  }
}

TEST_F(ParseRedundancy, TakesAQuoteForADelimiterThatGroupsNothing) {
  // "c x" is two tokens, so the pairs are (0, c) and (x, d:z); and a quote inside a word splits it.
  EXPECT_THAT(read("0 \"c x\" d:z"), ElementsAre("d:z"));
  EXPECT_THAT(m_parser.get_failed_lines(), ElementsAre("c"));
  EXPECT_THAT(read("0 c\":\"x 1 d:z"), ElementsAre(":x", "d:z"));
  EXPECT_THAT(m_parser.get_failed_lines(), ElementsAre("c"));
}

TEST_F(ParseRedundancy, TakesALineEndInsideAPairForABlank) {
  EXPECT_THAT(read("0\nc:x\n1\nd:z"), ElementsAre("c:x", "d:z"));
  EXPECT_TRUE(parse("module_name:\n\nTILE\n0\n\n\nc:x"));
  EXPECT_THAT(names(m_out), ElementsAre("c:x"));
}

TEST_F(ParseRedundancy, PairsOverTheStreamSoThatALineOfThreeShiftsAllBehindIt) {
  EXPECT_THAT(read("0 c:x\n1 c:z d:z\nd:x c:x\nd:z\n"), ElementsAre("c:x", "c:z", "d:x", "d:z"));
  EXPECT_THAT(read("0 c:x 9\n0 d:x\n0 d:z\n0"), ElementsAre("c:x"));
  EXPECT_THAT(m_parser.get_failed_lines(), ElementsAre("0", "0", "0"));
}

TEST_F(ParseRedundancy, PassesOverTheFirstColumnWhateverItHolds) {
  EXPECT_THAT(read("c:x c:x module_name: d:z # c:z \r d:x"), ElementsAre("c:x", "d:z", "c:z", "d:x"));
}

TEST_F(ParseRedundancy, KnowsNoComments) {
  EXPECT_THAT(read("# c:x\n#1 #c:z\n"), ElementsAre("c:x"));
  EXPECT_THAT(m_parser.get_failed_lines(), ElementsAre("#c:z"));
  EXPECT_EQ(failure_text([&] { m_parser.parse(&m_out, "# text\nmodule_name: TILE 0 c:x"); }),
            MISSING_KEYWORD);
}

TEST_F(ParseRedundancy, FailsInEveryLineThatEndsInACarriageReturn) {
  EXPECT_FALSE(parse("module_name: TILE\n0 c:x\r\n1 d:z\r\n"));
  EXPECT_EQ(m_parser.get_failed_module(), "TILE");
  EXPECT_THAT(m_parser.get_failed_lines(), ElementsAre("c:x\r", "d:z\r"));
  EXPECT_FALSE(parse("module_name: TILE\r\n0 c:x\r\n1 d:z\r\n"));
  EXPECT_EQ(m_parser.get_failed_module(), "TILE\r");
  EXPECT_TRUE(m_parser.is_module_unknown());
}

TEST_F(ParseRedundancy, TakesAReturnAloneOnALineForAToken) {
  EXPECT_THAT(read("\n\r\nc:x\n"), ElementsAre("c:x"));
  EXPECT_THAT(m_parser.get_failed_lines(), IsEmpty());
}

TEST_F(ParseRedundancy, TellsWhereTheFailedLinesBegin) {
  const std::string text = "module_name: TILE\n0 e:z\n\n0 c:x 1 \"c\"\n";
  EXPECT_FALSE(parse(text));
  ASSERT_THAT(m_parser.get_failed_lines(), ElementsAre("e:z", "c"));
  EXPECT_THAT(m_parser.get_failed_offsets(), ElementsAre(text.find("e:z"), text.find("c\"")));
}

// --- the module -------------------------------------------------------------------------------------------

TEST_F(ParseRedundancy, SearchesTheModuleInTheViewOfTheConstructor) {
  EXPECT_FALSE(parse("module_name: TILE 0 blc"));
  m_parser = quiet_parser(m_model.db(), 1, KEP_VIEW_TYPE::BLC);
  EXPECT_TRUE(parse("module_name: TILE 0 blc"));
  EXPECT_EQ(m_out.get_top(), m_model.module("TILE_BLC"));
  EXPECT_FALSE(parse("module_name: C 0 x"));
  EXPECT_TRUE(m_parser.is_module_unknown());
}

TEST_F(ParseRedundancy, KeepsOneByteOfTheView) {
  KEP_REPORT_CAPTURE capture;
  m_parser = {m_model.db(), static_cast<int>(KEP_VIEW_TYPE::BLC) + 0x100, RANK, 1};
  EXPECT_TRUE(m_parser.parse(&m_out, "module_name: TILE 0 blc"));
}

TEST_F(ParseRedundancy, UsesTheFirstOfSeveralModulesOfOneName) {
  EXPECT_TRUE(parse("module_name: SAME 0 first"));
  EXPECT_FALSE(parse("module_name: SAME 0 second"));
}

TEST_F(ParseRedundancy, GivesAGroupWhoseTopIsTheViewOfAnIpRoot) {
  EXPECT_TRUE(parse("module_name: IP 0 u:x 0 x"));
  EXPECT_EQ(m_out.get_top(), m_model.module("IP_BLC"));
  EXPECT_FALSE(parse("module_name: IP 0 plain:x"));
}

// --- failures ---------------------------------------------------------------------------------------------

TEST_F(ParseRedundancy, IsRefusedWithoutTheKeywordAsTheFirstToken) {
  for (const char* text : {"module_name:x TILE 0 c:x", "module_name", "module", "module_name TILE 0 c:x",
                           "module_name:TILE 0 c:x", "Module_name: TILE", "module_name :", "TILE 0 c:x",
                           "module_name:\r TILE", ": module_name: TILE"}) {
    ASSERT_TRUE(parse("module_name: TILE 0 c:x"));
    ASSERT_FALSE(parse("module_name: TILE 0 c:y 0 d"));
    EXPECT_EQ(failure_text([&] { m_parser.parse(&m_out, text); }), MISSING_KEYWORD) << text;
    expect_nothing_reported();
    EXPECT_EQ(m_out.size(), 0U);
    EXPECT_FALSE(m_parser.is_module_unknown());
  }
}

TEST_F(ParseRedundancy, AssertsThatThereIsAKeywordAndAModule) {
  for (const char* text : {"", " ", "\n\t\"", "module_name:", " module_name:\n", "\"module_name:\"\""}) {
    const std::string told = assertion(text);
    EXPECT_EQ(told.substr(0, told.find(" in ")), "Assertion failed: valid_") << text;
    EXPECT_STRNE(KEP_RG_PARSE_REDUNDANCY::find_cut_off(text), "") << text;
    expect_nothing_reported();
  }
}

TEST_F(ParseRedundancy, AssertsThatNoPairIsCutShort) {
  for (const char* text :
       {"module_name: TILE 0", "module_name: TILE 0 c:x 1", "module_name: TILE 0 c:x\n1\n"}) {
    const std::string told = assertion(text);
    EXPECT_EQ(told.substr(0, told.find(" in ")), "Assertion failed: valid_") << text;
    EXPECT_STRNE(KEP_RG_PARSE_REDUNDANCY::find_cut_off(text), "") << text;
    EXPECT_EQ(m_out.size(), 0U);
  }
}

TEST_F(ParseRedundancy, TellsAnUnknownModuleBeforeAPairThatIsCutShort) {
  EXPECT_FALSE(parse("module_name: ELSEWHERE 0"));
  EXPECT_TRUE(m_parser.is_module_unknown());
}

// --- reports and copies -----------------------------------------------------------------------------------

TEST_F(ParseRedundancy, ReportsItsThreadsWhenItIsMade) {
  const auto report = [&](int threads) {
    KEP_REPORT_CAPTURE capture;
    const KEP_RG_PARSE_REDUNDANCY made(m_model.db(), 0, RANK, threads);
    return capture.text(KEP_REPORT::STREAM::INFO);
  };
  EXPECT_EQ(report(1), "Parsing redundancy with 1 threads\n");
  EXPECT_EQ(report(12), "Parsing redundancy with 12 threads\n");
  const std::string all =
      "Parsing redundancy with " + std::to_string(std::thread::hardware_concurrency()) + " threads\n";
  EXPECT_EQ(report(-1), all);
  EXPECT_EQ(report(-7), all);
}

TEST_F(ParseRedundancy, HasNothingToTellBeforeItsFirstText) {
  expect_nothing_reported();
  EXPECT_EQ(m_parser.get_db(), m_model.db());
  EXPECT_FALSE(m_parser.is_module_unknown());
}

TEST_F(ParseRedundancy, CopiesWhatItTells) {
  ASSERT_FALSE(parse("module_name: TILE 0 c"));
  const std::vector<std::string> lines = m_parser.get_failed_lines();
  KEP_RG_PARSE_REDUNDANCY copy = m_parser;
  ASSERT_TRUE(parse("module_name: TILE 0 c:x"));
  EXPECT_THAT(lines, ElementsAre("c"));
  EXPECT_THAT(copy.get_failed_lines(), ElementsAre("c"));
  EXPECT_EQ(copy.get_failed_module(), "TILE");
}

} // namespace parse_redundancy_test
