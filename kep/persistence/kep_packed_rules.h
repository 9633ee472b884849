#pragma once

#include "kep/graph/kep_word_folder.h"
#include "kep/persistence/kep_table_rules.h"

#include <cstddef>
#include <cstdint>

/// Packed numbers of a file; each throws KEP_DB_ERROR where they are not such.
namespace KEP_PACKED_RULES {

inline void check_width(std::uint32_t width) {
  KEP_TABLE_RULES::require(width >= 1 && width <= sizeof(std::uint32_t), "numbers have no width");
}

/// How many there are.
inline std::size_t get_size(const KEP_TABLE<unsigned char>& bytes, std::uint32_t width) {
  check_width(width);
  KEP_TABLE_RULES::require(bytes.size() >= KEP_PACKED_NUMBER_LIST::NUM_BYTES_BEHIND, "numbers are missing");
  return (bytes.size() - KEP_PACKED_NUMBER_LIST::NUM_BYTES_BEHIND) / width;
}

/// So many, behind which one more can be read.
inline KEP_PACKED_NUMBERS get_numbers(const KEP_TABLE<unsigned char>& bytes, std::uint32_t width,
                                      std::size_t size) {
  check_width(width);
  KEP_TABLE_RULES::require(bytes.size() == size * width + KEP_PACKED_NUMBER_LIST::NUM_BYTES_BEHIND,
                           "numbers are missing");
  return {bytes.data(), width, ~std::uint32_t{0} >> (32 - 8 * width)};
}

} // namespace KEP_PACKED_RULES
