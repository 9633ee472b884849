// How places are numbered: like steps between like blocks are like differences, and what holds no nodes takes
// no number.

#include "kep/detail/kep_place_layout.h"
#include "kep/graph/kep_occurrence_places.h"
#include "tests/support/graph_fixture.h"
#include "tests/support/random_model.h"
#include "tests/support/seeds.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace place_layout_test {

using test_model::make_db;
using test_model::RANDOM_MODEL;
using test_model::RANDOM_SOURCE;
using test_model::SEEDS;
using test_model::uip;

constexpr unsigned SIZE = 20; // switches a side, one more than logic blocks; too many to look at each
enum class ORDER { BY_NUMBER, ALPHABET, SHUFFLED };

struct GRID_OPTIONS {
  ORDER m_order = ORDER::BY_NUMBER;
  std::string m_switch = "switch_{}__{}_"; ///< how blocks are named
  std::string m_logic = "logic_{}__{}_";
  bool m_has_huge_block = false; ///< of a hundred places, in one cell
};

std::string name_block(const std::string& form, unsigned x, unsigned y) {
  return fmt::format(fmt::runtime(form), x, y);
}

std::string make_modules() {
  std::string text = "module MUX\nports >a >b <z\nmodule MEMORY\nports >d\ninst cell MUX\n";
  text += "module SWITCH\nports >w >s <o\ninst m MUX\ninst c MEMORY\nnet w w m.a\nnet s s m.b\nnet o o m.z\n";
  text += "module INNER\nports >a <z\ninst m MUX\nnet a a m.a\nnet z z m.z\n";
  text += "module LOGIC\nports >l >r <q\ninst left INNER\ninst right INNER\n";
  text += "net l l left.a\nnet r r right.a\nnet q q left.z\n";
  text += "module HUGE\nports >a\n";
  for (unsigned i = 0; i != 100; ++i)
    text += fmt::format("inst u{} INNER\n", i);
  return text + "net a a u0.a\nmodule TOP top\n";
}

/// Each switch drives the next ones and the logic block of its cell.
std::unique_ptr<KEP_DB> make_grid(const GRID_OPTIONS& options) {
  std::vector<std::string> instances;
  std::string nets;
  for (unsigned x = 0; x != SIZE; ++x)
    for (unsigned y = 0; y != SIZE; ++y) {
      const std::string own = name_block(options.m_switch, x, y);
      instances.push_back(own + " SWITCH");
      nets += fmt::format("net {0} {0}.o", own);
      if (x + 1 != SIZE) nets += fmt::format(" {}.w", name_block(options.m_switch, x + 1, y));
      if (y + 1 != SIZE) nets += fmt::format(" {}.s", name_block(options.m_switch, x, y + 1));
      if (x + 1 != SIZE && y + 1 != SIZE) {
        instances.push_back(name_block(options.m_logic, x, y) + " LOGIC");
        nets += fmt::format(" {}.l", name_block(options.m_logic, x, y));
      }
      nets += "\n";
    }
  if (options.m_has_huge_block) instances.emplace_back("huge_3__4_ HUGE");
  if (options.m_order == ORDER::ALPHABET) std::sort(instances.begin(), instances.end());
  if (options.m_order == ORDER::SHUFFLED) RANDOM_SOURCE(1).shuffle(instances);
  std::string text = make_modules();
  for (const std::string& instance : instances)
    text += "inst " + instance + "\n";
  return make_db(text + nets);
}

/// Of a device in which all muxes but those of memories are nodes.
KEP_PLACE_LAYOUT make_layout(const KEP_DB& db) {
  std::vector<bool> holds_nodes(db.get_unfolding().get_modules().size());
  for (const KEP_MODULE* module : db.get_unfolding().get_modules())
    holds_nodes[module->get_number()] =
        module->get_plain_name() == std::string("SWITCH") || module->get_plain_name() == std::string("INNER");
  return {db.get_unfolding(), holds_nodes};
}

class GRID {
public:
  explicit GRID(const GRID_OPTIONS& options)
      : m_options(options), m_db(make_grid(options)), m_layout(make_layout(*m_db)) {}

