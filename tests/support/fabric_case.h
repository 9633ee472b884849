#pragma once

#include "tests/support/build_case.h"
#include "tests/support/random_fabric.h"
#include "tests/support/random_model.h"

#include <cstdint>
#include <string>

namespace test_model {

/// A random fabric with its description, not yet built.
class FABRIC_CASE : public BUILD_CASE {
public:
  explicit FABRIC_CASE(std::uint64_t seed) : FABRIC_CASE(RANDOM_FABRIC(seed)) {}
  explicit FABRIC_CASE(RANDOM_FABRIC fabric) : BUILD_CASE(fabric.freeze()), m_fabric(std::move(fabric)) {
    m_fabric.describe(*db(), parse());
  }

  const RANDOM_FABRIC& fabric() const { return m_fabric; }
  /// What a failing test shows.
  std::string text() const { return test_model::describe(*db()) + m_fabric.facts(); }

private:
  RANDOM_FABRIC m_fabric;
};

} // namespace test_model
