#pragma once

#include "fuzz/fuzz.h"
#include "fuzz/written_model.h"
#include "kep/kep_db.h"
#include "kep/kep_numbered_graph.h"
#include "kep/kep_routing_graph.h"
#include "kep/kep_routing_primitive_cache.h"
#include "tests/support/graph_text.h"

#include <cstddef>
#include <cstdint>
#include <string>

/// Goes wherever a database leads, so that every index that it holds is followed, and says in words what it
/// saw. Of a large device it sees the first part.
namespace FUZZ {

class WALK {
public:
  static constexpr std::size_t MAX_PLACES = 2000; ///< of instances, and of nodes

  explicit WALK(const KEP_DB& db) : m_db(db), m_graph(*db.get_routing_template_graph()) {
    m_text = write_model(db);
    for (unsigned view = 0; view != KEP_NUM_MODULE_VIEWS; ++view)
      walk(db.get_top_unfolded_module(static_cast<KEP_VIEW_TYPE>(view)));
    walk_names();
    walk_description();
    for (const char* table : {"redundancy", "routing_crf"})
      walk_paths(table);
    walk_graph();
  }

  const std::string& get_text() const { return m_text; }

private:
  void tell(const std::string& line) { m_text += line + "\n"; }

  void walk(const KEP_UNFOLDED_MODULE& module) {
    if (!module) return;
    for (const KEP_UNFOLDED_INSTANCE& instance : module.iter_instances()) {
      if (m_num_instances++ > MAX_PLACES) return;
      tell(instance.get_name(STYLE) + (is_spare(instance) ? " spare" : ""));
      for (const KEP_UNFOLDED_INST_PORT& uip : instance.iter_inst_ports())
        walk(uip);
      for (unsigned view = 0; view != KEP_NUM_MODULE_VIEWS; ++view)
        walk(instance.get_module(static_cast<KEP_VIEW_TYPE>(view)));
    }
  }

  void walk(const KEP_UNFOLDED_INST_PORT& uip) {
    tell(uip.get_name(STYLE) + " on " + uip.get_unfolded_net().get_name(STYLE));
    const KEP_ROUTING_PRIMITIVE& store = *m_graph.find_routing_primitive();
    if (const KEP_WIRE_TYPE* type = store.find_wire_type(uip))
      tell("wire " + type->get_name() + " " + std::to_string(type->get_flags()));
    const KEP_UNFOLDED_PORT port = uip.get_unfolded_port(KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank);
    for (const KEP_UNFOLDED_INST_PORT& inner : port.get_unfolded_net().iter_inst_ports())
      tell("  inside " + inner.get_name(STYLE));
    for (const bool is_hipi : {false, true})
      if (const KEP_ROUTING::NODE node{uip, is_hipi}) tell("  node " + test_model::text_of(node));
  }

  bool is_spare(const KEP_UNFOLDED_INSTANCE& instance) const {
    const KEP_UNFOLDED_INSTANCE_ATTRIBUTES* attributes = m_db.get_legacy_api()->get_attributes(instance);
    return attributes && attributes->is_spare_row();
  }

  /// What is found by its name is what bears it.
  void walk_names() {
    for (const KEP_MODULE* module : m_db.iter_modules(true)) {
      const auto found = m_db.find_modules(module->get_plain_name(), module->get_view_type(), true);
      require(std::find(found.begin(), found.end(), module) != found.end(), "a module is found by its name");
      for (const KEP_PORT* port : module->iter_ports())
        require(module->find_port(port->get_plain_name()) != nullptr, "a port is found by its name");
      for (const KEP_INSTANCE* instance : module->iter_instances())
        require(module->find_instance(instance->get_plain_name()) != nullptr, "an instance by its name");
      for (const KEP_NET* net : module->iter_nets())
        for (const KEP_INST_PORT* inst_port : net->iter_inst_ports())
          require(inst_port->get_net() == net, "a net and its members agree");
    }
  }

  void walk_description() {
    const KEP_ROUTING_PRIMITIVE& store = *m_graph.find_routing_primitive();
    tell("pattern " + store.get_non_template_mux_skip_path_inst_name_pattern());
    for (const KEP_MODULE* root : store.iter_routing_roots(true))
      tell(std::string("root ") + root->get_key());
    for (const KEP_ROUTING_MUX* mux : store.iter_routing_muxes(true)) {
      tell(std::string("mux ") + mux->get_module()->get_key() + (mux->get_skip() ? " skip" : ""));
      for (const KEP_INSTANCE* instance : mux->iter_skip_exception_instances())
        tell(std::string("  not ") + instance->get_plain_name());
    }
    for (const KEP_ROUTING_ARC* arc : store.iter_routing_arcs(true))
      walk(*arc);
    for (const KEP_ROUTING_FLYOVER* flyover : store.iter_routing_flyovers(true))
      tell(std::string("flyover ") + flyover->get_input()->get_plain_name() + " " +
           flyover->get_output()->get_plain_name());
    for (const KEP_MODULE* module : m_db.iter_modules(true))
      walk_marks(store, *module);
  }