  std::uint32_t place(const std::string& path) const {
    return m_layout.get_first_place(
        static_cast<std::uint32_t>(uip(*m_db, (path + "/m:a").c_str()).m_position));
  }
  std::uint32_t switch_place(unsigned x, unsigned y) const {
    return place(name_block(m_options.m_switch, x, y));
  }
  std::uint32_t logic_place(unsigned x, unsigned y, const char* inner) const {
    return place(name_block(m_options.m_logic, x, y) + "/" + inner);
  }
  std::uint32_t get_num_places() const { return m_layout.get_num_places(); }
  const KEP_DB& db() const { return *m_db; }

  /// How many unlike differences there are from a switch to the blocks that it drives.
  std::size_t count_differences() const {
    std::set<std::pair<int, std::uint32_t>> differences;
    for (unsigned x = 0; x + 1 != SIZE; ++x)
      for (unsigned y = 0; y + 1 != SIZE; ++y) {
        differences.emplace(0, switch_place(x + 1, y) - switch_place(x, y));
        differences.emplace(1, switch_place(x, y + 1) - switch_place(x, y));
        differences.emplace(2, logic_place(x, y, "left") - switch_place(x, y));
      }
    return differences.size();
  }

private:
  GRID_OPTIONS m_options;
  std::unique_ptr<KEP_DB> m_db;
  KEP_PLACE_LAYOUT m_layout;
};

TEST(PlaceLayout, LikeStepsAreLikeDifferencesInWhateverOrderBlocksAreListed) {
  for (const ORDER order : {ORDER::BY_NUMBER, ORDER::ALPHABET, ORDER::SHUFFLED})
    EXPECT_EQ(GRID({.m_order = order}).count_differences(), 3U);
}

TEST(PlaceLayout, TheNumbersDoNotHangOnTheOrderOfTheList) {
  const GRID sorted({.m_order = ORDER::ALPHABET});
  const GRID shuffled({.m_order = ORDER::SHUFFLED});
  for (unsigned x = 0; x != SIZE; ++x)
    for (unsigned y = 0; y != SIZE; ++y)
      ASSERT_EQ(sorted.switch_place(x, y), shuffled.switch_place(x, y));
}

TEST(PlaceLayout, NumbersBesideTheCoordinatesTellKindsApart) {
  const GRID behind({.m_order = ORDER::ALPHABET, .m_switch = "at_X{}Y{}_sw4", .m_logic = "at_X{}Y{}_lut6b"});
  EXPECT_EQ(behind.count_differences(), 3U);
  const GRID before({.m_order = ORDER::ALPHABET, .m_switch = "sw4_{}_{}", .m_logic = "lut6_{}_{}"});
  EXPECT_EQ(before.count_differences(), 3U);
}

TEST(PlaceLayout, OneHugeBlockMakesNoGaps) {
  const GRID plain({.m_order = ORDER::ALPHABET});
  const GRID with_huge({.m_order = ORDER::ALPHABET, .m_has_huge_block = true});
  EXPECT_EQ(with_huge.count_differences(), 3U);
  EXPECT_LE(with_huge.get_num_places(), plain.get_num_places() + 100);
}

TEST(PlaceLayout, WhatHoldsNoNodesTakesNoNumber) {
  const GRID grid({});
  // A switch is one place, whatever memories it holds, and a logic block two; the last row and column of
  // cells have no logic blocks, and the boundary has a place.
  EXPECT_LE(grid.get_num_places(), 1 + SIZE * SIZE * 3);
  EXPECT_GE(grid.get_num_places(), 1 + SIZE * SIZE + (SIZE - 1) * (SIZE - 1) * 2);
}

TEST(PlaceLayout, WithoutNumbersInNamesTheListDecides) {
  const auto db =
      make_db("module MUX\nports >a <z\nmodule TILE\nports >a <z\ninst m MUX\nnet a a m.a\nnet z z m.z\n"
              "module TOP top\ninst d TILE\ninst b TILE\ninst c TILE\ninst a TILE\n"
              "net n d.z a.a\nnet o b.z c.a\n");
  std::vector<bool> holds_nodes(db->get_unfolding().get_modules().size(), true);
  const KEP_PLACE_LAYOUT layout(db->get_unfolding(), holds_nodes);
  const auto place = [&](const char* name) {
    return layout.get_first_place(static_cast<std::uint32_t>(uip(*db, name).m_position));
  };
  EXPECT_EQ(place("b/m:a"), place("d/m:a") + 1);
  EXPECT_EQ(place("c/m:a"), place("d/m:a") + 2);
  EXPECT_EQ(place("a/m:a"), place("d/m:a") + 3);
}

