// Databases that were written and opened again.

#include "kep_rg/kep_rg_exception.h"
#include "kep_rg/kep_rg_proof.h"
#include "tests/support/damaged_graph.h"
#include "tests/support/database_bytes.h"
#include "tests/support/example_device.h"
#include "tests/support/fabric_case.h"
#include "tests/support/random_device.h"
#include "tests/support/seeds.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>

namespace round_trip_test {

using test_model::bytes_of;
using test_model::open_bytes;
using test_model::SEEDS;
using test_model::whole_graph;

/// What was written and opened gives the same graph and, written again, the same bytes: no section says less
/// than it was told.
void expect_same(const KEP_DB& db) {
  const std::string bytes = bytes_of(db);
  const auto opened = open_bytes(bytes);
  EXPECT_EQ(whole_graph(*opened), whole_graph(db));
  EXPECT_TRUE(bytes_of(*opened) == bytes);
}

TEST(DatabaseRoundTrip, OfAnExampleGivesItsGraphAndASecondBuildTheSame) {
  unsigned num_examples = 0;
  for (const auto& folder : std::filesystem::directory_iterator(test_model::folder_of_example(""))) {
    const std::string name = folder.path().filename();
    SCOPED_TRACE(name);
    const auto example = test_model::read_example(name);
    example->build();
    expect_same(*example->db());
    BUILD_CASE again(open_bytes(bytes_of(*example->db())));
    const std::string graph = whole_graph(*again.db());
    again.build();
    EXPECT_EQ(whole_graph(*again.db()), graph);
    EXPECT_FALSE(graph.empty());
    ++num_examples;
  }
  EXPECT_EQ(num_examples, 10U);
}

TEST(DatabaseRoundTrip, OfRandomDevicesOfEverythingThatASearchMeetsGivesTheSame) {
  std::uint64_t num_edges = 0;
  for (const std::uint64_t seed : SEEDS(1, 150)) {
    test_model::RANDOM_DEVICE device(seed);
    BUILD_CASE c(device.text());
    try {
      device.describe(c);
      c.build();
    } catch (const KEP_EXCEPTION&) { // a device that is refused
      continue;
    }
    expect_same(*c.db());
    const auto opened = open_bytes(bytes_of(*c.db()));
    const KEP_RG_PROOF::RESULT result = KEP_RG_PROOF(opened.get()).run(1);
    ASSERT_TRUE(result.is_sound()) << device.text();
    num_edges += result.m_num_edges;
  }
  EXPECT_GT(num_edges, 3000U);
}

TEST(DatabaseRoundTrip, OfRandomFabricsGivesTheSame) {
  for (const std::uint64_t seed : SEEDS(1, 60)) {
    test_model::FABRIC_CASE c(seed);
    c.build();
    expect_same(*c.db());
    if (HasFailure()) FAIL() << c.text();
  }
}

TEST(DatabaseRoundTrip, OfAnyNumberOfOccurrencesGivesTheSame) {
  for (unsigned num_tiles = 60; num_tiles != 68; ++num_tiles) { // marks stand in blocks of 64
    std::string text = "module MUX\nports >a <o\nmodule TILE\nports >i <j\ninst m MUX header\nnet i i m.a\n"
                       "net j m.o j\nmodule TOP top\n";
    for (unsigned i = 0; i != num_tiles; ++i)
      text += "inst t" + std::to_string(i) + " TILE\n";
    BUILD_CASE c(text);
    c.arcs("MUX", {"a"}, "o");
    c.build();
    EXPECT_EQ(c.nodes().size(), num_tiles);
    expect_same(*c.db());
  }
}

TEST(DatabaseRoundTrip, OfTablesInManyChunksGivesTheSame) {
  test_model::FABRIC_CASE c(7);
  c.build();
  const std::string bytes = bytes_of(*c.db());
  const std::string chunks = bytes_of(*c.db(), 64);
  EXPECT_GT(chunks.size(), bytes.size()) << "chunks take words of their own";
  const auto opened = open_bytes(chunks);
  EXPECT_EQ(whole_graph(*opened), whole_graph(*c.db()));
  EXPECT_TRUE(bytes_of(*opened) == bytes);
}

TEST(DatabaseRoundTrip, OfADeviceWithoutAGraphGivesNone) {
  test_model::FABRIC_CASE c(3);
  const auto opened = open_bytes(bytes_of(*c.db()));
  EXPECT_EQ(opened->get_routing_template_graph()->get_num_nodes(), 0U);
  BUILD_CASE from_file(open_bytes(bytes_of(*c.db())));
  from_file.build();
  c.build();
  EXPECT_EQ(whole_graph(*from_file.db()), whole_graph(*c.db()));
}

TEST(DatabaseRoundTrip, IsNotBegunWhereTheGraphCouldNotBeOpenedAgain) {
  BUILD_CASE c(R"(
    module MUX
      ports >a <o
    module TOP top
      inst m MUX header
      inst k MUX header
      net n m.o k.a
      net l k.o m.a
  )");
  c.arcs("MUX", {"a"}, "o");
  c.build();
  ASSERT_EQ(c.edges().size(), 2U);
  test_model::STORAGE_DAMAGE(*c.db()).empty_last_node(); // edges to it lead nowhere
  try {
    bytes_of(*c.db());
    FAIL() << "an edge leads nowhere";
  } catch (const KEP_DB_ERROR& error) {
    EXPECT_STREQ(error.what(), "graph: an edge leads where no node stands");
  }
}

TEST(DatabaseRoundTrip, KeepsWhatIsAddedAfterOpening) {
  test_model::FABRIC_CASE c(5);
  c.build();
  const auto opened = open_bytes(bytes_of(*c.db()));
  KEP_MODULE* top = opened->get_top_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
  KEP_ROUTING_PRIMITIVE* store = opened->get_routing_template_graph()->get_routing_primitive();
  store->add_is_not_template(top);
  store->add_routing_root(top);
  const auto again = open_bytes(bytes_of(*opened));
  const KEP_ROUTING_PRIMITIVE* kept = again->get_routing_template_graph()->find_routing_primitive();
  EXPECT_TRUE(kept->is_not_template(again->get_top_module(KEP_VIEW_TYPE::DEFAULT_VIEW)));
  bool is_root = false;
  for (const KEP_MODULE* module : kept->iter_routing_roots(true))
    is_root = is_root || module == again->get_top_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
  EXPECT_TRUE(is_root);
}

} // namespace round_trip_test
