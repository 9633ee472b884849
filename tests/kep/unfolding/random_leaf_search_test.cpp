#include "kep/kep_flat_utils.h"
#include "tests/support/naive_hierarchy.h"
#include "tests/support/random_model.h"
#include "tests/support/seeds.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace random_leaf_search_test {

/// The leaf search with arbitrary predicates on random hierarchies, beside one that is written as plain
/// recursion.

using VISIT_TYPE = KEP_UNFOLD_OBSERVER::VISIT_TYPE;
using UIP = KEP_UNFOLDED_INST_PORT;
using PORT = KEP_UNFOLDED_PORT;

/// Answers by chance, always the same to the same question.
class ARBITRARY_PREDICATE {
public:
  explicit ARBITRARY_PREDICATE(std::uint64_t seed) : m_seed(seed) {
    test_model::RANDOM_SOURCE random(seed);
    for (unsigned* each : {&m_terminating, &m_leaf, &m_ignore, &m_ignore_port, &m_through, &m_continue})
      *each = random.percent(30) ? 0 : random.below(40);
    m_continue = 100 - m_continue;
  }

  bool is_terminating_uip(const UIP& uip, const KEP_GET_LEAF_PARAMS&) const {
    return chance(1, uip.hash(), m_terminating);
  }
  bool is_leaf(const UIP& uip, const KEP_GET_LEAF_PARAMS&) const { return chance(2, uip.hash(), m_leaf); }
  bool is_ignore_uip(const UIP& uip, const UIP& exclude_uip, const PORT& exclude_port, const UIP& cur_uip,
                     const PORT& cur_port) const {
    const std::uint64_t question = uip.hash() + 3 * exclude_uip.hash() + 5 * exclude_port.hash() +
                                   7 * cur_uip.hash() + 11 * cur_port.hash();
    return chance(3, question, m_ignore);
  }
  bool is_ignore_port(const PORT& port) const { return chance(4, port.hash(), m_ignore_port); }
  void get_trace_thru_outputs(const UIP& uip, std::vector<UIP>& outputs) const {
    for (const UIP& other : uip.get_unfolded_instance().iter_inst_ports())
      if (!(other == uip) && chance(5, uip.hash() + 3 * other.hash(), m_through)) outputs.push_back(other);
  }
  bool should_trace_thru_fanout(const UIP& output) const { return chance(6, output.hash(), m_continue); }

private:
  bool chance(std::uint64_t kind, std::uint64_t question, unsigned percent) const {
    return test_model::RANDOM_SOURCE(m_seed * 8 + kind + question * 1000003).percent(percent);
  }

  std::uint64_t m_seed;
  unsigned m_terminating = 0, m_leaf = 0, m_ignore = 0, m_ignore_port = 0, m_through = 0, m_continue = 0;
};

struct EVENT {
  int m_type; // 0: a net
  std::uint64_t m_position;
  const void* m_object;
  bool operator==(const EVENT&) const = default;
};

class EVENTS : public KEP_UNFOLD_OBSERVER {
public:
  void start_net(const KEP_UNFOLDED_NET& net) override {
    m_events.push_back({0, net.m_position, net.m_object});
  }
  void visit(const PORT& port, VISIT_TYPE type) override {
    m_events.push_back({static_cast<int>(type), port.m_position, port.m_object});
  }
  void visit(const UIP& uip, VISIT_TYPE type) override {
    m_events.push_back({static_cast<int>(type), uip.m_position, uip.m_object});
  }
  std::vector<EVENT> m_events;
};

/// How often each way was taken, over all searches.
struct COUNTS {
  std::size_t m_terminating = 0, m_skips = 0, m_crossed_to_results = 0, m_leaves = 0, m_ignored = 0,
              m_down = 0, m_up = 0, m_top_ports = 0, m_excluded = 0, m_walked_before = 0, m_current = 0;
};

class NAIVE_SEARCH {
public:
  NAIVE_SEARCH(const ARBITRARY_PREDICATE& predicate, const KEP_GET_LEAF_PARAMS& params, COUNTS& counts)
      : m_predicate(predicate), m_params(params), m_counts(counts) {}

  void find_leaves(const UIP& cur_uip, const PORT& cur_port, const UIP& exclude_uip,
                   const PORT& exclude_port) {
    KEP_UNFOLDED_NET net;
    if (cur_uip) {
      net = cur_uip.get_unfolded_net();
      const bool terminating = !(cur_uip == exclude_uip) && is_terminating(cur_uip);
      visit(cur_uip, terminating ? 10 : 12);
      m_noted.push_back(cur_uip.get_unfolded_instance().get_parent());
      if (terminating) {
        m_uips.push_back(cur_uip);
        return;
      }
    } else if (cur_port) {
      net = cur_port.get_unfolded_net();
      visit(cur_port, 12);
      m_noted.push_back(cur_port.get_parent());
    } else {
      return;
    }
    if (!net) return;
    if (!m_visited.insert(net).second) {
      ++m_counts.m_walked_before;
      return;
    }
    m_events.push_back({0, net.m_position, net.m_object});
    for (const UIP& uip : net.iter_inst_ports())
      walk(uip, cur_uip, cur_port, exclude_uip, exclude_port);
    for (const PORT& port : net.iter_ports())
      walk(port, cur_port, exclude_port);
  }

