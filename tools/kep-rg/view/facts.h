#pragma once

#include "kep_rg/kep_rg_findings.h"
#include "tools/kep-rg/device/load_device.h"

#include <cstdint>
#include <string>
#include <vector>

/// What the page tells of a device beside the device itself: what the checks found in its graph.
struct FACTS {
  /// A finding, with the number of the node that it is about and of the edge among those of this node.
  struct FOUND {
    std::int64_t m_node = -1; ///< -1 without one
    std::int64_t m_edge = -1; ///< likewise
    std::string m_text;
  };
  /// Those of a kind: how many there are, and the first ones.
  struct FOUND_KIND {
    KEP_RG_FINDING_KIND m_kind{};
    std::uint64_t m_num = 0;
    std::vector<FOUND> m_first;
  };
  /// So many of a kind are kept.
  static constexpr std::size_t MAX_KEPT = 10000;

  bool m_is_checked = false;          ///< else nothing below is known
  std::vector<FOUND_KIND> m_findings; ///< in the order in which `check` tells them
  std::vector<std::uint64_t> m_hops;  ///< element i: how many edges have a verified trace of i hops
  std::uint64_t m_num_untraced = 0;   ///< the other edges
};

/// Runs the proof, the post checks and the traces of all edges on the device's finished graph.
FACTS find_facts(const KEP_DB& db, const DEVICE_OPTIONS& device, BUILD_STATS& stats);

/// As one JSON object; `device` is what the device was read from.
std::string format_facts(const FACTS& facts, const std::string& device);
