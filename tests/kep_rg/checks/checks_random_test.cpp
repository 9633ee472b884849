#include "kep_rg/kep_rg_findings.h"
#include "tests/kep_rg/checks/naive_checks.h"
#include "tests/kep_rg/checks/naive_trace.h"
#include "tests/support/build_case.h"
#include "tests/support/check_report.h"
#include "tests/support/damaged_graph.h"
#include "tests/support/fabric_case.h"
#include "tests/support/naive_hierarchy.h"
#include "tests/support/random_model.h"
#include "tests/support/seeds.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace checks_random_test {

using test_model::CHECK_REPORT;
using test_model::EDITED_GRAPH;
using test_model::FABRIC_CASE;
using test_model::NAIVE_CHECKS;
using test_model::NAIVE_TRACE;
using test_model::RANDOM_SOURCE;
using test_model::rule_line;
using test_model::run_check;
using test_model::SEEDS;

using LINES = std::vector<std::string>;

struct SEEN {
  std::uint64_t m_graphs = 0, m_doubled = 0, m_few = 0, m_hipi = 0, m_unreachable = 0, m_connected = 0,
                m_several = 0; // nodes and fanouts of doubled edges
};

void compare_connectivity(KEP_DB& db, const NAIVE_CHECKS& naive, SEEN& seen) {
  const std::vector<KEP_ROUTING::NODE> unreachable = naive.unreachable();
  const CHECK_REPORT quiet = run_check(db, &KEP_RG_POST_CHECKS::test_graph_connectivity);
  const CHECK_REPORT verbose = run_check(db, &KEP_RG_POST_CHECKS::test_graph_connectivity, true);
  EXPECT_EQ(quiet.m_result, unreachable.empty());
  EXPECT_EQ(verbose.m_result, unreachable.empty());
  ASSERT_GE(verbose.m_infos.size(), 2U);
  LINES names;
  for (const KEP_ROUTING::NODE& node : unreachable)
    names.push_back(node.get_unfolded_inst_port().get_name({}));
  EXPECT_EQ(LINES(verbose.m_infos.begin() + (unreachable.empty() ? 2 : 3), verbose.m_infos.end()), names);

  LINES errors;
  if (!unreachable.empty()) errors.push_back(rule_line("RG-UNREACHABLE-ROUTING-NODES", {"1"}));
  EXPECT_EQ(quiet.m_errors, errors);
  if (!errors.empty())
    errors[0] = rule_line("RG-UNREACHABLE-ROUTING-NODES", {std::to_string(unreachable.size())});
  const std::uint64_t total = db.get_routing_template_graph()->get_num_nodes();
  if (total != 0) {
    const double percentage = static_cast<double>(naive.num_inputs()) * 100.0 / static_cast<double>(total);
    errors.insert(errors.begin(),
                  fmt::format("Found a total of {} input nodes, representing a {:.3f} % of the "
                              "total nodes ('{}') in the graph.",
                              naive.num_inputs(), percentage, total));
    EXPECT_EQ(verbose.m_errors, errors);
  }
  seen.m_unreachable += unreachable.size();
  seen.m_connected += unreachable.empty();
}

std::string text_of(const KEP_ROUTING::NODE& node) {
  return node.get_name({}) + (node.is_hipi() ? " (hipi)" : "");
}

/// The texts of the findings; all of them are kept, and in the order of the graph.
LINES texts_of(const KEP_ROUTING::GRAPH& graph, const KEP_RG_FINDINGS& findings) {
  EXPECT_EQ(findings.m_num, findings.m_first.size());
  EXPECT_TRUE(std::is_sorted(findings.m_first.begin(), findings.m_first.end()));
  LINES texts;
  for (const KEP_RG_FINDINGS::PLACE& place : findings.m_first)
    texts.push_back(kep_rg_get_finding(graph, findings.m_kind, place).m_text);
  return texts;
}

