#pragma once

#include "kep/detail/kep_table.h"

#include <algorithm>
#include <capnp/any.h>
#include <capnp/list.h>
#include <cstddef>
#include <cstring>
#include <span>
#include <stdexcept>
#include <vector>

/// Tables in messages: lists of chunks, whose elements stand as they do in a table.
namespace KEP_MESSAGE_TABLES {

/// A chunk ends at so many bytes, or at as many elements as a list of a message can have.
inline constexpr std::size_t MAX_CHUNK_BYTES = std::size_t{1} << 30;
inline constexpr std::size_t MAX_CHUNK_ELEMENTS = (std::size_t{1} << 29) - 1;

/// A message that doesn't hold what it should.
class ERROR : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

inline kj::ArrayPtr<const kj::byte> get_bytes(capnp::Data::Reader chunk) {
  return chunk;
}
template <class CHUNK>
kj::ArrayPtr<const kj::byte> get_bytes(CHUNK chunk) {
  return capnp::AnyList::Reader(chunk).getRawBytes();
}

/// Puts a table in a message, by chunks that `init(count)` makes.
template <class T, class INIT>
void put(const KEP_TABLE<T>& table, std::size_t max_chunk_bytes, const INIT& init) {
  if (table.empty()) return;
  const std::size_t elements = std::min(max_chunk_bytes / sizeof(T), MAX_CHUNK_ELEMENTS);
  const std::size_t num_chunks = (table.size() + elements - 1) / elements;
  auto chunks = init(static_cast<unsigned>(num_chunks));
  for (std::size_t i = 0; i != num_chunks; ++i) {
    const auto values =
        std::span(table).subspan(i * elements, std::min(elements, table.size() - i * elements));
    auto chunk = chunks.init(static_cast<unsigned>(i), static_cast<unsigned>(values.size()));
    const auto bytes = get_bytes(chunk.asReader());
    if (bytes.size() != values.size_bytes())
      throw std::logic_error("a row of a table is no row of the schema");
    // The message is the writer's own; its lists of plain values have no other way in for many at a time.
    std::memcpy(const_cast<kj::byte*>(bytes.begin()), values.data(), bytes.size());
  }
}

/// The table of such chunks: in place where there is one, put together where there are more.
template <class T, class CHUNKS>
KEP_TABLE<T> get(CHUNKS chunks) {
  std::vector<T> joined;
  for (const auto& chunk : chunks) {
    const auto bytes = get_bytes(chunk);
    const std::size_t size = chunk.size();
    if (bytes.size() != size * sizeof(T)) throw ERROR("a table has rows of another size");
    const std::span<const T> values(reinterpret_cast<const T*>(bytes.begin()), size);
    if (chunks.size() == 1) return KEP_TABLE<T>::lend(values.data(), values.size());
    joined.insert(joined.end(), values.begin(), values.end());
  }
  return joined;
}

} // namespace KEP_MESSAGE_TABLES
