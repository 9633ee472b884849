#pragma once

#include <boost/iterator/iterator_facade.hpp>

#include <cstddef>
#include <cstdint>

/// @file
/// The bases of the unfolded values and of their iterators (kep_unfolded.h).

/// What the five values share: equality and hash by position and object.
template <class DERIVED, class OBJECT>
class KEP_UNFOLDED_VALUE {
public:
  KEP_UNFOLDED_VALUE() = default;
  /// False for the empty value.
  explicit operator bool() const { return m_object != nullptr; }
  /// The same object at the same position of one database.
  friend bool operator==(const DERIVED& left, const DERIVED& right) {
    return left.m_object == right.m_object && left.m_position == right.m_position;
  }
  /// Of position and address, so that runs differ.
  std::size_t hash() const {
    const auto object = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(m_object));
    std::uint64_t h = (m_position * 0x9e3779b97f4a7c15U) ^ object;
    h = (h ^ (h >> 29)) * 0xbf58476d1ce4e5b9U;
    return h ^ (h >> 32);
  }

  std::uint64_t m_position = 0; ///< opaque, good for comparing
  OBJECT* m_object = nullptr;   ///< the folded object, null for the empty value

protected:
  /// The pair as another value of the database gave it.
  KEP_UNFOLDED_VALUE(std::uint64_t position, OBJECT* object) : m_position(position), m_object(object) {}
};

/// The shape of the four iterators: a position, the same for all, and a folded iterator.
template <class DERIVED, class VALUE, class FOLDED_ITER>
class KEP_UNFOLDED_ITER : public boost::iterator_facade<DERIVED, VALUE, boost::forward_traversal_tag, VALUE> {
public:
  KEP_UNFOLDED_ITER() = default;
  /// At the folded element, at that position.
  KEP_UNFOLDED_ITER(std::uint64_t position, FOLDED_ITER at) : m_position(position), m_at(at) {}

private:
  friend class boost::iterator_core_access;
  VALUE dereference() const { return VALUE(m_position, *m_at); }
  bool equal(const KEP_UNFOLDED_ITER& other) const { return m_at == other.m_at; }
  void increment() { ++m_at; }

  std::uint64_t m_position = 0;
  FOLDED_ITER m_at{};
};
