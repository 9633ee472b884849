#pragma once

#include "kep/graph/kep_mux_input_word.h"
#include "kep/graph/kep_node_word.h"
#include "kep/graph/kep_routing_graph_storage.h"
#include "kep_rg/edges/kep_rg_plain_nets.h"
#include "kep_rg/kep_rg_build.h"
#include "kep_rg/kep_rg_proof.h"
#include "kep_rg/kep_rg_relative_port.h"
#include "kep_rg/kep_rg_trace_edge.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
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

  /// Nodes are made place by place.
  static void walk_all_places(KEP_RG_BUILD& build) { build.m_plans_nodes = false; }
  static void disable_hipi(KEP_RG_BUILD& build) { build.m_disable_hipi = true; }
  static void disable_node_allocation(KEP_RG_BUILD& build) { build.m_disable_node_allocation = true; }
  static void disable_edge_allocation(KEP_RG_BUILD& build) { build.m_disable_edge_allocation = true; }
  /// Every node is searched.
  static void disable_fanout_cache(KEP_RG_BUILD& build) { build.m_edge_phase.m_uses_fanout_cache = false; }
  /// Also those that no later node of the range can ask for.
  static void keep_all_answers(KEP_RG_BUILD& build) { build.m_edge_phase.m_keeps_all_answers = true; }
  /// Whoever observes a build makes it ask every question anew.
  static void observe(KEP_RG_BUILD& build, KEP_UNFOLD_OBSERVER* observer) { build.m_observer = observer; }
  /// Plain connections, too, are searched.
  static void search_all(KEP_RG_BUILD& build) { build.m_edge_phase.m_walks_plain_nets = false; }
  /// Ranges of so many nodes at least.
  static void set_min_grain(KEP_RG_BUILD& build, unsigned grain) { build.m_edge_phase.m_min_grain = grain; }
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
  static std::size_t count_answers(const CDRN_CACHE& cache) {
    std::size_t count = 0;
    for (const auto& [driver, levels] : cache.m_answers)
      for (const auto& [level, modules] : levels)
        for (const auto& [module, answers] : modules)
          count += answers.size();
    return count;
  }
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
  /// What plain nets are folded from, once the graph is built.
  static KEP_RG_PLAIN_NETS::DEVICE get_plain_device(const KEP_RG_BUILD& build) {
    return {*build.m_db,
            build.m_instance_is_primitive,
            build.m_trace_predicate,
            build.m_primitives,
            *build.m_routing_primitive_cache,
            build.m_redundancy_marks,
            *build.m_edge_builder,
            build.m_view_type_rank};
  }
  static const auto* get_removed_ports(const KEP_RG_PRIMITIVES& primitives, const KEP_MODULE* module) {
    return primitives.get_removed_ports(module);
  }
  static KEP_ROUTING_BUILDER_EDGE_BUILDER& edge_builder(KEP_RG_BUILD& build) { return *build.m_edge_builder; }
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
  static void publish(KEP_ROUTING::GRAPH& graph, std::unique_ptr<const KEP_ROUTING_GRAPH_STORAGE> storage) {
    graph.publish(std::move(storage));
  }
  static std::uint64_t word(const KEP_ROUTING::NODE& node) { return node.m_word; }
  /// The tables of a graph as they lie in memory.
  static std::string text_of_tables(const KEP_ROUTING::GRAPH& graph) {
    const KEP_ROUTING_GRAPH_STORAGE& storage = *graph.m_storage;
    std::string text;
    const auto append = [&text](const auto* first, std::size_t count) {
      text.append(reinterpret_cast<const char*>(first), count * sizeof(*first));
    };
    append(storage.m_pages.data(), storage.m_pages.size());
    append(storage.m_shapes_of_nodes.get_view().m_bytes, storage.m_shapes_of_nodes.get_memory_bytes());
    append(storage.m_shapes.data(), storage.m_shapes.size());
    append(storage.m_fanouts.data(), storage.m_fanouts.size());
    for (const KEP_FOLDED_WORD_LIST* list : {&storage.m_mux_inputs, &storage.m_fanins}) {
      const KEP_FOLDED_WORDS words = list->get_view();
      std::uint32_t size = 0;
      for (const KEP_NODE_SHAPE& shape : storage.m_shapes)
        size = std::max(size, list == &storage.m_fanins ? shape.m_first_fanin + shape.m_num_fanins
                                                        : shape.m_first_fanout + shape.m_num_fanouts);
      for (std::uint32_t i = 0; i != size; ++i)
        append(&words[i], 1);
      text += std::to_string(list->get_memory_bytes());
    }
    return text;
  }
  /// Gives a node lists of its own, in a page of its own.
  static void set_fanins(KEP_ROUTING_GRAPH_STORAGE& storage, std::uint64_t word,
                         const std::vector<std::uint64_t>& fanins) {
    KEP_NODE_SHAPE shape = storage.get_tables().get_shape(word);
    std::vector<KEP_SEEN_WORD> words;
    for (const std::uint64_t fanin : fanins)
      words.push_back({fanin | KEP_SEEN_WORD::ABSOLUTE});
    shape.m_first_fanin = append(storage, storage.m_fanins, words);
    shape.m_num_fanins = static_cast<std::uint16_t>(fanins.size());
    set_shape(storage, word, shape);
  }
  /// As many as it has, by the same mux inputs.
  static void set_fanouts(KEP_ROUTING_GRAPH_STORAGE& storage, std::uint64_t word,
                          const std::vector<std::uint64_t>& fanouts) {
    const KEP_EDGE_TABLES tables = storage.get_tables();
    KEP_NODE_SHAPE shape = tables.get_shape(word);
    std::vector<KEP_SEEN_WORD> mux_inputs;
    for (std::uint32_t i = 0; i != shape.m_num_fanouts; ++i)
      mux_inputs.push_back(get_far_mux_input(
          storage, tables.m_mux_inputs[shape.m_first_fanout + i],
          tables.m_fanouts[shape.m_first_fanout + i].get_word(static_cast<std::uint32_t>(word >> 32))));
    shape.m_first_fanout = append(storage, storage.m_mux_inputs, mux_inputs);
    for (const std::uint64_t fanout : fanouts)
      add(storage.m_fanouts, {fanout | KEP_SEEN_WORD::ABSOLUTE});
    shape.m_has_absolute = true;
    set_shape(storage, word, shape);
  }

