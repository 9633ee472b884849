#include "kep_rg/kep_rg_exception.h"
#include "tests/support/failure_text.h"
#include "tests/support/odd_locale.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>

namespace exception_test {

static_assert(std::is_base_of_v<std::exception, KEP_EXCEPTION>);
static_assert(std::is_base_of_v<KEP_EXCEPTION, KEP_RUNTIME_ERROR>);
static_assert(std::is_copy_constructible_v<KEP_RUNTIME_ERROR>);
static_assert(sizeof(KEP_RUNTIME_ERROR) == sizeof(KEP_EXCEPTION));

TEST(ThrowAtLine, TellsMessageFunctionFileAndLineWithNoBlankAroundTheAtSign) {
  try {
    KEP_RG::throw_at_line("No such thing", "KEP_RG_BUILD::create_node_hipi", "kep_rg/kep_rg_build", 4711);
    FAIL();
  } catch (const KEP_RUNTIME_ERROR& error) {
    EXPECT_STREQ(error.what(),
                 "No such thing from function KEP_RG_BUILD::create_node_hipi in kep_rg/kep_rg_build@4711");
  }
}

TEST(ThrowAtLine, LetsAMessageThatEndsInANameReadStraightOnIntoTheFunction) {
  EXPECT_EQ(failure_text([] {
              KEP_RG::throw_at_line("Must have existing routing node for uip = a/b:c", "f", "file", 1);
            }),
            "Must have existing routing node for uip = a/b:c from function f in file@LINE");
}

TEST(ThrowAtLine, TellsTheSameLineWhateverTheLocale) {
  const ODD_LOCALE locale;
  try {
    KEP_RG::throw_at_line("Refused", "f", "file", 4711);
    FAIL();
  } catch (const KEP_RUNTIME_ERROR& error) {
    EXPECT_STREQ(error.what(), "Refused from function f in file@4711");
  }
}

TEST(ThrowAtLine, EndsTheTextAtItsFirstNul) {
  try {
    KEP_RG::throw_at_line(std::string("cut\0off", 7), "f", "file", 1);
    FAIL();
  } catch (const KEP_RUNTIME_ERROR& error) {
    EXPECT_STREQ(error.what(), "cut");
  }
}

TEST(ThrowAtLine, DoesNotReadAPercentSignAsAPlaceholder) {
  EXPECT_EQ(failure_text([] { KEP_RG::throw_at_line("100%s %1%", "f", "file", 1); }),
            "100%s %1% from function f in file@LINE");
}

TEST(RuntimeError, CanBeCaughtAsEachOfItsBases) {
  EXPECT_THROW(KEP_RG::throw_at_line("m", "f", "file", 1), KEP_RUNTIME_ERROR);
  EXPECT_THROW(KEP_RG::throw_at_line("m", "f", "file", 1), KEP_EXCEPTION);
  try {
    KEP_RG::throw_at_line("m", "f", "file", 1);
    FAIL();
  } catch (const std::exception& error) {
    EXPECT_STREQ(error.what(), "m from function f in file@1");
  }
}

TEST(RuntimeError, KeepsTheTextInACopyThatOutlivesTheOriginal) {
  auto* original = new KEP_RUNTIME_ERROR("a text that is too long to be kept inside of a string object");
  const KEP_RUNTIME_ERROR copy(*original);
  delete original;
  EXPECT_STREQ(copy.what(), "a text that is too long to be kept inside of a string object");
}

TEST(ThrowMacro, NamesTheFileRelativeToTheRepositoryAndItsOwnLine) {
  const int line = __LINE__ + 2;
  try {
    KEP_RG_THROW("KEP_RG_X::y", std::string("Refused"));
    FAIL();
  } catch (const KEP_RUNTIME_ERROR& error) {
    EXPECT_EQ(error.what(), "Refused from function KEP_RG_X::y in tests/kep_rg/common/exception_test.cpp@" +
                                std::to_string(line));
  }
}

} // namespace exception_test
