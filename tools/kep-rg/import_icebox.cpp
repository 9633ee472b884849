#include "import_icebox.h"

#include "atomic_file.h"
#include "import_icebox_fold.h"
#include "import_icebox_read.h"
#include "import_icebox_write.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace {

namespace fs = std::filesystem;

std::string read_file(const std::string& path) {
  errno = 0;
  std::ifstream in(path, std::ios::binary);
  std::string text;
  if (in && !fs::is_directory(path)) {
    text.assign(std::istreambuf_iterator<char>(in), {});
    if (!in.bad()) return text;
  }
  throw std::runtime_error(
      fmt::format("{}: can't be read: {}", path, errno != 0 ? std::strerror(errno) : "not a readable file"));
}

} // namespace

void import_icebox(const std::string& chipdb, const std::string& model, const std::string& routing) {
  if (is_same_file(model, routing))
    throw std::runtime_error(fmt::format("{}: can't be both model and routing description", model));
  if (is_same_file(chipdb, model) || is_same_file(chipdb, routing))
    throw std::runtime_error(fmt::format("{}: can't be both input and output", chipdb));

  const std::string text = read_file(chipdb);
  const ICEBOX_CHIP chip = read_icebox(chipdb, text);
  ATOMIC_FILE model_file(model);
  ATOMIC_FILE routing_file(routing);
  write_icebox(chip, fold_icebox(chip), model_file.out(), routing_file.out());
  model_file.close();
  routing_file.close();
  model_file.commit();
  routing_file.commit();
}
