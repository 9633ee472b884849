#pragma once

#include "kep/kep_routing_builder.h"
#include "kep/kep_unfolded.h"
#include "kep_rg/kep_rg_export.h"

#include <boost/iterator/iterator_facade.hpp>
#include <boost/range/iterator_range_core.hpp>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// @file
/// What KEP_RG_BUILD::debug_edges gives to a debugger (DBG): plain values, in lists that grow at their end.

/// One fanout.
class KEP_RG_EXPORT KEP_RG_DBG_FANOUT {
public:
  KEP_RG_DBG_FANOUT() = default;
  /// The node must outlive the fanout.
  KEP_RG_DBG_FANOUT(bool redundant, const KEP_ROUTING_BUILDER_NODE* routing_node,
                    KEP_UNFOLDED_INST_PORT mux_input)
      : m_redundant(redundant), m_routing_node(routing_node), m_mux_input(mux_input) {}

  /// Its class.
  bool is_redundant() const { return m_redundant; }
  /// The target; it belongs to the builder and is valid as long as that.
  const KEP_ROUTING_BUILDER_NODE* get_routing_node() const { return m_routing_node; }
  /// The mux input through which the fanout is reached; empty without a mux.
  KEP_UNFOLDED_INST_PORT get_mux_input() const { return m_mux_input; }

private:
  bool m_redundant = false;
  const KEP_ROUTING_BUILDER_NODE* m_routing_node = nullptr;
  KEP_UNFOLDED_INST_PORT m_mux_input;
};

/// One node: a uip, or a port of the top module.
class KEP_RG_EXPORT KEP_RG_DBG_NODE {
public:
  ///@{
  /// A boundary node, by its port, or another one, by its uip.
  KEP_RG_DBG_NODE(KEP_PORT* port) : m_port(port) {}
  KEP_RG_DBG_NODE(KEP_UNFOLDED_INST_PORT uip) : m_uip(uip) {}
  ///@}

  /// Empty for a port.
  KEP_UNFOLDED_INST_PORT get_uip() const { return m_uip; }
  /// Null for a uip.
  KEP_PORT* get_port() const { return m_port; }
  /// The full name of the uip, or MODULE:port.
  std::string get_name(const KEP_NAME_STYLE& style) const;

private:
  KEP_UNFOLDED_INST_PORT m_uip;
  KEP_PORT* m_port = nullptr;
};

/// The shape of the two iterators: `*it` is a pointer to the element.
template <class DERIVED, class ELEMENT>
class KEP_RG_DBG_ITER
    : public boost::iterators::iterator_facade<DERIVED, ELEMENT*, boost::forward_traversal_tag, ELEMENT*,
                                               std::int64_t> {
public:
  KEP_RG_DBG_ITER() = default;
  /// At that element.
  explicit KEP_RG_DBG_ITER(typename std::vector<ELEMENT>::iterator at) : m_at(at) {}

private:
  friend class boost::iterators::iterator_core_access;
  ELEMENT* dereference() const { return &*m_at; }
  void increment() { ++m_at; }
  bool equal(const KEP_RG_DBG_ITER& other) const { return m_at == other.m_at; }

  typename std::vector<ELEMENT>::iterator m_at{};
};

class KEP_RG_DBG_FANOUT_ITER : public KEP_RG_DBG_ITER<KEP_RG_DBG_FANOUT_ITER, KEP_RG_DBG_FANOUT> {
  using KEP_RG_DBG_ITER::KEP_RG_DBG_ITER;
};
class KEP_RG_DBG_NODE_ITER : public KEP_RG_DBG_ITER<KEP_RG_DBG_NODE_ITER, KEP_RG_DBG_NODE> {
  using KEP_RG_DBG_ITER::KEP_RG_DBG_ITER;
};

/// The shape of the two lists: elements in the order in which they were added.
template <class ELEMENT, class ITER>
class KEP_RG_DBG_LIST {
public:
  /// Puts a copy at the end, which invalidates iterators.
  void add(const ELEMENT& element) { m_elements.push_back(element); }
  /// How many elements there are.
  std::size_t size() const { return m_elements.size(); }
  /// All elements. Good until the next one is added.
  boost::iterator_range<ITER> iter() { return {begin(), end()}; }

private:
  ITER begin() { return ITER(m_elements.begin()); }
  ITER end() { return ITER(m_elements.end()); }

  std::vector<ELEMENT> m_elements;
};

class KEP_RG_EXPORT KEP_RG_DBG_FANOUTS : public KEP_RG_DBG_LIST<KEP_RG_DBG_FANOUT, KEP_RG_DBG_FANOUT_ITER> {};
class KEP_RG_EXPORT KEP_RG_DBG_NODES : public KEP_RG_DBG_LIST<KEP_RG_DBG_NODE, KEP_RG_DBG_NODE_ITER> {};
