#include "kep_io/text/kep_view_name.h"

#include <array>
#include <cstddef>

namespace {

constexpr std::array<const char*, KEP_NUM_MODULE_VIEWS> VIEW_NAMES{"LOGICAL", "VIEW_1", "BLC",
                                                                   "LOGICAL_TWIN"};

} // namespace

const char* kep_get_view_name(KEP_VIEW_TYPE view) {
  return VIEW_NAMES.at(static_cast<std::size_t>(view));
}

std::optional<KEP_VIEW_TYPE> kep_find_view(std::string_view name) {
  for (std::size_t i = 0; i != VIEW_NAMES.size(); ++i)
    if (name == VIEW_NAMES[i]) return static_cast<KEP_VIEW_TYPE>(i);
  return std::nullopt;
}
