// What a finished graph takes in memory, to the byte: what is alike is kept once.

#include "kep/graph/kep_routing_graph_storage.h"
#include "tests/support/graph_fixture.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace graph_bytes_test {

using test_model::FANOUTS;
using test_model::GRAPH_BUILD;
using test_model::make_db;
using test_model::uip;

constexpr unsigned NUM_DRIVERS = 10;
constexpr unsigned NUM_MUXES = 12; // the last two have no edges

/// Sixteen like tiles, in pairs of pairs: six modules.
std::string device() {
  std::string text = "module MUX\nports >a >b <z\nmodule TILE\n";
  for (unsigned i = 0; i != NUM_MUXES; ++i)
    text += "inst m" + std::to_string(i) + " MUX\n";
  std::string below = "TILE";
  for (const std::string key : {"PAIR", "BLOCK", "ROW", "TOP"}) {
    text +=
        "module " + key + (key == "TOP" ? " top\n" : "\n") + "inst l " + below + "\ninst r " + below + "\n";
    below = key;
  }
  return text;
}

std::vector<std::string> tiles() {
  std::vector<std::string> tiles;
  for (unsigned i = 0; i != 16; ++i) {
    std::string path;
    for (unsigned bit = 8; bit != 0; bit /= 2)
      path += (i & bit) != 0 ? "r/" : "l/";
    tiles.push_back(path);
  }
  return tiles;
}

/// Each driver drives all others of its tile.
void publish_drivers(KEP_DB& db) {
  GRAPH_BUILD made(db);
  const auto name = [](const std::string& tile, unsigned mux, const char* port) {
    return tile + "m" + std::to_string(mux) + ":" + port;
  };
  for (const std::string& tile : tiles())
    for (unsigned mux = 0; mux != NUM_MUXES; ++mux)
      made.add(name(tile, mux, "z").c_str());
  made.sort();
  for (const std::string& tile : tiles())
    for (unsigned driver = 0; driver != NUM_DRIVERS; ++driver) {
      FANOUTS fanouts;
      for (unsigned mux = 0; mux != NUM_DRIVERS; ++mux)
        if (mux != driver)
          fanouts.push_back({made.find(name(tile, mux, "z").c_str()), uip(db, name(tile, mux, "a").c_str())});
      made.set(made.find(name(tile, driver, "z").c_str()), fanouts);
    }
  made.publish();
}

TEST(GraphBytes, AreThoseOfItsTablesInWhichLikeThingsStandOnce) {
  const auto db = make_db(device());
  publish_drivers(*db);
  // Above the tops, and 16 tiles. The top, rows, blocks and pairs hold no nodes and take none.
  const std::uint64_t places = 1 + 16;
  const std::uint64_t words_of_places = 2 * places   // from occurrences to places and back
                                        + places + 1 // the first node of each, and the end
                                        + places;    // and the page of each
  // Which of the 32 occurrences have a place: bits for 64 of them, and the number of places before.
  const std::uint64_t bytes_of_marks = 16;
  // The 192 nodes stand in three runs of 64; of each it is told where it begins, and where the last one ends.
  const std::uint64_t words_of_numbers = 3 + 1;
  // Six modules, what stands above the tops, and the end: where the keys and the buckets of each begin.
  const std::uint64_t words_of_modules = 2 * (6 + 1 + 1);
  const std::uint64_t words_of_keys = NUM_MUXES;
  // A key is an inst port and a bit; 36 inst ports have 72 keys, in two buckets of 64, and the end.
  const std::uint64_t words_of_buckets = 2 + 1;
  // One page: a byte for each mux, and room to read four.
  const std::uint64_t bytes_of_pages = NUM_MUXES + 4;
  // Where no node stands, a shape for each driver, and one that both muxes without edges share.
  const std::uint64_t shapes = 1 + NUM_DRIVERS + 1;
  // Each driver drives the nine others, at all sixteen places by the same words.
  const std::uint64_t fanouts = NUM_DRIVERS * (NUM_DRIVERS - 1);
  // Among the fanins are but ten words, and all mux inputs stand two inst ports before their targets: a byte
  // tells which.
  const std::uint64_t bytes_of_fanins = NUM_DRIVERS * sizeof(KEP_SEEN_WORD) + fanouts + 4;
  const std::uint64_t bytes_of_mux_inputs = sizeof(KEP_SEEN_WORD) + fanouts + 4;

  EXPECT_EQ(db->get_routing_template_graph()->get_memory_bytes(),
            sizeof(KEP_ROUTING_GRAPH_STORAGE) + sizeof(KEP_NODE_PLACES) +
                sizeof(std::uint32_t) * (words_of_places + words_of_numbers + words_of_modules +
                                         words_of_keys + words_of_buckets) +
                bytes_of_marks + bytes_of_pages + shapes * sizeof(KEP_NODE_SHAPE) +
                fanouts * sizeof(KEP_SEEN_WORD) + bytes_of_fanins + bytes_of_mux_inputs);
}

