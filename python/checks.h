#pragma once

#include "python/nodes.h"
#include "python/number.h"
#include "python/text.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// A finding as Python holds it.
struct DEVICE_FINDING {
  TEXT m_id;
  TEXT m_subject;
  TEXT m_text;
  std::optional<DEVICE_NODE> m_node;
  std::optional<DEVICE_NODE> m_target;
  std::optional<TEXT> m_mux_input;
};

/// What a check found: how many of each kind, and the first ones.
struct CHECK_REPORT {
  std::vector<std::pair<std::string, std::uint64_t>> m_counts; ///< by id, in the order of the kinds
  std::vector<DEVICE_FINDING> m_findings;
};

CHECK_REPORT check_device(DEVICE& device, bool with_traces, const NUMBER& max_findings,
                          const std::optional<NUMBER>& threads);

void bind_checks(pybind11::module_& module);
