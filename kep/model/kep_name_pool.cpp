#include "kep/model/kep_name_pool.h"

#include "kep/kep_db.h"

#include <algorithm>
#include <functional>
#include <string>

const char* KEP_NAME_POOL::intern(std::string_view name) {
  if (m_names.size() * 3 >= m_table.size() * 2) grow();
  const auto hash = static_cast<std::uint32_t>(std::hash<std::string_view>()(name));
  ENTRY& entry = find(name, hash);
  if (entry.m_number == 0) {
    m_names.push_back(copy(name));
    entry = {hash, static_cast<std::uint32_t>(m_names.size())};
  }
  return m_names[entry.m_number - 1];
}

KEP_NAME_POOL::ENTRY& KEP_NAME_POOL::find(std::string_view name, std::uint32_t hash) {
  const std::size_t mask = m_table.size() - 1;
  std::size_t i = hash & mask;
  for (; m_table[i].m_number != 0; i = (i + 1) & mask)
    if (m_table[i].m_hash == hash && name == m_names[m_table[i].m_number - 1]) break;
  return m_table[i];
}

void KEP_NAME_POOL::grow() {
  constexpr std::size_t LEAST_ENTRIES = 1024;
  std::vector<ENTRY> entries(std::max(LEAST_ENTRIES, m_table.size() * 2));
  entries.swap(m_table);
  const std::size_t mask = m_table.size() - 1;
  for (const ENTRY& entry : entries) {
    if (entry.m_number == 0) continue;
    std::size_t i = entry.m_hash & mask;
    while (m_table[i].m_number != 0)
      i = (i + 1) & mask;
    m_table[i] = entry;
  }
}

const char* KEP_NAME_POOL::copy(std::string_view name) {
  if (const std::size_t nul = name.find('\0'); nul != std::string_view::npos)
    throw KEP_DB_ERROR("the name that begins \"" + std::string(name.substr(0, nul)) + "\" holds a NUL");
  const std::size_t bytes = name.size() + 1;
  if (bytes > m_num_free) {
    m_num_free = std::max(bytes, CHUNK_BYTES);
    m_chunks.push_back(std::make_unique_for_overwrite<char[]>(m_num_free));
    m_free = m_chunks.back().get();
  }
  char* copied = m_free;
  m_free += bytes;
  m_num_free -= bytes;
  std::copy(name.begin(), name.end(), copied);
  copied[name.size()] = '\0';
  return copied;
}
