// Bytes packed by gzip, in base64.

#include "tests/support/random_source.h"
#include "tests/tool/view/unpack.h"
#include "tools/kep-rg/view/packed_buffer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>

namespace packed_buffer_test {

/// Written in pieces of so many bytes.
std::string pack(const std::string& bytes, std::size_t piece) {
  std::ostringstream out;
  PACKED_BUFFER buffer(out);
  std::ostream packed(&buffer);
  for (std::size_t at = 0; at < bytes.size(); at += piece)
    packed << bytes.substr(at, piece);
  buffer.finish();
  EXPECT_TRUE(packed);
  return out.str();
}

TEST(PackedBuffer, GivesBackWhatWasWritten) {
  test_model::RANDOM_SOURCE random(1);
  // What can't be packed is as long as itself: so ends fall on all sides of those of threes and of blocks.
  for (const std::size_t size : {0, 1, 2, 3, 4, 5, 100, 49130, 49131, 49132, 49133, 49134, 49135, 200000}) {
    std::string bytes(size, ' ');
    for (char& byte : bytes)
      byte = static_cast<char>(random.below(256));
    EXPECT_TRUE(test_tool::unpack(pack(bytes, 200000)) == bytes) << size;
    EXPECT_TRUE(test_tool::unpack(pack(bytes, 7)) == bytes) << size;
  }
}

TEST(PackedBuffer, TakesSingleBytesAndPacksThem) {
  std::ostringstream out;
  PACKED_BUFFER buffer(out);
  std::ostream packed(&buffer);
  for (int i = 0; i != 100000; ++i)
    packed.put('x');
  buffer.finish();
  EXPECT_LT(out.str().size(), 500U);
  EXPECT_EQ(test_tool::unpack(out.str()), std::string(100000, 'x'));
}

TEST(PackedBuffer, HasNeitherATimeNorAName) {
  const std::string bytes = test_tool::decode_base64(pack("abc", 3));
  ASSERT_GE(bytes.size(), 10U);
  EXPECT_EQ(bytes.substr(0, 4), std::string("\x1f\x8b\x08\x00", 4)); // no name, no comment
  EXPECT_EQ(bytes.substr(4, 4), std::string(4, '\0'));               // no time
}

/// Takes nothing.
class FULL_BUFFER : public std::streambuf {
protected:
  int_type overflow(int_type) override { throw std::runtime_error("full"); }
};

TEST(PackedBuffer, LetsFailuresOfItsStreamThrough) {
  FULL_BUFFER full;
  std::ostream out(&full);
  out.exceptions(std::ios::badbit);
  PACKED_BUFFER buffer(out);
  std::ostream packed(&buffer);
  packed << "abc";
  EXPECT_THROW(buffer.finish(), std::runtime_error);
}

} // namespace packed_buffer_test