private:
  using RANK = std::pair<std::uint64_t, std::uint64_t>;
  static RANK rank(const KEP_PORT* port) { return {port->get_number(), 0}; }
  static RANK rank(const KEP_MODULE* module) { return {module->get_number(), 0}; }
  static RANK rank(const KEP_INST_PORT* inst_port) {
    return {inst_port->get_inst()->get_parent()->get_number(), inst_port->get_number()};
  }
  static RANK rank(const KEP_UNFOLDED_INST_PORT& uip) { return {uip.m_position, uip.m_object->get_number()}; }
  template <class KEY, class VALUE>
  static RANK rank(const std::pair<KEY, VALUE>& entry) {
    return rank(entry.first);
  }

  /// Makes what the constructor derives from the tables of the digest anew.
  static void renew(KEP_RG_BUILD& build) {
    KEP_RG_PRIMITIVES& digest = build.m_primitives;
    std::fill(digest.m_port_flags.begin(), digest.m_port_flags.end(), 0);
    std::fill(digest.m_module_flags.begin(), digest.m_module_flags.end(), 0);
    for (const auto& [port, outputs] : digest.m_skip_path_ports)
      digest.set_flag(port, KEP_RG_PRIMITIVES::SKIP_PATH);
    for (const auto* paths : {&digest.m_skip_path_inst_ports, &digest.m_dont_skip_path_inst_ports})
      for (const auto& [inst_port, outputs] : *paths)
        digest.set_flag(inst_port->get_port(), KEP_RG_PRIMITIVES::INST_PATH);
    for (const auto& [port, output] : digest.m_skip_path_sparerow_map)
      digest.set_flag(port, KEP_RG_PRIMITIVES::SPARE_ROW);
    for (const KEP_PORT* port : digest.m_all_inserted_ports)
      digest.set_flag(port, KEP_RG_PRIMITIVES::INSERTED);
    for (const auto& [module, ports] : digest.m_module_to_inserted_ports)
      for (const KEP_PORT* port : ports)
        digest.set_flag(port, KEP_RG_PRIMITIVES::INSERTED_IN_MODULE);
    for (const auto& [module, ports] : digest.m_module_to_removed_ports)
      for (const KEP_PORT* port : ports)
        digest.set_flag(port, KEP_RG_PRIMITIVES::REMOVED_IN_MODULE);
    for (const KEP_PORT* port : digest.m_ignored_ports)
      digest.set_flag(port, KEP_RG_PRIMITIVES::IGNORED);
    for (const KEP_INST_PORT* inst_port : digest.m_inserted_inst_ports)
      digest.set_flag(inst_port->get_port(), KEP_RG_PRIMITIVES::INST_INSERTED);
    for (const KEP_MODULE* module : digest.m_routing_roots)
      digest.set_flag(module, KEP_RG_PRIMITIVES::ROUTING_ROOT);
    for (const KEP_MODULE* module : digest.m_blc_bidir_buffers)
      digest.set_flag(module, KEP_RG_PRIMITIVES::BLC_BIDIR_BUFFER);
    const KEP_VIEW_TYPE_RANK& rank = build.m_view_type_rank;
    std::destroy_at(&build.m_instance_is_primitive);
    std::construct_at(&build.m_instance_is_primitive, build.m_db, digest, rank);
    std::destroy_at(&build.m_trace_predicate);
    std::construct_at(&build.m_trace_predicate, build.m_db, digest, rank, &build.m_node_cache);
  }

  static std::size_t get_num_slots(const KEP_ROUTING_GRAPH_STORAGE& storage) {
    std::size_t num_slots = 0;
    for (std::uint32_t place = 0; place != storage.m_places->get_num_places(); ++place)
      if (storage.m_places->get_num_nodes(place) != 0)
        num_slots =
            std::max<std::size_t>(num_slots, storage.m_pages[place] + storage.m_places->get_num_ranks(place));
    return num_slots;
  }
  template <class T>
  static void add(KEP_TABLE<T>& table, const T& value) {
    std::vector<T> values(table.begin(), table.end());
    values.push_back(value);
    table = std::move(values);
  }
  /// Gives what stood there.
  template <class T>
  static T set(KEP_TABLE<T>& table, std::size_t index, const T& value) {
    std::vector<T> values(table.begin(), table.end());
    const T old = std::exchange(values[index], value);
    table = std::move(values);
    return old;
  }
  static void set_shape(KEP_ROUTING_GRAPH_STORAGE& storage, std::uint64_t word, const KEP_NODE_SHAPE& shape) {
    const auto place = static_cast<std::uint32_t>(word >> 32);
    std::vector<std::uint32_t> shapes;
    const KEP_PACKED_NUMBERS known = storage.m_shapes_of_nodes.get_view();
    for (std::size_t slot = 0; slot != get_num_slots(storage); ++slot)
      shapes.push_back(known.get(slot));
    const std::size_t old_page = set(storage.m_pages, place, static_cast<std::uint32_t>(shapes.size()));
    for (std::uint32_t rank = 0; rank != storage.m_places->get_num_ranks(place); ++rank)
      shapes.push_back(std::uint32_t{shapes[old_page + rank]});
    shapes[storage.m_pages[place] + static_cast<std::uint32_t>(word) - std::size_t{1}] =
        static_cast<std::uint32_t>(storage.m_shapes.size());
    add(storage.m_shapes, shape);
    storage.m_shapes_of_nodes =
        KEP_PACKED_NUMBER_LIST(shapes, static_cast<std::uint32_t>(storage.m_shapes.size()));
  }
  /// The mux input of an edge to that target, told without it.
  static KEP_SEEN_WORD get_far_mux_input(const KEP_ROUTING_GRAPH_STORAGE& storage, KEP_SEEN_WORD mux_input,
                                         std::uint64_t target) {
    namespace WORD = KEP_MUX_INPUT_WORD;
    if (mux_input.m_bits == WORD::NONE || WORD::far_occurrence(mux_input.m_bits) != 0) return mux_input;
    const KEP_NODE_PLACES& places = *storage.m_places;
    const std::uint32_t place = KEP_NODE_WORD::place(target);
    const std::uint32_t key = places.get_key(place, KEP_NODE_WORD::rank(target));
    return {WORD::make_far(places.get_occurrence_places().get_occurrence(place),
                           KEP_NODE_WORD::inst_port(key) + WORD::inst_port(mux_input.m_bits))};
  }
  /// Folds the list anew with these words, which stand in it as they are, behind it. Gives the position of
  /// the first.
  static std::uint32_t append(const KEP_ROUTING_GRAPH_STORAGE& storage, KEP_FOLDED_WORD_LIST& list,
                              const std::vector<KEP_SEEN_WORD>& words) {
    std::uint32_t size = 0;
    for (const KEP_NODE_SHAPE& shape : storage.m_shapes)
      size = std::max(size, &list == &storage.m_fanins ? shape.m_first_fanin + shape.m_num_fanins
                                                       : shape.m_first_fanout + shape.m_num_fanouts);
    const KEP_FOLDED_WORDS folded = list.get_view();
    std::vector<KEP_SEEN_WORD> unfolded;
    for (std::uint32_t i = 0; i != size; ++i)
      unfolded.push_back(folded[i]);
    unfolded.insert(unfolded.end(), words.begin(), words.end());
    list = KEP_FOLDED_WORD_LIST(unfolded);
    return size;
  }

