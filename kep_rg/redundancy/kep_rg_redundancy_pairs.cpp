#include "kep_rg/redundancy/kep_rg_redundancy_pairs.h"

#include "kep_rg/redundancy/kep_rg_redundancy_loop.h"
#include "kep_rg/redundancy/kep_rg_redundancy_tokens.h"

#include <numeric>

using CHUNKS = tbb::blocked_range<std::size_t>;

KEP_RG_REDUNDANCY_PAIRS::KEP_RG_REDUNDANCY_PAIRS(std::string_view text)
    : m_text(text), m_tokens_before((text.size() + CHUNK - 1) / CHUNK + 1) {
  kep_rg_run_redundancy_loop(get_num_chunks(), 1, [this](const CHUNKS& chunks) {
    for (std::size_t i = chunks.begin(); i != chunks.end(); ++i)
      m_tokens_before[i + 1] = KEP_RG_REDUNDANCY_TOKENS::count(m_text, i * CHUNK, get_end(i));
  });
  std::partial_sum(m_tokens_before.begin(), m_tokens_before.end(), m_tokens_before.begin());
}

void KEP_RG_REDUNDANCY_PAIRS::get_second(std::vector<std::string_view>& seconds) const {
  kep_rg_run_redundancy_loop(get_num_chunks(), 1, [&](const CHUNKS& chunks) {
    for (std::size_t i = chunks.begin(); i != chunks.end(); ++i) {
      KEP_RG_REDUNDANCY_TOKENS tokens(m_text, i * CHUNK);
      for (std::size_t token = m_tokens_before[i]; token != m_tokens_before[i + 1]; ++token, tokens.next())
        if (token % 2 == 1) seconds[token / 2] = tokens.get();
    }
  });
}