  std::vector<UIP> m_uips;
  std::vector<PORT> m_top_ports;
  std::set<KEP_UNFOLDED_NET> m_visited;
  std::vector<KEP_UNFOLDED_MODULE> m_noted;
  std::vector<EVENT> m_events;

private:
  void walk(const UIP& uip, const UIP& cur_uip, const PORT& cur_port, const UIP& exclude_uip,
            const PORT& exclude_port) {
    if (uip == exclude_uip) ++m_counts.m_excluded;
    if (uip == cur_uip) ++m_counts.m_current;
    const bool terminating = !(uip == exclude_uip) && is_terminating(uip);
    bool ignored = m_predicate.is_ignore_uip(uip, exclude_uip, exclude_port, cur_uip, cur_port);
    const KEP_PORT* port = uip.get_unfolded_port(KEP_VIEW_TYPE_RANK(KEP_VIEW_TYPE::DEFAULT_VIEW)).m_object;
    if (direction() == 0 && port->is_output()) ignored = true;
    if (direction() == 1 && port->is_input()) ignored = true;
    std::vector<UIP> outputs;
    if (!terminating && !ignored) m_predicate.get_trace_thru_outputs(uip, outputs);
    const bool leaf = outputs.empty() && m_predicate.is_leaf(uip, m_params) && !(uip == cur_uip);
    if (leaf || terminating || ignored) {
      ++(ignored ? m_counts.m_ignored : terminating ? m_counts.m_terminating : m_counts.m_leaves);
      if (!(uip == exclude_uip) && !ignored) m_uips.push_back(uip);
      if (!(uip == exclude_uip) && !(uip == cur_uip)) visit(uip, terminating ? 10 : 11);
    } else if (outputs.empty()) {
      go_down(uip, cur_uip);
    } else {
      go_across(uip, outputs);
    }
  }

  void go_down(const UIP& uip, const UIP& cur_uip) {
    if (uip == cur_uip) return;
    const PORT inner = uip.get_unfolded_port(m_params.m_view_type_rank);
    if (!inner) return;
    if (!inner.m_object->get_net()) {
      visit(uip, 11);
      return;
    }
    ++m_counts.m_down;
    visit(uip, 13);
    find_leaves({}, inner, {}, {});
  }

  void go_across(const UIP& uip, const std::vector<UIP>& outputs) {
    ++m_counts.m_skips;
    visit(uip, 8);
    for (const UIP& output : outputs)
      if (!is_terminating(output) && m_predicate.should_trace_thru_fanout(output)) {
        find_leaves(output, {}, {}, {});
      } else {
        ++m_counts.m_crossed_to_results;
        m_uips.push_back(output);
        visit(output, 10);
      }
  }

  void walk(const PORT& port, const PORT& cur_port, const PORT& exclude_port) {
    if (port == exclude_port) return;
    const bool is_current = port == cur_port;
    if (m_predicate.is_ignore_port(port) || (direction() == 0 && port.m_object->is_input()) ||
        (direction() == 1 && port.m_object->is_output())) {
      if (!is_current) visit(port, 11);
      return;
    }
    if (!is_current) visit(port, 13);
    const UIP outer = port.get_unfolded_inst_port();
    if (outer) {
      ++m_counts.m_up;
      if (!is_current) find_leaves(outer, {}, {}, {});
    } else if (port.get_parent().m_object->is_top_module_or_equiv()) {
      ++m_counts.m_top_ports;
      if (!is_current) visit(port, 11);
      m_top_ports.push_back(port);
    }
  }

  bool is_terminating(const UIP& uip) const { return m_predicate.is_terminating_uip(uip, m_params); }
  unsigned direction() const { return static_cast<unsigned>(m_params.m_direction); }
  template <class VALUE>
  void visit(const VALUE& value, int type) {
    m_events.push_back({type, value.m_position, value.m_object});
  }

  const ARBITRARY_PREDICATE& m_predicate;
  const KEP_GET_LEAF_PARAMS& m_params;
  COUNTS& m_counts;
};

/// The highest module noted, by the rule and not by the search.
KEP_UNFOLDED_MODULE highest(const std::vector<KEP_UNFOLDED_MODULE>& noted) {
  KEP_UNFOLDED_MODULE top;
  for (const KEP_UNFOLDED_MODULE& module : noted) {
    bool met = false;
    for (KEP_UNFOLDED_MODULE at = module; top && at; at = at.get_unfolded_instance().get_parent())
      met = met || at == top;
    if (!met) top = module;
  }
  return top;
}