  void walk(const KEP_ROUTING_ARC& arc) {
    tell(std::string("arc ") + arc.get_input()->get_parent()->get_key() + " " +
         arc.get_input()->get_plain_name() + " " + arc.get_output()->get_plain_name() +
         (arc.get_parent() && arc.is_always_skip() ? " skip" : ""));
  }

  void walk_marks(const KEP_ROUTING_PRIMITIVE& store, const KEP_MODULE& module) {
    std::string line = std::string("marks ") + module.get_key() + " " +
                       std::to_string(static_cast<int>(store.get_tunnel_type(&module))) +
                       (store.is_not_template(&module) ? "n" : "");
    for (const KEP_PORT* port : module.iter_ports()) {
      line += std::string(" ") + port->get_plain_name() + "=" +
              std::to_string(static_cast<int>(store.get_hipi_type(port))) +
              (store.is_insert_node(port) ? "i" : "") + (store.is_remove_node(port) ? "r" : "") +
              (store.is_merge_disabled(port) ? "m" : "") + (store.ends_wire_type_path(port) ? "w" : "");
      if (const std::string* name = store.find_insert_node_name(port)) line += *name;
    }
    tell(line);
  }

  void walk_paths(const char* name) {
    const KEP_INDEXED_RELATIVE_PATHS table = m_db.get_relative_paths(name);
    if (!table.valid()) return;
    tell(std::string("paths ") + name);
    for (const KEP_MODULE* module : table.get_modules()) {
      const KEP_MODULE_RELATIVE_PATH_MAP paths = table.find_path_mappings_for_module(module);
      for (std::size_t i = 0; i != paths.size(); ++i) {
        const KEP_RELATIVE_PATH& path = paths.get_path(i)->get_path();
        std::string line = module->get_key();
        for (const KEP_INSTANCE* instance : path.get_instances(&m_db))
          line += std::string("/") + instance->get_plain_name();
        tell(line + ":" + path.get_port(&m_db)->get_plain_name());
      }
    }
  }

  void walk_graph() {
    const KEP_ROUTING::NUMBERED_GRAPH numbers(m_graph);
    tell(std::to_string(m_graph.get_num_nodes()) + " nodes " + std::to_string(m_graph.get_num_real_edges()) +
         " real " + std::to_string(m_graph.get_num_redundant_edges()) + " redundant " +
         std::to_string(m_graph.get_num_templates()) + " templates");
    std::uint32_t number = 0;
    for (const KEP_ROUTING::NODE& node : m_graph.iter_nodes()) {
      require(m_graph.get_index(node) == number && m_graph.get_node(number) == node, "a node has its number");
      walk(node);
      walk(numbers, number);
      if (++number > MAX_PLACES) return;
    }
    require(number == m_graph.get_num_nodes(), "all nodes are there");
    std::uint64_t num_edges = 0;
    m_graph.visit_edges(m_graph.iter_nodes(),
                        [&](const KEP_ROUTING::NODE& from, const KEP_ROUTING::NODE& to) {
                          check_number(m_graph.get_index(from));
                          check_number(m_graph.get_index(to));
                          ++num_edges;
                        });
    require(num_edges == m_graph.get_num_real_edges() + m_graph.get_num_redundant_edges(), "all edges");
  }

  void walk(const KEP_ROUTING::NODE& node) {
    using test_model::text_of;
    tell(text_of(node) + (node.is_boundary() ? " boundary " : " ") +
         std::to_string(node.get_num_real_edges()) + " real");
    if (const KEP_ROUTING::NODE hipi = node.get_hipi_node()) tell("  has a twin");
    for (const KEP_ROUTING::FWD_EDGE& edge : node.iter_all_fanout())
      tell("  to " + text_of(edge.get_fanout()) + " via " + edge.get_mux_input().get_name(STYLE));
    for (const KEP_ROUTING::REV_EDGE& edge : node.iter_all_fanin())
      tell("  from " + text_of(edge.get_fanin()));
  }

  void walk(const KEP_ROUTING::NUMBERED_GRAPH& numbers, std::uint32_t node) {
    std::size_t num_real = 0;
    for (const KEP_ROUTING::NUMBERED_FWD_EDGE& edge : numbers.iter_all_fanout(node)) {
      num_real += !edge.is_redundant();
      check_number(edge.get_fanout());
    }
    require(num_real == numbers.get_num_real_edges(node), "real edges are counted");
    for (const KEP_ROUTING::NUMBERED_REV_EDGE& edge : numbers.iter_all_fanin(node)) {
      check_number(edge.get_fanin());
      if (edge.get_fanin() != KEP_ROUTING::NUMBERED_GRAPH::NONE)
        check_number(edge.find_fwd_edge().get_fanout());
    }
  }

  void check_number(std::uint32_t node) {
    require(node < m_graph.get_num_nodes() || node == KEP_ROUTING::NUMBERED_GRAPH::NONE, "a node's number");
  }

  static constexpr KEP_NAME_STYLE STYLE{};
  const KEP_DB& m_db;
  KEP_ROUTING::GRAPH& m_graph;
  std::size_t m_num_instances = 0;
  std::string m_text;
};

} // namespace FUZZ
