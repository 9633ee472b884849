// KEP_RG_PROOF: which nodes should stand, and faults in what a build makes of a description.

#include "kep_io/kep_model_reader.h"
#include "kep_io/kep_routing_reader.h"
#include "kep_rg/kep_rg_proof.h"
#include "tests/support/build_case.h"
#include "tests/support/damaged_graph.h"
#include "tests/support/random_device.h"
#include "tests/support/random_model.h"
#include "tests/support/seeds.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace proof_test {

using test_model::EDITED_GRAPH;
using test_model::number_from_environment;
using test_model::RANDOM_DEVICE;
using test_model::RANDOM_SOURCE;
using test_model::SEEDS;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> texts_of(const KEP_RG_PROOF::RESULT& result) {
  std::vector<std::string> texts;
  for (const KEP_RG_PROOF::NODE_FINDING& finding : result.m_node_findings)
    texts.push_back(std::string(finding.m_is_missing ? "missing " : "surplus ") +
                    finding.get_name(KEP_NAME_STYLE()) + (finding.m_is_hipi ? "*" : ""));
  for (const KEP_RG_PROOF::EDGE_FINDING& finding : result.m_edge_findings)
    texts.push_back(std::string(finding.m_is_missing ? "missing " : "surplus ") +
                    test_model::text_of(finding.m_from) + (finding.m_is_redundant ? " ~> " : " -> ") +
                    test_model::text_of(finding.m_to));
  return texts;
}

std::vector<std::string> findings_of(KEP_DB& db) {
  return texts_of(KEP_RG_PROOF(&db).run(1));
}

/// A random device whose lowest level is an IP root that is used again and again, with removed ports, wire
/// types and a pattern of muxes that are skip paths.
class ROOTED_DEVICE {
public:
  explicit ROOTED_DEVICE(std::uint64_t seed)
      : m_device(seed), m_random(seed + 1), m_case(make_text(m_device, seed % 4 == 0)) {
    m_device.describe(m_case);
    m_case.parse().add_routing_root(m_case.model().module("LEVEL0"), 0);
    for (const char* key : {"PIN", "MUX", "BUFFER"})
      for (KEP_PORT* port : m_case.model().module(key)->iter_ports())
        if (m_random.percent(20)) m_case.store()->add_remove_node(port);
    if (m_random.percent(30)) m_case.parse().set_non_template_mux_skip_path_inst_name_pattern("i3");
    for (unsigned i = m_random.below(6); i != 0; --i)
      add_wire_type();
    for (const char* key : {"MUX", "PIN", "LEVEL0"}) // ports of modules themselves, wherever they stand
      if (m_random.percent(20))
        m_case.db()
            ->find_or_create_relative_paths("redundancy")
            .find_or_create_paths_for_module(m_case.model().module(key))
            .add_path({}, m_case.model().module(key)->get_port_by_index(0));
  }

  BUILD_CASE& get_case() { return m_case; }
  /// False where the build refuses the device: an IP root that is not routed has a header and no port list.
  bool build() {
    try {
      m_case.build();
    } catch (const KEP_RUNTIME_ERROR&) {
      return false;
    }
    return true;
  }

private:
  /// Now and then some modules lie in another database, and the top is that of a device.
  static std::string make_text(const RANDOM_DEVICE& device, bool is_foreign) {
    std::string text = device.text();
    const auto insert_behind = [&text](const std::string& words, const std::string& flag) {
      text.insert(text.find(words) + words.size(), flag);
    };
    insert_behind("module LEVEL0 ", "ip_root ");
    if (!is_foreign) return text;
    insert_behind("module TARGET", " foreign");
    insert_behind("module PIN", " foreign");
    insert_behind("module TOP ", "device_top ");
    return text;
  }

