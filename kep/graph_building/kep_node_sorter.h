#pragma once

#include "kep/graph/kep_node_census.h"
#include "kep/graph/kep_node_places.h"
#include "kep/kep_routing_builder.h"

#include <cstdint>
#include <span>

/// Puts the nodes of a graph in the order of places without moving one: takes a census of them, and writes
/// them anew once their places are known.
class KEP_NODE_SORTER {
public:
  explicit KEP_NODE_SORTER(KEP_ROUTING_BUILDER_GRAPH& graph);

  const KEP_NODE_CENSUS& get_census() const { return m_census; }
  /// By as many threads as the arena of the caller has.
  void write(const KEP_NODE_PLACES& places);

private:
  void add_nodes(std::span<const KEP_ROUTING_BUILDER_NODE> nodes);
  void write_place(const KEP_NODE_PLACES& places, std::uint32_t place);

  KEP_ROUTING_BUILDER_GRAPH& m_graph;
  KEP_NODE_CENSUS m_census;
};
