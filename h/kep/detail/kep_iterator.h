#pragma once

#include <boost/iterator/iterator_facade.hpp>
#include <boost/range/iterator_range_core.hpp>

/// The two shapes of iterator that the folded model and the stores hand out: both yield a pointer to the
/// element. A named iterator of the interface derives from one of them.

/// Walks an array of elements.
template <class DERIVED, class VALUE>
class KEP_ELEMENT_ITER
    : public boost::iterator_facade<DERIVED, VALUE*, boost::forward_traversal_tag, VALUE*> {
public:
  KEP_ELEMENT_ITER() = default;
  explicit KEP_ELEMENT_ITER(VALUE* at) : m_at(at) {}

private:
  friend class boost::iterator_core_access;
  VALUE* dereference() const { return m_at; }
  bool equal(const KEP_ELEMENT_ITER& other) const { return m_at == other.m_at; }
  void increment() { ++m_at; }

  VALUE* m_at = nullptr;
};

/// Walks an array of pointers to elements.
template <class DERIVED, class VALUE>
class KEP_POINTER_ITER
    : public boost::iterator_facade<DERIVED, VALUE*, boost::forward_traversal_tag, VALUE*> {
public:
  KEP_POINTER_ITER() = default;
  explicit KEP_POINTER_ITER(VALUE* const* at) : m_at(at) {}

private:
  friend class boost::iterator_core_access;
  VALUE* dereference() const { return *m_at; }
  bool equal(const KEP_POINTER_ITER& other) const { return m_at == other.m_at; }
  void increment() { ++m_at; }

  VALUE* const* m_at = nullptr;
};

/// The base of the iterators over whole tables of a database. It has a virtual destructor, so that a tool may
/// hold one by its base.
template <class DERIVED, class VALUE>
class KEP_HIER_TABLE_ITER
    : public boost::iterator_facade<DERIVED, VALUE*, boost::forward_traversal_tag, VALUE*> {
public:
  KEP_HIER_TABLE_ITER() = default;
  explicit KEP_HIER_TABLE_ITER(VALUE* const* at) : m_at(at) {}
  KEP_HIER_TABLE_ITER(const KEP_HIER_TABLE_ITER&) = default;
  KEP_HIER_TABLE_ITER& operator=(const KEP_HIER_TABLE_ITER&) = default;
  virtual ~KEP_HIER_TABLE_ITER() = default;

private:
  friend class boost::iterator_core_access;
  VALUE* dereference() const { return *m_at; }
  bool equal(const KEP_HIER_TABLE_ITER& other) const { return m_at == other.m_at; }
  void increment() { ++m_at; }

  VALUE* const* m_at = nullptr;
};

/// The range over a vector of pointers.
template <class ITER, class POINTERS>
boost::iterator_range<ITER> kep_pointer_range(const POINTERS& pointers) {
  return {ITER(pointers.data()), ITER(pointers.data() + pointers.size())};
}
