// Parts of a check, each with its file of findings, put together: what is said is what a check of the whole
// says.

#include "kep_io/kep_io_error.h"
#include "tests/support/damaged_graph.h"
#include "tests/support/fabric_case.h"
#include "tests/support/folder_fixture.h"
#include "tests/support/random_source.h"
#include "tests/support/seeds.h"
#include "tools/kep-rg/checks/findings_file.h"
#include "tools/kep-rg/checks/merge_findings.h"
#include "tools/kep-rg/checks/verify_graph.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace merge_findings_test {

using test_model::EDITED_GRAPH;
using test_model::FABRIC_CASE;
using test_model::RANDOM_SOURCE;
using test_model::SEEDS;
using test_model::STORAGE_DAMAGE;
using testing::HasSubstr;

/// What a run says, and whether it is clean.
using ANSWER = std::pair<std::string, bool>;

class MergeFindings : public Folder {
protected:
  ANSWER check(KEP_DB& db, VERIFICATION asked) const {
    std::ostringstream out;
    BUILD_STATS stats;
    const bool is_clean = verify_graph(&db, m_device, asked, stats, out);
    return {out.str(), is_clean};
  }
  /// The files of a check in so many parts, the last one first.
  std::vector<FINDINGS_PART> check_parts(KEP_DB& db, std::uint32_t num_parts) {
    std::vector<FINDINGS_PART> parts;
    m_num_unclean = 0;
    for (std::uint32_t i = num_parts; i-- != 0;) {
      VERIFICATION asked = m_asked;
      asked.m_part = {i, num_parts};
      asked.m_findings = path("part.json");
      m_num_unclean += check(db, asked).second ? 0 : 1;
      parts.push_back(read_findings(asked.m_findings));
    }
    return parts;
  }
  ANSWER merge(std::vector<FINDINGS_PART> parts) const {
    std::ostringstream out;
    const bool is_clean = report_findings(merge_findings(std::move(parts)), m_device.m_quiet, out);
    return {out.str(), is_clean};
  }
  void expect_whole(KEP_DB& db, const std::vector<std::uint32_t>& nums_parts) {
    const ANSWER whole = check(db, m_asked);
    for (const std::uint32_t num_parts : nums_parts) {
      ASSERT_EQ(merge(check_parts(db, num_parts)), whole) << num_parts << " parts";
      EXPECT_EQ(m_num_unclean == 0, whole.second) << "a finding is one of some part";
    }
    for (unsigned i = 0; i != KEP_RG_NUM_FINDING_KINDS; ++i) {
      const std::string id = kep_rg_get_id(static_cast<KEP_RG_FINDING_KIND>(i));
      if (("\n" + whole.first).find("\n" + id + ": ") != std::string::npos) m_kinds.insert(id);
    }
  }
  std::string get_refusal(const std::vector<FINDINGS_PART>& parts) const {
    try {
      merge_findings(parts);
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "";
  }

  DEVICE_OPTIONS m_device;
  VERIFICATION m_asked{.m_check = true, .m_trace = true};
  std::set<std::string> m_kinds; // found by a check of the whole
  unsigned m_num_unclean = 0;
};

/// One change of any kind.
void damage(EDITED_GRAPH& graph, RANDOM_SOURCE& random) {
  std::vector<EDITED_GRAPH::NODE>& nodes = graph.nodes();
  if (nodes.size() < 2) return;
  EDITED_GRAPH::NODE& node = nodes[random.below(nodes.size())];
  switch (random.below(6)) {
  case 0:
    if (!node.m_real.empty()) node.m_real.pop_back();
    break;
  case 1: // beside a redundant one
    if (node.m_real.empty()) break;
    node.m_redundant.push_back(node.m_real.front());
    node.m_real.push_back(node.m_real.front());
    break;
  case 2:
    node.m_real.push_back({random.below(nodes.size()), {}});
    break;
  case 3: // nothing reaches it any more
    for (EDITED_GRAPH::NODE& each : nodes)
      std::erase_if(each.m_real, [&](const auto& edge) { return &nodes[edge.m_to] == &node; });
    node.m_real.push_back({static_cast<std::size_t>(&node - nodes.data()), {}});
    break;
  case 4:
    graph.drop_node(random.below(nodes.size()));
    break;
  case 5:
    for (const EDITED_GRAPH::EDGE& edge : node.m_real)
      if (edge.m_mux_input) {
        graph.place(edge.m_mux_input.get_name(KEP_NAME_STYLE()));
        break;
      }
  }
}

TEST_F(MergeFindings, SaysOfRandomDamagedGraphsWhatACheckOfTheWholeSays) {
  RANDOM_SOURCE random(33);
  for (const std::uint64_t seed : SEEDS(1, 80)) {
    FABRIC_CASE c(seed);
    c.build();
    if (seed % 5 != 0) {
      EDITED_GRAPH graph = EDITED_GRAPH::read(*c.db());
      for (unsigned i = 0; i != 1 + seed % 40; ++i)
        damage(graph, random);
      graph.publish();
    }
    if (seed % 7 == 0 && c.db()->get_routing_template_graph()->get_num_nodes() != 0)
      STORAGE_DAMAGE(*c.db()).empty_last_node();
    m_device.m_quiet = seed % 11 == 0;
    m_device.m_verbose = seed % 3 == 0;
    m_asked.m_trace = seed % 5 != 1;
    m_asked.m_waive = {"missing-node"};
    if (seed % 2 == 0) m_asked.m_waive = {"surplus-edge", "unreachable-node", "few-redundant-edges"};
    expect_whole(*c.db(), {std::vector<std::uint32_t>{1, 2, 3, 7}[seed % 4]}); // a file takes a while
    if (HasFailure()) FAIL() << c.text();
  }
  // All but those that no such device shows.
  EXPECT_THAT(m_kinds,
              testing::IsSupersetOf({"missing-node", "surplus-node", "missing-edge", "surplus-edge",
                                     "hipi-order", "doubled-edge", "few-redundant-edges", "unreachable-node",
                                     "no-node", "trace-null-node", "trace-not-found", "trace-later-net"}));
}

/// One mux "s" that drives sixty, so more findings of a kind come than are shown, and from several parts.
class MergeFindingsOfMuxes : public MergeFindings {
protected:
  void SetUp() override {
    m_case.arcs("MUX", {"a", "b"}, "o");
    m_case.build();
    EDITED_GRAPH graph = EDITED_GRAPH::read(*m_case.db());
    for (unsigned i = 0; i != 60; ++i)
      graph.add("t" + std::to_string(i) + ":o -> s:o");
    graph.publish();
  }
  static std::string model() {
    std::string text = "module MUX\n ports >a >b <o\nmodule TOP top\n inst s MUX header\n";
    std::string net = " net n s.o";
    for (unsigned i = 0; i != 60; ++i) {
      const std::string name = "t" + std::to_string(i);
      text += " inst " + name + " MUX header\n net o" + std::to_string(i) + " " + name + ".o\n";
      net += " " + name + ".a";
    }
    return text + net + "\n";
  }
  KEP_DB& db() { return *m_case.db(); }

