#pragma once

#include "kep_io/kep_model_writer.h"

#include <cstdint>
#include <functional>
#include <string>

/// A device that is ready to be written. It holds the options that it was made with.
struct GENERATE_RESULT {
  std::function<void(KEP_MODEL_WRITER&)> m_write_model;
  std::string m_routing;         ///< the text of the routing description
  std::string m_redundancy = {}; ///< and that of the redundancy data
  std::string m_text;            ///< what was made, in options and words
  std::uint64_t m_nodes = 0;
};
