// Proof and checks in parts: put together they are those of the whole.

#include "kep_rg/kep_rg_findings.h"
#include "kep_rg/kep_rg_part.h"
#include "tests/kep_rg/proof/damage_kinds.h"
#include "tests/kep_rg/proof/proof_text.h"
#include "tests/support/build_access.h"
#include "tests/support/fabric_case.h"
#include "tests/support/seeds.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace proof_parts_test {

using namespace proof;
using test_model::DAMAGE_KIND;
using test_model::DAMAGE_KINDS;
using test_model::EDITED_GRAPH;
using test_model::FABRIC_CASE;
using test_model::RANDOM_SOURCE;
using test_model::SEEDS;

using RESULT = KEP_RG_PROOF::RESULT;

/// Numbers, and the findings of each kind in the order in which they came.
std::vector<std::string> text_of(const std::vector<RESULT>& parts) {
  RESULT sum;
  for (const RESULT& part : parts) {
    sum.m_num_nodes += part.m_num_nodes;
    sum.m_num_edges += part.m_num_edges;
    sum.m_num_missing_nodes += part.m_num_missing_nodes;
    sum.m_num_surplus_nodes += part.m_num_surplus_nodes;
    sum.m_num_missing_edges += part.m_num_missing_edges;
    sum.m_num_surplus_edges += part.m_num_surplus_edges;
  }
  std::vector<std::string> text;
  for (const std::uint64_t number :
       {sum.m_num_nodes, sum.m_num_edges, sum.m_num_missing_nodes, sum.m_num_surplus_nodes,
        sum.m_num_missing_edges, sum.m_num_surplus_edges})
    text.push_back(std::to_string(number));
  for (const bool is_missing : {true, false})
    for (const RESULT& part : parts) {
      RESULT kind;
      for (const auto& found : part.m_node_findings)
        if (found.m_is_missing == is_missing) kind.m_node_findings.push_back(found);
      for (const std::string& line : texts_of(kind))
        text.push_back("node " + line);
    }
  for (const bool is_missing : {true, false})
    for (const RESULT& part : parts) {
      RESULT kind;
      for (const auto& found : part.m_edge_findings)
        if (found.m_is_missing == is_missing) kind.m_edge_findings.push_back(found);
      for (const std::string& line : texts_of(kind))
        text.push_back("edge " + line);
    }
  return text;
}

std::vector<std::string> prove_in_parts(const KEP_DB& db, std::uint32_t num_parts,
                                        bool joins_all_nets = false) {
  KEP_RG_PROOF proof(&db);
  if (joins_all_nets) KEP_RG_TEST_ACCESS::join_all_nets(proof);
  std::vector<RESULT> parts;
  for (std::uint32_t i = 0; i != num_parts; ++i)
    parts.push_back(proof.run(1, 100000, {i, num_parts}));
  return text_of(parts);
}

using FIND = KEP_RG_FINDINGS (*)(const KEP_ROUTING::GRAPH&, std::size_t, KEP_REPORT_PROGRESS*,
                                 const KEP_RG_PART&);

KEP_RG_FINDINGS find_in_parts(const KEP_DB& db, FIND find, std::uint32_t num_parts) {
  KEP_RG_FINDINGS sum;
  for (std::uint32_t i = 0; i != num_parts; ++i) {
    const KEP_RG_FINDINGS part = find(*db.get_routing_template_graph(), 100000, nullptr, {i, num_parts});
    sum.m_num += part.m_num;
    sum.m_first.insert(sum.m_first.end(), part.m_first.begin(), part.m_first.end());
  }
  return sum;
}

TEST(ProofParts, GiveEachOfManyThingsToOnePart) {
  for (const std::uint64_t num : {0, 1, 2, 7, 100, 1000003})
    for (const std::uint32_t num_parts : {1U, 2U, 3U, 7U, KEP_RG_PART::MAX_NUM_PARTS}) {
      std::uint64_t end = 0;
      for (std::uint32_t i = 0; i != num_parts; ++i) {
        const auto range = KEP_RG_PART{i, num_parts}.get_range(num);
        ASSERT_EQ(range.first, end);
        ASSERT_LE(range.second - range.first, num / num_parts + 1);
        end = range.second;
      }
      EXPECT_EQ(end, num);
    }
}

