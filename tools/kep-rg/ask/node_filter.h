#pragma once

#include "kep/kep_db.h"
#include "kep/kep_routing_graph.h"
#include "tools/kep-rg/ask/glob.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

/// A condition on a number: ">100", ">=100", "<100", "<=100", "=100", "100", or "10..20" with both ends.
struct NUMBER_CONDITION {
  std::uint32_t m_least = 0;
  std::uint32_t m_most = std::numeric_limits<std::uint32_t>::max();

  bool holds(std::uint32_t number) const { return m_least <= number && number <= m_most; }
};
/// None for a text that is no condition, and for one that no number could meet.
std::optional<NUMBER_CONDITION> find_number_condition(const std::string& text);

/// Which nodes are asked for; what is empty is no condition.
struct NODE_QUERY {
  std::string m_under;  ///< an instance
  std::string m_module; ///< a pattern for the name of the module that the node is a port of
  std::string m_name;   ///< a pattern for its full name
  std::string m_kind;   ///< uip, hipi or boundary
  NUMBER_CONDITION m_fanout;
  NUMBER_CONDITION m_fanin;
};

/// Tests nodes. What costs little comes first, and a name is made for those alone that pass the rest.
class NODE_FILTER {
public:
  /// std::runtime_error, with the closest names, where no module fits.
  NODE_FILTER(const KEP_DB& db, const NODE_QUERY& query);

  /// `name` holds the full name of the node then.
  bool passes(const KEP_ROUTING::NODE& node, std::string& name) const;
  /// All that pass stand in or at the instance of that path; empty: anywhere.
  std::string get_instance() const;

private:
  const NODE_QUERY& m_query;
  std::optional<GLOB> m_name;
  std::vector<bool> m_modules; // by number, those that fit; empty for all
};
