// KEP_RG_PROOF on devices where the order of a signal's way has a say: such nodes are followed twice.

#include "tests/kep_rg/proof/proof_text.h"
#include "tests/support/build_case.h"
#include "tests/support/random_device.h"
#include "tests/support/seeds.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>

namespace proof_ways_test {

using proof::prove;
using test_model::RANDOM_DEVICE;
using test_model::SEEDS;
using testing::ElementsAre;

TEST(ProofWays, FindAPortOfTheTopOnceBeforeASkipPathToATwoWayPort) {
  BUILD_CASE c(R"(
    module BOTH
      ports >c =io
    module TOP top type=1
      ports >t <z
      inst s BOTH
      net n t z s.c
  )");
  c.arcs("BOTH", {"c"}, "io");
  c.parse().set_skip_paths(c.model().instance("TOP/s"), true);
  c.build();
  ASSERT_THAT(c.edges(), ElementsAre(":t -> :z"));
  const KEP_RG_PROOF::RESULT result = prove(*c.db());
  EXPECT_EQ(result.m_num_edges, 1U);
  EXPECT_TRUE(result.is_sound());
}

TEST(ProofWays, AgreeWithBuildsOfRandomDevicesOfEverythingThatASearchMeets) {
  std::uint64_t num_edges = 0;
  for (const std::uint64_t seed : SEEDS(1, 500)) {
    RANDOM_DEVICE device(seed);
    BUILD_CASE c(device.text());
    try {
      device.describe(c);
      c.build();
    } catch (const KEP_EXCEPTION&) { // a device that is refused
      continue;
    }
    const KEP_RG_PROOF::RESULT result = prove(*c.db());
    ASSERT_TRUE(result.is_sound()) << device.text();
    num_edges += result.m_num_edges;
  }
  EXPECT_GT(num_edges, 10000U);
}

} // namespace proof_ways_test
