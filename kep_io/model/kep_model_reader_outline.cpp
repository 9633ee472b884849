#include "kep_io/model/kep_model_reader_outline.h"

#include "kep_io/text/kep_json_cursor.h"

namespace {

/// Of this size a piece and what comes of it stay in a core's cache.
constexpr std::size_t PIECE_BYTES = 1 << 16;

class CUTTER {
public:
  CUTTER(const simdjson::padded_string& text, KEP_MODEL_OUTLINE& outline)
      : m_outline(outline), m_cursor(text.data()), m_kept(text.data()), m_end(text.data() + text.size()) {}

  void cut() {
    if (m_cursor.is_at_object())
      m_cursor.for_each_member([this](std::string_view key) {
        if (kep_read_json_key(key) == "modules" && m_cursor.is_at_object())
          m_cursor.for_each_member([this](std::string_view) { cut_module(); });
        else
          m_cursor.pass_value();
      });
    keep_up_to(m_end);
    m_outline.m_rest.reserve(m_outline.m_rest.size() + simdjson::SIMDJSON_PADDING);
  }

private:
  struct LIST {
    const char* m_text = nullptr;
    std::vector<std::string_view> m_pieces;
  };

  /// The rest has what stands before that place and was not kept or cut out yet.
  void keep_up_to(const char* place) {
    m_outline.m_rest.append(m_kept, place);
    m_kept = place;
  }

  void cut_module() {
    if (!m_cursor.is_at_object()) return m_cursor.pass_value();
    LIST cells;
    LIST nets;
    m_cursor.for_each_member([&](std::string_view quoted) {
      const std::string key = kep_read_json_key(quoted);
      if (key == "cells" || key == "netnames")
        cut_list(key == "cells" ? cells : nets);
      else
        m_cursor.pass_value();
    });
    add_pieces(KEP_MODEL_LIST::CELLS, cells);
    add_pieces(KEP_MODEL_LIST::NETNAMES, nets);
    ++m_num_modules;
  }

  void cut_list(LIST& list) {
    if (!m_cursor.is_at_object()) return m_cursor.pass_value();
    list.m_text = m_cursor.get_place();
    keep_up_to(list.m_text + 1);
    const char* begin = nullptr; // of a piece
    const auto end_piece = [&](const char* end) {
      list.m_pieces.emplace_back(begin, static_cast<std::size_t>(end - begin));
      begin = nullptr;
    };
    const char* end = nullptr;
    m_cursor.for_each_member([&](std::string_view key) {
      if (!begin) begin = key.data();
      m_cursor.pass_value();
      end = m_cursor.get_place();
      if (static_cast<std::size_t>(end - begin) >= PIECE_BYTES) end_piece(end);
    });
    if (begin) end_piece(end);
    m_kept = m_cursor.get_place() - 1;
  }

  void add_pieces(KEP_MODEL_LIST kind, LIST& list) {
    if (list.m_pieces.empty()) list.m_pieces.emplace_back();
    const std::size_t last = list.m_pieces.size() - 1;
    for (std::size_t i = 0; i <= last; ++i)
      m_outline.m_pieces.push_back({m_num_modules, kind, i == 0, i == last, list.m_pieces[i], list.m_text});
  }

  KEP_MODEL_OUTLINE& m_outline;
  KEP_JSON_CURSOR m_cursor;
  const char* m_kept;
  const char* m_end;
  std::size_t m_num_modules = 0;
};

} // namespace

KEP_MODEL_OUTLINE kep_cut_model(const simdjson::padded_string& text) {
  KEP_MODEL_OUTLINE outline;
  CUTTER(text, outline).cut();
  return outline;
}
