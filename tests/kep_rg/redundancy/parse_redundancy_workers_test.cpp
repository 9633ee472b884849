#include "tests/kep_rg/redundancy/parse_redundancy_fixture.h"

#include <gtest/gtest.h>
#include <tbb/info.h>
#include <tbb/task_arena.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string>
#include <thread>

namespace parse_redundancy_workers_test {

/// How many threads read redundancy data. Workers stay in their process when their work is done, so each
/// number is tried in a process of its own.

using namespace parse_redundancy;

std::size_t count_threads() {
  const std::filesystem::directory_iterator threads("/proc/self/task");
  return static_cast<std::size_t>(std::distance(begin(threads), end(threads)));
}

/// Reads with so many threads until there are as many as `wanted`, and some more times. Ends the process:
/// with 0 if there are no more then.
[[noreturn]] void read_with(int num_threads, std::size_t wanted) {
  const std::size_t others = count_threads() - 1; // of a sanitizer, perhaps
  std::unique_ptr<const NAMED_MODEL> made; // in an arena of one thread: freezing takes all that it gets
  tbb::task_arena(1).execute([&made] { made = std::make_unique<const NAMED_MODEL>(DEVICE); });
  const NAMED_MODEL& model = *made;
  KEP_RG_PARSE_REDUNDANCY parser = quiet_parser(model.db(), num_threads);
  KEP_RG_MODULE_RELATIVE_PORTS out;
  std::string text = "module_name: TILE\n";
  for (int i = 0; i != 50000; ++i)
    text += "0 c:x\n";
  const auto read = [&] {
    const KEP_REPORT_CAPTURE capture;
    parser.parse(&out, text);
  };
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  do
    read();
  while (count_threads() - others < wanted && std::chrono::steady_clock::now() < end);
  for (int i = 0; i != 5; ++i)
    read();
  std::_Exit(count_threads() - others == wanted ? 0 : 1);
}

class ParseRedundancyWorkers : public testing::Test {
protected:
  ParseRedundancyWorkers() { testing::FLAGS_gtest_death_test_style = "threadsafe"; }
};

TEST_F(ParseRedundancyWorkers, AreNoneBesideTheCallerForOneThread) {
  EXPECT_EXIT(read_with(1, 1), testing::ExitedWithCode(0), "");
}

TEST_F(ParseRedundancyWorkers, AreAsManyAsTheMachineHasWhereTheNumberIsNegative) {
  const auto all = static_cast<std::size_t>(tbb::info::default_concurrency());
  for (const int threads : {-1, -7})
    EXPECT_EXIT(read_with(threads, all), testing::ExitedWithCode(0), "") << threads;
}

} // namespace parse_redundancy_workers_test
