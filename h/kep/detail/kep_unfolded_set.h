#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

/// A set of unfolded values that keeps its storage when it is emptied, so that a walk allocates nothing. Its
/// values are numbered in the order in which they came.
template <class VALUE>
class KEP_UNFOLDED_SET {
public:
  static constexpr std::uint32_t NONE = ~0U;

  /// False when the value was there already.
  bool insert(const VALUE& value);
  /// The number of the value, NONE if it is not there.
  std::uint32_t find(const VALUE& value) const;
  bool contains(const VALUE& value) const { return find(value) != NONE; }
  std::size_t size() const { return m_values.size(); }
  void clear() { m_values.clear(); }
  const std::vector<VALUE>& get_values() const { return m_values; }

private:
  static constexpr std::size_t LINEAR = 16; // up to here the values are searched one by one

  std::size_t find_bucket(const VALUE& value) const {
    std::size_t bucket = value.hash() & (m_buckets.size() - 1);
    while (m_buckets[bucket] && !(m_values[m_buckets[bucket] - 1] == value))
      bucket = (bucket + 1) & (m_buckets.size() - 1);
    return bucket;
  }
  void rehash(std::size_t buckets);

  std::vector<VALUE> m_values;
  std::vector<std::uint32_t> m_buckets; // number plus 1, or 0; without meaning while the set is small
};

template <class VALUE>
std::uint32_t KEP_UNFOLDED_SET<VALUE>::find(const VALUE& value) const {
  if (m_values.size() > LINEAR) return m_buckets[find_bucket(value)] - 1;
  const auto found = std::find(m_values.begin(), m_values.end(), value);
  return found == m_values.end() ? NONE : static_cast<std::uint32_t>(found - m_values.begin());
}

template <class VALUE>
bool KEP_UNFOLDED_SET<VALUE>::insert(const VALUE& value) {
  if (contains(value)) return false;
  m_values.push_back(value);
  if (m_values.size() <= LINEAR) return true;
  if (m_values.size() == LINEAR + 1 || m_values.size() * 2 > m_buckets.size())
    rehash(std::max<std::size_t>(LINEAR * 4, m_values.size() * 4));
  else
    m_buckets[find_bucket(value)] = static_cast<std::uint32_t>(m_values.size());
  return true;
}

template <class VALUE>
void KEP_UNFOLDED_SET<VALUE>::rehash(std::size_t buckets) {
  std::size_t power = 1;
  while (power < buckets)
    power *= 2;
  m_buckets.assign(power, 0);
  for (std::size_t i = 0; i != m_values.size(); ++i) {
    std::size_t bucket = m_values[i].hash() & (power - 1);
    while (m_buckets[bucket])
      bucket = (bucket + 1) & (power - 1);
    m_buckets[bucket] = static_cast<std::uint32_t>(i + 1);
  }
}
