#pragma once

#include "kep/kep_db.h"
#include "tools/kep-rg/describe/describe_pattern.h"

#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

/// What a pattern found in a model.
struct MUX_FINDINGS {
  std::vector<const KEP_MODULE*> m_modules; ///< that fit and have the ports, in the order of the file
  std::uint64_t m_num_arcs = 0;
  std::uint64_t m_num_without_ports = 0; ///< modules that fit
};

/// Writes the routing description of the muxes of a model: an arc from every bit of one port to every bit of
/// another, pattern by pattern. An arc of an earlier pattern isn't written again.
class DESCRIBE_ARCS {
public:
  /// `file` stands for the model in messages.
  DESCRIBE_ARCS(const KEP_DB& db, const std::string& file) : m_db(db), m_file(file) {}

  /// A module that fits and lacks the ports is a warning. std::runtime_error with one line when no module
  /// fits, when none of them has the ports, or when a description can't name one of them.
  MUX_FINDINGS add(const MUX_PATTERN& pattern);
  const std::string& get_text() const { return m_text; }

private:
  void add_arcs(const KEP_MODULE& module, const MUX_PATTERN& pattern, MUX_FINDINGS& findings);
  void check_name(const KEP_MODULE& module) const;
  [[noreturn]] void refuse_glob(const MUX_PATTERN& pattern) const;
  [[noreturn]] void refuse_ports(const MUX_PATTERN& pattern, const std::string& reason) const;

  const KEP_DB& m_db;
  const std::string& m_file;
  std::set<std::pair<const KEP_PORT*, const KEP_PORT*>> m_arcs;
  std::string m_text;
};