public:
  /// Connections are followed by groups, however short they are.
  static void join_all_nets(KEP_RG_PROOF& proof) { proof.m_max_nets = 0; }
  static bool verify_trace_edge(KEP_RG_TRACE_EDGE& tracer, const KEP_ROUTING::NODE& from,
                                const std::vector<KEP_UNFOLDED_INST_PORT>& trace) {
    return tracer.verify_trace_edge(from, trace);
  }

  /// Takes a random entry out of the named table of the builder's digest, before the build; false where the
  /// table is empty.
  template <class RANDOM>
  static bool drop_from_digest(KEP_RG_BUILD& build, const std::string& table, RANDOM& random) {
    KEP_RG_PRIMITIVES& digest = build.m_primitives;
    // By the model's order: that of the tables is one of pointers, and another one in each run.
    const auto pick = [&random](auto& entries) {
      std::vector<std::pair<std::pair<std::uint64_t, std::uint64_t>, decltype(entries.begin())>> ranked;
      for (auto entry = entries.begin(); entry != entries.end(); ++entry)
        ranked.emplace_back(rank(*entry), entry);
      std::sort(ranked.begin(), ranked.end(),
                [](const auto& left, const auto& right) { return left.first < right.first; });
      return ranked[random.below(ranked.size())].second;
    };
    const auto drop = [&](auto& entries) {
      if (entries.empty()) return false;
      entries.erase(pick(entries));
      return true;
    };
    const auto drop_port = [&](auto& sets) { return !sets.empty() && drop(pick(sets)->second); };
    const bool is_dropped = table == "m_module_to_ports"            ? drop_port(digest.m_module_to_ports)
                            : table == "m_all_inserted_ports"       ? drop(digest.m_all_inserted_ports)
                            : table == "m_module_to_inserted_ports" ? drop(digest.m_module_to_inserted_ports)
                            : table == "m_module_to_removed_ports"  ? drop(digest.m_module_to_removed_ports)
                            : table == "m_stop_modules"             ? drop(digest.m_stop_modules)
                            : table == "m_routing_roots"            ? drop(digest.m_routing_roots)
                            : table == "m_skip_path_ports"          ? drop(digest.m_skip_path_ports)
                            : table == "m_skip_path_inst_ports"     ? drop(digest.m_skip_path_inst_ports)
                            : table == "m_dont_skip_path_inst_ports"
                                ? drop(digest.m_dont_skip_path_inst_ports)
                            : table == "m_skip_path_sparerow_map" ? drop(digest.m_skip_path_sparerow_map)
                            : table == "m_ignored_ports"          ? drop(digest.m_ignored_ports)
                            : table == "m_inserted_inst_ports"    ? drop(digest.m_inserted_inst_ports)
                            : table == "m_blc_bidir_buffers"      ? drop(digest.m_blc_bidir_buffers)
                            : table == "m_redundant_inputs"       ? drop(build.m_redundant_inputs)
                                                                  : false;
    if (is_dropped) renew(build);
    return is_dropped;
  }

  static bool disables_edges(const KEP_RG_BUILD& build) { return build.m_disable_edge_allocation; }
  /// By thread.
  static const auto& representative_rows(const KEP_RG_BUILD& build) { return build.m_rep_node_args; }
};
