#pragma once

#include "kep_rg/kep_rg_relative_port.h"
#include "tests/support/build_access.h"
#include "tests/support/named_model.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace relative_port {

inline const KEP_VIEW_TYPE_RANK RANK(KEP_VIEW_TYPE::BLC, KEP_VIEW_TYPE::LOGICAL);

inline const char* const DEVICE = R"(
  module LEAF
    ports >p <q
  module MID
    ports >p <q =x
    inst x LEAF
    inst y LEAF
  module IP ip_root group=ip
    ports >p <q
    inst plain LEAF
  module IP_BLC view=BLC group=ip ip_root
    ports >p <q
    inst u LEAF
    inst m MID
  module TOP top
    ports >a >p <q"r
    inst a MID
    inst b MID
    inst l LEAF
    inst i IP
)";

/// Relative ports, read from texts or put together by hand.
class RelativePort : public testing::Test {
protected:
  KEP_RG_RELATIVE_PORT parsed(const std::string& text) const {
    KEP_RG_RELATIVE_PORT result;
    EXPECT_TRUE(result.parse(m_top, text, RANK, nullptr)) << text;
    return result;
  }
  bool fails(const std::string& text) const {
    KEP_RG_RELATIVE_PORT result;
    const bool found = result.parse(m_top, text, RANK, nullptr);
    EXPECT_EQ(result.get_port() != nullptr, found) << text;
    return !found;
  }
  KEP_RG_RELATIVE_PORT make(const std::vector<KEP_INSTANCE*>& chain, KEP_PORT* port = nullptr) const {
    return KEP_RG_TEST_ACCESS::relative_port(chain, port);
  }

  const NAMED_MODEL m_model{DEVICE};
  KEP_MODULE* const m_top = m_model.module("TOP");
  KEP_INSTANCE* const m_a = m_model.instance("TOP/a");
  KEP_INSTANCE* const m_b = m_model.instance("TOP/b");
  KEP_INSTANCE* const m_x = m_model.instance("MID/x");
  KEP_INSTANCE* const m_y = m_model.instance("MID/y");
  KEP_PORT* const m_leaf_p = m_model.port("LEAF:p");
  KEP_PORT* const m_leaf_q = m_model.port("LEAF:q");
};

} // namespace relative_port
