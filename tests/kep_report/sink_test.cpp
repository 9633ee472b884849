#include "kep_report/kep_report.h"
#include "kep_report/kep_report_capture.h"
#include "kep_report/kep_report_sink.h"
#include "tests/kep_report/child_process.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

namespace sink_test {

using KEP_REPORT::PREFIX_VIEW;
using KEP_REPORT::SINK;
using KEP_REPORT::STREAM;

constexpr PREFIX_VIEW NO_PREFIX = PREFIX_VIEW::STANDARD;

// Keeps the pieces that reach a stream apart, and puts the previous sink back.
class PIECES {
public:
  explicit PIECES(STREAM stream) : m_stream(stream) {
    m_previous = KEP_REPORT::set_sink(stream, [this](std::string_view line) { m_pieces.emplace_back(line); });
  }
  ~PIECES() { KEP_REPORT::set_sink(m_stream, m_previous); }
  std::vector<std::string> m_pieces;

private:
  STREAM m_stream;
  SINK m_previous;
};

TEST(Sinks, ErrAndWarnGoToStandardErrorInfoAndDebugToStandardOutput) {
  CHILD_RESULT child = run_in_child([] {
    KEP_REPORT::err(NO_PREFIX) << "err" << std::endl;
    KEP_REPORT::info(NO_PREFIX) << "info" << std::endl;
    KEP_REPORT::warn(NO_PREFIX) << "warn" << std::endl;
    KEP_REPORT::debug(NO_PREFIX) << "debug" << std::endl;
    KEP_REPORT::err("%s\n", "err form");
    KEP_REPORT::info("%s\n", "info form");
    KEP_REPORT::print_error("error text");
    KEP_REPORT::print_info("info text");
  });
  EXPECT_EQ(child.m_exit_status, 0);
  EXPECT_EQ(child.m_standard_error, "err\nwarn\nerr form\nerror text\n");
  EXPECT_EQ(child.m_standard_output, "info\ndebug\ninfo form\ninfo text\n");
}

TEST(Sinks, AnEndedLineIsOutWhateverBecomesOfTheProcess) {
  CHILD_RESULT child = run_in_child([] {
    KEP_REPORT::info(NO_PREFIX) << "last words" << std::endl;
    std::_Exit(3);
  });
  EXPECT_EQ(child.m_exit_status, 3);
  EXPECT_EQ(child.m_standard_output, "last words\n");
}

TEST(Sinks, ALineReachesTheSinkInOnePieceWhenItIsEnded) {
  PIECES info(STREAM::INFO);
  KEP_REPORT::info(NO_PREFIX) << "a " << 1 << ' ' << 2.5 << " b" << std::endl;
  KEP_REPORT::info(NO_PREFIX) << "c" << '\n' << std::flush;
  KEP_REPORT::info("%s %d\n", "form", 7);
  KEP_REPORT::print_info("text");
  std::vector<std::string> expected = {"a 1 2.5 b\n", "c\n", "form 7\n", "text\n"};
  EXPECT_EQ(info.m_pieces, expected);
}

TEST(Sinks, FormsAndFinishedTextsOfAnyLengthLeaveInOnePiece) {
  PIECES err(STREAM::ERR);
  std::string name(1 << 20, 'n');
  std::string lines = "one\ntwo\n" + name + "\n";
  KEP_REPORT::err("%s", lines.c_str());
  KEP_REPORT::print_error(name.c_str());
  std::vector<std::string> expected = {lines, name + "\n"};
  EXPECT_TRUE(err.m_pieces == expected); // not EXPECT_EQ, which would print megabytes
}

TEST(Sinks, AFlushWithNothingHeldReachesNoSink) {
  PIECES warn(STREAM::WARN);
  KEP_REPORT::warn(NO_PREFIX) << std::flush;
  EXPECT_TRUE(warn.m_pieces.empty());
}

TEST(Sinks, EachStreamHasItsOwn) {
  PIECES err(STREAM::ERR);
  PIECES debug(STREAM::DEBUG);
  KEP_REPORT::debug(NO_PREFIX) << "detail" << std::endl;
  EXPECT_TRUE(err.m_pieces.empty());
  EXPECT_EQ(debug.m_pieces.size(), 1U);
}

TEST(Sinks, SettingOneGivesBackThePreviousOne) {
  KEP_REPORT_CAPTURE capture;
  std::string first_text;
  std::string second_text;
  KEP_REPORT::set_sink(STREAM::WARN, [&](std::string_view line) { first_text += line; });
  SINK first = KEP_REPORT::set_sink(STREAM::WARN, [&](std::string_view line) { second_text += line; });
  KEP_REPORT::warn(NO_PREFIX) << "to the second" << std::endl;
  EXPECT_EQ(first_text, "");
  first("called by hand");
  EXPECT_EQ(first_text, "called by hand");
  EXPECT_EQ(second_text, "to the second\n");
  EXPECT_EQ(capture.text(STREAM::WARN), "");
}

TEST(Sinks, AnEmptySinkStandsForTheStandardOneWhichIsGivenBackCallable) {
  CHILD_RESULT child = run_in_child([] {
    SINK standard = KEP_REPORT::set_sink(STREAM::ERR, [](std::string_view) {});
    KEP_REPORT::print_error("dropped");
    standard("called by hand\n");
    KEP_REPORT::set_sink(STREAM::ERR, {});
    KEP_REPORT::print_error("standard again");
  });
  EXPECT_EQ(child.m_standard_error, "called by hand\nstandard again\n");
}

TEST(Sinks, ASinkMayWriteToAnotherStream) {
  KEP_REPORT_CAPTURE capture;
  KEP_REPORT::set_sink(STREAM::ERR, [](std::string_view line) {
    KEP_REPORT::info(NO_PREFIX) << "seen: " << line << std::flush;
  });
  KEP_REPORT::print_error("a finding");
  EXPECT_EQ(capture.text(STREAM::INFO), "seen: a finding\n");
}

TEST(Sinks, WhatASinkWritesToItsOwnStreamGoesToTheStandardPlace) {
  CHILD_RESULT child = run_in_child([] {
    std::string seen;
    KEP_REPORT::set_sink(STREAM::ERR, [&](std::string_view line) {
      seen += line;
      KEP_REPORT::print_error("from the sink");
    });
    KEP_REPORT::print_error("a finding");
    KEP_REPORT::set_sink(STREAM::ERR, {});
    KEP_REPORT::info(NO_PREFIX) << seen << std::flush;
  });
  EXPECT_EQ(child.m_standard_error, "from the sink\n");
  EXPECT_EQ(child.m_standard_output, "a finding\n");
}

TEST(Sinks, ASinkMayReplaceItselfWhileItRuns) {
  KEP_REPORT_CAPTURE capture;
  std::string early;
  std::string late;
  KEP_REPORT::set_sink(STREAM::ERR, [&early, &late, marker = std::string(100, 'm')](std::string_view line) {
    KEP_REPORT::set_sink(STREAM::ERR, [&late](std::string_view next) { late += next; });
    early += std::string(line) + marker; // what the sink captured is still there
  });
  KEP_REPORT::print_error("one");
  KEP_REPORT::print_error("two");
  EXPECT_EQ(early, "one\n" + std::string(100, 'm'));
  EXPECT_EQ(late, "two\n");
}

TEST(Sinks, TheTextOfASinkThatThrowsGoesToTheStandardPlace) {
  CHILD_RESULT child = run_in_child([] {
    KEP_REPORT::set_sink(STREAM::ERR, [](std::string_view) { throw std::runtime_error("disk full"); });
    KEP_REPORT::print_error("a text");
    KEP_REPORT::err(NO_PREFIX) << "a line" << std::endl;
    KEP_REPORT::err(NO_PREFIX) << "another line" << std::endl;
  });
  EXPECT_EQ(child.m_exit_status, 0);
  EXPECT_EQ(child.m_standard_error, "a text\na line\nanother line\n");
}

TEST(Capture, RestoresThePreviousSinksAtItsEnd) {
  PIECES info(STREAM::INFO);
  {
    KEP_REPORT_CAPTURE capture;
    KEP_REPORT::print_info("inside");
    EXPECT_EQ(capture.text(STREAM::INFO), "inside\n");
  }
  KEP_REPORT::print_info("outside");
  EXPECT_EQ(info.m_pieces, std::vector<std::string>{"outside\n"});
}

TEST(Capture, AnInnerOneTakesTheTextFromTheOuterOne) {
  KEP_REPORT_CAPTURE outer;
  KEP_REPORT::print_error("one");
  {
    KEP_REPORT_CAPTURE inner;
    KEP_REPORT::print_error("two");
    EXPECT_EQ(inner.text(STREAM::ERR), "two\n");
  }
  KEP_REPORT::print_error("three");
  EXPECT_EQ(outer.text(STREAM::ERR), "one\nthree\n");
}

TEST(Capture, UnendedTextStaysOnTheSideWhereItWasWritten) {
  PIECES info(STREAM::INFO);
  KEP_REPORT::info(NO_PREFIX) << "before";
  {
    KEP_REPORT_CAPTURE capture;
    EXPECT_EQ(info.m_pieces, std::vector<std::string>{"before"});
    KEP_REPORT::info(NO_PREFIX) << "inside";
  }
  KEP_REPORT::info(NO_PREFIX) << "behind" << std::endl;
  std::vector<std::string> expected = {"before", "behind\n"};
  EXPECT_EQ(info.m_pieces, expected);
}

} // namespace sink_test