/// Findings are there exactly where a check says false, and are as many as there are.
void compare_findings(KEP_DB& db, const NAIVE_CHECKS& naive, SEEN& seen) {
  const KEP_ROUTING::GRAPH& graph = *db.get_routing_template_graph();
  constexpr std::size_t ALL = std::numeric_limits<std::size_t>::max();
  KEP_RG_POST_CHECKS checks(&db, false);
  KEP_REPORT_CAPTURE capture;

  LINES doubled;
  for (const NAIVE_CHECKS::DOUBLED& each : naive.doubled())
    doubled.push_back(fmt::format("{} real edges from {} to {}, beside redundant ones", each.m_count,
                                  text_of(each.m_from), text_of(each.m_to)));
  EXPECT_THAT(texts_of(graph, kep_rg_find_doubled_edges(graph, ALL)),
              testing::UnorderedElementsAreArray(doubled));
  EXPECT_EQ(doubled.empty(), checks.test_redundant_edges());

  EXPECT_EQ(kep_rg_find_few_redundant_edges(graph).m_num == 0, checks.test_redundant_edge_count());

  std::vector<KEP_ROUTING::NODE> wrong;
  for (const auto& [node, condition] : naive.hipi())
    wrong.push_back(node);
  const KEP_RG_FINDINGS hipi = kep_rg_find_hipi_order(graph, ALL);
  std::vector<KEP_ROUTING::NODE> found;
  for (const KEP_RG_FINDINGS::PLACE& place : hipi.m_first)
    found.push_back(kep_rg_get_finding(graph, hipi.m_kind, place).m_node);
  EXPECT_EQ(found, wrong);
  EXPECT_EQ(hipi.m_num == 0, checks.test_hipi_api());

  LINES unreachable;
  for (const KEP_ROUTING::NODE& node : naive.unreachable())
    unreachable.push_back("Unreachable node " + text_of(node));
  EXPECT_EQ(texts_of(graph, kep_rg_find_unreachable_nodes(graph, ALL)), unreachable);
  EXPECT_EQ(unreachable.empty(), checks.test_graph_connectivity());
  seen.m_several += doubled.size() > 1;
}

void compare(KEP_DB& db, SEEN& seen) {
  const NAIVE_CHECKS naive(db);
  const auto expect = [&](test_model::POST_CHECK check, const LINES& lines, std::uint64_t& count) {
    for (const bool verbose : {false, true}) {
      const CHECK_REPORT report = run_check(db, check, verbose);
      EXPECT_EQ(report.m_result, lines.empty());
      EXPECT_EQ(report.m_errors, lines);
    }
    count += lines.size();
  };
  expect(&KEP_RG_POST_CHECKS::test_redundant_edges, naive.redundant_edges(), seen.m_doubled);
  expect(&KEP_RG_POST_CHECKS::test_redundant_edge_count, naive.redundant_edge_count(), seen.m_few);
  expect(&KEP_RG_POST_CHECKS::test_hipi_api, naive.hipi_api(), seen.m_hipi);
  compare_connectivity(db, naive, seen);
  compare_findings(db, naive, seen);
  ++seen.m_graphs;
}

TEST(ChecksBesideANaiveModel, SayTheSameOfRandomDevices) {
  SEEN seen;
  const std::uint64_t seeds = 400;
  for (const std::uint64_t seed : SEEDS(1, seeds)) {
    FABRIC_CASE c(seed);
    c.build();
    compare(*c.db(), seen);
    EXPECT_TRUE(run_check(*c.db(), &KEP_RG_POST_CHECKS::test_hipi_api).m_result) << "a build is sound";
    if (HasFailure()) FAIL() << c.text();
  }
  EXPECT_GT(seen.m_few, seeds / 4);
  EXPECT_LT(seen.m_few, seeds);
  EXPECT_LT(seen.m_doubled, seeds / 4) << "only where a driver reaches two inputs of one mux";
  EXPECT_GT(seen.m_unreachable, seeds);
  EXPECT_GT(seen.m_connected, seeds / 10);
}

