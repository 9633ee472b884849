#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

/// A table that stays as it is: values of its own, or lent ones, such as those of a file that is mapped.
/// Whoever lends them keeps them as long as the table.
template <class T>
class KEP_TABLE {
public:
  KEP_TABLE() = default;
  KEP_TABLE(std::vector<T> own)
      : m_own(std::move(own)), m_values(m_own.data()), m_size(m_own.size()) {} // stands for them everywhere
  static KEP_TABLE lend(const T* values, std::size_t size) {
    KEP_TABLE table;
    table.m_values = values;
    table.m_size = size;
    return table;
  }
  KEP_TABLE(const KEP_TABLE& other)
      : m_own(other.m_own), m_values(other.is_lent() ? other.m_values : m_own.data()), m_size(other.m_size) {}
  KEP_TABLE(KEP_TABLE&& other)
  noexcept
      : m_own(std::move(other.m_own)), m_values(std::exchange(other.m_values, nullptr)),
        m_size(std::exchange(other.m_size, 0)) {}
  KEP_TABLE& operator=(KEP_TABLE other) noexcept {
    m_own.swap(other.m_own); // their values stay where they are
    std::swap(m_values, other.m_values);
    std::swap(m_size, other.m_size);
    return *this;
  }
  ~KEP_TABLE() = default;

  const T* data() const { return m_values; }
  /// To fill it, before anyone reads; null where values are lent.
  T* get_own() { return m_own.data(); }
  std::size_t size() const { return m_size; }
  bool empty() const { return m_size == 0; }
  const T& operator[](std::size_t index) const { return m_values[index]; }
  const T& back() const { return m_values[m_size - 1]; }
  const T* begin() const { return m_values; }
  const T* end() const { return m_values + m_size; }
  /// The same values, lent by this table or by whoever lent them to it.
  KEP_TABLE get_lent() const { return lend(m_values, m_size); }
  std::uint64_t get_memory_bytes() const { return (is_lent() ? m_size : m_own.capacity()) * sizeof(T); }

private:
  bool is_lent() const { return m_values != m_own.data(); }

  std::vector<T> m_own;
  const T* m_values = nullptr;
  std::size_t m_size = 0;
};
