#pragma once

#include "kep/comparison/kep_name_numbers.h"
#include "kep/graph/kep_routing_graph_storage.h"
#include "kep/kep_db.h"
#include "kep/kep_graph_diff.h"
#include "kep/kep_routing_graph.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <unordered_map>
#include <vector>

/// One way in which edges of a page lead: by so many places on, to a place told by itself, or through a mux
/// input at an occurrence.
struct KEP_EDGE_DIRECTION {
  enum KIND : std::uint32_t { RELATIVE, PLACE, OCCURRENCE };
  KIND m_kind;
  std::uint32_t m_number;

  friend auto operator<=>(const KEP_EDGE_DIRECTION&, const KEP_EDGE_DIRECTION&) = default;
};

/// One of two graphs that are compared, with names as numbers. Read-only once it is made.
class KEP_COMPARED_GRAPH {
public:
  static constexpr std::uint32_t NONE = ~std::uint32_t{0};

  /// What is the same at all places of one page.
  struct PAGE {
    std::uint32_t m_first_shape = 0; ///< the page of KEP_EDGE_TABLES
    std::uint32_t m_num_ranks = 0;
    std::uint32_t m_directions = 0;
    bool m_has_all_nodes = true;
    KEP_GRAPH_DIFF_COUNTS m_counts; ///< at each place
  };

  KEP_COMPARED_GRAPH(const KEP_DB& db, KEP_NAME_NUMBERS& names);

  const KEP_DB& get_db() const { return m_db; }
  const KEP_UNFOLDING& get_unfolding() const { return m_db.get_unfolding(); }
  const KEP_EDGE_TABLES& get_tables() const { return m_tables; }
  const KEP_ROUTING::GRAPH& get_graph() const { return *m_db.get_routing_template_graph(); }
  bool has_nodes() const { return m_places != nullptr; }

  /// The number of its module; that of one more above the tops.
  std::uint32_t get_module_at(std::uint32_t occurrence) const {
    return get_unfolding().get(occurrence).m_module;
  }
  /// NONE where no node stands.
  std::uint32_t find_place(std::uint32_t occurrence) const;
  std::uint32_t get_occurrence(std::uint32_t place) const {
    return m_places->get_occurrence_places().get_occurrence(place);
  }
  /// The number of the page of a place with nodes.
  std::uint32_t get_page_number(std::uint32_t place) const { return m_pages_of_places[place]; }
  const PAGE& get_page_at(std::uint32_t place) const { return m_pages[m_pages_of_places[place]]; }
  const std::vector<KEP_EDGE_DIRECTION>& get_directions(const PAGE& page) const {
    return *m_directions[page.m_directions];
  }
  /// The shape's number; NO_NODE where none stands.
  std::uint32_t get_shape_number(const PAGE& page, std::uint32_t rank) const {
    return m_tables.m_shapes_of_nodes.get(page.m_first_shape + std::size_t{rank});
  }

  std::uint32_t get_name(const KEP_INSTANCE& instance) const {
    return m_instance_names[m_first_instances[instance.get_parent()->get_number()] + instance.get_index()];
  }
  std::uint32_t get_name(const KEP_PORT& port) const { return m_port_names[port.get_number()]; }
  std::uint64_t get_name(const KEP_INST_PORT& inst_port) const {
    return KEP_PORT_NAME::make(get_name(*inst_port.get_inst()), get_name(*inst_port.get_port()));
  }
  /// By rank, of the nodes of a module.
  const std::uint64_t* get_node_names(std::uint32_t module) const {
    return m_node_names.data() + get_first_keys()[module];
  }
  std::uint32_t get_num_ranks(std::uint32_t module) const {
    return m_places ? get_first_keys()[module + 1] - get_first_keys()[module] : 0;
  }
  const std::uint32_t* get_keys(std::uint32_t module) const {
    return m_places->get_tables().m_keys.data() + get_first_keys()[module];
  }
  /// A node of that name stands at the place.
  bool has_node(std::uint32_t place, std::uint64_t name) const;

private:
  using DIRECTIONS = std::vector<KEP_EDGE_DIRECTION>;

  const std::uint32_t* get_first_keys() const { return m_places->get_tables().m_first_keys.data(); }
  void name_instances_and_ports(KEP_NAME_NUMBERS& names);
  void name_nodes();
  void list_pages();
  PAGE make_page(std::uint32_t first_shape, std::uint32_t num_ranks);
  std::uint32_t number_directions(DIRECTIONS directions);
  std::uint32_t get_directions_of_list(const KEP_NODE_SHAPE& shape);

  const KEP_DB& m_db;
  const KEP_EDGE_TABLES& m_tables;
  const KEP_NODE_PLACES* m_places;              // null without a graph
  std::vector<std::uint32_t> m_first_instances; // by module
  std::vector<std::uint32_t> m_instance_names;  // module by module
  std::vector<std::uint32_t> m_port_names;      // by number
  std::vector<std::uint64_t> m_node_names;      // as the keys of KEP_NODE_PLACES
  std::vector<std::uint32_t> m_ranks_by_name;   // likewise: those of a module, sorted by name
  std::vector<std::uint32_t> m_pages_of_places;
  std::vector<PAGE> m_pages;
  std::map<DIRECTIONS, std::uint32_t> m_directions_numbers;
  std::vector<const DIRECTIONS*> m_directions; // by number
  // By the first fanout and their number; while pages are listed.
  std::unordered_map<std::uint64_t, std::uint32_t> m_directions_of_lists;
};
