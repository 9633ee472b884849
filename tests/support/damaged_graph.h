#pragma once

#include "kep/graph/kep_routing_graph_storage.h"
#include "kep/kep_routing_builder.h"
#include "tests/support/build_access.h"
#include "tests/support/graph_text.h"
#include "tests/support/model_fixture.h"

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// Broken graphs for tests: a graph as plain lists that may be changed in any way and are then published as
/// the graph of the database; and below it what not even a build can make wrong.
namespace test_model {

class EDITED_GRAPH {
public:
  struct EDGE {
    std::size_t m_to; ///< place in the list of nodes
    KEP_UNFOLDED_INST_PORT m_mux_input;
  };
  struct NODE {
    KEP_UNFOLDED_INST_PORT m_uip; ///< empty for a boundary node
    const KEP_PORT* m_port = nullptr;
    bool m_is_hipi = false;
    std::vector<EDGE> m_real = {};
    std::vector<EDGE> m_redundant = {};

    std::vector<EDGE>& edges(bool redundant) { return redundant ? m_redundant : m_real; }
    const std::vector<EDGE>& edges(bool redundant) const { return redundant ? m_redundant : m_real; }
  };

  /// No nodes yet. The database must outlive the object.
  explicit EDITED_GRAPH(KEP_DB& db) : m_db(&db) {}
  /// The graph of the lines, each an edge "FROM -> TO", "FROM ~> TO" or one with " via INPUT" behind it, or a
  /// lone node; nodes are made as they are named.
  EDITED_GRAPH(KEP_DB& db, const std::vector<std::string>& lines) : m_db(&db) {
    for (const std::string& line : lines)
      add(line);
  }
  /// The graph of the database as it stands.
  static EDITED_GRAPH read(KEP_DB& db) {
    EDITED_GRAPH made(db);
    const KEP_ROUTING::GRAPH& graph = *db.get_routing_template_graph();
    for (const KEP_ROUTING::NODE& node : graph.iter_nodes()) {
      made.m_nodes.push_back({node.get_unfolded_inst_port(), node.get_port(), node.is_hipi()});
      for (const KEP_ROUTING::FWD_EDGE& edge : node.iter_real_fanout())
        made.m_nodes.back().m_real.push_back({graph.get_index(edge.get_fanout()), edge.get_mux_input()});
      for (const KEP_ROUTING::FWD_EDGE& edge : node.iter_redundant_fanout())
        made.m_nodes.back().m_redundant.push_back({graph.get_index(edge.get_fanout()), edge.get_mux_input()});
    }
    return made;
  }

  KEP_DB& db() const { return *m_db; }
  std::vector<NODE>& nodes() { return m_nodes; }
  const std::vector<NODE>& nodes() const { return m_nodes; }
  NODE& node(std::string_view name) { return m_nodes[place(name)]; }

  /// The place of the node of that name, which is added if it is not there.
  std::size_t place(std::string_view name) {
    const NODE wanted = parse_node(name);
    for (std::size_t i = 0; i != m_nodes.size(); ++i)
      if (m_nodes[i].m_uip == wanted.m_uip && m_nodes[i].m_port == wanted.m_port &&
          m_nodes[i].m_is_hipi == wanted.m_is_hipi)
        return i;
    m_nodes.push_back(wanted);
    return m_nodes.size() - 1;
  }

  void add(const std::string& line) {
    const PARSED parsed = parse(line);
    const std::size_t from = place(parsed.m_from);
    if (parsed.m_to.empty()) return;
    const EDGE edge = make_edge(parsed);
    m_nodes[from].edges(parsed.m_is_redundant).push_back(edge);
  }
  /// The first edge of that line; there must be one.
  void drop(const std::string& line) {
    const PARSED parsed = parse(line);
    const EDGE edge = make_edge(parsed);
    std::vector<EDGE>& edges = node(parsed.m_from).edges(parsed.m_is_redundant);
    const auto found = std::find_if(edges.begin(), edges.end(), [&](const EDGE& each) {
      return each.m_to == edge.m_to && each.m_mux_input == edge.m_mux_input;
    });
    if (found == edges.end()) throw std::logic_error("no edge " + line);
    edges.erase(found);
  }

  /// Takes a node out, and all edges to and from it.
  void drop_node(std::size_t index) {
    m_nodes.erase(m_nodes.begin() + static_cast<std::ptrdiff_t>(index));
    for (NODE& node : m_nodes)
      for (const bool redundant : {false, true}) {
        std::erase_if(node.edges(redundant), [index](const EDGE& edge) { return edge.m_to == index; });
        for (EDGE& edge : node.edges(redundant))
          edge.m_to -= edge.m_to > index;
      }
  }

