#include "tests/kep_rg/redundancy/parse_redundancy_fixture.h"
#include "tests/support/random_source.h"

#include <gtest/gtest.h>
#include <tbb/global_control.h>

#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace parse_redundancy_threads_test {

/// Long redundancy data, read by many threads.

using namespace parse_redundancy;
using test_model::RANDOM_SOURCE;

/// A text of many lines of which some can't be read.
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
    for (const int threads : {1, 2, 7, 8, -1}) {
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

/// A text is split by stretches of some ten thousand bytes. What one reader would find in it is found
/// wherever their ends fall: in a token, behind one or before one, in blanks, several in one token.
std::vector<std::string> texts_to_split() {
  std::vector<std::string> texts;
  for (unsigned shift = 0; shift != 9; ++shift) {
    texts.push_back("module_name: TILE" + std::string(shift + 1, ' '));
    for (unsigned i = 0; i != 30000; ++i)
      texts.back() += i % 5 == 4 ? "1 e:x\n\n" : "0 c:x\n\n"; // eight bytes, which divide any power of two
  }
  RANDOM_SOURCE random(23);
  for (unsigned i = 0; i != 6; ++i) {
    texts.emplace_back("module_name: TILE ");
    while (texts.back().size() < 1500000)
      switch (random.below(random.below(1000) ? 3 : 5)) {
      case 0:
        texts.back() += std::string(1 + random.below(3), " \t\n\""[random.below(4)]);
        break;
      case 1:
        texts.back() += " 0 c:x\n";
        break;
      case 2:
        texts.back() += static_cast<char>(random.below(256));
        break;
      case 3:
        texts.back() += std::string(random.below(200000), 'x');
        break;
      default:
        texts.back() += std::string(random.below(200000), '\n');
        break;
      }
  }
  return texts;
}

TEST(ParseRedundancyThreads, SplitATextAsOneReaderWouldWhateverItsBytes) {
  const tbb::global_control eight(tbb::global_control::max_allowed_parallelism, 8);
  const NAMED_MODEL model(DEVICE);
  for (std::string text : texts_to_split()) {
    std::vector<std::string> tokens = naive_tokens(text);
    if (tokens.size() % 2 != 0) {
      text += " end";
      tokens.emplace_back("end");
    }
    std::vector<std::string> read;
    std::vector<std::string> failed;
    for (std::size_t i = 3; i < tokens.size(); i += 2) {
      KEP_RG_RELATIVE_PORT one;
      if (one.parse(model.module("TILE"), tokens[i], RANK, nullptr))
        read.push_back(one.get_name());
      else
        failed.push_back(tokens[i]);
    }
    EXPECT_GT(read.size(), 100U);
    EXPECT_GT(failed.size(), 100U);
    for (const int threads : {1, 2, 7}) {
      KEP_RG_PARSE_REDUNDANCY parser = quiet_parser(model.db(), threads);
      KEP_RG_MODULE_RELATIVE_PORTS out;
      EXPECT_FALSE(parser.parse(&out, text));
      EXPECT_TRUE(names(out) == read) << threads;
      EXPECT_TRUE(parser.get_failed_lines() == failed) << threads;
    }
  }
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

} // namespace parse_redundancy_threads_test
