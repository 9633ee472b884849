// Database files that were cut or changed.

#include "kep_io/database/kep_database_layout.h"
#include "tests/support/build_case.h"
#include "tests/support/database_bytes.h"
#include "tests/support/graph_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace damage_test {

using test_model::open_bytes;
using testing::HasSubstr;

/// Why the bytes are refused, "" if they are not.
std::string refusal(const std::string& bytes,
                    KEP_DATABASE_CHECKSUMS checksums = KEP_DATABASE_CHECKSUMS::TEST) {
  try {
    open_bytes(bytes, checksums);
  } catch (const KEP_IO_ERROR& error) {
    return error.what();
  }
  return "";
}

class DamagedDatabase : public testing::Test {
protected:
  DamagedDatabase()
      : m_case(R"(
      module MUX
        ports >a >b <o
      module TILE
        ports >i <j
        inst m MUX header
        inst k MUX header
        net i i m.a
        net n m.o k.a
        net j k.o j m.b
      module TOP top
        inst t TILE
        inst u TILE
        net x t.j u.i
        net y u.j t.i
    )") {
    m_case.arcs("MUX", {"a", "b"}, "o");
    m_case.insert("MUX:b");
    m_case.build();
    m_bytes = test_model::bytes_of(*m_case.db());
  }

  std::string flip(std::size_t bit) const {
    std::string bytes = m_bytes;
    bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ 1 << bit % 8);
    return bytes;
  }

  BUILD_CASE m_case;
  std::string m_bytes;
};

TEST_F(DamagedDatabase, IsRefusedWhereverItWasCut) {
  ASSERT_EQ(refusal(m_bytes), "");
  for (std::size_t size = 0; size != m_bytes.size(); ++size)
    EXPECT_NE(refusal(m_bytes.substr(0, size)), "") << size;
  EXPECT_THAT(refusal(m_bytes.substr(0, m_bytes.size() - 1)), HasSubstr("the file was cut: "));
  EXPECT_THAT(refusal(m_bytes + "x"), HasSubstr("the file was made longer: "));
}

TEST_F(DamagedDatabase, IsRefusedWhicheverBitIsChanged) {
  for (std::size_t bit = 0; bit != m_bytes.size() * 8; ++bit)
    ASSERT_NE(refusal(flip(bit)), "") << "bit " << bit % 8 << " of byte " << bit / 8;
}

TEST_F(DamagedDatabase, IsRefusedOrReadToItsEndWhereChecksumsAreSkipped) {
  unsigned num_refused = 0;
  unsigned num_read = 0;
  std::uint32_t header_bytes = 0;
  std::memcpy(&header_bytes, m_bytes.data() + 12, sizeof(header_bytes));
  const std::size_t first = sizeof(KEP_DATABASE_PREFIX) + header_bytes; // what comes before is always tested
  for (std::size_t bit = first * 8; bit != m_bytes.size() * 8; ++bit)
    try {
      const auto db = open_bytes(flip(bit), KEP_DATABASE_CHECKSUMS::SKIP);
      ++num_read;
      if (bit % 5 == 0) {
        EXPECT_LE(test_model::whole_graph(*db).size(), 10000U);
      }
    } catch (const KEP_IO_ERROR&) {
      ++num_refused;
    }
  EXPECT_GT(num_refused, 5000U);
  EXPECT_GT(num_read, 500U) << "a name, or a mark, may well be another one";
}

TEST_F(DamagedDatabase, NamesTheVersionsWhereItIsOfAnother) {
  std::string bytes = m_bytes;
  bytes[8] = 9;
  EXPECT_THAT(refusal(bytes), HasSubstr("is a device database of version 9, and only version 1 can be read"));
}

TEST_F(DamagedDatabase, NamesTheSectionWhoseChecksumIsWrong) {
  std::string bytes = m_bytes;
  bytes.back() = static_cast<char>(bytes.back() ^ 1);
  EXPECT_THAT(refusal(bytes), HasSubstr("graph: the section is damaged: the checksum is wrong"));
}

TEST_F(DamagedDatabase, IsNoDatabaseWhereItIsSomethingElse) {
  for (const char* text : {"{\"modules\": {}}", "x", "\xCBKDC\r\n\x1A\n"})
    EXPECT_THAT(refusal(text), HasSubstr("is no device database")) << text;
}

} // namespace damage_test
