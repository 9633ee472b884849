#include "python/array_block.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <memory>
#include <new>
#include <sys/mman.h>

namespace {

constexpr std::size_t HUGE_PAGE = std::size_t{2} << 20;
constexpr std::size_t MAX_KEPT = std::size_t{256} << 20;

std::atomic<ARRAY_BLOCK*> s_kept = nullptr;

} // namespace

ARRAY_BLOCK::ARRAY_BLOCK(std::size_t num_bytes) : m_num_bytes(std::max<std::size_t>(num_bytes, 1)) {
  if (m_num_bytes < HUGE_PAGE) {
    m_bytes = std::malloc(m_num_bytes);
  } else {
    m_num_bytes = (m_num_bytes + HUGE_PAGE - 1) / HUGE_PAGE * HUGE_PAGE;
    m_bytes = std::aligned_alloc(HUGE_PAGE, m_num_bytes);
    if (m_bytes) ::madvise(m_bytes, m_num_bytes, MADV_HUGEPAGE); // a wish
  }
  if (!m_bytes) throw std::bad_alloc();
}

ARRAY_BLOCK::~ARRAY_BLOCK() {
  std::free(m_bytes);
}

ARRAY_BLOCK* ARRAY_BLOCK::take(std::size_t num_bytes) {
  std::unique_ptr<ARRAY_BLOCK> kept(s_kept.exchange(nullptr));
  const bool fits = kept && kept->m_num_bytes >= num_bytes && kept->m_num_bytes / 2 <= num_bytes;
  return fits ? kept.release() : new ARRAY_BLOCK(num_bytes);
}

void ARRAY_BLOCK::give_back(ARRAY_BLOCK* block) {
  const std::unique_ptr<ARRAY_BLOCK> gone(block->m_num_bytes > MAX_KEPT ? block : s_kept.exchange(block));
}
