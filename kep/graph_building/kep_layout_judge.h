#pragma once

#include "kep/graph_building/kep_sibling_layout.h"

#include <cstdint>
#include <vector>

/// Tells which of several layouts of siblings folds better. A kind of connection is a port of a module and
/// one of a module that it drives; nodes at its ends have like edges if all connections of the kind bridge
/// the same difference. So each unlike difference of a kind costs, and each number does. Of many siblings and
/// ports only some are looked at.
class KEP_LAYOUT_JUDGE {
public:
  KEP_LAYOUT_JUDGE(const KEP_MODULE& module, const std::vector<KEP_SIBLING>& siblings,
                   std::uint32_t num_occurrences);

  /// In about as many bytes as the finished graph would take.
  std::uint64_t get_cost(const KEP_SIBLING_LAYOUT& layout) const;
  /// No layout costs much less: most connections are of a kind of their own, or like ones bridge like
  /// differences already.
  bool is_hard_to_beat(std::uint64_t cost) const;

private:
  struct CONNECTION {
    std::uint32_t m_from; // siblings
    std::uint32_t m_to;
    std::uint64_t m_kind; // by hash
  };
  void choose_sample(const KEP_MODULE& module, const std::vector<KEP_SIBLING>& siblings);
  bool is_in_sample(const KEP_INSTANCE& instance) const;
  std::uint64_t get_cost(std::uint64_t num_differences, std::uint64_t size) const;
  void add_connections(const std::vector<std::uint32_t>& sibling_of_instance, const KEP_INST_PORT& driver);

  std::vector<CONNECTION> m_connections;
  std::uint64_t m_num_kinds = 0;
  std::uint64_t m_sibling_step = 1; // one of so many siblings is looked at
  std::uint64_t m_port_step = 1;    // likewise of ports
  std::uint64_t m_num_occurrences;
  std::uint64_t m_least_size = 0; // without gaps
};
