#pragma once

#include "kep/kep_flat_utils.h"
#include "kep/kep_routing_builder.h"
#include "kep/kep_routing_primitive_cache.h"
#include "kep_rg/kep_rg_export.h"

#include <cstdint>
#include <vector>

class KEP_RG_INSTANCE_IS_PRIMITIVE;
class KEP_RG_PRIMITIVES;

/// What the edge phase asks at each point of a walk, answered once for each folded inst port. An answer that
/// hangs on more than the folded model is left open, and the walk asks as it would without the table. Filled
/// before the edge phase, by all threads of the caller's arena; then any number of threads may read.
class KEP_RG_EXPORT KEP_RG_LEAF_TABLE {
public:
  static constexpr std::uint32_t ASK = ~std::uint32_t{0};

  /// The cache must know all nodes by now.
  KEP_RG_LEAF_TABLE(const KEP_DB& db, const KEP_RG_INSTANCE_IS_PRIMITIVE& predicate,
                    const KEP_RG_PRIMITIVES& primitives, const KEP_DB_ROUTING_PRIMITIVE_CACHE& cache,
                    const KEP_ROUTING_BUILDER_NODE_CACHE& nodes);

  /// Both by the number of an inst port in that module. What a walk from the driver does there:
  const KEP_LEAF_KIND* get_kinds(const KEP_MODULE& module) const {
    return m_kinds.data() + m_first[module.get_number()];
  }
  /// The rank, among nodes, of the one inst port that a leaf drives through its mux, or one that no node has
  /// if that inst port is a node nowhere; ASK for any other leaf.
  const std::uint32_t* get_targets(const KEP_MODULE& module) const {
    return m_targets.data() + m_first[module.get_number()];
  }

private:
  std::vector<std::uint64_t> m_first; // by module number
  std::vector<KEP_LEAF_KIND> m_kinds;
  std::vector<std::uint32_t> m_targets;
};
