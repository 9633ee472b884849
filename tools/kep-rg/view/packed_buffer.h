#pragma once

#include <array>
#include <ostream>
#include <span>
#include <streambuf>
#include <zlib.h>

/// Packs what is written into it by gzip, and gives it on in base64, in one line.
/// Neither a name nor a time stands in it, so equal bytes give equal letters.
class PACKED_BUFFER : public std::streambuf {
public:
  /// The stream must outlive the object.
  explicit PACKED_BUFFER(std::ostream& out);
  PACKED_BUFFER(const PACKED_BUFFER&) = delete;
  PACKED_BUFFER& operator=(const PACKED_BUFFER&) = delete;
  ~PACKED_BUFFER() override;

  /// Gives on what still waits. Nothing may be written afterwards.
  void finish();

protected:
  int_type overflow(int_type byte) override;
  std::streamsize xsputn(const char* bytes, std::streamsize count) override;

private:
  void pack(std::span<const char> bytes, int flush);
  void give_on();

  std::ostream& m_out;
  z_stream m_stream{};
  std::array<unsigned char, std::size_t{3} << 14> m_packed; // in threes, as base64 takes them
};
