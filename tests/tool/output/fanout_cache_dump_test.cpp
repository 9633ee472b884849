// Builds with and without the fanout cache: the dumps are the same byte for byte, and the counters differ by
// what hits save and add.

#include "tests/support/build_access.h"
#include "tests/tool/generate/generate_fixture.h"
#include "tools/kep-rg/device/load_device.h"
#include "tools/kep-rg/output/dump.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

namespace fanout_cache_dump_test {

class FanoutCacheDump : public Generate {
protected:
  /// Builds the device and writes its dump into the folder.
  KEP_RG_EDGE_CREATION_STATS build(const DEVICE_OPTIONS& device, bool uses_cache, const std::string& folder) {
    const KEP_REPORT_CAPTURE capture;
    BUILD_STATS stats;
    const std::unique_ptr<KEP_DB> db = read_device(device, stats);
    KEP_RG_BUILD builder(db.get(), KEP_RG_BUILD_PARAMS().set_num_threads(device.m_num_threads));
    if (!uses_cache) KEP_RG_TEST_ACCESS::disable_fanout_cache(builder);
    builder.build();
    write_dump(*db->get_routing_template_graph(), path(folder));
    return builder.get_edge_stats();
  }
  /// Gives the hits.
  std::uint64_t compare(const DEVICE_OPTIONS& device) {
    const KEP_RG_EDGE_CREATION_STATS with = build(device, true, "with");
    const KEP_RG_EDGE_CREATION_STATS without = build(device, false, "without");
    EXPECT_NE(read("with/nodes.tsv"), "node\tkind\n");
    for (const std::string file : {"/nodes.tsv", "/edges.tsv"})
      EXPECT_TRUE(read("with" + file) == read("without" + file)) << file;
    EXPECT_EQ(without.n_cdrn_cache_hits, 0U);
    EXPECT_EQ(with.n_cdrn_cache_hits + with.n_cdrn_cache_misses, without.n_cdrn_cache_misses);
    for (const KEP_RG_EDGE_CREATION_STATS& each : {with, without})
      EXPECT_EQ(each.n_get_leaf_calls, 2 * each.n_cdrn_cache_misses + each.n_cdrn_cache_hits);
    EXPECT_EQ(with.n_get_leaf_fanouts, without.n_get_leaf_fanouts + with.n_cdrn_cache_hits);
    EXPECT_EQ(with.n_skip_port, without.n_skip_port);
    EXPECT_EQ(with.n_nodes, without.n_nodes);
    EXPECT_EQ(with.n_nodes_done, without.n_nodes_done);
    EXPECT_EQ(with.n_edges, without.n_edges);
    EXPECT_EQ(with.n_redundant_edges, without.n_redundant_edges);
    return with.n_cdrn_cache_hits;
  }
};

TEST_F(FanoutCacheDump, IsTheSameForEveryExampleDevice) {
  std::uint64_t hits = 0;
  std::size_t count = 0;
  for (const auto& example : std::filesystem::directory_iterator(KEP_TEST_DATA_DIR "/examples")) {
    SCOPED_TRACE(example.path().filename().string());
    DEVICE_OPTIONS device;
    device.m_model = (example.path() / "model.json").string();
    device.m_routing = {(example.path() / "routing.jsonl").string()};
    if (const auto data = example.path() / "redundancy.txt"; std::filesystem::exists(data))
      device.m_redundancy = {data.string()};
    hits += compare(device);
    ++count;
  }
  EXPECT_EQ(count, 10U);
  EXPECT_GT(hits, 0U);
}

TEST_F(FanoutCacheDump, IsTheSameForAFabricOfEverythingThatCanBeGenerated) {
  GENERATE_OPTIONS fabric;
  fabric.m_columns = {6};
  fabric.m_rows = {6};
  fabric.m_redundancy = path("redundancy.txt");
  fabric.m_redundant = fabric.m_hipi = fabric.m_skip = 20;
  fabric.m_tunnels = 2;
  fabric.m_spare_rows = 2;
  fabric.m_top_ports = true;
  make(fabric);
  DEVICE_OPTIONS device;
  device.m_model = path("model.json");
  device.m_routing = {path("routing.jsonl")};
  device.m_redundancy = {path("redundancy.txt")};
  for (const int threads : {1, 2}) {
    device.m_num_threads = threads;
    EXPECT_GT(compare(device), 1000U) << threads << " threads";
  }
  const std::string edges = read("with/edges.tsv");
  for (const char* what : {"\tredundant\t", "\thipi\t", "\tboundary\t", "tunnel"})
    EXPECT_NE(edges.find(what), std::string::npos) << what;
}

} // namespace fanout_cache_dump_test
