#pragma once

#include <cstddef>
#include <pybind11/pybind11.h>

/// Memory for large arrays. To touch pages for the first time takes as long as to fill them, so they are huge
/// ones where the system has such; and of what Python let go of, one block that isn't too large is kept for
/// the next call: whoever goes through a device piece by piece pays for its pages once.
class ARRAY_BLOCK {
public:
  explicit ARRAY_BLOCK(std::size_t num_bytes);
  ~ARRAY_BLOCK();
  ARRAY_BLOCK(const ARRAY_BLOCK&) = delete;
  ARRAY_BLOCK& operator=(const ARRAY_BLOCK&) = delete;

  /// A block of that many bytes or some more.
  static ARRAY_BLOCK* take(std::size_t num_bytes);
  static void give_back(ARRAY_BLOCK* block);

  void* get_bytes() const { return m_bytes; }

private:
  std::size_t m_num_bytes;
  void* m_bytes;
};

/// Gives the block back when the last array that refers to it goes.
inline pybind11::capsule own_block(ARRAY_BLOCK* block) {
  return {block, [](void* held) { ARRAY_BLOCK::give_back(static_cast<ARRAY_BLOCK*>(held)); }};
}