class COMPARISON {
public:
  COMPARISON(const KEP_DB& db, std::uint64_t seed, COUNTS& counts)
      : m_random(seed + 3000000), m_predicate(seed), m_counts(counts) {
    const test_model::NAIVE_HIERARCHY naive(db);
    for (const test_model::NAIVE_OCCURRENCE* at : naive.all()) {
      for (unsigned i = 0; i != at->m_module->get_num_ports(); ++i)
        m_ports.push_back(at->m_value.get_unfolded_port_by_index(i));
      for (const KEP_UNFOLDED_INSTANCE& instance : at->m_value.iter_instances())
        for (const UIP& uip : instance.iter_inst_ports())
          m_uips.push_back(uip);
    }
    using V = KEP_VIEW_TYPE;
    const std::vector<KEP_VIEW_TYPE_RANK> ranks{KEP_VIEW_TYPE_RANK(V::DEFAULT_VIEW),
                                                KEP_VIEW_TYPE_RANK(V::LOGICAL, V::BLC),
                                                KEP_VIEW_TYPE_RANK(V::VIEW_1)};
    m_params.m_view_type_rank = m_random.pick(ranks);
    m_params.m_direction = static_cast<KEP_LEAF_DIRECTION>(m_random.below(3));
  }

  bool can_search() const { return !m_uips.empty() && !m_ports.empty(); }

  /// A few searches that share one record.
  void run() {
    EVENTS events;
    const KEP_LEAF_SEARCH<ARBITRARY_PREDICATE> search(m_predicate, &events);
    KEP_LEAF_RESULTS results;
    NAIVE_SEARCH naive(m_predicate, m_params, m_counts);
    for (unsigned i = 1 + m_random.below(3); i; --i) {
      UIP uip;
      PORT port;
      if (m_random.percent(50))
        uip = m_random.pick(m_uips);
      else
        port = m_random.pick(m_ports);
      const UIP exclude = m_random.percent(30) ? uip : m_random.percent(30) ? near(uip, port) : UIP();
      const PORT exclude_port = m_random.percent(20)   ? port
                                : m_random.percent(20) ? m_random.pick(m_ports)
                                                       : PORT();
      search.find_leaves(uip, port, results, m_params, exclude, exclude_port);
      naive.find_leaves(uip, port, exclude, exclude_port);
    }
    EXPECT_EQ(results.m_uips, naive.m_uips);
    EXPECT_EQ(results.m_top_ports, naive.m_top_ports);
    EXPECT_EQ(events.m_events, naive.m_events);
    EXPECT_EQ(results.m_top_module, highest(naive.m_noted));
    EXPECT_EQ(std::set<KEP_UNFOLDED_NET>(results.m_visited_nets.get_nets().begin(),
                                         results.m_visited_nets.get_nets().end()),
              naive.m_visited);
    EXPECT_EQ(results.m_visited_nets.size(), naive.m_visited.size());
  }

private:
  /// A uip on the net of the start.
  UIP near(const UIP& uip, const PORT& port) {
    const KEP_UNFOLDED_NET net = uip ? uip.get_unfolded_net() : port.get_unfolded_net();
    const auto members = net.iter_inst_ports();
    return members.empty() ? UIP() : m_random.pick(std::vector<UIP>(members.begin(), members.end()));
  }

  test_model::RANDOM_SOURCE m_random;
  ARBITRARY_PREDICATE m_predicate;
  COUNTS& m_counts;
  KEP_GET_LEAF_PARAMS m_params;
  std::vector<UIP> m_uips;
  std::vector<PORT> m_ports;
};

TEST(RandomLeafSearch, DoesWhatPlainRecursionDoes) {
  COUNTS counts;
  test_model::RANDOM_MODEL_LIMITS limits;
  limits.m_max_size = 120;
  for (const std::uint64_t seed : test_model::SEEDS(0, 2500)) {
    const auto db = test_model::make_random_db(seed, limits);
    COMPARISON comparison(*db, seed, counts);
    for (unsigned i = 0; i != 20 && comparison.can_search(); ++i)
      comparison.run();
    if (HasFailure()) FAIL() << test_model::describe(*db);
  }
  EXPECT_GT(counts.m_terminating, 1000U);
  EXPECT_GT(counts.m_skips, 1000U);
  EXPECT_GT(counts.m_crossed_to_results, 1000U);
  EXPECT_GT(counts.m_leaves, 1000U);
  EXPECT_GT(counts.m_ignored, 1000U);
  EXPECT_GT(counts.m_down, 1000U);
  EXPECT_GT(counts.m_up, 1000U);
  EXPECT_GT(counts.m_top_ports, 1000U);
  EXPECT_GT(counts.m_excluded, 1000U);
  EXPECT_GT(counts.m_walked_before, 1000U);
  EXPECT_GT(counts.m_current, 1000U);
}

} // namespace random_leaf_search_test
