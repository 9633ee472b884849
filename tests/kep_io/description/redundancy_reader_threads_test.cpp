#include "kep/kep_routing_graph.h"
#include "kep_io/kep_model_reader.h"
#include "kep_io/kep_redundancy_reader.h"
#include "kep_io/kep_routing_reader.h"
#include "kep_report/kep_report_capture.h"
#include "kep_rg/kep_rg_build.h"
#include "kep_rg/kep_rg_parse.h"
#include "kep_rg/kep_rg_parse_redundancy.h"
#include "tests/support/io_test_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tbb/global_control.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace redundancy_reader_threads_test {

using testing::IsEmpty;

std::vector<std::string> sorted_lines(const std::string& path) {
  std::ifstream file(path);
  EXPECT_TRUE(file) << path;
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);)
    lines.push_back(line);
  std::sort(lines.begin(), lines.end());
  return lines;
}

std::string cells_of(const KEP_ROUTING::NODE& node) {
  return node.get_name(KEP_NAME_STYLE()) + (node.is_boundary() ? "\tboundary"
                                            : node.is_hipi()   ? "\thipi"
                                                               : "\tuip");
}

std::vector<std::string> edge_lines(const KEP_DB& db) {
  std::vector<std::string> lines{"from\tfrom_kind\tto\tto_kind\tclass\tmux_input"};
  for (const KEP_ROUTING::NODE& node : db.get_routing_template_graph()->iter_nodes()) {
    const auto add = [&](const auto& edges, const char* name) {
      for (const KEP_ROUTING::FWD_EDGE& edge : edges)
        lines.push_back(cells_of(node) + "\t" + cells_of(edge.get_fanout()) + "\t" + name + "\t" +
                        edge.get_mux_input().get_name(KEP_NAME_STYLE()));
    };
    add(node.iter_real_fanout(), "real");
    add(node.iter_redundant_fanout(), "redundant");
  }
  std::sort(lines.begin(), lines.end());
  return lines;
}

TEST(RedundancyReaderThreads, LeadFromTheTextToTheRedundantEdgesWorkedOutByHand) {
  const std::string folder = std::string(KEP_TEST_DATA_DIR) + "/examples/redundant_inputs/";
  const tbb::global_control eight(tbb::global_control::max_allowed_parallelism, 8);
  for (const int threads : {1, 2, 8}) {
    KEP_REPORT_CAPTURE capture;
    const std::unique_ptr<KEP_DB> db = kep_read_model(folder + "model.json");
    KEP_RG_PARSE parse(db.get());
    kep_read_routing(db.get(), parse, folder + "routing.jsonl");
    KEP_RG_PARSE_REDUNDANCY redundancy(db.get(), static_cast<int>(KEP_VIEW_TYPE::LOGICAL),
                                       KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank, threads);
    EXPECT_THAT(kep_read_redundancy(db.get(), redundancy, folder + "redundancy.txt"), IsEmpty());
    KEP_RG_BUILD(db.get(), KEP_RG_BUILD_PARAMS().set_num_threads(threads)).build();
    EXPECT_EQ(edge_lines(*db), sorted_lines(folder + "expected/edges.tsv"));
  }
}

} // namespace redundancy_reader_threads_test
