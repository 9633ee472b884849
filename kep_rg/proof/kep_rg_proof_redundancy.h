#pragma once

#include "kep/kep_db.h"

#include <cstdint>
#include <functional>
#include <unordered_map>
#include <vector>

/// Which uips redundancy data mark, read from the table of relative paths "redundancy" and answered by
/// looking up from the uip, a look-up a level: no list of all marked uips is made. Made by one thread, then
/// read by any number.
class KEP_RG_PROOF_REDUNDANCY {
public:
  explicit KEP_RG_PROOF_REDUNDANCY(const KEP_DB* db);

  bool is_redundant(const KEP_UNFOLDED_INST_PORT& uip) const { return !m_marks.empty() && find(uip); }

private:
  static constexpr unsigned char EVERYWHERE = 1; // below the top
  static constexpr unsigned char BELOW_CHAINS = 2;
  /// Chains of instances that have to stand above an inst port, innermost first, share what they begin with:
  /// a point of the tree, and the instance by which it goes on to another one.
  struct BRANCH {
    std::uint32_t m_point;
    const KEP_INSTANCE* m_instance;
    bool operator==(const BRANCH&) const = default;
  };
  struct BRANCH_HASH {
    std::size_t operator()(const BRANCH& branch) const {
      return std::hash<const KEP_INSTANCE*>()(branch.m_instance) * 31 + branch.m_point;
    }
  };

  void add(const KEP_MODULE* module, const KEP_RELATIVE_PATH& path);
  const std::vector<const KEP_INSTANCE*>& find_instances(const KEP_MODULE* module);
  void mark(const KEP_INST_PORT* inst_port, unsigned char where);
  bool find(const KEP_UNFOLDED_INST_PORT& uip) const;
  void add_chain(const KEP_INST_PORT* inst_port, const std::vector<KEP_INSTANCE*>& instances);
  bool stands_below_chain(std::uint32_t occurrence, std::uint32_t point) const;

  const KEP_DB* m_db;
  std::uint64_t m_top_number = 0; // only what stands below the designated top is marked
  std::uint64_t m_top_size = 0;
  std::vector<std::uint64_t> m_first_mark; // by module number
  std::vector<unsigned char> m_marks;      // by inst port, module after module; empty without a table
  std::unordered_map<const KEP_INST_PORT*, std::uint32_t> m_first_points;
  std::unordered_map<BRANCH, std::uint32_t, BRANCH_HASH> m_branches;
  std::vector<bool> m_ends_chain;                            // by point
  std::vector<std::vector<const KEP_INSTANCE*>> m_instances; // by number of a master, while the table is read
};