/// Nodes at random places in any view, twins and boundary nodes among them, with edges between any of them.
EDITED_GRAPH random_graph(KEP_DB& db, std::uint64_t seed, unsigned most_edges = 4) {
  RANDOM_SOURCE random(seed);
  EDITED_GRAPH graph(db);
  const test_model::NAIVE_HIERARCHY hierarchy(db);
  const unsigned share = 5 + random.below(60);
  for (const test_model::NAIVE_OCCURRENCE* at : hierarchy.all())
    for (const KEP_UNFOLDED_INSTANCE& instance : at->m_value.iter_instances())
      for (const KEP_UNFOLDED_INST_PORT& uip : instance.iter_inst_ports()) {
        if (random.percent(share)) graph.nodes().push_back({uip});
        if (random.percent(share / 4)) graph.nodes().push_back({uip, nullptr, true});
      }
  for (const KEP_PORT* port : hierarchy.tops()[0]->m_module->iter_ports())
    if (random.percent(60)) graph.nodes().push_back({{}, port});
  const unsigned isolated = random.below(100);
  const unsigned redundant = random.percent(30) ? 4 : 25;
  const unsigned most = 1 + random.below(most_edges);
  for (EDITED_GRAPH::NODE& node : graph.nodes()) {
    if (random.percent(isolated)) continue;
    for (unsigned i = random.below(most + 1); i != 0; --i)
      node.edges(random.percent(redundant)).push_back({random.below(graph.nodes().size()), {}});
  }
  // Mostly sound twins, else one finding would hide all others.
  if (random.percent(70))
    for (std::size_t twin = 0; twin != graph.nodes().size(); ++twin) {
      EDITED_GRAPH::NODE& node = graph.nodes()[twin];
      if (!node.m_is_hipi || random.percent(5)) continue;
      node.m_real.clear();
      node.m_redundant.clear();
      for (std::size_t plain = 0; plain != graph.nodes().size(); ++plain)
        if (graph.nodes()[plain].m_uip == node.m_uip && plain != twin) node.m_real = {{plain, {}}};
    }
  return graph;
}

TEST(ChecksBesideANaiveModel, SayTheSameOfRandomGraphsOnRandomModels) {
  SEEN seen;
  const std::uint64_t seeds = 1500;
  for (const std::uint64_t seed : SEEDS(1, seeds)) {
    const auto db = test_model::make_random_db(seed);
    random_graph(*db, seed).publish();
    compare(*db, seen);
    if (HasFailure()) FAIL() << test_model::whole_graph(*db);
  }
  EXPECT_GT(seen.m_doubled, seeds / 20);
  EXPECT_GT(seen.m_few, seeds / 10);
  EXPECT_LT(seen.m_few, seeds);
  EXPECT_GT(seen.m_hipi, seeds / 10);
  EXPECT_GT(seen.m_unreachable, seeds);
  EXPECT_GT(seen.m_connected, seeds / 10);
}

TEST(ChecksBesideANaiveModel, SayTheSameOfDenseGraphsWithSeveralDoubledEdges) {
  SEEN seen;
  const std::uint64_t seeds = 300;
  for (const std::uint64_t seed : SEEDS(1, seeds)) {
    const auto db = test_model::make_random_db(seed);
    random_graph(*db, seed, 40).publish();
    compare(*db, seen);
    if (HasFailure()) FAIL() << test_model::whole_graph(*db);
  }
  EXPECT_GT(seen.m_several, seeds / 10);
}

struct TRACES_SEEN {
  std::uint64_t m_traced = 0, m_not_found = 0, m_long = 0, m_bad = 0, m_verified = 0, m_asserted = 0,
                m_tunnels = 0;
};

/// All that verifying the graph says; or the expression of the assertion that ends it.
LINES verify_all(KEP_RG_TRACE_EDGE& tracer) {
  LINES lines;
  const CHECK_REPORT report = test_model::report_of([&] {
    try {
      return tracer.verify_all_edge_traces();
    } catch (const KEP_REPORT_ASSERTION_FAILURE& failure) {
      lines.push_back(failure.get_assertion().get_expression());
      return false;
    }
  });
  EXPECT_TRUE(report.m_infos.empty());
  return lines.empty() ? report.m_errors : lines;
}

std::string text_of(const NAIVE_TRACE::UIPS& trace) {
  std::string text = "found";
  for (const KEP_UNFOLDED_INST_PORT& each : trace)
    text += " " + test_model::name_of(each);
  return text;
}

/// Follows one trace by itself: verifying them all ends at the first bad one.
void compare_followed(const NAIVE_TRACE& naive, KEP_RG_TRACE_EDGE& tracer, const KEP_ROUTING::NODE& node,
                      const NAIVE_TRACE::UIPS& trace, TRACES_SEEN& seen) {
  const std::string line = naive.follow(node, trace);
  if (line == "uip_net") {
    ++seen.m_asserted;
    return;
  }
  const CHECK_REPORT report =
      test_model::report_of([&] { return KEP_RG_TEST_ACCESS::verify_trace_edge(tracer, node, trace); });
  EXPECT_EQ(report.m_errors, line.empty() ? LINES() : LINES{line});
  EXPECT_EQ(report.m_result, line.empty());
  seen.m_bad += !line.empty();
  seen.m_verified += line.empty();
}

