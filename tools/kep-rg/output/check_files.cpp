#include "tools/kep-rg/output/check_files.h"

#include "kep_io/files/kep_atomic_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const std::string STREAM = KEP_ATOMIC_FILE::STANDARD_OUTPUT; // and standard input

/// The file is the one that standard output goes to; what was printed would be lost with the old one.
bool is_standard_output(const std::string& path) {
  struct stat file {};
  struct stat output {};
  return ::stat(path.c_str(), &file) == 0 && ::fstat(STDOUT_FILENO, &output) == 0 &&
         file.st_dev == output.st_dev && file.st_ino == output.st_ino;
}

std::filesystem::path get_folder(const std::string& path) {
  return kep_get_canonical_path(path).parent_path();
}

[[noreturn]] void refuse(const std::string& path, const char* reason) {
  throw std::runtime_error(fmt::format("{}: can't be written: {}", path, reason));
}

void check_streams(const std::vector<std::string>& inputs, const std::vector<std::string>& outputs) {
  if (std::count(inputs.begin(), inputs.end(), STREAM) > 1)
    throw std::runtime_error("standard input: can't be read twice: more than one input is \"-\"");
  if (std::count(outputs.begin(), outputs.end(), STREAM) > 1)
    throw std::runtime_error("standard output: can't be written twice: more than one output is \"-\"");
}

} // namespace

void check_files(const std::vector<std::string>& inputs, const std::vector<std::string>& outputs,
                 const std::string& made_folder) {
  check_streams(inputs, outputs);
  std::set<std::filesystem::path> read;
  for (const std::string& path : inputs)
    if (path != STREAM) read.insert(kep_get_canonical_path(path));
  std::set<std::filesystem::path> written;
  for (const std::string& path : outputs) {
    if (path.empty()) continue;
    if (path != STREAM) {
      const std::filesystem::path target = kep_get_canonical_path(path);
      if (is_standard_output(path)) refuse(path, "it is where standard output goes");
      if (read.contains(target)) refuse(path, "it is an input of this run");
      if (!written.insert(target).second) refuse(path, "it is another output of this run");
    }
    const KEP_ATOMIC_FILE attempt(path, !made_folder.empty() &&
                                            get_folder(path) == get_folder(made_folder + "/file"));
  }
}
