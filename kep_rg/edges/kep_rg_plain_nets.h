#pragma once

#include "kep/kep_routing_builder.h"
#include "kep/kep_routing_primitive_cache.h"
#include "kep_rg/detail/kep_rg_redundancy_marks.h"
#include "kep_rg/kep_rg_export.h"
#include "kep_rg/kep_rg_instance_is_primitive.h"
#include "kep_rg/kep_rg_trace_predicate.h"

#include <cstdint>
#include <vector>

/// What the search from a node finds on the nets of each module, told once for all places of the module:
/// fanouts in place of leaves, the ways into instances and the ways out of the module. A net is plain if the
/// folded model tells all that; on any other the search must ask. What is found below a net and only from
/// there is told along with it. Filled before the first walk, by all threads of the caller's arena; then any
/// number of threads may read.
class KEP_RG_EXPORT KEP_RG_PLAIN_NETS {
public:
  using FANOUT = KEP_ROUTING_BUILDER_EDGE_BUILDER::FOLDED_FANOUT;
  /// Fanouts of leaves that follow each other, told from the place of the net.
  using RUN = KEP_ROUTING_BUILDER_EDGE_BUILDER::FOLDED_RUN;
  static constexpr std::uint32_t NONE = ~std::uint32_t{0};

  /// Where a search ends: at the primitives of a build, or, inside a BLC, where nodes stand.
  enum class MODE { PRIMITIVES, NODES };

  /// At what a walk along a net must look: an inst port through which a connection goes on inside the
  /// instance, or a leaf that is redundant at some place.
  struct STOP {
    std::uint32_t m_end_run;    ///< runs of the net up to this come before; it is the leaf's own
    std::uint32_t m_inst_port;  ///< by number
    std::uint32_t m_port;       ///< the index of the port inside
    std::uint32_t m_child_rank; ///< of the occurrence inside among its siblings
    std::uint32_t m_behind;     ///< what to add to the place for the one inside
    std::uint32_t m_module;     ///< by number, and the net there; NONE for a leaf
    std::uint32_t m_net;
  };
  struct NET {
    std::uint32_t m_first_run;
    std::uint32_t m_first_stop;
    std::uint32_t m_first_way_out;
    std::uint32_t m_num_leaves;
    std::uint32_t m_num_nowhere; ///< targets that are nodes at no place
    bool m_is_plain;
    bool m_is_end; ///< no way leads to it but its one port, and its runs are all that is found from there
  };
  /// What is behind an inst port for a search that comes out of the instance there.
  enum class OUTER : std::uint32_t {
    ASK,  ///< the search must ask
    NET,  ///< its net; the index is NONE if it is on none
    END,  ///< its net, in whose runs those of the net inside are told again
    LEAF, ///< a run with a fanout of the inst port itself
  };
  struct OUTER_POINT {
    OUTER m_kind;
    std::uint32_t m_index;
  };
  /// Where the search from a node at an inst port begins.
  enum class START : std::uint32_t {
    ASK,     ///< the search must ask
    NET,     ///< on its net; the index is NONE if it is on none
    NOTHING, ///< nowhere: nothing is behind an input. The index tells whether the cache keeps that
    WAY_IN,  ///< inside a BLC
  };
  struct START_POINT {
    START m_kind;
    std::uint32_t m_index;
  };
  /// Nets of a module that follow each other. Threads fold a large module in parts.
  struct NETS_PART {
    std::vector<NET> m_nets; ///< and one more: where the last one ends
    std::vector<RUN> m_runs;
    std::vector<STOP> m_stops;
    std::vector<std::uint32_t> m_ways_out; ///< indices of ports that are no inputs
    std::vector<FANOUT> m_fanouts;
  };
  /// The same for inst ports of instances with something inside.
  struct POINTS_PART {
    std::vector<OUTER_POINT> m_points;
    std::vector<RUN> m_runs;
    std::vector<FANOUT> m_fanouts;
  };
  /// The same for inst ports that are nodes.
  struct STARTS_PART {
    std::vector<START_POINT> m_starts; ///< for searches of both modes
    std::vector<STOP> m_ways_in;
  };
  static constexpr std::uint32_t PART = 1 << 12; ///< nets, points or starts
  struct SLOT {
    std::uint32_t m_first_inst_port; ///< of its instance, by number
    std::uint32_t m_first_point;     ///< likewise; NONE if nothing is inside
    std::uint32_t m_behind;          ///< what to add to the place for the one in the slot
  };
  struct MODULE {
    std::vector<NETS_PART> m_nets;     ///< none: no net is plain
    std::vector<POINTS_PART> m_points; ///< instance by instance
    std::vector<STARTS_PART> m_starts; ///< by target
    std::vector<SLOT> m_slots;

    const NET* get_net(std::uint32_t net) const { return m_nets[net / PART].m_nets.data() + net % PART; }
  };

  struct DEVICE {
    const KEP_DB& m_db;
    const KEP_RG_INSTANCE_IS_PRIMITIVE& m_build_predicate;
    const KEP_RG_TRACE_PREDICATE& m_trace_predicate;
    const KEP_RG_PRIMITIVES& m_primitives;
    const KEP_DB_ROUTING_PRIMITIVE_CACHE& m_cache;
    const KEP_RG_REDUNDANCY_MARKS& m_marks;                 ///< outlives the object, like
    const KEP_ROUTING_BUILDER_EDGE_BUILDER& m_edge_builder; ///< this one
    KEP_VIEW_TYPE_RANK m_view_type_rank;
  };

  /// The nodes must be sorted by now.
  explicit KEP_RG_PLAIN_NETS(const DEVICE& device);

  /// By module number.
  const MODULE& get(MODE mode, std::uint32_t module) const {
    return (mode == MODE::PRIMITIVES ? m_modules : m_blc_modules)[module];
  }
  const KEP_UNFOLDING& get_unfolding() const { return *m_unfolding; }
  const KEP_RG_REDUNDANCY_MARKS& get_marks() const { return *m_marks; }
  /// At the inner occurrence stand all nodes, twins too, that stand at some occurrence of its module.
  bool has_all_nodes(std::uint32_t occurrence) const { return m_edge_builder->has_all_nodes(occurrence); }
  /// A search that leaves the device by a port finds that port.
  bool finds_top_ports() const { return m_finds_top_ports; }

private:
  const KEP_UNFOLDING* m_unfolding;
  const KEP_RG_REDUNDANCY_MARKS* m_marks;
  const KEP_ROUTING_BUILDER_EDGE_BUILDER* m_edge_builder;
  bool m_finds_top_ports;
  std::vector<MODULE> m_modules;     // for searches that end at primitives
  std::vector<MODULE> m_blc_modules; // for those that end at nodes; nets only of modules in the BLC view
};
