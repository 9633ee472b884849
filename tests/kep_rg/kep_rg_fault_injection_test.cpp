#include "kep_io/kep_model_reader.h"
#include "kep_io/kep_routing_reader.h"
#include "kep_rg/kep_rg_proof.h"
#include "support/build_case.h"
#include "support/check_report.h"
#include "support/damaged_graph.h"
#include "support/random_fabric.h"
#include "support/random_model.h"
#include "support/random_source.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

/// Single damages to sound graphs: which of them does which check find?
///
///   KEP_RG_DAMAGES=1000        damages of each kind, 60 without it
///   KEP_RG_DAMAGE_TABLE=FILE   where the table of all shares goes, "-" for the standard output
namespace {

using test_model::EDITED_GRAPH;
using test_model::RANDOM_FABRIC;
using test_model::RANDOM_SOURCE;
using test_model::STORAGE_DAMAGE;

/// Something that may find that the graph of a database is damaged. A further one is a line in this list.
struct DETECTOR {
  const char* m_name;
  std::function<bool(KEP_DB&)> m_finds;
};

bool check_finds(KEP_DB& db, test_model::POST_CHECK check) {
  return !test_model::run_check(db, check).m_result;
}

bool trace_finds(KEP_DB& db) {
  const KEP_DB_ROUTING_PRIMITIVE_CACHE cache(&db);
  KEP_RG_TRACE_EDGE tracer(&db, cache);
  return !test_model::report_of([&] {
            try {
              return tracer.verify_all_edge_traces();
            } catch (const KEP_REPORT_ASSERTION_FAILURE&) {
              return false;
            }
          }).m_result;
}

bool proof_finds(KEP_DB& db) {
  const KEP_DB_ROUTING_PRIMITIVE_CACHE cache(&db);
  return !KEP_RG_PROOF(&db, cache).run(1).is_sound();
}

const std::vector<DETECTOR>& detectors() {
  using CHECKS = KEP_RG_POST_CHECKS;
  static const std::vector<DETECTOR> list = {
      {"redundant", [](KEP_DB& db) { return check_finds(db, &CHECKS::test_redundant_edges); }},
      {"count", [](KEP_DB& db) { return check_finds(db, &CHECKS::test_redundant_edge_count); }},
      {"hipi", [](KEP_DB& db) { return check_finds(db, &CHECKS::test_hipi_api); }},
      {"connectivity", [](KEP_DB& db) { return check_finds(db, &CHECKS::test_graph_connectivity); }},
      {"trace", trace_finds},
      {"proof", proof_finds},
  };
  return list;
}

/// A sound graph, and a source of chance.
class SUBJECT {
public:
  SUBJECT(BUILD_CASE& device, RANDOM_SOURCE& random)
      : m_graph(EDITED_GRAPH::read(*device.db())), m_random(random),
        m_cache(*device.parse().find_routing_primitive_cache()) {
    for (std::size_t i = 0; i != m_graph.nodes().size(); ++i)
      for (const bool redundant : {false, true})
        for (std::size_t edge = 0; edge != m_graph.nodes()[i].edges(redundant).size(); ++edge)
          m_edges.push_back({i, redundant, edge});
  }

  struct PLACE { // of an edge
    std::size_t m_from;
    bool m_is_redundant;
    std::size_t m_index;
  };

  EDITED_GRAPH& graph() { return m_graph; }
  EDITED_GRAPH::NODE& node(std::size_t index) { return m_graph.nodes()[index]; }
  RANDOM_SOURCE& random() { return m_random; }
  std::vector<EDITED_GRAPH::EDGE>& list(const PLACE& at) { return node(at.m_from).edges(at.m_is_redundant); }
  EDITED_GRAPH::EDGE& edge(const PLACE& at) { return list(at)[at.m_index]; }
  void erase(const PLACE& at) { list(at).erase(list(at).begin() + static_cast<std::ptrdiff_t>(at.m_index)); }

