#include "kep_io/database/kep_checksum.h"

#include <new>
#include <xxhash.h>

KEP_CHECKSUM::KEP_CHECKSUM() : m_state(XXH3_createState()) {
  if (!m_state) throw std::bad_alloc();
  XXH3_64bits_reset(m_state);
}

KEP_CHECKSUM::~KEP_CHECKSUM() {
  XXH3_freeState(m_state);
}

void KEP_CHECKSUM::add(std::span<const std::byte> bytes) {
  XXH3_64bits_update(m_state, bytes.data(), bytes.size());
}

std::uint64_t KEP_CHECKSUM::get() const {
  return XXH3_64bits_digest(m_state);
}

std::uint64_t KEP_CHECKSUM::of(std::span<const std::byte> bytes) {
  return XXH3_64bits(bytes.data(), bytes.size());
}
