#pragma once

#include "kep/kep_db_builder.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <pybind11/pybind11.h>
#include <string>
#include <unordered_map>
#include <vector>

/// A device that is described call by call, until a build takes it. It knows of what it was given as much as
/// it needs to refuse a wrong call; all else is checked by the build.
class MODEL {
public:
  /// ARGUMENT_FAILURE when a build has taken the model.
  KEP_DB_BUILDER& get_builder();
  /// Its contents, which it then has no more.
  KEP_DB_BUILDER take();

private:
  std::optional<KEP_DB_BUILDER> m_builder{std::in_place};
};
using MODEL_PTR = std::shared_ptr<MODEL>;

void bind_model(pybind11::module_& module);
