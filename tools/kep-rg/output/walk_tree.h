#pragma once

#include "kep/kep_unfold_observer.h"
#include "kep_rg/kep_rg_debug.h"
#include "kep_rg/kep_rg_instance_is_primitive.h"
#include "kep_rg/kep_rg_primitives.h"

#include <cstddef>
#include <iosfwd>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

/// Watches the builder's walk from one node and draws it as an indented tree, a line for each point: nets,
/// crossings of the hierarchy, skip paths, and for each end why the walk ended there and where it leads.
///
///   l/m:o
///     outside: net l/o
///       l:out  up out of TILE: net x
///         r:in  down into TILE: net r/n
///           r/m:a  mux input -> r/m:o
///
/// A walk tells no more than its points, in their order. Where a point hangs in the tree follows from its
/// net, and behind a skip path from the outputs that the path leads to.
class WALK_TREE : public KEP_UNFOLD_OBSERVER {
public:
  /// Both must outlive the object.
  WALK_TREE(const KEP_RG_PRIMITIVES& primitives, const KEP_DB& db)
      : m_primitives(primitives),
        m_predicate(&db, primitives, KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank) {}

  void start_uip(const KEP_UNFOLDED_INST_PORT& uip) override;
  void finish_uip() override;
  void start_net(const KEP_UNFOLDED_NET& net) override;
  void visit(const KEP_UNFOLDED_PORT& port, VISIT_TYPE type) override;
  void visit(const KEP_UNFOLDED_INST_PORT& uip, VISIT_TYPE type) override;

  /// The tree; the fanouts are what the walk gave and tell which ends are redundant, and which lead to a hipi
  /// node.
  void print(std::ostream& out, KEP_RG_DBG_FANOUTS& fanouts) const;

private:
  /// What became of an end of the walk.
  enum class END : unsigned char {
    NO_END,
    NOTHING_INSIDE,
    IGNORED, ///< the search passes over it
    DROPPED, ///< a result of the search of which nothing was made (so far)
    MUX_INPUT,
    TARGET,
  };
  struct LINE {
    unsigned m_depth;
    std::string m_name; ///< of the point
    std::string m_text;
    KEP_UNFOLDED_INST_PORT m_uip = {}; ///< of an end
    END m_end = END::NO_END;
    bool m_is_of_net = false; ///< below it stands what hangs on a net
    std::vector<KEP_UNFOLDED_INST_PORT> m_targets = {};
  };
  /// A line below which more can come: of a net, or of a skip path that has outputs left.
  struct OPEN {
    unsigned m_depth;
    KEP_UNFOLDED_NET m_net = {};
    std::vector<KEP_UNFOLDED_INST_PORT> m_outputs = {};
    std::size_t m_next_output = 0;
    std::string m_text = {}; ///< of the lines of these outputs
  };
  /// Facts of the fanouts under the point at which the search ended for them.
  struct FANOUTS_BY_LEAF {
    std::unordered_set<KEP_UNFOLDED_INST_PORT> m_redundant;
    std::unordered_map<KEP_UNFOLDED_INST_PORT, std::vector<KEP_UNFOLDED_INST_PORT>> m_twins;
  };

  void add_line(unsigned depth, std::string name, std::string text);
  unsigned get_depth() const { return m_open.empty() ? 1 : m_open.back().m_depth + 1; }
  void return_to(const KEP_UNFOLDED_NET& net);
  bool return_to_skip_path(const KEP_UNFOLDED_INST_PORT& output);
  void search(const KEP_UNFOLDED_INST_PORT& uip);
  void search(const KEP_UNFOLDED_PORT& port);
  void begin(std::string text);
  void expect_net(const KEP_UNFOLDED_NET& net);
  void settle();
  void skip(const KEP_UNFOLDED_INST_PORT& uip);
  void end(const KEP_UNFOLDED_INST_PORT& uip, VISIT_TYPE type);
  void end(const KEP_UNFOLDED_PORT& port);
  void end_at_crossing(const KEP_UNFOLDED_INST_PORT& uip);
  void set_end(const KEP_UNFOLDED_INST_PORT& uip, END end);
  std::size_t find_end(const KEP_UNFOLDED_INST_PORT& uip);
  void add_target(const KEP_UNFOLDED_INST_PORT& uip);
  void add_target(const KEP_UNFOLDED_PORT& port);
  std::string get_drop_reason(const KEP_UNFOLDED_INST_PORT& uip) const;
  std::string get_end_text(const LINE& line, const FANOUTS_BY_LEAF& fanouts) const;

  const KEP_RG_PRIMITIVES& m_primitives;
  KEP_RG_INSTANCE_IS_PRIMITIVE m_predicate;
  KEP_UNFOLDED_INST_PORT m_start;
  std::vector<LINE> m_lines;
  std::vector<OPEN> m_open;
  KEP_UNFOLDED_INST_PORT m_crossed_to_uip; // the last visit went up to here
  KEP_UNFOLDED_PORT m_crossed_to_port;     // the last visit went down to here
  KEP_UNFOLDED_NET m_expected_net;         // on which the point of the last line lies
  std::vector<std::string> m_searches;     // from the start
  bool m_is_in_tunnel = false;
  bool m_is_at_start = false; // the next visit tells once more where the walk starts
  bool m_expects_net = false;
  bool m_is_behind_mux = false; // the next target belongs to the mux input of the last result
  std::size_t m_result = 0;     // the line of the last result
  std::size_t m_next_end = 0;   // results come in the order of their ends
  std::size_t m_next_top_port = 0;
};
