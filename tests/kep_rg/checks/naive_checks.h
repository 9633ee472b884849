#pragma once

#include "kep/kep_db.h"
#include "kep/kep_routing_graph.h"
#include "tests/support/check_report.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

/// The post checks once more, without a thought for time or memory: what the real ones are held against.
namespace test_model {

class NAIVE_CHECKS {
public:
  explicit NAIVE_CHECKS(const KEP_DB& db) {
    for (const KEP_ROUTING::NODE& node : db.get_routing_template_graph()->iter_nodes()) {
      POINT& point = m_points[name(node)];
      m_order.push_back(name(node));
      point.m_node = node;
      for (const KEP_ROUTING::FWD_EDGE& edge : node.iter_real_fanout())
        point.m_real.push_back(name(edge.get_fanout()));
      for (const KEP_ROUTING::FWD_EDGE& edge : node.iter_redundant_fanout())
        point.m_redundant.push_back(name(edge.get_fanout()));
      for (const KEP_ROUTING::REV_EDGE& edge : node.iter_all_fanin())
        point.m_fanins.push_back(edge.get_fanin());
    }
  }

  /// Two or more real edges from a node with redundant ones to one fanout.
  struct DOUBLED {
    KEP_ROUTING::NODE m_from;
    KEP_ROUTING::NODE m_to;
    int m_count;
  };
  /// Node by node; the fanouts of a node in the order of its edges, redundant ones first.
  std::vector<DOUBLED> doubled() const {
    std::vector<DOUBLED> found;
    for (const std::string& each : m_order) {
      const POINT& point = m_points.at(each);
      if (point.m_redundant.empty() || point.m_real.empty()) continue;
      std::map<std::string, int> counts;
      for (const std::string& fanout : point.m_real)
        ++counts[fanout];
      std::vector<std::string> fanouts = point.m_redundant;
      fanouts.insert(fanouts.end(), point.m_real.begin(), point.m_real.end());
      for (const std::string& fanout : fanouts) {
        const int count = std::exchange(counts[fanout], 0);
        if (count > 1) found.push_back({point.m_node, m_points.at(fanout).m_node, count});
      }
    }
    return found;
  }

  /// The error lines of each check; a check gives true where there are none.
  std::vector<std::string> redundant_edges() const {
    const std::vector<DOUBLED> found = doubled();
    if (found.empty()) return {};
    return {rule_line("RG-ONE-REAL-EDGE-PER-NODE", {std::to_string(found[0].m_count),
                                                    found[0].m_to.get_unfolded_inst_port().get_name({})}),
            rule_line("RG-NO-REAL-EDGE-FOR-REDUNDANT-EDGE")};
  }

  std::vector<std::string> redundant_edge_count() const {
    std::uint64_t real = 0;
    std::uint64_t redundant = 0;
    for (const auto& [key, point] : m_points) {
      real += point.m_real.size();
      redundant += point.m_redundant.size();
    }
    if (20 * redundant > redundant + real) return {};
    return {rule_line("RG-REDUNDANT-EDGE-COUNT-PREREQUISITE")};
  }

  /// The nodes that break the rule of hipi nodes, each with the condition that does not hold.
  std::vector<std::pair<KEP_ROUTING::NODE, std::string>> hipi() const {
    std::vector<std::pair<KEP_ROUTING::NODE, std::string>> found;
    for (const std::string& each : m_order) {
      const POINT& point = m_points.at(each);
      std::vector<std::size_t> places; // of twins
      for (std::size_t i = 0; i != point.m_fanins.size(); ++i)
        if (point.m_fanins[i].is_hipi()) places.push_back(i);
      if (places.empty()) {
        if (m_points.contains(each + "*") && !point.m_node.is_hipi())
          found.emplace_back(point.m_node, NOT_FED);
      } else if (places[0] != 0) {
        found.emplace_back(point.m_node, "!(is_hipi && fanin_iter != fanin_range.begin())");
      } else if (name(point.m_fanins[0]) != each + "*") {
        found.emplace_back(point.m_node, "!(is_hipi && node.get_hipi_node() != from_node)");
      } else if (places.size() > 1) {
        found.emplace_back(point.m_node, "!(is_hipi && fanin_iter != fanin_range.begin())");
      }
    }
    return found;
  }
  /// For a graph that lies in one range, which ends at a node that its twin does not feed.
  std::vector<std::string> hipi_api() const {
    std::vector<std::string> lines;
    for (const auto& [node, condition] : hipi()) {
      lines.push_back(rule_line("RG-HIPI-CHECK-FAILED", {condition}));
      if (condition == NOT_FED) break;
    }
    return lines;
  }

  /// The nodes that the connectivity check has to tell of, in their order.
  std::vector<KEP_ROUTING::NODE> unreachable() const {
    std::set<std::string> reached;
    for (const auto& [key, point] : m_points)
      if (point.m_fanins.empty() && !point.m_real.empty()) reached.insert(key);
    for (bool grows = true; grows;) {
      const std::size_t before = reached.size();
      for (const auto& [key, point] : m_points)
        if (reached.contains(key)) reached.insert(point.m_real.begin(), point.m_real.end());
      grows = reached.size() != before;
    }
    std::vector<KEP_ROUTING::NODE> found;
    for (const std::string& each : m_order) {
      const POINT& point = m_points.at(each);
      const bool is_alone = point.m_fanins.empty() && point.m_real.empty() && point.m_redundant.empty();
      if (!reached.contains(each) && !is_alone && !is_exempt(point.m_node)) found.push_back(point.m_node);
    }
    return found;
  }

  std::size_t num_inputs() const {
    std::size_t count = 0;
    for (const auto& [key, point] : m_points)
      if (point.m_fanins.empty() && !point.m_real.empty()) ++count;
    return count;
  }

  /// The module by which a node may be exempt from the rule of connectivity.
  static bool is_exempt(const KEP_ROUTING::NODE& node) {
    const KEP_MODULE* module = node.is_boundary()
                                   ? node.get_port()->get_parent()
                                   : node.get_unfolded_inst_port().m_object->get_inst()->get_module();
    return module->get_view_type() == KEP_VIEW_TYPE::BLC ||
           !module->get_equivalent_modules(KEP_VIEW_TYPE::BLC).empty();
  }

private:
  static constexpr const char* NOT_FED = "!has_hipi_fanin || node.get_hipi_node()";
  struct POINT {
    KEP_ROUTING::NODE m_node;
    std::vector<std::string> m_real;
    std::vector<std::string> m_redundant;
    std::vector<KEP_ROUTING::NODE> m_fanins;
  };

  /// One of its own for each node, "*" at the end of that of a twin: names of uips may be equal in two views.
  static std::string name(const KEP_ROUTING::NODE& node) {
    return node.get_name({}) + "@" + std::to_string(node.get_unfolded_inst_port().m_position) +
           (node.is_hipi() ? "*" : "");
  }

  std::map<std::string, POINT> m_points;
  std::vector<std::string> m_order;
};

} // namespace test_model
