#pragma once

#include "kep/kep_db.h"
#include "kep/kep_routing_builder.h"
#include "kep_rg/kep_rg_creation_stats.h"
#include "kep_rg/kep_rg_outputs_without_node.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <vector>

class KEP_REPORT_PROGRESS;

/// What the walk over nodes does in a module, kept from the first place at which it went through it: which
/// nodes it makes there and below, in their order, what it counts and what it gives. All but a few of the
/// walk's questions are answered by the folded model, so it would do the same at any other place. A later
/// place gets its nodes by the plan, on all threads, once the walk is over and all nodes have their numbers.
/// A module has no plan where the walk asked what another place may answer otherwise.
class KEP_RG_NODE_PLANS {
public:
  /// By which rules a module is walked.
  enum class WALK : unsigned char {
    ORDINARY,
    LATER_USE, ///< in an IP root that was walked before: what gave no node then is passed over
    INSIDE_BLC,
  };
  static constexpr std::size_t NUM_WALKS = 3;
  using HAS_NODES = std::map<KEP_MODULE*, bool>;
  /// What a walk writes; the caller's.
  struct TARGETS {
    KEP_ROUTING_BUILDER_GRAPH& m_graph;
    KEP_RG_NODE_CREATION_STATS& m_stats;
    KEP_RG_OUTPUTS_WITHOUT_NODE& m_without_node;
    KEP_REPORT_PROGRESS* m_progress; ///< told of nodes by the step; may be null
  };
  static constexpr std::uint32_t NODES_PER_STEP = 10000; ///< of the progress

  explicit KEP_RG_NODE_PLANS(const TARGETS& targets);
  ~KEP_RG_NODE_PLANS();

  /// What the walk of the module gives. Goes by the plan, or has the module walked and makes the plan.
  /// `has_nodes` is that of the IP root at or above the module, or null.
  template <class WALK_MODULE>
  bool add_nodes(const KEP_UNFOLDED_MODULE& u_module, WALK walk, HAS_NODES* has_nodes,
                 const WALK_MODULE& walk_module) {
    if (const PLAN* plan = find(u_module.m_object, walk, has_nodes))
      return follow(*plan, u_module, has_nodes);
    begin(u_module, walk);
    const bool result = walk_module();
    end(result);
    return result;
  }
  /// What is walked now hangs on its place.
  void ask() {
    if (!m_open.empty()) m_open.back().m_asks = true;
  }
  /// Writes the nodes of all places that went by a plan, by as many threads as the arena of the caller has.
  /// Once, when the walk is over.
  void put_nodes() const;

private:
  struct PLAN;
  /// What a walk counts.
  struct COUNTS {
    KEP_RG_NODE_CREATION_STATS m_stats;
    std::array<std::uint64_t, KEP_RG_OUTPUTS_WITHOUT_NODE::NUM_REASONS> m_without_node;
  };
  /// A module that is walked now.
  struct OPEN {
    std::unique_ptr<PLAN> m_plan;
    std::uint32_t m_rank; // among its parent's inner children
    std::uint32_t m_first_node;
    std::uint32_t m_own_node; // from here on its own nodes are not yet in the plan
    COUNTS m_before;
    bool m_asks;
  };
  /// A place of a plan.
  struct PLACE {
    const PLAN* m_plan;
    std::uint32_t m_occurrence;
    std::uint32_t m_first_node;
  };

  const PLAN* find(const KEP_MODULE* module, WALK walk, const HAS_NODES* has_nodes) const;
  bool follow(const PLAN& plan, const KEP_UNFOLDED_MODULE& u_module, HAS_NODES* has_nodes);
  void begin(const KEP_UNFOLDED_MODULE& u_module, WALK walk);
  void end(bool result);
  void add_own_nodes(OPEN& open) const;
  void add_child(const PLAN& plan, std::uint32_t rank);
  static void enter(const PLAN& plan, HAS_NODES& has_nodes);
  COUNTS get_counts() const;
  void put_nodes(const PLACE& place) const;
  void put_part(const PLACE& place, std::size_t part) const;

  std::size_t get_index(const KEP_MODULE* module, WALK walk) const {
    const std::size_t number = module ? module->get_number() : m_unfolding.get_modules().size();
    return number * NUM_WALKS + static_cast<std::size_t>(walk);
  }

  TARGETS m_targets;
  const KEP_UNFOLDING& m_unfolding;
  std::vector<std::unique_ptr<const PLAN>> m_plans; // by module, the missing one last, and walk
  std::vector<OPEN> m_open;                         // from the top down
  std::vector<PLACE> m_places;
};
