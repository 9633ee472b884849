#pragma once

#include <simdjson.h>

#include <cstdint>
#include <ostream>
#include <unordered_map>

/// Copies a model and gives each cell of certain masters a kep_inst_header; all else stays as it is, letter
/// by letter. The text must be a model that the reader took.
///
/// `num_cells` has the keys of the masters; what it counts is how many cells each of them has.
void copy_with_inst_headers(const simdjson::padded_string& text,
                            std::unordered_map<std::string_view, std::uint64_t>& num_cells,
                            std::ostream& out);
