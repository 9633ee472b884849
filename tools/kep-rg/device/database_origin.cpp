#include "tools/kep-rg/device/database_origin.h"

#include "kep_io/kep_io_error.h"

#include <algorithm>
#include <string>
#include <sys/stat.h>
#include <utility>

namespace {

KEP_DATABASE_INPUT describe(const char* role, const std::string& path) {
  struct stat status {};
  if (path != "-" && ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode))
    return kep_describe_input(role, path);
  KEP_DATABASE_INPUT input;
  input.m_role = role;
  input.m_name = path == "-" ? kep_get_file_name(path) : path.substr(path.rfind('/') + 1);
  return input;
}

} // namespace

std::vector<KEP_DATABASE_INPUT> describe_inputs(const DEVICE_OPTIONS& options) {
  std::vector<KEP_DATABASE_INPUT> inputs;
  inputs.reserve(1 + options.m_routing.size() + options.m_redundancy.size());
  inputs.push_back(describe("model", options.m_model));
  for (const std::string& path : options.m_routing)
    inputs.push_back(describe("routing", path));
  for (const std::string& path : options.m_redundancy)
    inputs.push_back(describe(REDUNDANCY_ROLE, path));
  return inputs;
}

bool has_checksum(const KEP_DATABASE_INPUT& input) {
  return input.m_num_bytes != 0 || input.m_checksum != 0;
}

KEP_DATABASE_ORIGIN get_origin(const BUILD_STATS& stats, std::vector<KEP_DATABASE_INPUT> inputs,
                               bool stores_wire_paths) {
  KEP_DATABASE_ORIGIN origin;
  if (stats.m_origin) {
    origin = *stats.m_origin;
  } else {
    origin.m_made_by = "kep-rg " KEP_RG_VERSION;
    origin.m_inputs = std::move(inputs);
    origin.m_counters = get_device_counters(stats);
  }
  const std::pair<std::string, std::string> wire_paths("wire_paths", "stored");
  auto& known = origin.m_options;
  if (stores_wire_paths && std::find(known.begin(), known.end(), wire_paths) == known.end())
    known.push_back(wire_paths);
  return origin;
}
