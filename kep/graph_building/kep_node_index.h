#pragma once

#include "kep/kep_routing_builder.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

/// Finds the number of a node from the place where it stands, with three loads and no hash: each module gives
/// the inst ports that became nodes somewhere a rank, and each inner occurrence that has nodes a page of node
/// numbers by rank. Plain nodes and hipi twins have tables of their own. Boundary nodes are few and are found
/// by hash.
class KEP_NODE_INDEX {
public:
  static constexpr std::uint32_t NO_NODE = ~0U;

  explicit KEP_NODE_INDEX(const KEP_ROUTING_BUILDER_GRAPH& graph);

  /// False when a node stands there already.
  bool add(const KEP_ROUTING_BUILDER_NODE& node);
  /// All nodes of the graph, before the next look-up.
  void add_all_later() { m_lacks_some = true; }
  /// By the number of an inst port, or of a port above the tops. Concurrent.
  std::uint32_t find(std::uint32_t occurrence, std::uint32_t number, bool is_hipi) {
    if (m_lacks_some) add_all();
    if (occurrence == KEP_UNFOLDING::ABOVE_TOP) return find_boundary(number);
    return (is_hipi ? m_hipi : m_plain).find(occurrence, number);
  }

private:
  class TABLE {
  public:
    explicit TABLE(const KEP_UNFOLDING& unfolding) : m_unfolding(unfolding) {}
    bool add(std::uint32_t occurrence, std::uint32_t inst_port, std::uint32_t node);
    std::uint32_t find(std::uint32_t occurrence, std::uint32_t inst_port) const {
      if (m_blocks.empty() || !m_blocks[occurrence / BLOCK]) return NO_NODE;
      const PAGE& page = m_blocks[occurrence / BLOCK][occurrence % BLOCK];
      if (page.m_size == 0) return NO_NODE;
      const std::uint32_t rank = m_ranks[m_unfolding.get(occurrence).m_module].m_rank_by_inst_port[inst_port];
      return rank < page.m_size ? page.m_nodes[rank] : NO_NODE;
    }

  private:
    static constexpr std::uint32_t NO_RANK = ~0U;
    static constexpr std::size_t CHUNK = 1 << 14;
    static constexpr std::uint32_t BLOCK = 1 << 10;
    struct RANKS {
      std::vector<std::uint32_t> m_rank_by_inst_port; // empty until the module has a node
      std::uint32_t m_num_ranks = 0;
    };
    struct PAGE {
      std::uint32_t* m_nodes = nullptr;
      std::uint32_t m_size = 0;
    };
    void grow(PAGE& page, std::uint32_t size);

    const KEP_UNFOLDING& m_unfolding;
    std::vector<RANKS> m_ranks;                    // by module number
    std::vector<std::unique_ptr<PAGE[]>> m_blocks; // of pages by occurrence; null until one has nodes
    std::vector<std::unique_ptr<std::uint32_t[]>> m_chunks;
    std::uint32_t* m_free = nullptr;
    std::size_t m_num_free = 0;
  };

  void add_all();
  std::uint32_t find_boundary(std::uint32_t port_number) const {
    const auto found = m_boundary.find(port_number);
    return found == m_boundary.end() ? NO_NODE : found->second;
  }

  const KEP_ROUTING_BUILDER_GRAPH& m_graph;
  std::atomic<bool> m_lacks_some = false;
  std::mutex m_mutex;
  TABLE m_plain;
  TABLE m_hipi;
  std::unordered_map<std::uint32_t, std::uint32_t> m_boundary; // port number to node
};
