#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

/// The whole content of a file, "" if there is none.
inline std::string read_file(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

inline std::vector<std::string> sorted_lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);)
    lines.push_back(line);
  std::sort(lines.begin(), lines.end());
  return lines;
}

/// A folder of its own for each test, which goes with it.
class Folder : public testing::Test {
protected:
  Folder() {
    std::string name = (std::filesystem::temp_directory_path() / "kep-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
    m_folder = name;
  }
  ~Folder() override {
    std::error_code ignored;
    std::filesystem::remove_all(m_folder, ignored);
  }

  std::string path(const std::string& name) const { return (m_folder / name).string(); }
  /// Gives the path.
  std::string write(const std::string& name, std::string_view text) const {
    std::ofstream(path(name), std::ios::binary) << text;
    return path(name);
  }
  std::string read(const std::string& name) const { return read_file(path(name)); }
  /// All files and folders in it, in no certain order.
  std::vector<std::string> files() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(m_folder))
      names.push_back(std::filesystem::relative(entry.path(), m_folder).string());
    return names;
  }

private:
  std::filesystem::path m_folder;
};