  BUILD_CASE m_case{model()};
};

TEST_F(MergeFindingsOfMuxes, ShowsTheFirstTwentyOfAllParts) {
  expect_whole(db(), {1, 2, 3, 7});
  EXPECT_THAT(merge(check_parts(db(), 7)).first, HasSubstr("surplus-edge: 60\n"));
  EXPECT_THAT(merge(check_parts(db(), 7)).first, HasSubstr("\n  and 40 more\n"));
  m_device.m_verbose = true;
  expect_whole(db(), {1, 2, 3, 7});
  EXPECT_THAT(merge(check_parts(db(), 7)).first, testing::Not(HasSubstr(" more\n")));
}

TEST_F(MergeFindingsOfMuxes, LetsAPartSayWhatItFound) {
  m_asked.m_trace = false;
  m_asked.m_part = {1, 4};
  const ANSWER part = check(db(), m_asked);
  EXPECT_THAT(part.first, HasSubstr("surplus-edge: 15\n"));
  EXPECT_THAT(part.first, testing::EndsWith("Part 2 of 4, 15 of 61 nodes: 15 surplus-edge.\n"));
  EXPECT_FALSE(part.second);
  m_asked.m_waive = {"surplus-edge"};
  EXPECT_TRUE(check(db(), m_asked).second);
}

TEST_F(MergeFindingsOfMuxes, RefusesWhatAreNoPartsOfOneRun) {
  std::vector<FINDINGS_PART> parts = check_parts(db(), 3);
  for (FINDINGS_PART& part : parts)
    part.m_file = "p" + std::to_string(part.m_part.m_index + 1);
  EXPECT_EQ(get_refusal(parts), "");
  const auto refusal = [&](const auto& change) {
    std::vector<FINDINGS_PART> changed = parts; // the third part stands first
    change(changed);
    return get_refusal(changed);
  };
  EXPECT_EQ(refusal([](auto& p) { p.pop_back(); }), "p2: part 2 of 3, and of the others one is missing: 1");
  EXPECT_EQ(refusal([](auto& p) { p.resize(1); }), "p3: part 3 of 3, and of the others 2 are missing: 1, 2");
  EXPECT_EQ(refusal([](auto& p) {
              p[1] = p[2];
              p[1].m_file = "other";
            }),
            "p1: part 1 of 3 is there twice, in other too");
  EXPECT_EQ(
      refusal([](auto& p) {
        p[1].m_checksum = 255;
        p[1].m_device = "b.kdb";
        p[0].m_device = "a.kdb";
      }),
      "p2: findings of another device than those of p3: b.kdb with checksum 00000000000000ff, and a.kdb "
      "with checksum 0000000000000000");
  EXPECT_EQ(refusal([](auto& p) { p[2].m_part.m_num_parts = 4; }), "p1: one of 4 parts, and p3 is one of 3");
  EXPECT_EQ(refusal([](auto& p) { p[1].m_scope.m_is_traced = false; }),
            "p2: made without --trace, and p3 with");
  EXPECT_EQ(refusal([](auto& p) { p[1].m_is_verbose = true; }), "p2: made with --verbose, and p3 without");
  EXPECT_EQ(refusal([](auto& p) {
              p[2].m_waived = get_waived_kinds({"no-node", "missing-edge"});
            }),
            "p1: made with --waive missing-edge --waive no-node, and p3 with no --waive");
  EXPECT_EQ(refusal([](auto& p) { ++p[1].m_scope.m_num_nodes; }),
            "p2: damaged: it says other things of the device than p3");
}

TEST_F(MergeFindingsOfMuxes, NamesNoMoreThanTenMissingParts) {
  FINDINGS_PART part = check_parts(db(), 1).front();
  part.m_file = "p";
  part.m_part = {4, 1000};
  EXPECT_EQ(get_refusal({part}),
            "p: part 5 of 1000, and of the others 999 are missing: 1, 2, 3, 4, 6, 7, 8, 9, "
            "10, 11, ...");
}

/// A file with one word replaced by another.
TEST_F(MergeFindingsOfMuxes, RefusesDamagedFiles) {
  m_asked.m_findings = path("part.json");
  m_asked.m_waive = {"no-node"};
  check(db(), m_asked);
  const std::string text = read("part.json");
  const auto refusal = [&](const std::string& word, const std::string& other) {
    std::string damaged = text;
    EXPECT_NE(text.find(word), std::string::npos) << word;
    damaged.replace(text.find(word), word.size(), other);
    try {
      read_findings(write("x.json", damaged));
    } catch (const KEP_IO_ERROR& error) {
      return std::string(error.what()).substr(path("").size());
    }
    return std::string();
  };
  EXPECT_EQ(refusal("part", "part"), "");
  EXPECT_EQ(refusal("\"kep_rg_findings\"", "\"findings\""), "x.json: no findings of kep-rg check");
  EXPECT_EQ(refusal("\"kep_rg_findings\": 1", "\"kep_rg_findings\": 2"),
            "x.json: findings of version 2, and only version 1 is read");
  EXPECT_EQ(refusal("\"part\": 1", "\"part\": 2"), "x.json: part: out of range");
  EXPECT_EQ(refusal("\"parts\": 1", "\"parts\": 0"), "x.json: parts: out of range");
  EXPECT_EQ(refusal("\"parts\": 1", "\"parts\": -1"), "x.json: parts: not a whole number");
  EXPECT_EQ(refusal("\"trace\": true", "\"trace\": 1"), "x.json: trace: not true or false");
  EXPECT_EQ(refusal("\"checksum\": \"0", "\"checksum\": \"x"), "x.json: checksum: not 16 hexadecimal digits");
  EXPECT_EQ(refusal("\"no-node\"", "\"nothing\""), "x.json: waive: no finding has the id \"nothing\"");
  EXPECT_EQ(refusal("\"no-node\"", "7"), "x.json: waive: not a text");
  EXPECT_EQ(refusal("surplus-edge", "surplus"), "x.json: findings.id: no finding has the id \"surplus\"");
  EXPECT_EQ(refusal("surplus-edge", "trace-later-net"), "x.json: findings.id: out of order");
  EXPECT_EQ(refusal("\"number\": 60", "\"number\": 10"), "x.json: findings.first: 20 findings of 10");
  for (std::size_t length = 0; length + 1 < text.size(); length += 31) // the last byte ends the line
    ASSERT_THROW(read_findings(write("x.json", text.substr(0, length))), KEP_IO_ERROR) << length;
  EXPECT_THROW(read_findings(write("x.json", text.substr(0, text.size() - 2))), KEP_IO_ERROR);
}

TEST_F(MergeFindingsOfMuxes, LeavesTheFileOfAnEarlierRunWhereNothingCanBeWritten) {
  m_asked.m_findings = path("no_such_folder/part.json");
  EXPECT_THROW(check(db(), m_asked), KEP_IO_ERROR);
  EXPECT_EQ(files(), std::vector<std::string>());
}

} // namespace merge_findings_test
