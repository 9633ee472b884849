#include "kep/kep_flat_utils.h"

void KEP_LEAF_RESULTS::note_module(const KEP_UNFOLDED_MODULE& module) {
  if (m_top_module) {
    for (KEP_UNFOLDED_MODULE above = module; above; above = above.get_unfolded_instance().get_parent())
      if (above == m_top_module) return;
  }
  m_top_module = module;
}

void KEP_LEAF_RESULTS::clear() {
  m_uips.clear();
  m_top_ports.clear();
  m_visited_nets.clear();
  m_top_module = {};
}
