#pragma once

#include "kep/kep_db.h"
#include "kep_rg/kep_rg_primitives.h"

#include <cstdint>
#include <vector>

/// The outputs of muxes of each module, told apart by how node creation meets them: what it takes to count
/// those that become no node. Made once, linear in the folded model; a count of a whole hierarchy is worked
/// out when first asked for. One thread.
class KEP_RG_MUX_OUTPUTS {
public:
  struct OF_MODULE {
    std::vector<const KEP_PORT*> m_listed;     ///< those in the module's list of ports, by index
    std::vector<const KEP_PORT*> m_unlisted;   ///< the others
    std::vector<const KEP_PORT*> m_arc_inputs; ///< listed ones at which an arc begins as well
  };

  KEP_RG_MUX_OUTPUTS(const KEP_DB& db, const KEP_DB_ROUTING_PRIMITIVE_CACHE& cache,
                     const KEP_RG_PRIMITIVES& primitives);

  const OF_MODULE& get(const KEP_MODULE* module) const { return m_modules[module->get_number()]; }
  /// How many places below one place of the module are outputs of muxes, through the views of the rank.
  std::uint64_t get_num_below(const KEP_MODULE* module, const KEP_VIEW_TYPE_RANK& rank);

private:
  static constexpr std::uint64_t UNKNOWN = ~std::uint64_t{0};

  std::vector<OF_MODULE> m_modules;       // by module number
  std::vector<std::uint64_t> m_num_below; // by module number
};
