#include "kep_report/kep_report.h"
#include "kep_report/kep_report_assert.h"
#include "kep_report/kep_report_assertion_handler.h"
#include "kep_report/kep_report_capture.h"
#include "tests/kep_report/child_process.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace assert_test {

using KEP_REPORT::ASSERTION_HANDLER;
using KEP_REPORT::PREFIX_VIEW;
using KEP_REPORT::set_assertion_handler;
using KEP_REPORT::STREAM;
using KEP_REPORT::detail::assert_at_line;

static_assert(std::is_base_of_v<std::exception, KEP_REPORT_ASSERTION_FAILURE>);

// Installs a handler for the length of a test.
class HANDLER {
public:
  explicit HANDLER(ASSERTION_HANDLER handler) : m_previous(set_assertion_handler(std::move(handler))) {}
  ~HANDLER() { set_assertion_handler(m_previous); }

private:
  ASSERTION_HANDLER m_previous;
};

KEP_REPORT_ASSERTION catch_failure(const auto& body) {
  try {
    body();
  } catch (const KEP_REPORT_ASSERTION_FAILURE& failure) {
    return failure.get_assertion();
  }
  throw std::logic_error("no assertion failed");
}

TEST(Assertions, TellTheExpressionTheFileAndTheLineAndThrow) {
  KEP_REPORT_CAPTURE capture;
  KEP_REPORT_ASSERTION told = catch_failure([] { assert_at_line("a == b", "kep_rg/source", 42); });
  EXPECT_EQ(told.get_expression(), "a == b");
  EXPECT_EQ(told.get_file(), "kep_rg/source");
  EXPECT_EQ(told.get_line(), 42);
  EXPECT_EQ(told.get_text(), "Assertion failed: a == b in kep_rg/source@42");
  EXPECT_EQ(capture.text(STREAM::ERR), told.get_text() + "\n");
}

TEST(Assertions, TellTheExplanationBehindTheLine) {
  KEP_REPORT_CAPTURE capture;
  KEP_REPORT_ASSERTION told = catch_failure([] {
    assert_at_line("module_in == port_out->get_parent()", "kep_rg/source", 7, "Ports %s and %s, %d", "a", "b",
                   3);
  });
  EXPECT_EQ(told.get_text(),
            "Assertion failed: module_in == port_out->get_parent() in kep_rg/source@7: Ports a and b, 3");
  EXPECT_EQ(capture.text(STREAM::ERR), told.get_text() + "\n");
}

TEST(Assertions, TakeAnExplanationOfAnyLength) {
  KEP_REPORT_CAPTURE capture;
  std::string name(100000, 'n');
  catch_failure([&] { assert_at_line("false", "f", 1, "%s", name.c_str()); });
  EXPECT_TRUE(capture.text(STREAM::ERR) == "Assertion failed: false in f@1: " + name + "\n");
}

TEST(Assertions, APercentSignInTheExpressionIsNoPlaceholder) {
  KEP_REPORT_CAPTURE capture;
  catch_failure([] { assert_at_line("a %s b", "100%d", 1); });
  EXPECT_EQ(capture.text(STREAM::ERR), "Assertion failed: a %s b in 100%d@1\n");
}

TEST(Assertions, TheFailureCarriesTheWholeTextAndIsAStandardException) {
  KEP_REPORT_CAPTURE capture;
  try {
    assert_at_line("false", "f", 1, "why");
  } catch (const std::exception& failure) {
    EXPECT_STREQ(failure.what(), "Assertion failed: false in f@1: why");
    return;
  }
  FAIL() << "the assertion threw something else";
}

TEST(Assertions, TheTextIsALineOfItsOwn) {
  KEP_REPORT_CAPTURE capture;
  KEP_REPORT::err(PREFIX_VIEW::STANDARD) << "begun and not ended";
  catch_failure([] { assert_at_line("false", "f", 1); });
  EXPECT_EQ(capture.text(STREAM::ERR), "begun and not ended\nAssertion failed: false in f@1\n");
}

TEST(Assertions, UnwindTheFramesOfTheCaller) {
  KEP_REPORT_CAPTURE capture;
  auto shared = std::make_shared<int>(1);
  catch_failure([shared] {
    auto local = shared;
    assert_at_line("false", "f", 1);
  });
  EXPECT_EQ(shared.use_count(), 1);
}

TEST(AssertionHandler, IsCalledAfterTheTextWentOutAndBeforeTheThrow) {
  KEP_REPORT_CAPTURE capture;
  std::vector<std::string> calls;
  HANDLER handler([&](const KEP_REPORT_ASSERTION& assertion) {
    EXPECT_EQ(capture.text(STREAM::ERR), assertion.get_text() + "\n");
    calls.push_back(assertion.get_expression() + "|" + assertion.get_file() + "|" +
                    std::to_string(assertion.get_line()));
  });
  catch_failure([] { assert_at_line("x", "f", 12, "why"); });
  EXPECT_EQ(calls, std::vector<std::string>{"x|f|12"});
}

