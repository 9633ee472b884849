#pragma once

#include "kep/kep_edge.h"
#include "kep/kep_node_index.h"
#include "kep/kep_routing_builder.h"

#include <tbb/enumerable_thread_specific.h>

#include <memory>
#include <vector>

/// What a graph under construction holds beside its nodes: the index from places to nodes, and the fanouts in
/// the order in which threads set them.
struct KEP_ROUTING_BUILDER_GRAPH::STATE {
  struct FANOUT_LIST {
    const KEP_EDGE* m_edges = nullptr; // real ones first
    std::uint16_t m_num_real = 0;
    std::uint16_t m_num_redundant = 0;
    std::uint32_t size() const { return std::uint32_t{m_num_real} + m_num_redundant; }
  };

  /// Edges of one thread, in chunks that stay where they are.
  class EDGE_ARENA {
  public:
    KEP_EDGE* allocate(std::size_t count) {
      if (count > m_num_free) {
        m_num_free = count > CHUNK ? count : CHUNK;
        m_chunks.push_back(std::make_unique_for_overwrite<KEP_EDGE[]>(m_num_free));
        m_free = m_chunks.back().get();
      }
      KEP_EDGE* edges = m_free;
      m_free += count;
      m_num_free -= count;
      return edges;
    }

  private:
    static constexpr std::size_t CHUNK = 1 << 16;
    std::vector<std::unique_ptr<KEP_EDGE[]>> m_chunks;
    KEP_EDGE* m_free = nullptr;
    std::size_t m_num_free = 0;
  };

  std::shared_ptr<KEP_NODE_INDEX> m_index; // shared with the finished graph
  std::vector<FANOUT_LIST> m_fanouts;      // by node number; sized when the edge builder is made
  std::vector<std::uint64_t> m_mux_words;  // the side table of mux inputs that stand elsewhere
  tbb::enumerable_thread_specific<EDGE_ARENA> m_arenas;
};
