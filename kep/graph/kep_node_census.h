#pragma once

#include "kep/detail/kep_unfolding.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

/// Which nodes a graph has, taken from nodes in any order: how many stand at each occurrence, which keys of
/// each module are nodes somewhere, and which of them stand at an occurrence that lacks some. It is all that
/// an order of nodes needs of them, whatever the order. One thread writes; then any number may read.
class KEP_NODE_CENSUS {
public:
  explicit KEP_NODE_CENSUS(const KEP_UNFOLDING& unfolding);

  // First each node once, boundary nodes above the tops; then find_lacking(); then once more each node at an
  // occurrence that lacks some; then sort_lacking().
  /// Nodes of one occurrence, the more at a time the quicker.
  template <class NODE>
  void add(std::uint32_t occurrence, std::span<const NODE> nodes) {
    m_num_nodes[occurrence] += static_cast<std::uint32_t>(nodes.size());
    std::vector<bool>& keys = use_keys(occurrence);
    for (const NODE& node : nodes)
      if (const std::uint32_t key = node.get_key(); !keys[key]) keys[key] = true; // nearly all are known
  }
  /// Some occurrence lacks some.
  bool find_lacking();
  bool lacks_some(std::uint32_t occurrence) const {
    const std::uint32_t num_nodes = m_num_nodes[occurrence];
    return num_nodes != 0 && num_nodes != m_num_keys[get_module(occurrence)];
  }
  void add_lacking(std::uint32_t occurrence, std::uint32_t key);
  void sort_lacking();

  std::uint32_t get_num_nodes(std::uint32_t occurrence) const { return m_num_nodes[occurrence]; }
  /// By module number, boundary nodes behind all modules: the keys that are nodes at some occurrence; none of
  /// a module without nodes.
  const std::vector<std::vector<bool>>& get_keys() const { return m_keys; }
  /// In order; of an occurrence that lacks some.
  std::span<const std::uint32_t> get_keys_of_lacking(std::uint32_t occurrence) const;

private:
  struct LACKING {
    std::uint32_t m_occurrence;
    std::uint32_t m_num_keys; // that came
    std::size_t m_first_key;
  };

  std::uint32_t get_module(std::uint32_t occurrence) const { return m_unfolding.get(occurrence).m_module; }
  std::vector<bool>& use_keys(std::uint32_t occurrence);
  std::size_t find(std::uint32_t occurrence) const;

  const KEP_UNFOLDING& m_unfolding;
  std::vector<std::uint32_t> m_num_nodes; // by occurrence
  std::vector<std::vector<bool>> m_keys;  // by module, by key
  std::vector<std::uint32_t> m_num_keys;  // by module
  std::vector<LACKING> m_lacking;         // by number of the occurrence
  std::size_t m_last_lacking = 0;         // that of the last node
  std::vector<std::uint32_t> m_keys_of_lacking;
};
