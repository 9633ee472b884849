#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>
#include <type_traits>

/// An array of zeros that takes memory page by page, where it is written: for large tables of which only some
/// places may ever be used.
template <class T>
class KEP_ZERO_PAGES {
  static_assert(std::is_arithmetic_v<T>, "zeros are values");

public:
  KEP_ZERO_PAGES() = default;
  explicit KEP_ZERO_PAGES(std::size_t size)
      : m_size(size), m_values(static_cast<T*>(std::calloc(size == 0 ? 1 : size, sizeof(T)))) {
    if (!m_values) throw std::bad_alloc();
  }

  std::size_t size() const { return m_size; }
  bool empty() const { return m_size == 0; }
  T& operator[](std::size_t i) { return m_values.get()[i]; }
  const T& operator[](std::size_t i) const { return m_values.get()[i]; }

private:
  struct FREE {
    void operator()(T* values) const { std::free(values); }
  };
  std::size_t m_size = 0;
  std::unique_ptr<T, FREE> m_values; // fresh pages, which the system gives as zeros when they are touched
};
