#pragma once

#include <string>
#include <string_view>

/// Goes over a JSON text by its brackets, quotes and separators alone, much faster than a parser: to find
/// where parts of it begin and end. In a text that is JSON it is right everywhere. Another text may be
/// refused with KEP_IO_ERROR, or parts come out that are no JSON: who uses it has a parser read all parts,
/// and tells where the fault is.
class KEP_JSON_CURSOR {
public:
  /// The text must end with a NUL, which is no part of it.
  explicit KEP_JSON_CURSOR(const char* text) : m_at(text) {}

  const char* get_place() const { return m_at; }
  /// The value here is an object. Goes to its beginning.
  bool is_at_object();
  /// Calls use(key) for each member of the object here, with the key as it stands in the text, in quotes. The
  /// cursor is at the value then, and `use` goes over it. Ends behind the object.
  template <class USE>
  void for_each_member(USE use) {
    if (is_empty_object()) return;
    do
      use(pass_key());
    while (has_next_member());
  }
  /// Goes over the value here, which is neither looked into nor checked.
  void pass_value();

private:
  bool is_empty_object();
  std::string_view pass_key();
  bool has_next_member();
  void skip_space();
  void pass_string();
  void pass_container();
  /// Goes over the one character.
  void pass(char expected);

  const char* m_at;
};

/// A key that a cursor gives, without its quotes and escapes; as it stands in the text if it is no JSON.
std::string kep_read_json_key(std::string_view quoted);
