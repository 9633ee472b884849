#include "kep_io/text/kep_json_fault.h"
#include "tests/support/io_test_support.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace json_fault_test {

/// The reader gets past the parser, to find that the text is no model.
bool parses(const std::string& text) {
  const std::string message = model_refusal(text);
  return message == "m.json: not a JSON object" || message == "m.json: modules: it is missing";
}

std::string nested(std::size_t depth) {
  return std::string(depth, '[') + std::string(depth, ']');
}

TEST(JsonFault, ThereIsNoneInWhatTheParserTakes) {
  for (const std::string text :
       {"1", " -0.5e+7 ", "[]", "{}", R"({"a": [true, false, null, "\"\\\/\b\f\n\r\t"]})",
        R"("\ud83d\ude00")", "18446744073709551615", "-9223372036854775808"}) {
    EXPECT_TRUE(parses(text)) << text;
    EXPECT_FALSE(kep_find_json_fault(text)) << text << ": " << kep_find_json_fault(text)->m_reason;
  }
}

TEST(JsonFault, TheDeepestNestingIsThatOfTheParser) {
  std::size_t depth = 1000;
  while (parses(nested(depth + 1)))
    ++depth;
  EXPECT_FALSE(kep_find_json_fault(nested(depth)));
  ASSERT_TRUE(kep_find_json_fault(nested(depth + 1)));
  EXPECT_EQ(kep_find_json_fault(nested(depth + 1))->m_reason, "nested deeper than 1024");
}

TEST(JsonFault, ItStandsWhereTheTextStopsBeingJson) {
  const auto fault_of = [](const std::string& text) {
    const auto fault = kep_find_json_fault(text);
    return fault ? std::to_string(fault->m_offset) + " " + fault->m_reason : std::string();
  };
  EXPECT_EQ(fault_of("[1,]"), "3 no JSON: a value is expected");
  EXPECT_EQ(fault_of("[1 2]"), "3 no JSON: \",\" or \"]\" is expected");
  EXPECT_EQ(fault_of("{1:2}"), "1 no JSON: a key is expected");
  EXPECT_EQ(fault_of("{\"a\" 2}"), "5 no JSON: \":\" is expected");
  EXPECT_EQ(fault_of("[01]"), "2 no JSON: a number with a leading zero");
  EXPECT_EQ(fault_of("[1.]"), "3 no JSON: a digit is expected");
  EXPECT_EQ(fault_of("-"), "1 no JSON: the text ends where a digit is expected");
  EXPECT_EQ(fault_of("\"\\x\""), "2 no JSON: an escape that does not exist");
  EXPECT_EQ(fault_of("\"\\u12g4\""), "3 no JSON: \\u without four hexadecimal digits");
  EXPECT_EQ(fault_of("\"\\ud800x\""), "7 no JSON: half of a surrogate pair");
  EXPECT_EQ(fault_of("\"\t\""), "1 no JSON: a control character stands in a string");
  EXPECT_EQ(fault_of("\"\xc3\""), "1 no JSON: the text is no UTF-8");
  EXPECT_EQ(fault_of("{} {}"), "3 no JSON: there is text behind the end");
  EXPECT_EQ(fault_of("[-9223372036854775809]"), "1 a number that does not fit in 64 bits");
  EXPECT_EQ(fault_of("[1e999]"), "1 a number that does not fit in 64 bits");
}

TEST(JsonFault, ThereIsOneExactlyInWhatTheParserRefuses) {
  const std::string good =
      R"( {"a": [1, -2.5e3, true, false, null, {}, []], "b\u00e9\ud83d\ude00\n": {"c": "0123 äö", "d": 12345678901234567890}} )";
  ASSERT_TRUE(parses(good));
  std::mt19937 random(1);
  const std::string bytes = "{}[],:\"\\0123456789abcdefu-+.eE \n\t\x01\xff\xc3\xa4tfn";
  unsigned num_refused = 0;
  for (int round = 0; round != 20000; ++round) {
    std::string text = good;
    for (auto changes = 1 + random() % 3; changes != 0; --changes) {
      const std::size_t at = random() % text.size();
      switch (random() % 3) {
      case 0:
        text[at] = bytes[random() % bytes.size()];
        break;
      case 1:
        text.erase(at, 1);
        break;
      default:
        text.insert(at, 1, bytes[random() % bytes.size()]);
      }
    }
    num_refused += parses(text) ? 0 : 1;
    const auto fault = kep_find_json_fault(text);
    ASSERT_EQ(fault.has_value(), !parses(text)) << text << "\n" << (fault ? fault->m_reason : "no fault");
  }
  EXPECT_GT(num_refused, 5000U);
  EXPECT_LT(num_refused, 19900U);
}

} // namespace json_fault_test
