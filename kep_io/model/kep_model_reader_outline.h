#pragma once

#include <simdjson.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

enum class KEP_MODEL_LIST : unsigned char { CELLS, NETNAMES };

/// Some neighbours of the cells or of the nets of a module, as they stand in the file.
struct KEP_MODEL_PIECE_TEXT {
  std::size_t m_module; // its place in the file
  KEP_MODEL_LIST m_list;
  bool m_is_first;
  bool m_is_last;
  std::string_view
      m_members; // with the separators between them; empty for an empty list, or where there is none
  const char* m_list_text; // where the list begins in the file; null where there is none
};

/// The text of a model in parts: the cells and nets of modules in pieces, which can be parsed side by side,
/// and all the rest as a text of its own, in which these lists are empty.
struct KEP_MODEL_OUTLINE {
  std::string m_rest; // with room behind it for the parser
  /// Two or more for each module in the order of the file: those of its cells, then those of its nets.
  std::vector<KEP_MODEL_PIECE_TEXT> m_pieces;
};

/// The outline refers to the text. A text that is no JSON may be refused with KEP_IO_ERROR; if it is not,
/// then the rest or one of the pieces, in braces, is no JSON either.
KEP_MODEL_OUTLINE kep_cut_model(const simdjson::padded_string& text);