  /// A random edge of which this holds; false if there is none.
  bool pick_edge(PLACE& at, const std::function<bool(const PLACE&)>& holds) {
    std::vector<PLACE> fitting;
    std::copy_if(m_edges.begin(), m_edges.end(), std::back_inserter(fitting), holds);
    if (fitting.empty()) return false;
    at = m_random.pick(fitting);
    return true;
  }
  bool pick_node(std::size_t& index, const std::function<bool(std::size_t)>& holds) {
    std::vector<std::size_t> fitting;
    for (std::size_t i = 0; i != m_graph.nodes().size(); ++i)
      if (holds(i)) fitting.push_back(i);
    if (fitting.empty()) return false;
    index = m_random.pick(fitting);
    return true;
  }

  bool is_plain(std::size_t index) { return !node(index).m_is_hipi && !node(index).m_port; }
  /// The place of the twin of a plain node; the number of nodes if it has none.
  std::size_t twin_of(std::size_t index) {
    for (std::size_t i = 0; i != m_graph.nodes().size(); ++i)
      if (i != index && node(i).m_uip && node(i).m_uip == node(index).m_uip) return i;
    return m_graph.nodes().size();
  }
  bool has_twin(std::size_t index) { return twin_of(index) != m_graph.nodes().size(); }
  std::size_t num_edges(std::size_t from, std::size_t to) {
    std::size_t count = 0;
    for (const bool redundant : {false, true})
      for (const EDITED_GRAPH::EDGE& each : node(from).edges(redundant))
        count += each.m_to == to;
    return count;
  }
  bool is_only_edge(const PLACE& at) { return num_edges(at.m_from, edge(at).m_to) == 1; }
  std::size_t num_fanins(std::size_t to, bool real_only) {
    return static_cast<std::size_t>(std::count_if(m_edges.begin(), m_edges.end(), [&](const PLACE& at) {
      return edge(at).m_to == to && !(real_only && at.m_is_redundant);
    }));
  }
  bool has_two_real_edges_to_one_fanout(std::size_t from) {
    std::set<std::size_t> fanouts;
    for (const EDITED_GRAPH::EDGE& each : node(from).m_real)
      fanouts.insert(each.m_to);
    return fanouts.size() != node(from).m_real.size();
  }
  bool is_arc_output(std::size_t index) {
    return node(index).m_uip && m_cache.is_arc_output(node(index).m_uip.m_object->get_port());
  }
  bool is_arc_input(const KEP_UNFOLDED_INST_PORT& uip) {
    return m_cache.is_arc_input(uip.m_object->get_port());
  }
  bool has_node(const KEP_UNFOLDED_INST_PORT& uip) {
    return std::any_of(m_graph.nodes().begin(), m_graph.nodes().end(),
                       [&](const EDITED_GRAPH::NODE& each) { return each.m_uip == uip; });
  }
  static const KEP_PORT* port(const EDITED_GRAPH::NODE& node) { return node.m_uip.m_object->get_port(); }
  /// The inputs of the edge's mux at which no node stands and by which the source drives neither the target
  /// nor its twin.
  std::vector<KEP_UNFOLDED_INST_PORT> wrong_mux_inputs(const PLACE& at) {
    std::vector<KEP_UNFOLDED_INST_PORT> found;
    const std::size_t to = edge(at).m_to;
    for (const KEP_UNFOLDED_INST_PORT& uip : edge(at).m_mux_input.get_unfolded_instance().iter_inst_ports()) {
      bool is_used = has_node(uip) || !is_arc_input(uip);
      for (const bool redundant : {false, true})
        for (const EDITED_GRAPH::EDGE& each : node(at.m_from).edges(redundant))
          is_used |= node(each.m_to).m_uip == node(to).m_uip && each.m_mux_input == uip;
      if (!is_used) found.push_back(uip);
    }
    return found;
  }

private:
  EDITED_GRAPH m_graph;
  RANDOM_SOURCE& m_random;
  const KEP_DB_ROUTING_PRIMITIVE_CACHE& m_cache;
  std::vector<PLACE> m_edges;
};

using PLACE = SUBJECT::PLACE;

/// One kind of damage. It makes a single change to the lists and publishes them; false where the graph has no
/// place for it.
struct KIND {
  const char* m_name;
  std::set<std::string> m_found_by; ///< always
  std::set<std::string> m_never_found_by;
  std::function<bool(SUBJECT&)> m_apply;
};

bool publish(SUBJECT& subject) {
  subject.graph().publish();
  return true;
}

bool double_real_edge(SUBJECT& s, bool with_redundant_edges) {
  PLACE at{};
  const auto holds = [&](const PLACE& each) {
    return !each.m_is_redundant && s.is_plain(each.m_from) &&
           s.node(each.m_from).m_redundant.empty() != with_redundant_edges;
  };
  if (!s.pick_edge(at, holds)) return false;
  s.list(at).push_back(s.edge(at));
  return publish(s);
}

bool drop_edge(SUBJECT& s) {
  PLACE at{};
  if (!s.pick_edge(at, [&](const PLACE& each) { return s.is_plain(each.m_from) && s.is_only_edge(each); }))
    return false;
  s.erase(at);
  return publish(s);
}

bool add_edge(SUBJECT& s, bool through_mux, bool from_mux) {
  std::size_t from = 0;
  std::size_t to = 0;
  if (!s.pick_node(from,
                   [&](std::size_t each) { return s.is_plain(each) && s.is_arc_output(each) == from_mux; }))
    return false;
  const auto holds = [&](std::size_t each) {
    return each != from && s.is_plain(each) && s.is_arc_output(each) && s.num_edges(from, each) == 0 &&
           !s.has_twin(each);
  };
  if (!s.pick_node(to, holds)) return false;
  KEP_UNFOLDED_INST_PORT input;
  if (through_mux) {
    std::vector<KEP_UNFOLDED_INST_PORT> inputs;
    for (const KEP_UNFOLDED_INST_PORT& each : s.node(to).m_uip.get_unfolded_instance().iter_inst_ports())
      if (s.is_arc_input(each) && !s.has_node(each)) inputs.push_back(each);
    if (inputs.empty()) return false;
    input = s.random().pick(inputs);
  }
  s.node(from).m_real.push_back({to, input});
  return publish(s);
}

bool redirect_edge(SUBJECT& s, bool to_like_port) {
  PLACE at{};
  const auto holds = [&](const PLACE& each) {
    return s.is_plain(each.m_from) && s.is_arc_output(each.m_from) && s.is_plain(s.edge(each).m_to) &&
           s.edge(each).m_mux_input && s.is_only_edge(each) && !s.has_twin(s.edge(each).m_to);
  };
  if (!s.pick_edge(at, holds)) return false;
  const EDITED_GRAPH::NODE& old = s.node(s.edge(at).m_to);
  std::size_t to = 0;
  const auto is_target = [&](std::size_t each) {
    return each != at.m_from && each != s.edge(at).m_to && s.is_plain(each) && s.is_arc_output(each) &&
           !s.has_twin(each) && s.num_edges(at.m_from, each) == 0 &&
           (to_like_port ? SUBJECT::port(s.node(each)) == SUBJECT::port(old)
                         : SUBJECT::port(s.node(each))->get_parent() != SUBJECT::port(old)->get_parent());
  };
  if (!s.pick_node(to, is_target)) return false;
  s.edge(at).m_to = to;
  return publish(s);
}

bool change_mux_input(SUBJECT& s) {
  PLACE at{};
  const auto holds = [&](const PLACE& each) {
    return s.is_plain(each.m_from) && s.is_arc_output(each.m_from) && s.edge(each).m_mux_input &&
           s.is_only_edge(each) && !s.wrong_mux_inputs(each).empty();
  };
  if (!s.pick_edge(at, holds)) return false;
  s.edge(at).m_mux_input = s.random().pick(s.wrong_mux_inputs(at));
  return publish(s);
}

bool drop_mux_input(SUBJECT& s) {
  PLACE at{};
  const auto holds = [&](const PLACE& each) {
    return s.is_plain(each.m_from) && s.is_arc_output(each.m_from) && s.edge(each).m_mux_input &&
           s.is_only_edge(each) && s.is_arc_output(s.edge(each).m_to) &&
           s.edge(each).m_mux_input != s.node(each.m_from).m_uip;
  };
  if (!s.pick_edge(at, holds)) return false;
  s.edge(at).m_mux_input = {};
  return publish(s);
}

/// A node that something drives over real edges, now driven by itself alone: a cycle without a way in.
bool cut_off_as_cycle(SUBJECT& s) {
  std::size_t node = 0;
  const auto holds = [&](std::size_t each) {
    return s.is_plain(each) && !s.has_twin(each) && s.num_fanins(each, true) != 0;
  };
  if (!s.pick_node(node, holds)) return false;
  for (EDITED_GRAPH::NODE& from : s.graph().nodes())
    std::erase_if(from.m_real, [&](const EDITED_GRAPH::EDGE& edge) { return edge.m_to == node; });
  s.node(node).m_real.push_back({node, {}});
  return publish(s);
}

bool make_only_real_edge_redundant(SUBJECT& s) {
  PLACE at{};
  const auto holds = [&](const PLACE& each) {
    return !each.m_is_redundant && s.is_plain(each.m_from) && s.is_only_edge(each) &&
           s.num_fanins(s.edge(each).m_to, true) == 1 && !s.has_two_real_edges_to_one_fanout(each.m_from);
  };
  if (!s.pick_edge(at, holds)) return false;
  s.node(at.m_from).m_redundant.push_back(s.edge(at));
  s.erase(at);
  return publish(s);
}

bool make_redundant_edge_real(SUBJECT& s) {
  PLACE at{};
  if (!s.pick_edge(at, [&](const PLACE& each) { return each.m_is_redundant && s.is_only_edge(each); }))
    return false;
  s.node(at.m_from).m_real.push_back(s.edge(at));
  s.erase(at);
  return publish(s);
}

/// The edge of a twin to its plain node.
bool pick_twin_edge(SUBJECT& s, PLACE& at) {
  return s.pick_edge(at, [&](const PLACE& each) { return s.node(each.m_from).m_is_hipi; });
}

bool drop_twin_edge(SUBJECT& s) {
  PLACE at{};
  if (!pick_twin_edge(s, at)) return false;
  s.erase(at);
  return publish(s);
}

bool give_twin_to_other_node(SUBJECT& s, bool in_addition) {
  PLACE at{};
  if (!pick_twin_edge(s, at)) return false;
  std::size_t to = 0;
  if (!s.pick_node(to, [&](std::size_t each) { return s.is_plain(each) && each != s.edge(at).m_to; }))
    return false;
  if (in_addition)
    s.list(at).push_back({to, {}});
  else
    s.edge(at).m_to = to;
  return publish(s);
}

bool put_twin_in_last_place(SUBJECT& s) {
  PLACE at{};
  const auto holds = [&](const PLACE& each) {
    return s.node(each.m_from).m_is_hipi && s.num_fanins(s.edge(each).m_to, false) > 1;
  };
  if (!s.pick_edge(at, holds)) return false;
  s.graph().publish();
  const KEP_ROUTING::NODE node(s.node(s.edge(at).m_to).m_uip, false);
  STORAGE_DAMAGE(s.graph().db()).turn_fanins_round(node);
  return true;
}

/// What has to be found and what cannot be follows from what each check looks at: redundant edges, at real
/// edges of nodes with redundant ones; hipi, at fanins that are twins; connectivity, at real edges and at
/// whether there are fanins; a trace, at single edges and never at which are missing. A trace takes the first
/// of several edges between two nodes for all, knows ports of muxes but not their instances, and sets out
/// from a port on both sides, though only one of them is driven. The proof knows every edge, and no order of
/// fanins.
const std::vector<KIND>& kinds() {
  static const std::vector<KIND> list = {
      {"real edge doubled beside redundant ones",
       {"redundant", "proof"},
       {"hipi", "connectivity", "trace"},
       [](SUBJECT& s) { return double_real_edge(s, true); }},
      {"real edge doubled, no redundant ones",
       {"proof"},
       {"redundant", "hipi", "connectivity", "trace"},
       [](SUBJECT& s) { return double_real_edge(s, false); }},
      {"edge dropped", {"proof"}, {"redundant", "hipi", "trace"}, drop_edge},
      {"edge added",
       {"trace", "proof"},
       {"redundant", "hipi"},
       [](SUBJECT& s) { return add_edge(s, false, true); }},
      {"edge added through a mux input",
       {"trace", "proof"},
       {"redundant", "hipi"},
       [](SUBJECT& s) { return add_edge(s, true, true); }},
      {"edge added behind an inserted node through a mux input",
       {"proof"},
       {"redundant", "hipi"},
       [](SUBJECT& s) { return add_edge(s, true, false); }},
      {"edge led to another mux, same port",
       {"proof"},
       {"redundant", "hipi"},
       [](SUBJECT& s) { return redirect_edge(s, true); }},
      {"edge led to another kind of mux",
       {"trace", "proof"},
       {"redundant", "hipi"},
       [](SUBJECT& s) { return redirect_edge(s, false); }},
      {"wrong mux input",
       {"trace", "proof"},
       {"redundant", "count", "hipi", "connectivity"},
       change_mux_input},
      {"mux input missing",
       {"trace", "proof"},
       {"redundant", "count", "hipi", "connectivity"},
       drop_mux_input},
      {"cycle without a way in", {"connectivity", "proof"}, {"redundant", "hipi", "trace"}, cut_off_as_cycle},
      {"only real fanin made redundant",
       {"connectivity", "proof"},
       {"redundant", "count", "hipi", "trace"},
       make_only_real_edge_redundant},
      {"redundant edge made real",
       {"proof"},
       {"redundant", "hipi", "connectivity", "trace"},
       make_redundant_edge_real},
      {"twin drives nothing", {"hipi", "proof"}, {"redundant", "trace"}, drop_twin_edge},
      {"twin drives another node",
       {"hipi", "proof"},
       {"redundant", "count"},
       [](SUBJECT& s) { return give_twin_to_other_node(s, false); }},
      {"twin drives another node, too",
       {"hipi", "proof"},
       {"redundant"},
       [](SUBJECT& s) { return give_twin_to_other_node(s, true); }},
      {"twin in last place",
       {"hipi"},
       {"redundant", "count", "connectivity", "trace", "proof"},
       put_twin_in_last_place},
  };
  return list;
}

/// The devices whose graphs are damaged.
std::vector<std::unique_ptr<BUILD_CASE>> make_devices() {
  std::vector<std::unique_ptr<BUILD_CASE>> devices;
  for (const char* name : {"plain_mux_chain", "skip_mux", "inserted_node", "hipi_twin", "blc_root",
                           "top_ports_routed", "redundant_inputs"}) {
    const std::string path = std::string(KEP_TEST_DATA_DIR) + "/examples/" + name + "/";
    devices.push_back(std::make_unique<BUILD_CASE>(kep_read_model(path + "model.json")));
    kep_read_routing(devices.back()->db(), devices.back()->parse(), path + "routing.jsonl");
    devices.back()->build();
  }
  for (std::uint64_t seed = 1; seed <= 250; ++seed) {
    const RANDOM_FABRIC fabric(seed);
    devices.push_back(std::make_unique<BUILD_CASE>(fabric.freeze()));
    fabric.describe(*devices.back()->db(), devices.back()->parse());
    devices.back()->build();
  }
  return devices;
}

struct TALLY {
  std::size_t m_tried = 0;
  std::size_t m_found = 0;
};

/// Tallies for one kind, by detector. A detector that finds something in the sound graph already is not asked
/// about its damages.
class INJECTION {
public:
  explicit INJECTION(std::size_t num_damages) : m_num_damages(num_damages), m_devices(make_devices()) {
    for (const auto& device : m_devices) {
      m_applicable.emplace_back();
      for (const DETECTOR& detector : detectors()) {
        m_applicable.back().push_back(!detector.m_finds(*device->db()));
        if (std::set<std::string>{"hipi", "proof"}.contains(detector.m_name)) {
          EXPECT_TRUE(m_applicable.back().back()) << "a build is sound: device " << m_applicable.size() - 1;
        }
      }
    }
  }

