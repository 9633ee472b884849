// Which names are told when one is not there.

#include "kep_io/text/kep_closest_names.h"
#include "kep_io/text/kep_edit_distance.h"
#include "tests/support/random_source.h"
#include "tests/support/seeds.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace closest_names_test {

using testing::ElementsAre;

std::vector<std::string> closest(std::string_view name, const std::vector<std::string>& offered) {
  KEP_CLOSEST_NAMES names(name);
  for (const std::string& each : offered)
    names.offer(each);
  return names.get_names();
}

TEST(EditDistance, CountsWhatHasToBeChangedUpToALimit) {
  EXPECT_EQ(get_edit_distance("", "", 9), 0U);
  EXPECT_EQ(get_edit_distance("abc", "abc", 9), 0U);
  EXPECT_EQ(get_edit_distance("", "abc", 9), 3U);
  EXPECT_EQ(get_edit_distance("abc", "", 9), 3U);
  EXPECT_EQ(get_edit_distance("abc", "axc", 9), 1U);
  EXPECT_EQ(get_edit_distance("abc", "bc", 9), 1U);
  EXPECT_EQ(get_edit_distance("kitten", "sitting", 9), 3U);
  EXPECT_EQ(get_edit_distance("kitten", "sitting", 3), 3U);
  EXPECT_EQ(get_edit_distance("kitten", "sitting", 2), 2U);
  EXPECT_EQ(get_edit_distance("kitten", "a", 2), 2U);
}

TEST(ClosestNames, AreAtMostThreeOfTheNearNamesTheNearestFirst) {
  EXPECT_THAT(closest("left/mux:o", {"left/mux:oo", "left/mix:a", "right/mux:o", "left/mux:a", "left/mux:b"}),
              ElementsAre("left/mux:oo", "left/mux:a", "left/mux:b"));
  EXPECT_THAT(closest("left/mux:o", {"left/mix:a", "right/lut:i"}), ElementsAre("left/mix:a"));
}

TEST(ClosestNames, LeaveOutWhatIsTwiceAsFarAsTheNearest) {
  EXPECT_THAT(closest("left/mux:o", {"left/mxi:a", "left/mux:a"}), ElementsAre("left/mux:a"));
  EXPECT_THAT(closest("left/mux:o", {"left/mxi:a", "left/mix:a"}), ElementsAre("left/mix:a", "left/mxi:a"));
}

TEST(ClosestNames, OfAShortNameDifferInOneCharacterIfThereAreSuch) {
  EXPECT_THAT(closest("m:0", {"k:a", "m:o", "n:1"}), ElementsAre("m:o"));
  EXPECT_THAT(closest(":pan", {":pin", ":out", ":pot"}), ElementsAre(":pin"));
}

TEST(ClosestNames, AreThoseThatEndInItWhereNoneIsNear) {
  EXPECT_THAT(closest("m:o", {"some/where/k:a", "some/where/m:o", "some/m:a", "else/where/mm:o", "some/m:o"}),
              ElementsAre("some/where/m:o", "else/where/mm:o", "some/m:o"));
}

TEST(ClosestNames, AreThoseWhoseLastPartIsNearWhereNoneEndsInIt) {
  EXPECT_THAT(closest("nowhere/at/all/m:0", {"some/where/k:a", "some/where/m:o", "some/m:a"}),
              ElementsAre("some/where/m:o", "some/m:a"));
  EXPECT_THAT(closest("m:0", {"some/where/m:o", "some/where/else/n:0"}),
              ElementsAre("some/where/m:o", "some/where/else/n:0"));
}

TEST(ClosestNames, AreTheNearestOfAllWhereNoneIsNearInAnyWay) {
  EXPECT_THAT(closest("nothing-at-all", {"some/where/else/k:a", ":pin", "x/t/m:o", "y/t/m:o"}),
              ElementsAre(":pin", "x/t/m:o", "y/t/m:o"));
  EXPECT_THAT(closest("zz", {"some/where/k:a"}), ElementsAre("some/where/k:a"));
  EXPECT_THAT(closest("", {"a:b"}), ElementsAre("a:b"));
  EXPECT_THAT(closest("zz", {}), ElementsAre());
}

TEST(ClosestNames, TellANameThatComesTwiceOnce) {
  EXPECT_THAT(closest("b:x", {"b:y", "b:y", "b:z", "b:y"}), ElementsAre("b:y", "b:z"));
}

// The rule told once more, with everything kept and sorted.
std::vector<std::string> naive_closest(const std::string& name, const std::vector<std::string>& offered) {
  const auto last_part = [](const std::string& text) { return text.substr(text.rfind('/') + 1); };
  const auto limit = [](const std::string& text) {
    return text.size() < 5 ? 2U : std::max(3U, static_cast<unsigned>(text.size() / 3 + 1));
  };
  std::vector<std::pair<unsigned, std::string>> kinds[3];
  std::vector<std::string> seen;
  for (const std::string& each : offered) {
    if (std::find(seen.begin(), seen.end(), each) != seen.end()) continue;
    seen.push_back(each);
    const unsigned whole = get_edit_distance(name, each, 1000);
    const unsigned last = get_edit_distance(last_part(name), last_part(each), 1000);
    if (whole < limit(name))
      kinds[0].emplace_back(whole, each);
    else if (each.ends_with(name))
      kinds[1].emplace_back(0, each);
    else if (last < limit(last_part(name)))
      kinds[1].emplace_back(last, each);
    else
      kinds[2].emplace_back(whole, each);
  }
  for (unsigned kind = 0; kind != 3; ++kind) {
    auto& names = kinds[kind];
    if (names.empty()) continue;
    std::stable_sort(names.begin(), names.end(),
                     [](const auto& left, const auto& right) { return left.first < right.first; });
    std::vector<std::string> result;
    for (const auto& [distance, each] : names)
      if (result.size() < 3 && (kind == 2 || distance <= 2 * names[0].first)) result.push_back(each);
    return result;
  }
  return {};
}

TEST(ClosestNames, AreWhatSortingAllOfThemGives) {
  const auto any_name = [](test_model::RANDOM_SOURCE& random) {
    std::string name;
    for (unsigned level = random.below(3); level != 0; --level)
      name += std::string(1, "abc"[random.below(3)]) + (random.percent(25) ? "x" : "") + "/";
    return name + "klm"[random.below(3)] + ":" + "opq"[random.below(3)];
  };
  for (const std::uint64_t seed : test_model::SEEDS(1, 2999)) {
    test_model::RANDOM_SOURCE random(seed);
    std::vector<std::string> offered(random.below(12));
    for (std::string& each : offered)
      each = any_name(random);
    const std::string name = any_name(random) + (random.percent(30) ? "1234" : "");
    ASSERT_EQ(closest(name, offered), naive_closest(name, offered)) << "seed " << seed << ": " << name;
  }
}

} // namespace closest_names_test
