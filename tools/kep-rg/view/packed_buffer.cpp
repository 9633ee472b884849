#include "tools/kep-rg/view/packed_buffer.h"

#include "kep_report/kep_report_assert.h"

#include <algorithm>
#include <new>
#include <string>

namespace {

// The best level takes five times as long, and makes real devices a hundredth smaller and fabrics no smaller
// at all.
constexpr int LEVEL = 6;
constexpr int GZIP = 16; // added to the size of the window
constexpr int WINDOW_BITS = 15;
constexpr int MEMORY_LEVEL = 9;

std::string to_base64(std::span<const unsigned char> bytes) {
  constexpr const char* LETTERS = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const auto get = [&](std::size_t j) { return j < bytes.size() ? unsigned{bytes[j]} : 0U; };
    const unsigned three = get(i) << 16 | get(i + 1) << 8 | get(i + 2);
    text += LETTERS[three >> 18];
    text += LETTERS[three >> 12 & 63];
    text += i + 1 < bytes.size() ? LETTERS[three >> 6 & 63] : '=';
    text += i + 2 < bytes.size() ? LETTERS[three & 63] : '=';
  }
  return text;
}

} // namespace

PACKED_BUFFER::PACKED_BUFFER(std::ostream& out) : m_out(out) {
  if (deflateInit2(&m_stream, LEVEL, Z_DEFLATED, WINDOW_BITS + GZIP, MEMORY_LEVEL, Z_DEFAULT_STRATEGY) !=
      Z_OK)
    throw std::bad_alloc();
  m_stream.next_out = m_packed.data();
  m_stream.avail_out = static_cast<unsigned>(m_packed.size());
}

PACKED_BUFFER::~PACKED_BUFFER() {
  deflateEnd(&m_stream);
}

void PACKED_BUFFER::finish() {
  pack({}, Z_FINISH);
  give_on();
}

PACKED_BUFFER::int_type PACKED_BUFFER::overflow(int_type byte) {
  if (traits_type::eq_int_type(byte, traits_type::eof())) return traits_type::not_eof(byte);
  const char one = traits_type::to_char_type(byte);
  pack({&one, 1}, Z_NO_FLUSH);
  return byte;
}

std::streamsize PACKED_BUFFER::xsputn(const char* bytes, std::streamsize count) {
  constexpr std::streamsize MAX_AT_ONCE = 1 << 30; // zlib counts in 32 bits
  for (std::streamsize done = 0; done != count;) {
    const std::streamsize now = std::min(count - done, MAX_AT_ONCE);
    pack({bytes + done, static_cast<std::size_t>(now)}, Z_NO_FLUSH);
    done += now;
  }
  return count;
}

/// Up to the end of the bytes; with Z_FINISH, of the packed ones.
void PACKED_BUFFER::pack(std::span<const char> bytes, int flush) {
  m_stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data())); // zlib only reads there
  m_stream.avail_in = static_cast<unsigned>(bytes.size());
  for (;;) {
    const int result = deflate(&m_stream, flush);
    KEP_ASSERT(result != Z_STREAM_ERROR);
    if (m_stream.avail_out != 0) return;
    give_on();
  }
}

void PACKED_BUFFER::give_on() {
  m_out << to_base64({m_packed.data(), m_packed.size() - m_stream.avail_out});
  m_stream.next_out = m_packed.data();
  m_stream.avail_out = static_cast<unsigned>(m_packed.size());
}