  std::vector<TALLY> run(const KIND& kind, std::size_t number) {
    std::vector<TALLY> tallies(detectors().size());
    RANDOM_SOURCE random(number + 1);
    std::size_t done = 0;
    for (std::size_t attempt = 0; done != m_num_damages && attempt != 50 * m_num_damages; ++attempt) {
      const std::size_t device = random.below(m_devices.size());
      damage(kind, device, random, tallies, done);
      if (testing::Test::HasFailure()) break;
    }
    EXPECT_EQ(done, m_num_damages) << "hardly a graph has a place for: " << kind.m_name;
    return tallies;
  }

private:
  void damage(const KIND& kind, std::size_t device, RANDOM_SOURCE& random, std::vector<TALLY>& tallies,
              std::size_t& done) {
    // A damage counts where those are asked that must find it.
    for (std::size_t i = 0; i != detectors().size(); ++i)
      if (kind.m_found_by.contains(detectors()[i].m_name) && !m_applicable[device][i]) return;
    KEP_DB& db = *m_devices[device]->db();
    SUBJECT subject(*m_devices[device], random);
    const EDITED_GRAPH sound = subject.graph();
    if (!kind.m_apply(subject)) return;
    ++done;
    for (std::size_t i = 0; i != detectors().size(); ++i) {
      if (!m_applicable[device][i]) continue;
      const std::string name = detectors()[i].m_name;
      const bool found = detectors()[i].m_finds(db);
      ++tallies[i].m_tried;
      tallies[i].m_found += found;
      EXPECT_FALSE(kind.m_found_by.contains(name) && !found) << name << " misses: " << kind.m_name;
      EXPECT_FALSE(kind.m_never_found_by.contains(name) && found) << name << " finds: " << kind.m_name;
    }
    if (testing::Test::HasFailure()) tell(sound, device);
    sound.publish();
  }

