#include "kep_report/kep_report_assert.h"
#include "kep_report/kep_report_capture.h"
#include "kep_rg/kep_rg_exception.h"
#include "kep_rg/kep_rg_parse_redundancy.h"
#include "support/named_model.h"
#include "support/random_source.h"

#include <gtest/gtest.h>
#include <tbb/global_control.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

/// Redundancy data that ends anywhere or holds anything, and long data read by many threads.

using test_model::RANDOM_SOURCE;

namespace {

const KEP_VIEW_TYPE_RANK RANK(KEP_VIEW_TYPE::BLC, KEP_VIEW_TYPE::LOGICAL);

const char* const DEVICE = R"(
  module C
    ports >x <z
  module TILE
    ports >x <z
    inst c C
    inst d C
  module TILE_BLC view=BLC name=TILE
    ports >blc
  module TWICE name=SAME
    ports >first
  module AGAIN name=SAME
    ports >second
  module IP ip_root group=ip
    ports >x
    inst plain C
  module IP_BLC view=BLC group=ip ip_root
    ports >x
    inst u C
  module TOP top
    ports >x
    inst t TILE
    inst i IP
)";

KEP_RG_PARSE_REDUNDANCY quiet_parser(KEP_DB* db, int threads = 1,
                                     KEP_VIEW_TYPE view = KEP_VIEW_TYPE::LOGICAL) {
  KEP_REPORT_CAPTURE capture;
  return {db, static_cast<int>(view), RANK, threads};
}

std::vector<std::string> names(const KEP_RG_MODULE_RELATIVE_PORTS& ports) {
  std::vector<std::string> result;
  for (const KEP_RG_RELATIVE_PORT* each : ports.iter_relative_ports())
    result.push_back(each->get_name());
  return result;
}

// --- damaged texts ----------------------------------------------------------------------------------------

class ParseRedundancyText : public testing::Test {
protected:
  const NAMED_MODEL model{DEVICE};
  KEP_RG_PARSE_REDUNDANCY parser = quiet_parser(model.db());
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
  std::vector<std::string> tokens(1);
  for (const char each : text)
    if (std::string_view(" \t\n\"").find(each) != std::string_view::npos)
      tokens.emplace_back();
    else
      tokens.back() += each;
  std::erase(tokens, "");
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
    expect_right_end(parser, text.substr(0, length));
  for (std::size_t begin = 0; begin <= text.size(); ++begin)
    expect_right_end(parser, text.substr(begin));
}

TEST_F(ParseRedundancyText, EndsAsItsTokensSayWhenAByteOfAGoodTextIsAnother) {
  const std::string text = "module_name: TILE\n0 c:x\n1 \"d/z\"\n";
  for (std::size_t at = 0; at != text.size(); ++at)
    for (const char byte : {'\0', ' ', '\n', '\r', '"', '/', ':', 'x', '\xff'}) {
      std::string changed = text;
      changed[at] = byte;
      expect_right_end(parser, changed);
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
    expect_right_end(parser, text);
    if (HasFatalFailure()) return;
  }
}

// --- threads ----------------------------------------------------------------------------------------------

/// A text of many lines of which some cannot be read.
std::string long_text(unsigned lines) {
  RANDOM_SOURCE random(5);
  const std::vector<std::string> ports{"c:x", "c:z", "d:x", "d:z", ":x", "z", "c", "e:x", "c:y", "c:x\r"};
  std::string text = "module_name: TILE\n";
  for (unsigned i = 0; i != lines; ++i)
    text += std::to_string(i) + " " + random.pick(ports) + "\n";
  return text;
}

TEST(ParseRedundancyThreads, ReadTheSameInTheSameOrderWhateverTheirNumber) {
  const tbb::global_control eight(tbb::global_control::max_allowed_parallelism, 8);
  const NAMED_MODEL model(DEVICE);
  for (const unsigned lines : {1U, 999U, 1000U, 1001U, 30000U}) {
    const std::string text = long_text(lines);
    std::vector<std::string> wanted;
    std::vector<std::string> failed;
    std::vector<std::size_t> offsets;
    for (const int threads : {1, 2, 8, -1}) {
      KEP_RG_PARSE_REDUNDANCY parser = quiet_parser(model.db(), threads);
      KEP_RG_MODULE_RELATIVE_PORTS out;
      const bool all = parser.parse(&out, text);
      if (threads == 1) {
        wanted = names(out);
        failed = parser.get_failed_lines();
        offsets = parser.get_failed_offsets();
        EXPECT_EQ(wanted.size() + failed.size(), lines);
      }
      EXPECT_EQ(all, failed.empty());
      EXPECT_EQ(names(out), wanted) << threads;
      EXPECT_EQ(parser.get_failed_lines(), failed) << threads;
      EXPECT_EQ(parser.get_failed_offsets(), offsets) << threads;
    }
  }
}

TEST(ParseRedundancyThreads, ReadAsTheyWouldLineByLine) {
  const tbb::global_control eight(tbb::global_control::max_allowed_parallelism, 8);
  const NAMED_MODEL model(DEVICE);
  KEP_RG_PARSE_REDUNDANCY parser = quiet_parser(model.db(), 8);
  KEP_RG_MODULE_RELATIVE_PORTS out;
  const std::string text = long_text(20000);
  parser.parse(&out, text);
  std::vector<std::string> read;
  std::vector<std::string> failed;
  std::istringstream stream(text);
  std::string word;
  std::getline(stream, word);
  for (std::string line; std::getline(stream, line);) {
    const std::string port = line.substr(line.find(' ') + 1);
    KEP_RG_RELATIVE_PORT one;
    if (one.parse(model.module("TILE"), port, RANK, nullptr))
      read.push_back(one.get_name());
    else
      failed.push_back(port);
  }
  EXPECT_EQ(names(out), read);
  EXPECT_EQ(parser.get_failed_lines(), failed);
}

TEST(ParseRedundancyThreads, MayReadSeveralTextsOfOneModelAtOnce) {
  const tbb::global_control eight(tbb::global_control::max_allowed_parallelism, 8);
  const NAMED_MODEL model(DEVICE);
  const std::string text = long_text(5000);
  std::vector<std::vector<std::string>> read(4);
  std::vector<std::thread> threads;
  KEP_REPORT_CAPTURE capture;
  for (std::vector<std::string>& each : read)
    threads.emplace_back([&] {
      KEP_RG_PARSE_REDUNDANCY parser(model.db(), 0, RANK, 2);
      KEP_RG_MODULE_RELATIVE_PORTS out;
      parser.parse(&out, text);
      each = names(out);
    });
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_FALSE(read[0].empty());
  for (const std::vector<std::string>& each : read)
    EXPECT_EQ(each, read[0]);
}

} // namespace
