// One module of muxes: random ones, near ones, those of one net, those of a chain.

#include "tests/tool/generate/generate_fixture.h"

#include <gmock/gmock.h>

#include <set>

namespace generate_flat_test {

using testing::Each;
using testing::SizeIs;

class GenerateFlat : public Generate {
protected:
  /// Which muxes a mux reads, by number; empty where it takes its signals from outside.
  std::vector<std::vector<int>> read_sources(std::uint64_t nodes) {
    const GENERATED_MODEL model = read_model();
    const auto& cells = model.at("device").m_cells;
    std::map<std::string, int> mux_of_bit;
    for (std::uint64_t mux = 0; mux != nodes; ++mux)
      mux_of_bit[cells.at(fmt::format("m{}", mux)).m_connections.at("o").at(0)] = static_cast<int>(mux);
    EXPECT_THAT(mux_of_bit, SizeIs(nodes));
    std::vector<std::vector<int>> sources(nodes);
    for (std::uint64_t mux = 0; mux != nodes; ++mux)
      for (const std::string& bit : cells.at(fmt::format("m{}", mux)).m_connections.at("i"))
        if (bit != "x") sources[mux].push_back(mux_of_bit.at(bit));
    return sources;
  }
};

TEST_F(GenerateFlat, AMuxReadsSoManyOthersNoneTwice) {
  for (const GENERATE_FORM form : {GENERATE_FORM::RANDOM, GENERATE_FORM::NEAR}) {
    GENERATE_OPTIONS options = small(form);
    options.m_inputs = 7;
    EXPECT_EQ(make_and_count(options), 1000U);
    EXPECT_EQ(count_statements("add_port_edge"), 7U);
    const std::vector<std::vector<int>> sources = read_sources(1000);
    for (int mux = 0; mux != 1000; ++mux) {
      const auto& read = sources[static_cast<std::size_t>(mux)];
      EXPECT_EQ(read.size(), mux % 100 == 0 ? 0U : 7U) << mux;
      EXPECT_EQ(std::set<int>(read.begin(), read.end()).size(), read.size()) << mux;
      EXPECT_THAT(read, Each(testing::Ne(mux)));
    }
  }
}

TEST_F(GenerateFlat, NearMuxesAreFiftyApartAtMostAndRandomOnesAnywhere) {
  for (const GENERATE_FORM form : {GENERATE_FORM::RANDOM, GENERATE_FORM::NEAR}) {
    make(small(form));
    const std::vector<std::vector<int>> sources = read_sources(1000);
    std::set<int> distances;
    for (int mux = 0; mux != 1000; ++mux)
      for (const int source : sources[static_cast<std::size_t>(mux)])
        distances.insert((source - mux + 1500) % 1000 - 500); // around the end of the row
    EXPECT_FALSE(distances.contains(0));
    if (form == GENERATE_FORM::NEAR) {
      EXPECT_THAT(distances, SizeIs(100));
      EXPECT_EQ(*distances.begin(), -50);
      EXPECT_EQ(*distances.rbegin(), 50);
    } else {
      EXPECT_GT(distances.size(), 990U);
    }
  }
}

TEST_F(GenerateFlat, AnotherSeedGivesOtherSources) {
  for (const GENERATE_FORM form : {GENERATE_FORM::RANDOM, GENERATE_FORM::NEAR}) {
    GENERATE_OPTIONS options = small(form);
    make(options);
    const std::string model = read("model.json");
    options.m_seed = 2;
    make(options);
    EXPECT_NE(read("model.json"), model);
  }
}

TEST_F(GenerateFlat, OneHalfOfTheMuxesDrivesTheNetThatTheOtherHalfReads) {
  GENERATE_OPTIONS options = small(GENERATE_FORM::NET);
  options.m_nodes = 11; // the odd one is left out
  EXPECT_EQ(make_and_count(options), 10U);
  const auto cells = read_model().at("device").m_cells;
  const GENERATE_BITS net = cells.at("driver0").m_connections.at("o");
  for (int i = 0; i != 5; ++i) {
    EXPECT_EQ(cells.at(fmt::format("driver{}", i)).m_connections.at("o"), net);
    EXPECT_EQ(cells.at(fmt::format("reader{}", i)).m_connections.at("i"), net);
    EXPECT_NE(cells.at(fmt::format("reader{}", i)).m_connections.at("o"), net);
  }
}

TEST_F(GenerateFlat, AChainLeadsOnThroughAMuxOrPastIt) {
  GENERATE_OPTIONS options = small(GENERATE_FORM::CHAIN);
  options.m_nodes = 5;
  EXPECT_EQ(make_and_count(options), 5U);
  EXPECT_EQ(count_statements("set_skip_paths"), 1U);
  const auto cells = read_model().at("device").m_cells;
  EXPECT_THAT(cells, SizeIs(10));
  for (int i = 0; i != 5; ++i) {
    const auto& mux = cells.at(fmt::format("m{}", i)).m_connections;
    const auto& skip = cells.at(fmt::format("skip{}", i)).m_connections;
    EXPECT_EQ(skip.at("i"), (GENERATE_BITS{mux.at("i")[0], mux.at("o")[0]}));
    if (i != 4) {
      EXPECT_EQ(skip.at("o"), cells.at(fmt::format("m{}", i + 1)).m_connections.at("i"));
    }
  }
}

} // namespace generate_flat_test