  /// Of a port of a mux at one place below one of the modules above it, or at all of its places.
  void add_wire_type() {
    std::vector<KEP_INSTANCE*> chain;
    KEP_UNFOLDED_MODULE module = m_case.db()->get_top_unfolded_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
    while (module && module.m_object->get_num_instances() != 0) {
      KEP_INSTANCE* instance =
          module.m_object->get_instance_by_index(m_random.below(module.m_object->get_num_instances()));
      chain.push_back(instance);
      module = KEP_UNFOLDED_INSTANCE(find_place(module), instance).get_module(KEP_VIEW_TYPE::LOGICAL);
    }
    KEP_MODULE* master = chain.back()->get_module();
    const auto levels = static_cast<std::ptrdiff_t>(m_random.below(chain.size() + 1));
    chain.erase(chain.begin(), chain.begin() + levels);
    m_case.store()->add_wire_type(
        KEP_RELATIVE_PATH::create(chain, master->get_port_by_index(m_random.below(master->get_num_ports()))),
        "wire", static_cast<unsigned char>(m_random.below(4)));
  }
  static std::uint64_t find_place(const KEP_UNFOLDED_MODULE& module) {
    return (*module.iter_instances().begin()).m_position;
  }

  RANDOM_DEVICE m_device;
  RANDOM_SOURCE m_random;
  BUILD_CASE m_case;
};

TEST(Proof, FindsNothingInTheGraphsOfRandomDevicesWithIpRoots) {
  std::size_t num_nodes = 0;
  std::size_t num_lacking = 0; // devices where a use of an IP root lacks what another one has
  for (const std::uint64_t seed : SEEDS(1, 1500)) {
    ROOTED_DEVICE device(seed);
    BUILD_CASE& c = device.get_case();
    if (!device.build()) continue;
    ASSERT_THAT(findings_of(*c.db()), IsEmpty()) << test_model::describe(*c.db());
    num_nodes += c.nodes().size();
    for (const auto& [root, modules] : KEP_RG_TEST_ACCESS::module_has_nodes(c.builder()))
      for (const auto& [module, has_nodes] : modules)
        num_lacking += !has_nodes;
  }
  EXPECT_GT(num_nodes, 20000U);
  EXPECT_GT(num_lacking, 300U) << "so that the later uses are passed over";
}

TEST(Proof, NamesEveryNodeOfADeviceWhoseGraphWasNeverBuilt) {
  BUILD_CASE c(R"(
    module MUX
      ports >a <o
    module TOP top type=1
      ports <q
      inst m MUX header
      inst n MUX header
      net w m.o n.a
      net v n.o q
  )");
  c.arcs("MUX", {"a"}, "o", false, KEP_ROUTING_PRIMITIVE_HIPI::M);
  const KEP_RG_PROOF::RESULT result = KEP_RG_PROOF(c.db()).run(1);
  EXPECT_FALSE(result.is_sound());
  EXPECT_EQ(result.m_num_missing_nodes, 5U);
  EXPECT_THAT(texts_of(result),
              ElementsAre("missing :q", "missing m:o", "missing m:o*", "missing n:o", "missing n:o*"))
      << "edges stand and fall with their nodes";
  EXPECT_THAT(texts_of(KEP_RG_PROOF(c.db()).run(1, 2)), ElementsAre("missing :q", "missing m:o"));
  EXPECT_EQ(KEP_RG_PROOF(c.db()).run(2, 2).m_num_missing_nodes, 5U) << "the first are kept, and all counted";
}

TEST(Proof, TellsMissingNodesBeforeSurplusOnesAndCountsBoth) {
  BUILD_CASE c(R"(
    module MUX
      ports >a <o
    module TOP top
      inst m MUX header
      inst n MUX header
      net w m.o n.a
      net v n.o m.a
  )");
  c.arcs("MUX", {"a"}, "o");
  c.build();
  ASSERT_THAT(findings_of(*c.db()), IsEmpty());
  EDITED_GRAPH graph(*c.db(), {"m:o -> n:a via n:a", "n:a"});
  graph.publish();
  const KEP_RG_PROOF::RESULT result = KEP_RG_PROOF(c.db()).run(1);
  EXPECT_THAT(texts_of(result), ElementsAre("missing n:o", "surplus n:a"));
  EXPECT_EQ(result.m_num_missing_nodes, 1U);
  EXPECT_EQ(result.m_num_surplus_nodes, 1U);
  EXPECT_EQ(result.m_num_missing_edges + result.m_num_surplus_edges, 0U)
      << "those at a missing or a surplus node are not told apart";
}

