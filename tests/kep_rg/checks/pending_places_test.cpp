#include "kep_rg/checks/kep_rg_pending_places.h"
#include "tests/support/random_source.h"
#include "tests/support/seeds.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <vector>

namespace pending_places_test {

using test_model::RANDOM_SOURCE;
using test_model::SEEDS;

/// All that is pending, in the order in which it is taken.
std::vector<std::uint32_t> take_all(KEP_RG_PENDING_PLACES& places) {
  std::vector<std::uint32_t> taken;
  for (std::uint32_t place = 0; places.take(place);)
    taken.push_back(place);
  return taken;
}

TEST(PendingPlaces, HoldNothingAtFirst) {
  for (const std::uint32_t size : {0U, 1U, 64U, 65U, 64U * 64U, 300000U}) {
    KEP_RG_PENDING_PLACES places(size);
    EXPECT_EQ(take_all(places), std::vector<std::uint32_t>()) << size;
  }
}

TEST(PendingPlaces, AreTakenUpwardAndOnceEach) {
  KEP_RG_PENDING_PLACES places(300000);
  for (const std::uint32_t place : {299999U, 0U, 63U, 64U, 4096U, 64U, 262144U})
    places.insert(place);
  EXPECT_EQ(take_all(places), (std::vector<std::uint32_t>{0, 63, 64, 4096, 262144, 299999}));
}

TEST(PendingPlaces, BeginAgainAtTheLowestBehindTheHighest) {
  KEP_RG_PENDING_PLACES places(128);
  places.insert(100);
  std::uint32_t place = 0;
  ASSERT_TRUE(places.take(place));
  for (const std::uint32_t next : {5U, 100U, 127U})
    places.insert(next);
  EXPECT_EQ(take_all(places), (std::vector<std::uint32_t>{127, 5, 100}));
}

TEST(PendingPlaces, AgreeWithAnOrderedSet) {
  std::size_t wraps = 0;
  for (const std::uint64_t seed : SEEDS(1, 200)) {
    RANDOM_SOURCE random(seed);
    const std::uint32_t size = std::vector<std::uint32_t>{1, 64, 100, 4096, 5000, 70000, 262144}[seed % 7];
    KEP_RG_PENDING_PLACES places(size);
    std::set<std::uint32_t> expected;
    std::uint32_t next = 0;
    for (int step = 0; step != 400; ++step) {
      if (random.below(2) != 0) {
        const std::uint32_t place = random.below(size);
        places.insert(place);
        expected.insert(place);
        continue;
      }
      std::uint32_t place = 0;
      ASSERT_EQ(places.take(place), !expected.empty());
      if (expected.empty()) continue;
      auto found = expected.lower_bound(next);
      if (found == expected.end()) {
        found = expected.begin();
        ++wraps;
      }
      ASSERT_EQ(place, *found);
      next = place + 1;
      expected.erase(found);
    }
  }
  EXPECT_GT(wraps, 100U);
}

} // namespace pending_places_test
