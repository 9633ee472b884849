#include "kep_report/kep_report.h"
#include "kep_report/kep_report_assert.h"
#include "kep_report/kep_report_capture.h"
#include "tests/support/odd_locale.h"

#include <gtest/gtest.h>

#include <ostream>
#include <sstream>
#include <string>
#include <thread>

namespace locale_test {

using KEP_REPORT::STREAM;

std::string write_numbers() {
  std::ostringstream text;
  text << 4711 << " " << 0.5;
  return text.str();
}

TEST(OddLocale, ChangesNumbersWhileItLives) {
  {
    const ODD_LOCALE locale;
    EXPECT_EQ(write_numbers(), "4,7,1,1 0;5");
  }
  EXPECT_EQ(write_numbers(), "4711 0.5");
}

TEST(ReportLocale, ChangesNoStreamOfAThreadOldOrNew) {
  const auto write = [] {
    KEP_REPORT::err(KEP_REPORT::PREFIX_VIEW::STANDARD) << 4711 << " " << 0.5 << std::endl;
    KEP_REPORT::warn(KEP_REPORT::PREFIX_VIEW::STANDARD) << 4711 << " " << 0.5 << std::endl;
    KEP_REPORT::info(KEP_REPORT::PREFIX_VIEW::STANDARD) << 4711 << " " << 0.5 << std::endl;
    KEP_REPORT::debug(KEP_REPORT::PREFIX_VIEW::STANDARD) << 4711 << " " << 0.5 << std::endl;
  };
  KEP_REPORT_CAPTURE capture;
  write();
  const ODD_LOCALE locale;
  write();
  std::thread(write).join();
  for (const STREAM stream : {STREAM::ERR, STREAM::WARN, STREAM::INFO, STREAM::DEBUG})
    EXPECT_EQ(capture.text(stream), "4711 0.5\n4711 0.5\n4711 0.5\n");
}

TEST(ReportLocale, ChangesNothingForGoodWhereAStreamTookIt) {
  KEP_REPORT_CAPTURE capture;
  const ODD_LOCALE locale;
  KEP_REPORT::info(KEP_REPORT::PREFIX_VIEW::STANDARD).imbue(std::locale());
  KEP_REPORT::info(KEP_REPORT::PREFIX_VIEW::STANDARD) << 4711 << std::endl;
  EXPECT_EQ(capture.text(STREAM::INFO), "4711\n");
}

TEST(ReportLocale, ChangesNoLineInPrintfStyleAndNoAssertion) {
  KEP_REPORT_CAPTURE capture;
  const ODD_LOCALE locale;
  KEP_REPORT::info("%i %.1f\n", 4711, 0.5);
  EXPECT_EQ(capture.text(STREAM::INFO), "4711 0.5\n");
  try {
    KEP_REPORT::detail::assert_at_line("false", "file", 4711, "%i of %.1f", 4711, 0.5);
    FAIL();
  } catch (const KEP_REPORT_ASSERTION_FAILURE& failure) {
    EXPECT_STREQ(failure.what(), "Assertion failed: false in file@4711: 4711 of 0.5");
  }
}

} // namespace locale_test