TEST(GraphBytes, OfWhatStandsOnceAreAShapeAndAWordANodeAndAWordAndTwoNumbersAnEdge) {
  constexpr unsigned NUM_NODES = 200;
  constexpr unsigned NUM_EDGES = 3 * NUM_NODES;
  std::string text = "module MUX\nports >a <z\nmodule TOP top\n";
  for (unsigned i = 0; i != NUM_NODES; ++i)
    text += "inst m" + std::to_string(i) + " MUX\n";
  const auto db = make_db(text);
  const auto name = [](unsigned mux, const char* port) { return "m" + std::to_string(mux) + port; };
  GRAPH_BUILD made(*db);
  for (unsigned i = 0; i != NUM_NODES; ++i)
    made.add(name(i, ":z").c_str());
  made.sort();
  const auto get_bytes = [&] { return db->get_routing_template_graph()->get_memory_bytes(); };
  std::map<std::string, std::vector<std::string>> expected; // fanins
  for (unsigned i = 0; i != NUM_NODES; ++i) {
    FANOUTS fanouts;
    for (unsigned k = 1; k != 4; ++k) {
      const unsigned target = (7 * i + k) % NUM_NODES;
      fanouts.push_back({made.find(name(target, ":z").c_str()), uip(*db, name(target, ":a").c_str())});
      expected[name(target, ":z")].push_back(name(i, ":z"));
    }
    made.set(made.find(name(i, ":z").c_str()), fanouts);
  }
  made.publish();
  for (const KEP_ROUTING::NODE& node : db->get_routing_template_graph()->iter_nodes()) {
    std::vector<std::string> fanins;
    for (const KEP_ROUTING::REV_EDGE& edge : node.iter_all_fanin())
      fanins.push_back(edge.get_fanin().get_name({}));
    EXPECT_EQ(fanins, expected[node.get_name({})]) << node.get_name({});
  }
  GRAPH_BUILD without_edges(*db);
  for (unsigned i = 0; i != NUM_NODES; ++i)
    without_edges.add(name(i, ":z").c_str());
  without_edges.sort();
  const std::uint64_t bytes = get_bytes();
  without_edges.publish();
  // All nodes without edges have one shape. The mux inputs are one word, and behind numbers is room to read
  // four bytes.
  EXPECT_EQ(bytes - get_bytes(), (NUM_NODES - 1) * sizeof(KEP_NODE_SHAPE) +
                                     (NUM_NODES + 1 + NUM_EDGES) * sizeof(KEP_SEEN_WORD) + 2 * NUM_EDGES + 8);
}

TEST(GraphBytes, TellOfEachPlaceThatLacksANodeWhichOnesItHas) {
  const auto bytes = [](unsigned num_lacking) {
    const auto db = make_db(device());
    GRAPH_BUILD made(*db);
    for (const std::string& tile : tiles()) {
      for (const char* mux : {"m0:z", "m2:z"})
        made.add((tile + mux).c_str());
      if (num_lacking == 0)
        made.add((tile + "m1:z").c_str());
      else
        --num_lacking;
    }
    made.sort();
    made.publish();
    return db->get_routing_template_graph()->get_memory_bytes();
  };
  // Which of the 32 places lack a node, in one run of 64; of each of the three where its ranks are listed,
  // and the ranks of the two nodes there; and one page for them all: a byte for each of three ranks.
  EXPECT_EQ(bytes(3), bytes(0) + sizeof(KEP_MARK_BLOCK) + 3 * (1 + 2) * sizeof(std::uint32_t) + 3);
}

} // namespace graph_bytes_test
