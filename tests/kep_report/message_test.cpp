#include "kep_report/kep_report.h"
#include "kep_report/kep_report_assert.h"
#include "kep_report/kep_report_capture.h"
#include "kep_report/kep_report_message.h"

#include <boost/format.hpp>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace message_test {

using KEP_REPORT::STREAM;

const KEP_REPORT_MESSAGE_CODE& rule(const std::string& code) {
  return *KEP_REPORT::get_msg_db()->get(code);
}

boost::format boost_form(const std::string& code) {
  return boost::format(rule(code).to_boost());
}

template <class... ARGUMENTS>
std::string printf_form(const std::string& code, ARGUMENTS... arguments) {
  char text[1000];
  std::snprintf(text, sizeof text, rule(code).to_printf(), arguments...);
  return text;
}

TEST(MessageDatabase, IsOneAndNeverNull) {
  ASSERT_NE(KEP_REPORT::get_msg_db(), nullptr);
  EXPECT_EQ(KEP_REPORT::get_msg_db(), KEP_REPORT::get_msg_db());
}

TEST(MessageDatabase, KnowsTheFiveRulesEachByItsOwnCode) {
  for (const char* code :
       {"RG-UNREACHABLE-ROUTING-NODES", "RG-ONE-REAL-EDGE-PER-NODE", "RG-HIPI-CHECK-FAILED",
        "RG-NO-REAL-EDGE-FOR-REDUNDANT-EDGE", "RG-REDUNDANT-EDGE-COUNT-PREREQUISITE"}) {
    KEP_REPORT_MESSAGE_CODE* entry = KEP_REPORT::get_msg_db()->get(code);
    ASSERT_NE(entry, nullptr);
    EXPECT_STREQ(entry->get_code(), code);
    EXPECT_EQ(entry, KEP_REPORT::get_msg_db()->get(code));
    // A finding can be told by its code.
    EXPECT_EQ(std::string(entry->to_boost()).rfind(std::string(code) + ": ", 0), 0U);
  }
}

TEST(MessageDatabase, ACodeItDoesNotKnowIsAnAssertionThatNamesIt) {
  for (const char* code : {"RG-NO-SUCH-RULE", "", "RG-HIPI-CHECK", "rg-hipi-check-failed"}) {
    KEP_REPORT_CAPTURE capture;
    EXPECT_THROW(KEP_REPORT::get_msg_db()->get(code), KEP_REPORT_ASSERTION_FAILURE);
    EXPECT_NE(capture.text(STREAM::ERR).find(std::string("\"") + code + "\""), std::string::npos)
        << capture.text(STREAM::ERR);
  }
}

TEST(MessageDatabase, UnreachableNodesTakesTheNumberOfNodes) {
  const std::string code = "RG-UNREACHABLE-ROUTING-NODES";
  std::string text = (boost_form(code) % 4000000000U).str();
  EXPECT_NE(text.find("4000000000"), std::string::npos) << text;
  EXPECT_EQ(text, printf_form(code, 4000000000U));
  EXPECT_THROW(boost_form(code).str(), boost::io::too_few_args);
  EXPECT_THROW(boost_form(code) % 1U % 2U, boost::io::too_many_args);
}

TEST(MessageDatabase, OneRealEdgeTakesTheNumberOfEdgesAndTheFanout) {
  const std::string code = "RG-ONE-REAL-EDGE-PER-NODE";
  std::string text = (boost_form(code) % 2 % std::string("a/b:%1%")).str();
  EXPECT_LT(text.find("2 "), text.find("a/b:%1%")) << text;
  EXPECT_NE(text.find("a/b:%1%"), std::string::npos) << text;
  EXPECT_EQ(text, printf_form(code, 2, "a/b:%1%"));
  EXPECT_THROW((boost_form(code) % 2).str(), boost::io::too_few_args);
  EXPECT_THROW(boost_form(code) % 2 % std::string("a") % 3, boost::io::too_many_args);
}

TEST(MessageDatabase, HipiCheckTakesTheConditionThatFailed) {
  const std::string code = "RG-HIPI-CHECK-FAILED";
  const char* condition = "a hipi node is the first fanin";
  std::string text = (boost_form(code) % condition).str();
  EXPECT_NE(text.find(condition), std::string::npos) << text;
  EXPECT_EQ(text, printf_form(code, condition));
  EXPECT_THROW(boost_form(code).str(), boost::io::too_few_args);
  EXPECT_THROW(boost_form(code) % condition % condition, boost::io::too_many_args);
}

TEST(MessageDatabase, ARuleWithoutArgumentsIsFitToBePrintedAsItStands) {
  for (const char* code : {"RG-NO-REAL-EDGE-FOR-REDUNDANT-EDGE", "RG-REDUNDANT-EDGE-COUNT-PREREQUISITE"}) {
    EXPECT_EQ(std::string(rule(code).to_printf()).find('%'), std::string::npos);
    EXPECT_EQ(std::string(rule(code).to_printf()).find('\n'), std::string::npos);
    EXPECT_STREQ(rule(code).to_printf(), rule(code).to_boost());
    EXPECT_EQ(boost_form(code).str(), rule(code).to_printf());
    EXPECT_THROW(boost_form(code) % 1, boost::io::too_many_args);

    KEP_REPORT_CAPTURE capture;
    KEP_REPORT::print_error(rule(code).to_printf());
    EXPECT_EQ(capture.text(STREAM::ERR), std::string(rule(code).to_printf()) + "\n");
  }
}

} // namespace message_test
