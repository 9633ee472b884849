#pragma once

#include "kep/kep_routing_graph_storage.h"
#include "kep_rg/kep_rg_build.h"
#include "kep_rg/kep_rg_relative_port.h"
#include "kep_rg/kep_rg_trace_edge.h"

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

/// What tests reach inside a builder: single phases, single decisions, and the members that no operation
/// sets. And inside a finished graph and a trace.
class KEP_RG_TEST_ACCESS {
public:
  using CREATE_TYPE = KEP_RG_BUILD::CREATE_TYPE;
  using HAS_NODES = KEP_RG_BUILD::HAS_NODES;
  static constexpr CREATE_TYPE CREATE_TYPE_PORT = KEP_RG_BUILD::CREATE_TYPE_PORT;
  static constexpr CREATE_TYPE CREATE_TYPE_INSERTED = KEP_RG_BUILD::CREATE_TYPE_INSERTED;
  static constexpr CREATE_TYPE CREATE_TYPE_BLC_PORT = KEP_RG_BUILD::CREATE_TYPE_BLC_PORT;
  static constexpr CREATE_TYPE CREATE_TYPE_BLC_TRAIT = KEP_RG_BUILD::CREATE_TYPE_BLC_TRAIT;

  static std::size_t count(KEP_RG_BUILD& build, std::size_t& boundary) { return build.count(boundary); }
  static std::size_t count_mux(KEP_RG_BUILD& build, KEP_MODULE* module, bool flag) {
    return build.count_mux(module, flag);
  }
  static auto& module_counts(KEP_RG_BUILD& build) { return build.m_module_counts; }

  /// Sizes the node cache, as counting does before the first node.
  static void prepare_nodes(KEP_RG_BUILD& build) {
    std::size_t boundary = 0;
    const std::size_t n = build.count(boundary);
    build.m_node_cache.initialize_routing_builder_graph(n, boundary, build.m_builder_graph.get());
  }
  static void add_nodes(KEP_RG_BUILD& build, bool debug) { build.add_nodes(debug); }
  static void add_nodes_hipi(KEP_RG_BUILD& build) { build.add_nodes_hipi(); }
  static bool add_nodes_module(KEP_RG_BUILD& build, const KEP_UNFOLDED_MODULE& module, bool debug) {
    return build.add_nodes_module(module, nullptr, debug);
  }
  static bool create_node(KEP_RG_BUILD& build, const KEP_UNFOLDED_INST_PORT& uip, CREATE_TYPE type) {
    return build.create_node(uip, type, false);
  }
  static void create_node(KEP_RG_BUILD& build, KEP_PORT* port) { build.create_node(port, false); }
  static bool create_node_hipi(KEP_RG_BUILD& build, const KEP_UNFOLDED_INST_PORT& uip,
                               bool no_plain_node_needed, bool debug = false) {
    return build.create_node_hipi(uip, no_plain_node_needed, debug);
  }
  static bool do_exclude_node(const KEP_RG_BUILD& build, const KEP_UNFOLDED_INST_PORT& uip) {
    return build.do_exclude_node(uip);
  }
  static bool get_mux_outputs(KEP_RG_BUILD& build, std::vector<KEP_UNFOLDED_INST_PORT>& outputs,
                              const KEP_UNFOLDED_INSTANCE& instance, KEP_PORT* port) {
    return build.get_mux_outputs(&outputs, instance, port);
  }
  static bool is_mux_output(KEP_RG_BUILD& build, KEP_PORT* input, KEP_PORT* output) {
    return build.is_mux_output(input, output);
  }
  static bool is_muxtype_edge_driver(const KEP_RG_BUILD& build, const KEP_UNFOLDED_INST_PORT& uip) {
    return build.is_muxtype_edge_driver(uip);
  }
  static bool is_sometimes_mux_instance(const KEP_RG_BUILD& build, KEP_INSTANCE* instance) {
    return build.is_sometimes_mux_instance(instance);
  }

