#pragma once

#include "kep/kep_db.h"
#include "kep_io/text/kep_json_value.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// What may have attributes.
enum class KEP_MODEL_OBJECT : unsigned { MODULE, CELL, NET_OF_PORT, OTHER_NET };

/// An attribute whose name begins with kep_ and is none of those that count where it stands.
struct KEP_MODEL_ODD_ATTRIBUTE {
  KEP_MODEL_OBJECT m_object;
  std::string m_name;
  std::string m_path;
};
using KEP_MODEL_ODD_ATTRIBUTES = std::vector<KEP_MODEL_ODD_ATTRIBUTE>;

/// Appends an attribute of an object at a place if it is odd.
void kep_check_attribute(KEP_MODEL_OBJECT object, std::string_view name, const KEP_JSON_PLACE& place,
                         KEP_MODEL_ODD_ATTRIBUTES& odd);

/// Gathers what is odd about a model that is taken all the same. A file may hold the same oddity a million
/// times: each is told once, with its first place and how many more there are.
class KEP_MODEL_WARNINGS {
public:
  void add(const KEP_MODEL_ODD_ATTRIBUTES& attributes);
  /// An attribute of a module that counts on the top module alone.
  void add_top_attribute(std::string_view module_key, const KEP_JSON_PLACE& place);
  /// A name of a cell or net at a place that was changed.
  void add_changed_name(const KEP_JSON_PLACE& place);

  /// All of them, a line each. `db` is the model that came of the file `file`.
  std::vector<std::string> get_lines(const KEP_DB& db, const std::string& file) const;

private:
  struct ODDITY {
    KEP_MODEL_ODD_ATTRIBUTE m_first;
    std::size_t m_num_more = 0;
  };
  struct TOP_ATTRIBUTE {
    std::string m_module_key;
    std::string m_path;
  };

  void add(const KEP_MODEL_ODD_ATTRIBUTE& attribute);
  void add_misplaced_top_attributes(const KEP_DB& db, const std::string& file,
                                    std::vector<std::string>& lines) const;

  std::size_t m_num_changed_names = 0;
  std::string m_first_changed_name;
  std::vector<ODDITY> m_attributes; // a few, in the order of the file
  std::size_t m_num_untold_attributes = 0;
  std::vector<TOP_ATTRIBUTE> m_top_attributes;
};