/// A later use of an IP root lacks what is inserted on a module that has no nodes inside; its graph is sound,
/// and one that has these nodes is not.
TEST(Proof, KnowsThatAFurtherUseOfAnIpRootPassesOverModulesWithoutNodes) {
  BUILD_CASE c(R"(
    module PAD
      ports >x <y
    module ROOT ip_root
      ports >i <o
      inst p PAD
      net n i p.x
      net m p.y o
    module TOP top
      inst r0 ROOT
      inst r1 ROOT
      net a r0.o r1.i
      net b r1.o r0.i
  )");
  c.insert("PAD:y");
  c.parse().add_routing_root(c.model().module("ROOT"), 0);
  c.build();
  ASSERT_THAT(c.nodes(), ElementsAre("r0/p:y"));
  EXPECT_THAT(findings_of(*c.db()), IsEmpty());
  EDITED_GRAPH graph = EDITED_GRAPH::read(*c.db());
  graph.add("r1/p:y");
  graph.publish();
  EXPECT_THAT(findings_of(*c.db()), ElementsAre("surplus r1/p:y"));
}

/// The inserted port `s:x` ends connections, but not the one that begins there.
TEST(Proof, FollowsASkipPathThatBeginsAtTheNodeItself) {
  BUILD_CASE c(R"(
    module BOTH
      ports =x =y
    module MUX
      ports >a <o
    module TOP top
      inst s BOTH header
      inst m MUX header
      net n m.o s.x
      net w s.y m.a
  )");
  c.arcs("MUX", {"a"}, "o");
  c.arcs("BOTH", {"x"}, "y");
  c.insert("BOTH:x");
  c.parse().set_non_template_mux_skip_path_inst_name_pattern("s");
  c.build();
  EXPECT_THAT(c.edges(), testing::UnorderedElementsAre("m:o -> s:x", "s:x -> m:o via m:a"));
  EXPECT_THAT(findings_of(*c.db()), IsEmpty());
}

TEST(Proof, TellsAnEdgeToNowhereAsSurplus) {
  BUILD_CASE c(R"(
    module MUX
      ports >a <o
    module TOP top
      inst m MUX header
      inst n MUX header
      net w m.o n.a
      net v n.o m.a
  )");
  c.arcs("MUX", {"a"}, "o");
  c.build();
  ASSERT_THAT(c.edges(), testing::SizeIs(2));
  test_model::STORAGE_DAMAGE(*c.db()).empty_last_node();
  const KEP_RG_PROOF::RESULT result = KEP_RG_PROOF(c.db()).run(1);
  EXPECT_EQ(result.m_num_missing_edges, 1U);
  EXPECT_EQ(result.m_num_surplus_edges, 1U);
}

/// Faults in what a build makes of the description: an entry of one of its tables is dropped before the
/// build. Whenever the graph is another one for it, the proof says so.
///
///   KEP_RG_DIGEST_SEEDS=1000     random devices, 250 without it
///   KEP_RG_DAMAGE_TABLE=FILE     where the table of shares goes, "-" for the standard output
class DIGEST_DAMAGE {
public:
  explicit DIGEST_DAMAGE(std::string table) : m_table(std::move(table)) {}

  void try_on(BUILD_CASE& c, std::uint64_t seed) {
    c.drop_builder();
    c.build();
    const std::vector<std::string> sound = lines_of(c);
    c.drop_builder();
    RANDOM_SOURCE random(seed);
    bool is_built = true;
    c.report([&] {
      KEP_RG_BUILD& build = c.builder();
      if (m_table == "m_redundant_inputs") build.build_redundant_inputs();
      is_built = KEP_RG_TEST_ACCESS::drop_from_digest(build, m_table, random);
      try {
        if (is_built) build.build();
      } catch (const KEP_EXCEPTION&) { // a build that fails is seen without a proof
        is_built = false;
      }
    });
    if (!is_built || lines_of(c) == sound) return;
    ++m_num_damaged;
    const std::vector<std::string> findings = findings_of(*c.db());
    m_num_found += !findings.empty();
    EXPECT_THAT(findings, testing::Not(IsEmpty())) << m_table << ", seed " << seed;
  }