  /// Makes the lists the graph of the database, in place of the one that it has.
  void publish() const {
    using BUILDER = KEP_ROUTING_BUILDER_GRAPH;
    const std::unique_ptr<BUILDER, void (*)(BUILDER*)> graph(BUILDER::create(m_db, 0), BUILDER::destroy);
    for (const NODE& node : m_nodes) {
      auto* made = node.m_port ? KEP_ROUTING_BUILDER_NODE::allocate(graph.get(), node.m_port)
                               : KEP_ROUTING_BUILDER_NODE::allocate(graph.get(), node.m_uip);
      made->set_hipi(node.m_is_hipi);
    }
    KEP_ROUTING_BUILDER_EDGE_BUILDER edge_builder(graph.get(), 0);
    edge_builder.sort_nodes_for_templating(m_db->get_legacy_api());
    KEP_ROUTING_BUILDER_NODE_CACHE cache;
    cache.initialize_routing_builder_graph(graph.get());
    const auto find = [&](const NODE& node) {
      if (node.m_port) return cache.find_routing_node(node.m_port);
      const auto both = cache.find_both_routing_nodes(node.m_uip);
      return node.m_is_hipi ? both.second : both.first;
    };
    const auto fanouts = [&](const std::vector<EDGE>& edges) {
      std::vector<KEP_ROUTING_BUILDER_EDGE_BUILDER::FANOUT> made;
      for (const EDGE& edge : edges)
        made.push_back({find(m_nodes[edge.m_to]), edge.m_mux_input});
      return made;
    };
    tbb::mutex mutex;
    for (const NODE& node : m_nodes)
      if (!node.m_real.empty() || !node.m_redundant.empty())
        edge_builder.set_fanout(find(node), fanouts(node.m_real), fanouts(node.m_redundant), mutex, true);
    KEP_ROUTING_REVERSE_EDGE_BUILDER::add_reverse_edges(graph.get(), false);
  }

private:
  struct PARSED {
    std::string m_from;
    std::string m_to; ///< empty for a lone node
    std::string m_mux_input;
    bool m_is_redundant = false;
  };

  static PARSED parse(const std::string& line) {
    PARSED parsed;
    std::istringstream words(line);
    std::string arrow;
    std::string via;
    words >> parsed.m_from >> arrow >> parsed.m_to >> via >> parsed.m_mux_input;
    parsed.m_is_redundant = arrow == "~>";
    if (!arrow.empty() && arrow != "->" && arrow != "~>") throw std::logic_error("no edge: " + line);
    return parsed;
  }
  EDGE make_edge(const PARSED& parsed) {
    return {place(parsed.m_to), parsed.m_mux_input.empty() ? KEP_UNFOLDED_INST_PORT()
                                                           : test_model::uip(*m_db, parsed.m_mux_input)};
  }
  NODE parse_node(std::string_view name) const {
    if (name.starts_with(':'))
      return {
          {},
          m_db->get_top_module(KEP_VIEW_TYPE::DEFAULT_VIEW)->find_port(std::string(name.substr(1)).c_str())};
    const bool is_hipi = name.ends_with('*');
    return {test_model::uip(*m_db, std::string(name.substr(0, name.size() - is_hipi))), nullptr, is_hipi};
  }

  KEP_DB* m_db;
  std::vector<NODE> m_nodes;
};

/// The node of that name in the graph of the database, the null node if there is none.
inline KEP_ROUTING::NODE node_named(const KEP_DB& db, std::string_view name) {
  for (const KEP_ROUTING::NODE& node : db.get_routing_template_graph()->iter_nodes())
    if (text_of(node) == name) return node;
  return {};
}

/// The one place that knows how a finished graph is laid out. Each changes the graph of the database.
class STORAGE_DAMAGE {
public:
  explicit STORAGE_DAMAGE(KEP_DB& db) : m_graph(*db.get_routing_template_graph()) {}

  /// The fanins of the node in the opposite order, so that a hipi fanin may stand anywhere.
  void turn_fanins_round(const KEP_ROUTING::NODE& node) {
    KEP_ROUTING_GRAPH_STORAGE storage = copy();
    const std::uint64_t word = ACCESS::word(node);
    const KEP_EDGE_TABLES tables = storage.get_tables();
    const KEP_NODE_SHAPE& shape = tables.get_shape(word);
    std::vector<std::uint64_t> fanins;
    for (std::uint32_t i = shape.m_num_fanins; i-- != 0;)
      fanins.push_back(
          tables.m_fanins[shape.m_first_fanin + i].get_word(static_cast<std::uint32_t>(word >> 32)));
    ACCESS::set_fanins(storage, word, fanins);
    ACCESS::publish(m_graph, std::make_unique<const KEP_ROUTING_GRAPH_STORAGE>(storage));
  }
  /// Edges to the last node of the graph have no fanout any more.
  void empty_last_node() {
    KEP_ROUTING_GRAPH_STORAGE storage = copy();
    const KEP_ROUTING::NODE last = m_graph.get_node(static_cast<std::uint32_t>(m_graph.get_num_nodes() - 1));
    for (const KEP_ROUTING::NODE& node : m_graph.iter_nodes()) {
      const std::uint64_t word = ACCESS::word(node);
      const KEP_EDGE_TABLES tables = storage.get_tables();
      const KEP_NODE_SHAPE& shape = tables.get_shape(word);
      std::vector<std::uint64_t> fanouts;
      for (std::uint32_t i = 0; i != shape.m_num_fanouts; ++i)
        fanouts.push_back(
            tables.m_fanouts[shape.m_first_fanout + i].get_word(static_cast<std::uint32_t>(word >> 32)));
      const bool is_changed = std::find(fanouts.begin(), fanouts.end(), ACCESS::word(last)) != fanouts.end();
      std::replace(fanouts.begin(), fanouts.end(), ACCESS::word(last), std::uint64_t{0}); // that of no node
      if (is_changed) ACCESS::set_fanouts(storage, word, fanouts);
    }
    ACCESS::publish(m_graph, std::make_unique<const KEP_ROUTING_GRAPH_STORAGE>(storage));
  }

private:
  using ACCESS = KEP_RG_TEST_ACCESS;
  KEP_ROUTING_GRAPH_STORAGE copy() const { return ACCESS::storage(m_graph); }
  KEP_ROUTING::GRAPH& m_graph;
};

} // namespace test_model