TEST(ProofParts, FindTogetherWhatTheWholeFinds) {
  std::set<std::string> kinds_found;
  RANDOM_SOURCE random(15);
  for (const std::uint64_t seed : SEEDS(1, 60)) {
    FABRIC_CASE c(seed);
    c.build();
    // Several damages of one kind after each other.
    const DAMAGE_KIND& kind = DAMAGE_KINDS[seed % DAMAGE_KINDS.size()];
    for (int i = 0; i != 3; ++i) {
      test_model::DAMAGE_SUBJECT subject(c, random);
      if (kind.m_apply(subject) && !findings_of(*c.db()).empty()) kinds_found.insert(kind.m_name);
    }
    const std::vector<std::string> whole = prove_in_parts(*c.db(), 1);
    EXPECT_EQ(prove_in_parts(*c.db(), 1, true), whole) << kind.m_name;
    for (const std::uint32_t num_parts : {2U, 3U, 7U, 1000U}) {
      ASSERT_EQ(prove_in_parts(*c.db(), num_parts), whole) << kind.m_name;
      ASSERT_EQ(prove_in_parts(*c.db(), num_parts, true), whole) << kind.m_name;
    }
    for (const FIND find : {&kep_rg_find_hipi_order, &kep_rg_find_doubled_edges}) {
      const KEP_RG_FINDINGS found = find_in_parts(*c.db(), find, 1);
      for (const std::uint32_t num_parts : {2U, 7U, 1000U}) {
        ASSERT_EQ(find_in_parts(*c.db(), find, num_parts).m_num, found.m_num);
        ASSERT_EQ(find_in_parts(*c.db(), find, num_parts).m_first, found.m_first);
      }
    }
  }
  EXPECT_GT(kinds_found.size(), DAMAGE_KINDS.size() / 2);
}

/// Every third node is gone, so places of a module lack different nodes.
TEST(ProofParts, NameMissingNodesInTheOrderOfTheModel) {
  std::uint64_t num_missing = 0;
  for (const std::uint64_t seed : SEEDS(100, 60)) {
    FABRIC_CASE c(seed);
    c.build();
    const EDITED_GRAPH sound = EDITED_GRAPH::read(*c.db());
    EDITED_GRAPH damaged(*c.db());
    for (std::size_t i = 0; i != sound.nodes().size(); ++i)
      if (i % 3 != seed % 3) {
        damaged.nodes().push_back(sound.nodes()[i]);
        damaged.nodes().back().m_real.clear();
        damaged.nodes().back().m_redundant.clear();
      }
    damaged.publish();
    const RESULT whole = prove(*c.db(), 1, 100000);
    EXPECT_EQ(whole.m_num_missing_nodes, sound.nodes().size() - damaged.nodes().size());
    num_missing += whole.m_num_missing_nodes;
    for (const std::uint32_t num_parts : {2U, 5U})
      ASSERT_EQ(prove_in_parts(*c.db(), num_parts), text_of({whole}));
  }
  EXPECT_GT(num_missing, 50U);
}

TEST(ProofParts, FindAllNodesMissingInAGraphWithoutAny) {
  std::uint64_t num_missing = 0;
  for (const std::uint64_t seed : SEEDS(200, 10)) {
    FABRIC_CASE c(seed);
    c.build();
    const std::uint64_t num_nodes = c.db()->get_routing_template_graph()->get_num_nodes();
    EDITED_GRAPH(*c.db()).publish();
    const RESULT whole = prove(*c.db(), 1, 100000);
    EXPECT_EQ(whole.m_num_missing_nodes, num_nodes);
    EXPECT_EQ(prove_in_parts(*c.db(), 4), text_of({whole}));
    num_missing += num_nodes;
  }
  EXPECT_GT(num_missing, 20U);
}

} // namespace proof_parts_test