void compare_trace(const NAIVE_TRACE& naive, KEP_RG_TRACE_EDGE& tracer, const KEP_ROUTING::NODE& node,
                   const KEP_ROUTING::NODE& to, TRACES_SEEN& seen) {
  std::optional<NAIVE_TRACE::UIPS> expected;
  if (!to.is_boundary()) expected = naive.trace(node, to, NAIVE_TRACE::first_mux_input(node, to));
  NAIVE_TRACE::UIPS trace;
  const CHECK_REPORT report = test_model::report_of([&] { return tracer.trace_edge(node, to, trace); });
  EXPECT_TRUE(report.is_silent());
  EXPECT_EQ(report.m_result ? text_of(trace) : "not found", expected ? text_of(*expected) : "not found")
      << test_model::text_of(node) << " to " << test_model::text_of(to);
  if (!expected) {
    ++seen.m_not_found;
    return;
  }
  ++seen.m_traced;
  seen.m_long += expected->size() > 3;
  compare_followed(naive, tracer, node, *expected, seen);
}

void compare_traces(BUILD_CASE& c, TRACES_SEEN& seen) {
  const KEP_DB_ROUTING_PRIMITIVE_CACHE& cache = *c.parse().find_routing_primitive_cache();
  const NAIVE_TRACE naive(*c.db(), cache);
  KEP_RG_TRACE_EDGE tracer(c.db(), cache);
  for (const KEP_ROUTING::NODE& node : c.db()->get_routing_template_graph()->iter_nodes())
    if (!node.is_boundary())
      for (const KEP_ROUTING::FWD_EDGE& edge : node.iter_all_fanout())
        compare_trace(naive, tracer, node, edge.get_fanout(), seen);
  EXPECT_EQ(verify_all(tracer), naive.verify_all(*c.db()));
}

/// Some edges lead somewhere else, or through some other uip beside their target.
void damage(EDITED_GRAPH& graph, RANDOM_SOURCE& random) {
  for (EDITED_GRAPH::NODE& node : graph.nodes())
    for (EDITED_GRAPH::EDGE& edge : node.edges(random.percent(20))) {
      if (random.percent(10)) edge.m_to = random.below(graph.nodes().size());
      if (random.percent(10)) edge.m_mux_input = {};
      const KEP_UNFOLDED_INST_PORT to = graph.nodes()[edge.m_to].m_uip;
      if (!to || !random.percent(20)) continue;
      const auto beside = to.get_unfolded_instance().iter_inst_ports();
      const std::vector<KEP_UNFOLDED_INST_PORT> uips(beside.begin(), beside.end());
      edge.m_mux_input = random.pick(uips);
    }
}

TEST(TracesBesideANaiveModel, AreTheSameForRandomDevicesSoundAndDamaged) {
  TRACES_SEEN seen;
  const std::uint64_t seeds = 250;
  for (const std::uint64_t seed : SEEDS(1, seeds)) {
    RANDOM_SOURCE random(seed);
    FABRIC_CASE c(seed);
    if (random.percent(50))
      for (KEP_MODULE* module : c.db()->iter_modules(true))
        c.parse().add_tunnel_type(module, static_cast<KEP_ROUTING_PRIMITIVE_TUNNEL>(random.below(4)));
    c.build();
    compare_traces(c, seen);
    EDITED_GRAPH graph = EDITED_GRAPH::read(*c.db());
    damage(graph, random);
    graph.publish();
    compare_traces(c, seen);
    if (HasFailure()) FAIL() << c.text();
  }
  EXPECT_GT(seen.m_traced, 10 * seeds);
  EXPECT_GT(seen.m_long, seeds);
  EXPECT_GT(seen.m_not_found, seeds);
  EXPECT_GT(seen.m_verified, seeds);
  EXPECT_GT(seen.m_bad, seeds);
  EXPECT_GT(seen.m_asserted, seeds / 20);
}

} // namespace checks_random_test
