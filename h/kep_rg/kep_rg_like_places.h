#pragma once

#include "kep/kep_db.h"
#include "kep_rg/kep_rg_primitives.h"

#include <vector>

/// What tells whether the answer of a leaf search may serve other places: which modules stand at more than
/// one place, and on which nets a search asks where it stands. Filled before the edge phase; then any number
/// of threads may read.
class KEP_RG_EXPORT KEP_RG_LIKE_PLACES {
public:
  /// Knows no places: no module is repeated.
  KEP_RG_LIKE_PLACES() = default;
  /// `is_used` false: as above, for a device whose answers are never kept.
  KEP_RG_LIKE_PLACES(const KEP_DB& db, const KEP_RG_PRIMITIVES& primitives, bool is_used);

  /// Answers are kept at all.
  bool is_used() const { return !m_is_repeated.empty(); }
  /// The module has two occurrences or more.
  bool is_repeated(const KEP_MODULE* module) const {
    return !m_is_repeated.empty() && m_is_repeated[module->get_number()];
  }
  /// Some net of the device lets a search depend on its place.
  bool has_flyover_nets() const { return !m_flyover_nets.empty(); }
  /// A search that walks the net asks for the attributes of an instance, to take a flyover or not.
  bool is_flyover_net(const KEP_NET* net) const {
    const std::vector<bool>& nets = m_flyover_nets[net->get_parent()->get_number()];
    return !nets.empty() && nets[get_index(net)];
  }

private:
  static std::size_t get_index(const KEP_NET* net) {
    return static_cast<std::size_t>(net - *net->get_parent()->iter_nets().begin());
  }
  void find_repeated_modules(const KEP_DB& db);
  void find_flyover_nets(const KEP_DB& db, const KEP_RG_PRIMITIVES& primitives);

  std::vector<unsigned char> m_is_repeated;      // by module number
  std::vector<std::vector<bool>> m_flyover_nets; // by module number, then by net; empty where there are none
};