  /// Nodes and edges; the order of the fanouts is not the graph's.
  static std::vector<std::string> lines_of(const BUILD_CASE& c) {
    std::vector<std::string> lines = c.nodes();
    for (const std::string& edge : c.edges())
      lines.push_back(edge);
    std::sort(lines.begin(), lines.end());
    return lines;
  }

  std::string m_table;
  std::size_t m_num_damaged = 0;
  std::size_t m_num_found = 0;
};

std::unique_ptr<BUILD_CASE> read_example(const std::string& name) {
  const std::string path = std::string(KEP_TEST_DATA_DIR) + "/examples/" + name + "/";
  auto c = std::make_unique<BUILD_CASE>(kep_read_model(path + "model.json"));
  kep_read_routing(c->db(), c->parse(), path + "routing.jsonl");
  return c;
}

/// A mux with an arc that is a skip path, but on its one instance, and an arc of type t from an inserted
/// port: that edge ends at the plain node, since the output counts as inserted on an exception.
std::unique_ptr<BUILD_CASE> make_inserted_output() {
  auto c = std::make_unique<BUILD_CASE>(R"(
    module M
      ports >x >z =y
    module MUX
      ports >a <o
    module TOP top
      inst e M header
      inst m MUX header
      net w m.o e.z
      net v e.y m.a
  )");
  c->arcs("MUX", {"a"}, "o");
  c->arcs("M", {"x"}, "y", true);
  c->parse().set_skip_paths(c->model().instance("TOP/e"), false);
  c->arcs("M", {"z"}, "y", false, KEP_ROUTING_PRIMITIVE_HIPI::T);
  c->insert("M:z");
  return c;
}

TEST(Proof, FindsEveryFaultInTheDigestOfABuildThatChangesTheGraph) {
  std::vector<DIGEST_DAMAGE> damages;
  for (const char* table :
       {"m_module_to_ports", "m_all_inserted_ports", "m_module_to_inserted_ports",
        "m_module_to_removed_ports", "m_stop_modules", "m_routing_roots", "m_skip_path_ports",
        "m_skip_path_inst_ports", "m_dont_skip_path_inst_ports", "m_skip_path_sparerow_map",
        "m_ignored_ports", "m_inserted_inst_ports", "m_blc_bidir_buffers", "m_redundant_inputs"})
    damages.emplace_back(table);
  const auto try_all_on = [&](BUILD_CASE& c, std::uint64_t seed) {
    for (DIGEST_DAMAGE& damage : damages)
      damage.try_on(c, seed);
  };
  for (const std::uint64_t seed : SEEDS(1, number_from_environment("KEP_RG_DIGEST_SEEDS", 250)))
    if (ROOTED_DEVICE device(seed); device.build()) try_all_on(device.get_case(), seed);
  std::vector<std::unique_ptr<BUILD_CASE>> small;
  for (const char* name :
       {"plain_mux_chain", "skip_mux", "inserted_node", "hipi_twin", "blc_root", "top_ports_routed"})
    small.push_back(read_example(name));
  small.push_back(make_inserted_output());
  for (const std::unique_ptr<BUILD_CASE>& c : small)
    for (const std::uint64_t seed : SEEDS(1, 20))
      try_all_on(*c, seed);
  std::string table;
  for (const DIGEST_DAMAGE& damage : damages) {
    // An ignored output lies on an arc that is a skip path on every instance, which keeps it from being a
    // node as well: without it in the table the graph is the same.
    const bool shows = damage.m_table != "m_ignored_ports";
    EXPECT_EQ(damage.m_num_damaged != 0, shows) << "graphs that a fault in " << damage.m_table << " changes";
    table += "| `" + damage.m_table + "` | " + std::to_string(damage.m_num_damaged) + " | " +
             std::to_string(damage.m_num_found) + " |\n";
  }
  if (const char* path = std::getenv("KEP_RG_DAMAGE_TABLE"); path && std::string(path) == "-")
    std::fputs(table.c_str(), stdout);
}

} // namespace proof_test
