#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

struct XXH3_state_s;

/// XXH3, 64 bits, of bytes that come in pieces.
class KEP_CHECKSUM {
public:
  KEP_CHECKSUM();
  ~KEP_CHECKSUM();
  KEP_CHECKSUM(const KEP_CHECKSUM&) = delete;
  KEP_CHECKSUM& operator=(const KEP_CHECKSUM&) = delete;
  void add(std::span<const std::byte> bytes);
  std::uint64_t get() const;

  static std::uint64_t of(std::span<const std::byte> bytes);

private:
  XXH3_state_s* m_state;
};
