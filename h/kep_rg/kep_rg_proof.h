#pragma once

/// @file
/// Whether a graph agrees with its model.

#include "kep/kep_db.h"
#include "kep/kep_routing_graph.h"
#include "kep_rg/kep_rg_export.h"
#include "kep_rg/kep_rg_part.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// Proves that the graph of a database agrees with the model: every node, and every edge with its class and
/// its mux input, boundary nodes included.
///
/// It works the other way round than a build, and rests on nothing that a build uses but the model, its
/// unfolding and the store of routing primitives. First it reads the description into tables of its own, and
/// says for each inst port of the folded model whether a node should stand there. Then the description alone
/// says where a signal on a net goes on: down into an instance, up through a port, across a skip path or a
/// flyover. The nodes of the graph are held against those that should stand, and the edges of each against
/// what is reached from the nets behind it; nets of long connections that reach each other are joined to
/// groups first, so that what many nodes lead into is walked once.
///
/// Time goes with the nodes, their edges and the nets behind them; memory is a byte an inner occurrence, one
/// to three a folded inst port and 16 an arc; where connections are long, about 20 bytes a net behind nodes
/// around them, too. The database must outlive the object.
class KEP_RG_EXPORT KEP_RG_PROOF {
public:
  /// A node that only one of the two has: the model, where it is missing, or the graph, where it is surplus.
  struct NODE_FINDING {
    bool m_is_missing;            ///< else surplus
    bool m_is_hipi;               ///< a hipi twin
    KEP_UNFOLDED_INST_PORT m_uip; ///< empty for a boundary node
    const KEP_PORT* m_port;       ///< of a boundary node, else null
    /// As KEP_ROUTING::NODE::get_name, for a node that may not be there.
    std::string get_name(const KEP_NAME_STYLE& style) const;
  };
  /// An edge that only one of the two has, between nodes that both have.
  struct EDGE_FINDING {
    bool m_is_missing;        ///< the model has the edge and the graph does not; else the other way round
    bool m_is_redundant;      ///< its class
    KEP_ROUTING::NODE m_from; ///< where it comes from
    KEP_ROUTING::NODE m_to;   ///< null where the graph has an edge to nowhere
    KEP_UNFOLDED_INST_PORT m_mux_input; ///< empty without one
  };
  /// How many there are of each, and the first ones.
  struct RESULT {
    std::uint64_t m_num_nodes = 0;         ///< of the graph that were looked at, as are the edges
    std::uint64_t m_num_edges = 0;         ///< real and redundant
    std::uint64_t m_num_missing_nodes = 0; ///< all of them
    std::uint64_t m_num_surplus_nodes = 0; ///< all of them
    std::uint64_t m_num_missing_edges = 0; ///< edges at a missing or surplus node stand and fall with it
    std::uint64_t m_num_surplus_edges = 0; ///< likewise
    std::vector<NODE_FINDING>
        m_node_findings; ///< the first ones: missing, then surplus, each in the order of the model
    std::vector<EDGE_FINDING> m_edge_findings; ///< the first ones in the order of the graph
    /// The graph agrees with the model.
    bool is_sound() const {
      return m_num_missing_nodes == 0 && m_num_surplus_nodes == 0 && m_num_missing_edges == 0 &&
             m_num_surplus_edges == 0;
    }
  };

  /// Looks at the folded model and at every inner occurrence, by one thread.
  explicit KEP_RG_PROOF(const KEP_DB* db);
  ~KEP_RG_PROOF();
  KEP_RG_PROOF(const KEP_RG_PROOF&) = delete;
  KEP_RG_PROOF& operator=(const KEP_RG_PROOF&) = delete;

  /// Compares every node, by so many threads; the result is the same for any number. Keeps the first of
  /// missing nodes, surplus nodes, missing edges and surplus edges, so many of each.
  ///
  /// A part compares a range of the nodes of the graph, and looks for missing nodes in a range of the places
  /// of the model. The numbers of all parts add up to those of the whole, and their findings of a kind, one
  /// part behind the other, are its findings in their order.
  RESULT run(int num_threads, std::size_t max_findings = 100, const KEP_RG_PART& part = {}) const;

private:
  friend class KEP_RG_TEST_ACCESS;
  struct MODEL;
  class RUN;
  const KEP_DB* m_db;
  std::size_t m_max_nets = 256; // behind a node before nets are joined to groups; only tests change it
  std::unique_ptr<const MODEL> m_model;
};