TEST(AssertionHandler, MayLeaveByAnExceptionOfItsOwn) {
  KEP_REPORT_CAPTURE capture;
  HANDLER handler([](const KEP_REPORT_ASSERTION&) { throw std::domain_error("of the tool"); });
  EXPECT_THROW(assert_at_line("x", "f", 1), std::domain_error);
  EXPECT_THROW(assert_at_line("x", "f", 1), std::domain_error); // and is called the next time too
}

TEST(AssertionHandler, MayEndTheProcess) {
  CHILD_RESULT child = run_in_child([] {
    set_assertion_handler([](const KEP_REPORT_ASSERTION&) { std::_Exit(17); });
    assert_at_line("x", "f", 1);
  });
  EXPECT_EQ(child.m_exit_status, 17);
  EXPECT_EQ(child.m_standard_error, "Assertion failed: x in f@1\n");
}

TEST(AssertionHandler, SettingOneGivesBackThePreviousOne) {
  KEP_REPORT_CAPTURE capture;
  int first = 0;
  int second = 0;
  ASSERTION_HANDLER none = set_assertion_handler([&](const KEP_REPORT_ASSERTION&) { ++first; });
  EXPECT_FALSE(none);
  ASSERTION_HANDLER previous = set_assertion_handler([&](const KEP_REPORT_ASSERTION&) { ++second; });
  catch_failure([] { assert_at_line("x", "f", 1); });
  EXPECT_EQ(first, 0);
  EXPECT_EQ(second, 1);
  set_assertion_handler(previous);
  catch_failure([] { assert_at_line("x", "f", 1); });
  EXPECT_EQ(first, 1);
  set_assertion_handler(none);
  catch_failure([] { assert_at_line("x", "f", 1); });
  EXPECT_EQ(first, 1);
  EXPECT_EQ(second, 1);
}

TEST(AssertionHandler, IsNotCalledForAnAssertionThatFailsInsideIt) {
  KEP_REPORT_CAPTURE capture;
  int calls = 0;
  HANDLER handler([&](const KEP_REPORT_ASSERTION&) {
    ++calls;
    assert_at_line("inner", "f", 2);
  });
  EXPECT_EQ(catch_failure([] { assert_at_line("outer", "f", 1); }).get_expression(), "inner");
  EXPECT_EQ(calls, 1);
}

TEST(AssertionHandler, IsCalledForEachThreadThatFails) {
  KEP_REPORT_CAPTURE capture;
  std::atomic<int> calls = 0;
  std::atomic<int> failures = 0;
  HANDLER handler([&](const KEP_REPORT_ASSERTION&) { ++calls; });
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i)
    threads.emplace_back([&] {
      for (int j = 0; j < 50; ++j) {
        catch_failure([] { assert_at_line("x", "f", 1); });
        ++failures;
      }
    });
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(calls, 400);
  EXPECT_EQ(failures, 400);
}

TEST(AssertMacros, DoNothingWhenTheConditionHolds) {
  KEP_REPORT_CAPTURE capture;
  int evaluated = 0;
  int explained = 0;
  KEP_ASSERT(++evaluated);
  KEP_ASSERT_EXPLAIN(++evaluated == 2, "%d", ++explained);
  EXPECT_EQ(evaluated, 2);
  EXPECT_EQ(explained, 0);
  EXPECT_EQ(capture.text(STREAM::ERR), "");
}

#define ZERO 0

TEST(AssertMacros, TellTheExpressionAsItIsSpelled) {
  KEP_REPORT_CAPTURE capture;
  int one = 1;
  int line = __LINE__ + 1;
  KEP_REPORT_ASSERTION told = catch_failure([&] { KEP_ASSERT(one == ZERO && "a \"text\""); });
  EXPECT_EQ(told.get_expression(), "one == ZERO && \"a \\\"text\\\"\"");
  EXPECT_EQ(told.get_file(), __FILE__);
  EXPECT_EQ(told.get_line(), line);
}

TEST(AssertMacros, TellTheExplanation) {
  KEP_REPORT_CAPTURE capture;
  const char* name = "a/b:c";
  KEP_REPORT_ASSERTION told = catch_failure([&] { KEP_ASSERT_EXPLAIN(!name, "%s has index %d", name, 5); });
  EXPECT_EQ(told.get_text(), "Assertion failed: !name in " + told.get_file() + "@" +
                                 std::to_string(told.get_line()) + ": a/b:c has index 5");
  told = catch_failure([&] { KEP_ASSERT_EXPLAIN(!name, "no arguments"); });
  EXPECT_EQ(told.get_text().substr(told.get_text().rfind(": ")), ": no arguments");
}

TEST(AssertMacros, EvaluateTheExpressionOnceWhenItFails) {
  KEP_REPORT_CAPTURE capture;
  int evaluated = 0;
  catch_failure([&] { KEP_ASSERT(++evaluated == 0); });
  EXPECT_EQ(evaluated, 1);
  catch_failure([&] { KEP_ASSERT_EXPLAIN(++evaluated == 0, "why"); });
  EXPECT_EQ(evaluated, 2);
}

TEST(AssertMacros, AreOneStatementEach) {
  KEP_REPORT_CAPTURE capture;
  bool in_else = false;
  if (in_else)
    KEP_ASSERT(in_else);
  else
    in_else = true;
  EXPECT_TRUE(in_else);
}

} // namespace assert_test
