// Algorithms of Boost.Graph on the graph of a real device.

#include "kep/kep_boost_graph.h"
#include "kep/kep_paths.h"
#include "kep_io/kep_model_reader.h"
#include "kep_io/kep_routing_reader.h"
#include "kep_report/kep_report_capture.h"
#include "kep_rg/kep_rg_build.h"
#include "kep_rg/kep_rg_parse.h"
#include "tests/support/boost_graph_answers.h"
#include "tests/tool/import_icebox/icebox_fixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace boost_graph_on_a_chip_test {

using KEP_ROUTING::NUMBERED_GRAPH;
using test_model::ANSWERS;
using test_model::FAR;

class BoostGraphOnAChip : public Icebox {
protected:
  std::unique_ptr<KEP_DB> build(const std::string& chip) {
    import_icebox(chip, path("model.json"), path("routing.jsonl"));
    std::unique_ptr<KEP_DB> db = kep_read_model(path("model.json"));
    KEP_RG_PARSE parse(db.get());
    kep_read_routing(db.get(), parse, path("routing.jsonl"));
    const KEP_REPORT_CAPTURE quiet;
    KEP_RG_BUILD(db.get(), KEP_RG_BUILD_PARAMS().set_num_threads(2)).build();
    return db;
  }
};

std::uint32_t find(const NUMBERED_GRAPH& graph, const std::string& name) {
  const auto [begin, end] = vertices(graph);
  const auto found = std::find_if(begin, end, [&](std::uint32_t vertex) {
    return graph.get_graph().get_node(vertex).get_name(KEP_NAME_STYLE()) == name;
  });
  EXPECT_NE(found, end) << name;
  return *found;
}

TEST_F(BoostGraphOnAChip, AnswersAsAFlatCopy) {
  const std::string chip = "/usr/share/fpga-icestorm/chipdb/chipdb-384.txt";
  if (!std::filesystem::exists(chip)) GTEST_SKIP() << chip << " is not there";
  const std::unique_ptr<KEP_DB> db = build(chip);
  const NUMBERED_GRAPH graph(*db->get_routing_template_graph());
  const std::uint32_t start = find(graph, "1_1/bel.lutff_0:out");
  const std::uint32_t goal = find(graph, "6_8/bel.lutff_3:in_2");
  const ANSWERS answers = test_model::ask(graph, start, goal);
  EXPECT_EQ(answers, test_model::ask(test_model::make_flat_copy(graph.get_graph()), start, goal));
  EXPECT_GT(answers.m_way.size(), 5U);
  EXPECT_GT(std::count_if(answers.m_steps.begin(), answers.m_steps.end(),
                          [](std::uint32_t steps) { return steps != FAR; }),
            8000);
  for (std::uint32_t node = 0; node < graph.get_num_nodes(); node += 40) {
    const KEP_ROUTING::SHORTEST_PATHS paths = KEP_ROUTING::find_shortest_paths(graph, {start}, {node});
    EXPECT_EQ(paths ? paths.m_edges.size() : FAR, answers.m_steps[node]) << node;
  }
  // Most nodes are components of their own; the fabric is a large one.
  EXPECT_GT(graph.get_num_nodes() - answers.m_num_components, 2000U);
}

} // namespace boost_graph_on_a_chip_test
