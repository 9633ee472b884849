#pragma once

#include "kep/detail/kep_unfolded_set.h"
#include "kep_rg/edges/kep_rg_plain_nets.h"

#include <cstddef>
#include <cstdint>
#include <vector>

/// The search from a node over plain nets: the same way in the same order as the leaf search, but with folded
/// fanouts for leaves. One thread works with an object, which keeps its storage from walk to walk.
class KEP_RG_EXPORT KEP_RG_PLAIN_WALK {
public:
  using RUNS = std::vector<KEP_ROUTING_BUILDER_EDGE_BUILDER::FANOUT_RUNS>;
  using SEAT = KEP_ROUTING_BUILDER_EDGE_BUILDER::SEAT;

  /// Walks from the node in that seat of an inner occurrence. False if the walk met anything that is not
  /// plain; what it found then means nothing.
  bool walk(const KEP_RG_PLAIN_NETS& nets, std::uint32_t occurrence, const SEAT& seat);

  // What the last walk found. The runs are valid as long as the nets.
  const RUNS& get_fanouts() const { return m_fanouts; }
  const RUNS& get_redundant_fanouts() const { return m_redundant_fanouts; }
  std::size_t get_num_leaves() const { return m_num_leaves; }
  /// Targets of leaves that are nodes at no place.
  std::size_t get_num_nowhere() const { return m_num_nowhere; }
  /// The highest occurrence that the walk reached, not below that of the node unless the walk went down
  /// alone.
  std::uint32_t get_top() const { return m_top; }
  /// The fanout cache keeps the answer for like places below the top.
  bool is_kept() const { return m_is_kept; }

private:
  using NETS = KEP_RG_PLAIN_NETS;
  /// A net at an inner occurrence.
  struct SPOT {
    std::uint32_t m_occurrence;
    std::uint32_t m_net;

    bool operator==(const SPOT&) const = default;
    std::size_t hash() const {
      const std::uint64_t word = std::uint64_t{m_occurrence} << 32 | m_net;
      return (word ^ word >> 29) * 0x9e3779b97f4a7c15U >> 20;
    }
  };
  /// Runs of a net that tell again of the end from which the walk came.
  struct TOLD {
    std::uint32_t m_first = NETS::NONE;
    std::uint32_t m_end = NETS::NONE;
  };
  /// A net on the way and how far it is walked.
  struct FRAME {
    const NETS::NETS_PART* m_part;
    SPOT m_spot;
    std::uint32_t m_place;          // of the occurrence
    std::uint32_t m_from_inst_port; // by which the walk came to the net; one of the two is NONE
    std::uint32_t m_from_port;
    TOLD m_told;
    std::uint32_t m_next_run;
    std::uint32_t m_next_stop;
    std::uint32_t m_next_way_out;

    const NETS::NET* get_net() const { return m_part->m_nets.data() + m_spot.m_net % NETS::PART; }
  };

  bool start(const NETS& nets, std::uint32_t occurrence, const SEAT& seat);
  bool enter(const NETS& nets, const NETS::MODULE& module, const SPOT& spot, std::uint32_t place,
             std::uint32_t from_inst_port, std::uint32_t from_port, const FRAME* end = nullptr);
  TOLD pass_over(const FRAME& end, const NETS::NETS_PART& part, const NETS::NET* net, std::uint32_t place);
  bool step(const NETS& nets);
  bool go_in(const NETS& nets, const NETS::STOP& way, std::uint32_t occurrence, std::uint32_t place);
  bool go_out(const NETS& nets, std::uint32_t end);
  bool go_on_outside(const NETS& nets, const FRAME& frame, std::uint32_t port);
  void add_runs(const NETS::NETS_PART& part, std::uint32_t first, std::uint32_t end, std::uint32_t place,
                const TOLD& told) {
    if (told.m_first >= first && told.m_first < end) {
      add_runs(part, first, told.m_first, place, m_fanouts);
      first = told.m_end;
    }
    add_runs(part, first, end, place, m_fanouts);
  }
  static void add_runs(const NETS::NETS_PART& part, std::uint32_t first, std::uint32_t end,
                       std::uint32_t place, RUNS& list) {
    if (first != end) list.push_back({part.m_runs.data() + first, end - first, place});
  }
  void add_marked_leaf(const NETS& nets, const NETS::STOP& leaf, const FRAME& frame);

  RUNS m_fanouts;
  RUNS m_redundant_fanouts;
  std::vector<FRAME> m_frames;
  KEP_UNFOLDED_SET<SPOT> m_visited; // but for ends that are told with the net above
  NETS::MODE m_mode = NETS::MODE::PRIMITIVES;
  std::size_t m_num_leaves = 0;
  std::size_t m_num_nowhere = 0;
  std::uint32_t m_top = 0;
  bool m_is_kept = false;
};
