#pragma once

#include "kep/kep_unfolded.h"

#include <cstddef>

/// One net on the way of a search: where the search came in and how far it is.
struct KEP_LEAF_SEARCH_FRAME {
  KEP_UNFOLDED_INST_PORT m_cur_uip; ///< the point from which the net was entered; one of the two is empty
  KEP_UNFOLDED_PORT m_cur_port;
  KEP_UNFOLDED_NET m_net;
  unsigned m_next_inst_port = 0;
  unsigned m_next_port = 0;
  std::size_t m_first_output = 0; ///< outputs of the skip path at hand, in the common list from here on
  std::size_t m_next_output = 0;
};
