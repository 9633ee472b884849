#pragma once

#include "tests/support/graph_fixture.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>

namespace test_model {

/// Two like tiles of two muxes each, below a top with two ports.
inline const char* const TWO_TILES_TEXT = R"(
  module MUX
    ports >a >b <z
  module TILE
    ports >in <out
    inst m MUX
    inst k MUX
  module TOP top type=1
    ports >p <q
    inst t TILE
    inst u TILE
)";

/// A fixture of that device. One suite may stand in several files, under one name for this class.
class TwoTiles : public testing::Test {
protected:
  std::uint32_t occurrence_of(const char* name) const {
    return static_cast<std::uint32_t>(uip(*m_db, name).m_position);
  }

  const std::unique_ptr<KEP_DB> m_db = make_db(TWO_TILES_TEXT);
  KEP_PORT* const m_p = port(*m_db, "TOP", "p");
  KEP_PORT* const m_q = port(*m_db, "TOP", "q");
};

} // namespace test_model