TEST(PlaceLayout, TwoBlocksOfOneCellAndKindStandApart) {
  std::string text =
      "module MUX\nports >a <z\nmodule TILE\nports >a <z\ninst m MUX\nnet a a m.a\nnet z z m.z\n";
  text += "module TOP top\n";
  std::string nets;
  for (unsigned i = 0; i != 20; ++i) {
    text += fmt::format("inst t{} TILE\ninst t0{} TILE\n", (i * 7) % 20, (i * 3) % 20);
    nets += fmt::format("net n{0} t{0}.z t{1}.a\n", i, (i + 1) % 20);
  }
  const auto db = make_db(text + nets);
  const KEP_PLACE_LAYOUT layout(db->get_unfolding(),
                                std::vector<bool>(db->get_unfolding().get_modules().size(), true));
  std::set<std::uint32_t> places;
  for (unsigned i = 0; i != 20; ++i)
    for (const char* form : {"t{}/m:a", "t0{}/m:a"}) {
      const std::string name = fmt::format(fmt::runtime(form), i);
      places.insert(layout.get_first_place(static_cast<std::uint32_t>(uip(*db, name.c_str()).m_position)));
    }
  EXPECT_EQ(places.size(), 40U);
}

/// Whether what stands below an occurrence takes numbers of its own, side by side.
void check_places(const KEP_UNFOLDING& unfolding, const KEP_PLACE_LAYOUT& layout,
                  const std::vector<bool>& holds_nodes) {
  const KEP_OCCURRENCE_PLACES order(unfolding, layout);
  EXPECT_EQ(order.get_place(KEP_UNFOLDING::ABOVE_TOP), 0U);
  std::uint32_t num_placed = 1;
  for (std::uint32_t i = 1; i < unfolding.size(); ++i) {
    const KEP_OCCURRENCE& own = unfolding.get(i);
    const bool is_placed = holds_nodes[own.m_module];
    const std::uint32_t place = order.get_place(i);
    ASSERT_EQ(place != KEP_OCCURRENCE_PLACES::NONE, is_placed);
    num_placed += is_placed;
    if (is_placed) {
      ASSERT_EQ(order.get_occurrence(place), i);
      ASSERT_EQ(layout.get_first_place(i), place);
    }
    if (own.m_parent == KEP_UNFOLDING::ABOVE_TOP || layout.get_extent(*unfolding.get_module(own)) == 0)
      continue;
    const std::uint32_t first = layout.get_first_place(i);
    const std::uint32_t first_above = layout.get_first_place(own.m_parent);
    ASSERT_GE(first, first_above);
    ASSERT_LE(first + layout.get_extent(*unfolding.get_module(own)),
              first_above + layout.get_extent(*unfolding.get_module(own.m_parent)));
  }
  std::uint32_t num_places = 0;
  for (std::uint32_t place = 0; place != order.get_num_places(); ++place)
    num_places += order.get_occurrence(place) != KEP_OCCURRENCE_PLACES::NONE;
  EXPECT_EQ(num_places, num_placed);
}

TEST(PlaceLayout, EveryPlaceHasItsOwnNumberAmongThoseOfWhatIsAbove) {
  for (const std::uint64_t seed : SEEDS(1, 200)) {
    const auto db = RANDOM_MODEL(seed, {.m_max_instances = 9}).freeze();
    RANDOM_SOURCE random(seed);
    std::vector<bool> holds_nodes(db->get_unfolding().get_modules().size());
    for (std::size_t i = 0; i != holds_nodes.size(); ++i)
      holds_nodes[i] = random.below(3) != 0;
    check_places(db->get_unfolding(), KEP_PLACE_LAYOUT(db->get_unfolding(), holds_nodes), holds_nodes);
    if (HasFailure()) FAIL();
  }
}

} // namespace place_layout_test
