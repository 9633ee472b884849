#include "kep_report/kep_report.h"
#include "kep_report/kep_report_assert.h"
#include "kep_report/kep_report_capture.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <locale>
#include <sstream>
#include <string>
#include <thread>
#include <type_traits>

namespace stream_test {

using KEP_REPORT::PREFIX_VIEW;
using KEP_REPORT::STREAM;

constexpr PREFIX_VIEW NO_PREFIX = PREFIX_VIEW::STANDARD;

static_assert(static_cast<int>(PREFIX_VIEW::STANDARD) == 0);
static_assert(std::is_same_v<std::underlying_type_t<PREFIX_VIEW>, int>);

TEST(Streams, EachOfTheFourTakesALineWithoutAnyPrefix) {
  KEP_REPORT_CAPTURE capture;
  KEP_REPORT::err(NO_PREFIX) << "an error " << 1 << std::endl;
  KEP_REPORT::warn(NO_PREFIX) << "a warning " << 2 << std::endl;
  KEP_REPORT::info(NO_PREFIX) << "a note " << 3 << std::endl;
  KEP_REPORT::debug(NO_PREFIX) << "a detail " << 4 << std::endl;
  EXPECT_EQ(capture.text(STREAM::ERR), "an error 1\n");
  EXPECT_EQ(capture.text(STREAM::WARN), "a warning 2\n");
  EXPECT_EQ(capture.text(STREAM::INFO), "a note 3\n");
  EXPECT_EQ(capture.text(STREAM::DEBUG), "a detail 4\n");
}

TEST(Streams, APrefixViewOfValueZeroIsTheStandardOne) {
  KEP_REPORT_CAPTURE capture;
  KEP_REPORT::info(static_cast<PREFIX_VIEW>(0)) << "bare" << std::endl;
  EXPECT_EQ(capture.text(STREAM::INFO), "bare\n");
}

TEST(Streams, AThreadAlwaysGetsTheSameStreamAndAnotherThreadItsOwn) {
  std::ostream* mine = &KEP_REPORT::info(NO_PREFIX);
  EXPECT_EQ(mine, &KEP_REPORT::info(NO_PREFIX));
  EXPECT_NE(mine, &KEP_REPORT::debug(NO_PREFIX));
  std::ostream* theirs = nullptr;
  std::thread([&] { theirs = &KEP_REPORT::info(NO_PREFIX); }).join();
  EXPECT_NE(mine, theirs);
}

TEST(Streams, ALineIsHeldUntilItIsEnded) {
  KEP_REPORT_CAPTURE capture;
  KEP_REPORT::info(NO_PREFIX) << "first half, ";
  EXPECT_EQ(capture.text(STREAM::INFO), "");
  KEP_REPORT::info(NO_PREFIX) << "second half";
  EXPECT_EQ(capture.text(STREAM::INFO), "");
  KEP_REPORT::info(NO_PREFIX) << '\n';
  EXPECT_EQ(capture.text(STREAM::INFO), "first half, second half\n");
}

TEST(Streams, TextBehindALineEndBeginsTheNextLine) {
  KEP_REPORT_CAPTURE capture;
  KEP_REPORT::info(NO_PREFIX) << "one\ntwo\nthr";
  EXPECT_EQ(capture.text(STREAM::INFO), "one\ntwo\n");
  KEP_REPORT::info(NO_PREFIX) << "ee" << std::endl;
  EXPECT_EQ(capture.text(STREAM::INFO), "one\ntwo\nthree\n");
}

TEST(Streams, UnendedTextLeavesWhenItIsFlushed) {
  KEP_REPORT_CAPTURE capture;
  KEP_REPORT::warn(NO_PREFIX) << "no end" << std::flush;
  EXPECT_EQ(capture.text(STREAM::WARN), "no end");
}

TEST(Streams, UnendedTextOfAThreadLeavesWhenTheThreadEnds) {
  KEP_REPORT_CAPTURE capture;
  std::thread([&] {
    KEP_REPORT::debug(NO_PREFIX) << "left behind";
    EXPECT_EQ(capture.text(STREAM::DEBUG), "");
  }).join();
  EXPECT_EQ(capture.text(STREAM::DEBUG), "left behind");
}

TEST(Streams, UnendedTextOfOneStreamDoesNotMixWithAnother) {
  KEP_REPORT_CAPTURE capture;
  KEP_REPORT::info(NO_PREFIX) << "information";
  KEP_REPORT::err(NO_PREFIX) << "error" << std::endl;
  KEP_REPORT::info(NO_PREFIX) << std::endl;
  EXPECT_EQ(capture.text(STREAM::ERR), "error\n");
  EXPECT_EQ(capture.text(STREAM::INFO), "information\n");
}

TEST(Streams, FormatFlagsOfOneThreadDoNotReachAnother) {
  KEP_REPORT_CAPTURE capture;
  std::ostream& mine = KEP_REPORT::info(NO_PREFIX);
  mine << std::hex << std::showbase << std::setfill('*') << std::setw(6) << 255;
  std::thread([] { KEP_REPORT::info(NO_PREFIX) << std::setw(6) << 255 << std::endl; }).join();
  EXPECT_EQ(capture.text(STREAM::INFO), "   255\n");
  mine << ' ' << 16 << std::endl;
  EXPECT_EQ(capture.text(STREAM::INFO), "   255\n**0xff 0x10\n");
}

TEST(Streams, TheFormatDoesNotOutliveTheStatementThatSetIt) {
  KEP_REPORT_CAPTURE capture;
  std::ostream& stream = KEP_REPORT::info(NO_PREFIX);
  stream << std::hex << std::fixed << std::setprecision(2) << std::setfill('*') << 255 << ' ' << 0.5
         << std::endl;
  stream << std::setw(9);
  KEP_REPORT::info(NO_PREFIX) << 255 << ' ' << 0.0625 << std::setw(3) << 1 << std::endl;
  stream << std::setprecision(2);
  KEP_REPORT::info(NO_PREFIX) << 0.0625 << std::endl;
  EXPECT_EQ(capture.text(STREAM::INFO), "ff 0.50\n255 0.0625  1\n0.0625\n");
}

struct GROUPS_OF_THREE : std::numpunct<char> {
  std::string do_grouping() const override { return "\3"; }
  char do_thousands_sep() const override { return '.'; }
};

TEST(Streams, NumbersReadTheSameWhateverTheLocaleOfTheProcess) {
  KEP_REPORT_CAPTURE capture;
  std::locale previous = std::locale::global(std::locale(std::locale::classic(), new GROUPS_OF_THREE));
  std::ostringstream grouped;
  grouped << 1234567;
  std::thread([] { KEP_REPORT::info(NO_PREFIX) << 1234567 << std::endl; }).join();
  std::locale::global(previous);
  EXPECT_EQ(grouped.str(), "1.234.567"); // the locale was in force
  EXPECT_EQ(capture.text(STREAM::INFO), "1234567\n");
}

TEST(Streams, AStreamThatWentBadIsGoodAgainAtTheNextCall) {
  KEP_REPORT_CAPTURE capture;
  KEP_REPORT::info(NO_PREFIX).setstate(std::ios_base::badbit);
  KEP_REPORT::info(NO_PREFIX) << "still here" << std::endl;
  EXPECT_EQ(capture.text(STREAM::INFO), "still here\n");
}

TEST(PrintfForms, FormatTheirArgumentsOntoErrAndInfo) {
  KEP_REPORT_CAPTURE capture;
  KEP_REPORT::err("Node %s is not in the fanout of node %s\n", "a/b:c", "d/e:f");
  KEP_REPORT::info("Starting to add edges to the routing graph with %i threads\n", -3);
  KEP_REPORT::info("(%.0f%s done) %u\n", 12.4, "%", 4000000000U);
  EXPECT_EQ(capture.text(STREAM::ERR), "Node a/b:c is not in the fanout of node d/e:f\n");
  EXPECT_EQ(capture.text(STREAM::INFO), "Starting to add edges to the routing graph with -3 threads\n"
                                        "(12% done) 4000000000\n");
}

TEST(PrintfForms, TakeATextOfAnyLength) {
  for (std::size_t size : {510U, 511U, 512U, 513U, 100000U}) {
    KEP_REPORT_CAPTURE capture;
    std::string name(size, 'x');
    KEP_REPORT::err("%s%c", name.c_str(), '\n');
    KEP_REPORT::info("%s|%zu\n", name.c_str(), size);
    EXPECT_EQ(capture.text(STREAM::ERR), name + "\n");
    EXPECT_EQ(capture.text(STREAM::INFO), name + "|" + std::to_string(size) + "\n");
  }
}

TEST(PrintfForms, AddNoLineEndOfTheirOwn) {
  KEP_REPORT_CAPTURE capture;
  KEP_REPORT::info("%d, ", 1);
  KEP_REPORT::info("%d\n", 2);
  EXPECT_EQ(capture.text(STREAM::INFO), "1, 2\n");
}

TEST(PrintfForms, FollowWhatTheThreadWroteToTheStreamBefore) {
  KEP_REPORT_CAPTURE capture;
  KEP_REPORT::err(NO_PREFIX) << "begun, ";
  KEP_REPORT::err("%s, ", "gone on");
  KEP_REPORT::print_error("ended");
  EXPECT_EQ(capture.text(STREAM::ERR), "begun, gone on, ended\n");
}

TEST(PrintfForms, TextThatCannotBePrintedIsToldByItsFormat) {
  KEP_REPORT_CAPTURE capture;
  const wchar_t not_a_character[] = {static_cast<wchar_t>(0x7fffffff), 0};
  KEP_REPORT::err("name %ls\n", not_a_character);
  EXPECT_EQ(capture.text(STREAM::ERR), "name %ls\n");
}

TEST(FinishedTexts, EndTheLineThemselves) {
  KEP_REPORT_CAPTURE capture;
  KEP_REPORT::print_error("a finding");
  KEP_REPORT::print_info("");
  KEP_REPORT::print_info("progress");
  EXPECT_EQ(capture.text(STREAM::ERR), "a finding\n");
  EXPECT_EQ(capture.text(STREAM::INFO), "\nprogress\n");
}

TEST(FinishedTexts, APercentSignIsNoPlaceholder) {
  KEP_REPORT_CAPTURE capture;
  KEP_REPORT::print_error("100%s %n %1% %%");
  KEP_REPORT::print_info("%d");
  EXPECT_EQ(capture.text(STREAM::ERR), "100%s %n %1% %%\n");
  EXPECT_EQ(capture.text(STREAM::INFO), "%d\n");
}

TEST(FinishedTexts, ANullTextIsAnAssertion) {
  KEP_REPORT_CAPTURE capture;
  EXPECT_THROW(KEP_REPORT::print_error(nullptr), KEP_REPORT_ASSERTION_FAILURE);
  EXPECT_THROW(KEP_REPORT::print_info(nullptr), KEP_REPORT_ASSERTION_FAILURE);
  EXPECT_EQ(capture.text(STREAM::INFO), "");
}

} // namespace stream_test
