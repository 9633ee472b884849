#pragma once

/// @file
/// Outputs of muxes that became no node.

#include "kep_rg/kep_rg_export.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

/// Outputs of muxes that became no node, by reason. An output of a mux is a port of an instance at which an
/// arc of its master ends, at a place that routing sees: through the views of the standard rank, below the
/// top. Each of them is a node or counts here, once.
struct KEP_RG_EXPORT KEP_RG_OUTPUTS_WITHOUT_NODE {
  /// Why; of several that hold, the first one that a build comes to.
  enum class REASON : unsigned char {
    NO_HEADER,       ///< the instance has no inst header, and the port no wire type
    UNCONNECTED,     ///< no net outside and none inside
    REMOVED,         ///< the description removes the port
    SPARE_ROW,       ///< in a spare row, without a wire type that stays there
    SKIP,            ///< behind a skip path: a search goes on there
    NAME_PATTERN,    ///< the name of the instance holds the pattern of non-template muxes
    ARC_INPUT,       ///< the port is the input of an arc, too
    BLC_TRAIT,       ///< in a BLC, on a port that the trait of its master leaves out
    INSIDE_MUX,      ///< in the inside of another mux, into which no walk goes
    ROOT_NOT_ROUTED, ///< on or below an IP root that is no routing root
    SKIPPED_PART,    ///< in a part of an IP root whose first occurrence gave no node
  };
  /// Of REASON.
  static constexpr std::size_t NUM_REASONS = 11;

  /// Of one reason.
  struct COUNT {
    std::uint64_t m_number = 0; ///< of outputs
    std::string m_example; ///< the full name of the first port, or of the first instance when that holds more
  };

  /// The count of a reason.
  const COUNT& get(REASON reason) const { return m_counts[static_cast<std::size_t>(reason)]; }
  /// The numbers of all reasons.
  std::uint64_t get_total() const;

  ///@{
  /// What a reader is told, as in "no inst header and no wire type"; and a name for a file of counters.
  static const char* get_text(REASON reason);
  static const char* get_counter_name(REASON reason);
  ///@}

  std::array<COUNT, NUM_REASONS> m_counts; ///< by reason
};

namespace KEP_RG {

/// The numbers with their reasons, "120,000 unconnected; 4 removed"; empty when there are none.
KEP_RG_EXPORT std::string format_outputs_without_node(const KEP_RG_OUTPUTS_WITHOUT_NODE& outputs);

} // namespace KEP_RG