  static void disable_hipi(KEP_RG_BUILD& build) { build.m_disable_hipi = true; }
  static void disable_node_allocation(KEP_RG_BUILD& build) { build.m_disable_node_allocation = true; }
  static void disable_edge_allocation(KEP_RG_BUILD& build) { build.m_disable_edge_allocation = true; }
  /// Every node is searched.
  static void disable_fanout_cache(KEP_RG_BUILD& build) {
    build.m_fanout_cache = KEP_RG_BUILD::FANOUT_CACHE::NOTHING;
  }
  static void keep_all_answers(KEP_RG_BUILD& build) {
    build.m_fanout_cache = KEP_RG_BUILD::FANOUT_CACHE::EVERYTHING;
  }
  static void debug_instance(KEP_RG_BUILD& build, const KEP_UNFOLDED_INSTANCE& instance) {
    build.m_dbg_u_instance = instance;
  }
  static void set_view_type_rank(KEP_RG_BUILD& build, const KEP_VIEW_TYPE_RANK& rank) {
    build.m_view_type_rank = rank;
  }
  static KEP_RG_NODE_CREATION_STATS& node_stats(KEP_RG_BUILD& build) { return build.m_node_stats; }
  static const std::vector<KEP_UNFOLDED_INST_PORT>& debug_uips(const KEP_RG_BUILD& build) {
    return build.m_dbg_uips;
  }
  static const std::vector<KEP_PORT*>& debug_ports(const KEP_RG_BUILD& build) { return build.m_dbg_ports; }
  static const auto& redundant_inputs(const KEP_RG_BUILD& build) { return build.m_redundant_inputs; }
  static const auto& module_has_nodes(const KEP_RG_BUILD& build) { return build.m_module_has_nodes; }
  using CDRN_CACHE = KEP_RG_BUILD::CDRN_CACHE;
  static const KEP_RG_INSTANCE_IS_PRIMITIVE& instance_is_primitive(const KEP_RG_BUILD& build) {
    return build.m_instance_is_primitive;
  }
  /// Gives a module a type that its description does not lead to, or none of the six.
  static void set_module_type(KEP_RG_BUILD& build, const KEP_MODULE* module, std::uint32_t type) {
    build.m_instance_is_primitive.m_module_types_by_number[module->get_number()] =
        static_cast<KEP_RG_INSTANCE_IS_PRIMITIVE::MODULE_TYPE>(type);
  }
  static const KEP_RG_TRACE_PREDICATE& trace_predicate(const KEP_RG_BUILD& build) {
    return build.m_trace_predicate;
  }
  static bool has_edge_builder(const KEP_RG_BUILD& build) { return build.m_edge_builder != nullptr; }

  /// A relative port of any chain and port, whether they fit or not.
  static KEP_RG_RELATIVE_PORT relative_port(const std::vector<KEP_INSTANCE*>& chain, KEP_PORT* port) {
    return {chain, port};
  }
  static KEP_MODULE* back_master(const KEP_RG_RELATIVE_PORT& r_port, KEP_MODULE* top,
                                 const KEP_VIEW_TYPE_RANK& rank) {
    return r_port.back_master(top, rank);
  }
  static void pop_back(KEP_RG_RELATIVE_PORT& r_port, std::size_t count, KEP_PORT* port) {
    r_port.pop_back(count, port);
  }

  static const KEP_ROUTING_GRAPH_STORAGE& storage(const KEP_ROUTING::GRAPH& graph) {
    return *graph.m_storage;
  }
  static std::uint64_t word(const KEP_ROUTING::NODE& node) { return node.m_word; }
  /// Gives a node templates of its own, in a page of its own.
  static void set_fanins(KEP_ROUTING_GRAPH_STORAGE& storage, std::uint64_t word,
                         const std::vector<KEP_FANIN_ENTRY>& entries) {
    const auto count = static_cast<std::uint16_t>(entries.size());
    storage.m_fanin_templates.push_back({static_cast<std::uint32_t>(storage.m_fanins.size()), count, count});
    storage.m_fanins.insert(storage.m_fanins.end(), entries.begin(), entries.end());
    storage.m_fanins_of_nodes[own_slot(storage, word)] =
        static_cast<std::uint32_t>(storage.m_fanin_templates.size() - 1);
  }
  static void set_fanouts(KEP_ROUTING_GRAPH_STORAGE& storage, std::uint64_t word,
                          const std::vector<KEP_FANOUT_ENTRY>& entries, std::uint16_t num_real) {
    storage.m_fanout_templates.push_back({static_cast<std::uint32_t>(storage.m_fanouts.size()), num_real,
                                          static_cast<std::uint16_t>(entries.size())});
    storage.m_fanouts.insert(storage.m_fanouts.end(), entries.begin(), entries.end());
    storage.m_fanouts_of_nodes[own_slot(storage, word)] =
        static_cast<std::uint32_t>(storage.m_fanout_templates.size() - 1);
  }

private:
  static std::size_t own_slot(KEP_ROUTING_GRAPH_STORAGE& storage, std::uint64_t word) {
    const auto place = static_cast<std::uint32_t>(word >> 32);
    const std::uint32_t size = storage.m_places->get_num_ranks(place);
    const std::uint32_t old_page = storage.m_pages[place];
    storage.m_pages[place] = static_cast<std::uint32_t>(storage.m_fanouts_of_nodes.size());
    for (std::uint32_t rank = 0; rank != size; ++rank) {
      storage.m_fanouts_of_nodes.push_back(std::uint32_t{storage.m_fanouts_of_nodes[old_page + rank]});
      storage.m_fanins_of_nodes.push_back(std::uint32_t{storage.m_fanins_of_nodes[old_page + rank]});
    }
    return storage.m_pages[place] + static_cast<std::uint32_t>(word) - std::size_t{1};
  }

public:
  static bool verify_trace_edge(KEP_RG_TRACE_EDGE& tracer, const KEP_ROUTING::NODE& from,
                                const std::vector<KEP_UNFOLDED_INST_PORT>& trace) {
    return tracer.verify_trace_edge(from, trace);
  }

  static bool disables_edges(const KEP_RG_BUILD& build) { return build.m_disable_edge_allocation; }
  /// By thread.
  static const auto& representative_rows(const KEP_RG_BUILD& build) { return build.m_rep_node_args; }
};
