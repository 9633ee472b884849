#pragma once

#include "kep/kep_db_builder.h"
#include "kep_io/text/kep_json_value.h"

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

/// A list of bits in a model, at a place. A bit is the number of a net within its module, or unconnected.
class KEP_MODEL_BITS {
public:
  static constexpr std::uint64_t UNCONNECTED = ~std::uint64_t{0};

  KEP_MODEL_BITS(simdjson::dom::element value, const KEP_JSON_PLACE& place)
      : m_bits(kep_json_array(value, place)), m_place(place) {}

  unsigned count() const;
  /// Calls use(index, number) for each bit that is not unconnected. What is no bit is refused.
  template <class USE>
  void for_each(USE use) const {
    unsigned index = 0;
    for (const simdjson::dom::element element : m_bits) {
      const std::uint64_t number = read_bit(element, index);
      if (number != UNCONNECTED) use(index, number);
      ++index;
    }
  }

private:
  std::uint64_t read_bit(simdjson::dom::element element, unsigned index) const;

  simdjson::dom::array m_bits;
  const KEP_JSON_PLACE& m_place;
};

/// How the bits of a port or a net are counted: from `offset` up, or down to it when `upto` is set.
struct KEP_MODEL_BIT_RANGE {
  unsigned m_width;
  std::int64_t m_offset;
  bool m_is_upto;
};
/// `owner` is the object in which `offset` and `upto` may stand.
KEP_MODEL_BIT_RANGE kep_read_bit_range(simdjson::dom::object owner, unsigned width,
                                       const KEP_JSON_PLACE& place);

/// How they are called: by the name of the port or net when it has one bit, else NAME[i].
class KEP_MODEL_BIT_NAMES {
public:
  KEP_MODEL_BIT_NAMES(std::string_view name, const KEP_MODEL_BIT_RANGE& range)
      : m_name(name), m_range(range) {}
  /// The name of a bit; the text lasts until the next call.
  std::string_view get(unsigned index);

private:
  std::string_view m_name;
  KEP_MODEL_BIT_RANGE m_range;
  std::string m_buffer;
};

/// The nets of the module at hand, by their numbers in the file. Small numbers are looked up in an array,
/// others in a hash table, so memory stays in proportion to the file whatever the numbers are.
class KEP_MODEL_NETS {
public:
  /// Numbers below `dense_limit` count as small.
  KEP_MODEL_NETS(KEP_DB_BUILDER& builder, std::uint64_t dense_limit)
      : m_builder(builder), m_dense_limit(dense_limit) {}

  void start(KEP_MODULE_ID module);
  /// The net of that number, made at its first use.
  KEP_NET_ID get(std::uint64_t bit);
  /// Names the net of that number, if there is one and it has no name yet.
  void set_name(std::uint64_t bit, std::string_view name);
  /// Gives every net that has no name yet its own.
  void finish();

private:
  static constexpr std::uint32_t NONE = 0;

  std::uint32_t find(std::uint64_t bit) const;
  KEP_NET_ID get_id(std::size_t place) const {
    return static_cast<KEP_NET_ID>(static_cast<std::uint64_t>(m_first_id) + place);
  }

  KEP_DB_BUILDER& m_builder;
  const std::uint64_t m_dense_limit;
  KEP_MODULE_ID m_module{};
  // The nets in the order of their first use, in which their ids count up.
  KEP_NET_ID m_first_id{};
  std::vector<std::uint64_t> m_bits;
  std::vector<bool> m_has_name;
  // From bits to places in that order plus one.
  std::vector<std::uint32_t> m_dense;
  std::unordered_map<std::uint64_t, std::uint32_t> m_sparse;
};
