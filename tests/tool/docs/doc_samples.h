#pragma once

#include <cstddef>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

/// A line "    $ COMMAND" of a document and the indented lines below it.
struct SAMPLE {
  std::string m_folder; ///< where the last "$ cd FOLDER" led to
  std::string m_command;
  std::string m_output;
};

inline std::vector<SAMPLE> read_samples(const std::string& document) {
  std::ifstream in(KEP_TEST_DATA_DIR "/../../" + document);
  const std::string indent = "    ";
  std::vector<SAMPLE> samples;
  std::string folder;
  bool is_open = false; // lines belong to the last sample
  std::string blank_lines;
  for (std::string line; std::getline(in, line);) {
    if (line.starts_with(indent + "$ cd ")) {
      folder = line.substr(indent.size() + 5);
      is_open = false;
    } else if (line.starts_with(indent + "$ ")) {
      samples.push_back({folder, line.substr(indent.size() + 2), ""});
      is_open = true;
      blank_lines.clear();
    } else if (is_open && line.empty()) {
      blank_lines += "\n";
    } else if (is_open && line.starts_with(indent)) {
      samples.back().m_output += blank_lines + line.substr(indent.size()) + "\n";
      blank_lines.clear();
    } else {
      is_open = false;
    }
  }
  return samples;
}

/// What was printed is what the document shows, in which "..." stands for any text of one line.
inline bool is_shown(std::string_view printed, std::string_view shown) {
  const std::string_view any = "...";
  const std::size_t gap = shown.find(any);
  if (gap == std::string_view::npos) return printed == shown;
  if (!printed.starts_with(shown.substr(0, gap))) return false;
  printed.remove_prefix(gap);
  shown.remove_prefix(gap + any.size());
  for (std::size_t skipped = 0; skipped <= printed.size(); ++skipped) {
    if (is_shown(printed.substr(skipped), shown)) return true;
    if (skipped < printed.size() && printed[skipped] == '\n') return false;
  }
  return false;
}
