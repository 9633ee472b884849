// Runs a target over files, where no fuzzer drives it: those that are named, and all in the folders that are.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

std::vector<std::filesystem::path> find_files(const std::filesystem::path& path) {
  if (!std::filesystem::is_directory(path)) return {path};
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(path))
    files.push_back(entry.path());
  return files;
}

} // namespace

int main(int argc, char** argv) {
  std::size_t num_files = 0;
  for (int i = 1; i < argc; ++i)
    for (const std::filesystem::path& path : find_files(argv[i])) {
      std::ifstream in(path, std::ios::binary);
      const std::string text{std::istreambuf_iterator<char>(in), {}};
      if (!in) {
        std::cerr << path.string() << ": can't be read\n";
        return 2;
      }
      std::cerr << path.string() << std::endl; // the last one is at fault, if one is
      LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
      ++num_files;
    }
  std::cerr << num_files << " files\n";
  return num_files == 0 ? 2 : 0;
}
