#pragma once

#include "kep/kep_db.h"
#include "kep/kep_routing_primitive_cache.h"
#include "kep/kep_unfolded.h"
#include "tools/kep-rg/output/table_output.h"

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

/// What a point does on a net, in the order of a report.
enum class NET_ROLE : unsigned char {
  DRIVES, ///< a signal comes in
  BOTH,   ///< a bidirectional one
  READS,
  OPEN,  ///< leads out of an instance, or into one that is not empty, to no net
  JOINS, ///< leads into an instance, to another one of the nets
};
inline constexpr std::size_t NUM_NET_ROLES = 5;

/// All that hangs on some nets that are one electrically.
class NET_REPORT {
public:
  NET_REPORT(const KEP_DB& db, std::vector<KEP_UNFOLDED_NET> nets);

  const std::vector<KEP_UNFOLDED_NET>& get_nets() const { return m_nets; }
  std::uint64_t get_number(NET_ROLE role) const { return m_numbers[static_cast<std::size_t>(role)]; }
  /// Of the points that read.
  std::uint64_t get_num_mux_inputs() const { return m_num_mux_inputs; }

  static std::vector<std::string> get_columns();
  /// The nets, then the points, role by role, each in the order of the nets.
  void list(TABLE_OUTPUT& table) const;

private:
  struct POINT {
    NET_ROLE m_role;
    KEP_UNFOLDED_INST_PORT m_uip; ///< empty for a port of the top
    KEP_UNFOLDED_PORT m_port;     ///< of the top
    KEP_UNFOLDED_NET m_net;       ///< on which it stands
    KEP_UNFOLDED_NET m_inner;     ///< into which it leads
  };
  void visit(const std::function<void(const POINT&)>& visit) const;
  NET_ROLE get_role(const KEP_UNFOLDED_INST_PORT& uip) const;
  bool is_mux_input(const POINT& point) const;
  void list_point(const POINT& point, TABLE_OUTPUT& table) const;
  std::string get_leads_to(const POINT& point) const;

  KEP_DB_ROUTING_PRIMITIVE_CACHE m_cache;
  std::vector<KEP_UNFOLDED_NET> m_nets;
  std::array<std::uint64_t, NUM_NET_ROLES> m_numbers{};
  std::uint64_t m_num_mux_inputs = 0;
};

/// The nets of a net's name, all that have it, or those outside and inside of the port position of that name;
/// none for one without. KEP_IO_ERROR, with the closest names, for a name of neither.
std::vector<KEP_UNFOLDED_NET> get_nets(const KEP_DB& db, const std::string& name);

/// Nets that are one electrically, group by group: those that hang together with the first one that is left.
std::vector<std::vector<KEP_UNFOLDED_NET>> find_joined_groups(const std::vector<KEP_UNFOLDED_NET>& nets);
