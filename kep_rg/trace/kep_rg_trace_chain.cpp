#include "kep_rg/trace/kep_rg_trace_chain.h"

void KEP_RG_TRACE_CHAIN::rewind() {
  while (!m_branches.empty()) {
    const BRANCH branch = m_branches.back();
    m_branches.pop_back();
    m_trace->resize(branch.m_size);
    m_unchanged = std::min(m_unchanged, branch.m_size);
    if (branch.m_count > 1) {
      push_branch(branch.m_count - 1);
      return;
    }
  }
}
