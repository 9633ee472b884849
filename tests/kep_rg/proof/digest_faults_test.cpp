// Faults in what a build makes of the description: an entry of one of its tables is dropped before the build.
// Whenever the graph is another one for it, the proof says so.
//
//   KEP_RG_DIGEST_SEEDS=1000     random devices, 250 without it
//   KEP_RG_DAMAGE_TABLE=-        shows how many graphs changed and how many of them were found

#include "tests/kep_rg/proof/proof_text.h"
#include "tests/kep_rg/proof/rooted_device.h"
#include "tests/support/example_device.h"
#include "tests/support/seeds.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace digest_faults_test {

using namespace proof;
using test_model::number_from_environment;
using test_model::SEEDS;

/// Nodes and edges; the order of the fanouts is not the graph's.
std::vector<std::string> lines_of(const BUILD_CASE& c) {
  std::vector<std::string> lines = c.nodes();
  for (const std::string& edge : c.edges())
    lines.push_back(edge);
  std::sort(lines.begin(), lines.end());
  return lines;
}

/// A table of the digest, and what came of dropping an entry of it.
struct FAULTY_TABLE {
  std::string m_name;
  std::size_t m_num_damaged = 0;
  std::size_t m_num_found = 0;

  /// False where the table is empty or the build fails, which is seen without a proof.
  bool build_without_an_entry(BUILD_CASE& c, std::uint64_t seed) const {
    c.drop_builder();
    test_model::RANDOM_SOURCE random(seed);
    bool is_built = false;
    c.report([&] {
      KEP_RG_BUILD& build = c.builder();
      if (m_name == "m_redundant_inputs") build.build_redundant_inputs();
      if (!KEP_RG_TEST_ACCESS::drop_from_digest(build, m_name, random)) return;
      try {
        build.build();
        is_built = true;
      } catch (const KEP_EXCEPTION&) {
      }
    });
    return is_built;
  }

  void try_on(BUILD_CASE& c, const std::vector<std::string>& sound, std::uint64_t seed) {
    if (!build_without_an_entry(c, seed) || lines_of(c) == sound) return;
    ++m_num_damaged;
    const std::vector<std::string> findings = findings_of(*c.db());
    m_num_found += !findings.empty();
    EXPECT_THAT(findings, testing::Not(testing::IsEmpty())) << m_name;
  }
};

class FAULTY_TABLES {
public:
  FAULTY_TABLES() {
    for (const char* name :
         {"m_module_to_ports", "m_all_inserted_ports", "m_module_to_inserted_ports",
          "m_module_to_removed_ports", "m_stop_modules", "m_routing_roots", "m_skip_path_ports",
          "m_skip_path_inst_ports", "m_dont_skip_path_inst_ports", "m_skip_path_sparerow_map",
          "m_ignored_ports", "m_inserted_inst_ports", "m_blc_bidir_buffers", "m_redundant_inputs"})
      m_tables.push_back({name});
  }

  /// The device is built; another seed drops another entry.
  void try_on(BUILD_CASE& c, std::uint64_t first_seed, std::uint64_t num_seeds) {
    const std::vector<std::string> sound = lines_of(c);
    for (const std::uint64_t seed : SEEDS(first_seed, num_seeds))
      for (FAULTY_TABLE& table : m_tables)
        table.try_on(c, sound, seed);
  }

  const std::vector<FAULTY_TABLE>& all() const { return m_tables; }

private:
  std::vector<FAULTY_TABLE> m_tables;
};

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
  FAULTY_TABLES tables;
  for (const std::uint64_t seed : SEEDS(1, number_from_environment("KEP_RG_DIGEST_SEEDS", 250)))
    if (ROOTED_DEVICE device(seed); device.build()) tables.try_on(device.get_case(), seed, 1);
  std::vector<std::unique_ptr<BUILD_CASE>> small;
  for (const char* name :
       {"plain_mux_chain", "skip_mux", "inserted_node", "hipi_twin", "blc_root", "top_ports_routed"})
    small.push_back(test_model::read_example(name));
  small.push_back(make_inserted_output());
  for (const std::unique_ptr<BUILD_CASE>& c : small) {
    c->build();
    tables.try_on(*c, 1, 20);
  }
  for (const FAULTY_TABLE& table : tables.all()) {
    // An ignored output lies on an arc that is a skip path on every instance, which keeps it from being a
    // node as well: without it in the table the graph is the same.
    const bool shows = table.m_name != "m_ignored_ports";
    EXPECT_EQ(table.m_num_damaged != 0, shows) << "graphs that a fault in " << table.m_name << " changes";
    if (std::getenv("KEP_RG_DAMAGE_TABLE"))
      fmt::print("| `{}` | {} | {} |\n", table.m_name, table.m_num_damaged, table.m_num_found);
  }
}

} // namespace digest_faults_test
