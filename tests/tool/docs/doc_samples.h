#pragma once

#include <fstream>
#include <string>
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