  void tell(const EDITED_GRAPH& sound, std::size_t device) const {
    KEP_DB& db = *m_devices[device]->db();
    const std::string damaged = test_model::whole_graph(db);
    sound.publish();
    ADD_FAILURE() << "device " << device << "\n"
                  << test_model::describe(db) << "--- sound\n"
                  << test_model::whole_graph(db) << "--- damaged\n"
                  << damaged;
  }

  std::size_t m_num_damages;
  std::vector<std::unique_ptr<BUILD_CASE>> m_devices;
  std::vector<std::vector<bool>> m_applicable; // by device and detector
};

std::string head_of_table() {
  std::string head = "| Damage |";
  std::string rule = "|---|";
  for (const DETECTOR& detector : detectors()) {
    head += std::string(" ") + detector.m_name + " |";
    rule += "---|";
  }
  return head + "\n" + rule + "\n";
}

std::string line_of_table(const KIND& kind, const std::vector<TALLY>& tallies) {
  std::string line = std::string("| ") + kind.m_name + " |";
  for (const TALLY& tally : tallies) {
    char share[40];
    std::snprintf(share, sizeof share, " %.1f %% of %zu |",
                  100.0 * static_cast<double>(tally.m_found) / static_cast<double>(tally.m_tried),
                  tally.m_tried);
    line += tally.m_tried == 0 ? " - |" : share;
  }
  return line + "\n";
}

void write_table(const char* path, const std::string& table) {
  if (std::string(path) == "-") {
    std::fputs(table.c_str(), stdout);
    return;
  }
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path, "w"), std::fclose);
  ASSERT_TRUE(file) << path;
  std::fputs(table.c_str(), file.get());
}

TEST(FaultInjectionTest, FindsEveryDamageByTheChecksThatLookAtIt) {
  const char* const wanted = std::getenv("KEP_RG_DAMAGES");
  INJECTION injection(wanted ? std::strtoul(wanted, nullptr, 10) : 60);
  std::string table = head_of_table();
  for (std::size_t i = 0; i != kinds().size() && !HasFailure(); ++i)
    table += line_of_table(kinds()[i], injection.run(kinds()[i], i));
  if (const char* path = std::getenv("KEP_RG_DAMAGE_TABLE")) write_table(path, table);
}

} // namespace
