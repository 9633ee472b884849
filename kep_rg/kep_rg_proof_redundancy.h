#pragma once

#include "kep/kep_db.h"

#include <cstdint>
#include <unordered_map>
#include <vector>

/// Which uips redundancy data mark, read from the table of relative paths "redundancy" and answered by
/// looking up from the uip: no list of all marked uips is made. Made by one thread, then read by any number.
class KEP_RG_PROOF_REDUNDANCY {
public:
  explicit KEP_RG_PROOF_REDUNDANCY(const KEP_DB* db);

  bool is_redundant(const KEP_UNFOLDED_INST_PORT& uip) const { return !m_marks.empty() && find(uip); }

private:
  using CHAIN = std::vector<const KEP_INSTANCE*>; // what has to stand above, innermost first
  static constexpr unsigned char EVERYWHERE = 1;  // below the top
  static constexpr unsigned char BELOW_CHAINS = 2;

  void add(const KEP_MODULE* module, const KEP_RELATIVE_PATH& path);
  const std::vector<const KEP_INSTANCE*>& find_instances(const KEP_MODULE* module);
  void mark(const KEP_INST_PORT* inst_port, unsigned char where);
  bool find(const KEP_UNFOLDED_INST_PORT& uip) const;
  bool stands_below(std::uint32_t occurrence, const CHAIN& chain) const;

  const KEP_DB* m_db;
  std::uint64_t m_top_number = 0; // only what stands below the designated top is marked
  std::uint64_t m_top_size = 0;
  std::vector<std::uint64_t> m_first_mark; // by module number
  std::vector<unsigned char> m_marks;      // by inst port, module after module; empty without a table
  std::unordered_map<const KEP_INST_PORT*, std::vector<CHAIN>> m_chains;
  std::vector<std::vector<const KEP_INSTANCE*>> m_instances; // by number of a master, while the table is read
};
