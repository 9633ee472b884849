#include "kep/model/kep_name_pool.h"

#include <algorithm>

const char* KEP_NAME_POOL::intern(std::string_view name) {
  const auto found = m_names.find(name);
  if (found != m_names.end()) return found->data();
  const std::size_t bytes = name.size() + 1;
  if (bytes > m_num_free) {
    m_num_free = std::max(bytes, CHUNK_BYTES);
    m_chunks.push_back(std::make_unique<char[]>(m_num_free));
    m_free = m_chunks.back().get();
  }
  char* copy = m_free;
  m_free += bytes;
  m_num_free -= bytes;
  std::copy(name.begin(), name.end(), copy);
  copy[name.size()] = '\0';
  m_names.insert(std::string_view(copy, name.size()));
  return copy;
}
