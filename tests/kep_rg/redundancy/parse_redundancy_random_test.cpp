#include "kep_report/kep_report_assert.h"
#include "kep_rg/kep_rg_exception.h"
#include "tests/kep_rg/redundancy/parse_redundancy_fixture.h"
#include "tests/support/random_source.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <malloc.h>
#include <string>
#include <string_view>
#include <vector>

namespace parse_redundancy_random_test {

/// Redundancy data that ends anywhere or holds anything.

using namespace parse_redundancy;
using test_model::RANDOM_SOURCE;

class ParseRedundancyText : public testing::Test {
protected:
  const NAMED_MODEL m_model{DEVICE};
  KEP_RG_PARSE_REDUNDANCY m_parser = quiet_parser(m_model.db());
};

/// Exactly one of the four ends that a parse can have: "valid_", "keyword", "true", "false".
std::string end_of(KEP_RG_PARSE_REDUNDANCY& parser, KEP_RG_MODULE_RELATIVE_PORTS& out,
                   std::string_view text) {
  KEP_REPORT_CAPTURE capture;
  try {
    return parser.parse(&out, text) ? "true" : "false";
  } catch (const KEP_REPORT_ASSERTION_FAILURE& failure) {
    return failure.get_assertion().get_expression();
  } catch (const KEP_RUNTIME_ERROR&) {
    return "keyword";
  }
}

/// The end that the tokens of a text must have, counted one by one.
std::string naive_end(const std::string& text, const std::vector<std::string>& known_modules) {
  const std::vector<std::string> tokens = naive_tokens(text);
  if (tokens.empty()) return "valid_";
  if (tokens[0] != "module_name:") return "keyword";
  if (tokens.size() == 1) return "valid_";
  if (std::find(known_modules.begin(), known_modules.end(), tokens[1]) == known_modules.end()) return "false";
  return tokens.size() % 2 == 0 ? "" : "valid_"; // "": by the lines
}

void expect_right_end(KEP_RG_PARSE_REDUNDANCY& parser, const std::string& text) {
  KEP_RG_MODULE_RELATIVE_PORTS out;
  const std::string found = end_of(parser, out, text);
  const std::string wanted = naive_end(text, {"TILE", "C", "SAME", "IP", "TOP"});
  const std::string shown = testing::PrintToString(text);
  if (wanted.empty()) {
    ASSERT_TRUE(found == "true" || found == "false") << shown << found;
    ASSERT_EQ(found == "true", out.size() != 0 && parser.get_failed_lines().empty()) << shown;
  } else {
    ASSERT_EQ(found, wanted) << shown;
    ASSERT_EQ(out.size(), 0U) << shown;
  }
  if (found == "valid_") {
    ASSERT_STRNE(KEP_RG_PARSE_REDUNDANCY::find_cut_off(text), "") << shown;
  }
  if (found == "true" || wanted.empty()) {
    ASSERT_STREQ(KEP_RG_PARSE_REDUNDANCY::find_cut_off(text), "") << shown;
  }
  for (std::size_t i = 0; i != parser.get_failed_lines().size(); ++i) {
    const std::string line = parser.get_failed_lines()[i];
    ASSERT_EQ(text.substr(parser.get_failed_offsets().at(i), line.size()), line) << shown;
  }
}

TEST_F(ParseRedundancyText, EndsAsItsTokensSayWhereverAGoodTextIsCutOff) {
  const std::string text = "\"module_name:\" TILE\n0 c:x\n1 \"d/z\"\n\t2 :x\n0 c:z\r\n3 e:x\n";
  for (std::size_t length = 0; length <= text.size(); ++length)
    expect_right_end(m_parser, text.substr(0, length));
  for (std::size_t begin = 0; begin <= text.size(); ++begin)
    expect_right_end(m_parser, text.substr(begin));
}

TEST_F(ParseRedundancyText, EndsAsItsTokensSayWhenAByteOfAGoodTextIsAnother) {
  const std::string text = "module_name: TILE\n0 c:x\n1 \"d/z\"\n";
  for (std::size_t at = 0; at != text.size(); ++at)
    for (const char byte : {'\0', ' ', '\n', '\r', '"', '/', ':', 'x', '\xff'}) {
      std::string changed = text;
      changed[at] = byte;
      expect_right_end(m_parser, changed);
    }
}

TEST_F(ParseRedundancyText, EndsAsItsTokensSayWhateverTheBytes) {
  RANDOM_SOURCE random(3);
  const std::vector<std::string> parts{"c",
                                       "d",
                                       "x",
                                       "z",
                                       ":",
                                       "/",
                                       " ",
                                       "\n",
                                       "\t",
                                       "\"",
                                       "\r",
                                       "0",
                                       "C:x",
                                       "c:x",
                                       std::string(1, '\0'),
                                       "\xff\xfe",
                                       "module_name:",
                                       "TILE"};
  for (unsigned i = 0; i != 4000; ++i) {
    std::string text = random.percent(80) ? "module_name: TILE " : "";
    for (unsigned left = random.below(20); left != 0; --left)
      text += random.percent(90) ? random.pick(parts) : std::string(1, static_cast<char>(random.below(256)));
    expect_right_end(m_parser, text);
    if (HasFatalFailure()) return;
  }
}

// --- memory -----------------------------------------------------------------------------------------------

/// The most memory that `body` takes at a time beyond what the process has, in bytes.
std::size_t peak_of(const std::function<void()>& body) {
  const auto status = [](const std::string& field) {
    std::ifstream file("/proc/self/status");
    std::string line;
    while (std::getline(file, line))
      if (line.starts_with(field + ":")) return std::stoul(line.substr(field.size() + 1)) * 1024;
    return 0UL;
  };
  malloc_trim(0);                                // or what was given free before would not count
  std::ofstream("/proc/self/clear_refs") << "5"; // the peak begins anew
  const std::size_t before = status("VmRSS");
  EXPECT_LT(status("VmHWM"), before + (1 << 20)) << "the peak does not begin anew on this machine";
  body();
  return std::max(status("VmHWM"), before) - before;
}

/// A text of eight megabytes that ends with a whole pair: a pattern again and again, or without one random
/// bytes.
std::string large_text(std::string_view pattern) {
  RANDOM_SOURCE random(17);
  std::string text = "module_name: TILE\n";
  while (text.size() < (8 << 20))
    if (pattern.empty())
      text += static_cast<char>(random.below(256));
    else
      text += pattern;
  return *KEP_RG_PARSE_REDUNDANCY::find_cut_off(text) ? text + " 0" : text;
}

TEST_F(ParseRedundancyText, TakesMemoryInProportionToItsTextWhateverTheBytes) {
  // Any bytes; as many lines as can be; lines that can be read; one line; names without end; no line.
  for (const char* pattern : {"", "0 0 ", "0 z ", "0 c:x ", "0", "c:/", " \n"}) {
    const std::string text = large_text(pattern);
    const std::size_t peak = peak_of([&] {
      KEP_RG_MODULE_RELATIVE_PORTS out;
      const std::string end = end_of(m_parser, out, text);
      EXPECT_TRUE(end == "true" || end == "false") << end;
    });
    EXPECT_LT(peak, 40 * text.size()) << testing::PrintToString(pattern);
    m_parser = quiet_parser(m_model.db()); // gives its failed lines free
  }
}

} // namespace parse_redundancy_random_test
