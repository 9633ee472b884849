#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <zlib.h>

/// The way back from what a page holds.
namespace test_tool {

inline std::string decode_base64(std::string_view letters) {
  const std::string_view all = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  EXPECT_EQ(letters.size() % 4, 0U);
  std::string bytes;
  unsigned bits = 0;
  unsigned num_bits = 0;
  for (const char letter : letters) {
    if (letter == '=') break;
    const std::size_t value = all.find(letter);
    EXPECT_NE(value, std::string_view::npos) << letter;
    bits = (bits << 6 | static_cast<unsigned>(value)) & 0xffffffU;
    num_bits += 6;
    if (num_bits < 8) continue;
    num_bits -= 8;
    bytes += static_cast<char>(bits >> num_bits & 255U);
  }
  return bytes;
}

/// Of one file of gzip, without a byte behind it.
inline std::string unpack(std::string_view letters) {
  std::string packed = decode_base64(letters);
  z_stream stream{};
  EXPECT_EQ(inflateInit2(&stream, 15 + 16), Z_OK);
  stream.next_in = reinterpret_cast<Bytef*>(packed.data());
  stream.avail_in = static_cast<unsigned>(packed.size());
  std::string bytes;
  int result = Z_OK;
  while (result == Z_OK) {
    char buffer[1 << 14];
    stream.next_out = reinterpret_cast<Bytef*>(buffer);
    stream.avail_out = sizeof buffer;
    result = inflate(&stream, Z_NO_FLUSH);
    bytes.append(buffer, sizeof buffer - stream.avail_out);
  }
  EXPECT_EQ(result, Z_STREAM_END);
  EXPECT_EQ(stream.avail_in, 0U);
  inflateEnd(&stream);
  return bytes;
}

} // namespace test_tool
