#pragma once

#include "kep_rg/kep_rg_relative_port.h"
#include "tests/support/named_model.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

/// A device of four levels, and relative ports and groups of them made from texts.
namespace relative_ports {

inline const KEP_VIEW_TYPE_RANK RANK(KEP_VIEW_TYPE::BLC, KEP_VIEW_TYPE::LOGICAL);

inline const char* const DEVICE = R"(
  module C
    ports >x >y <z
  module B
    ports >x >y <z
    inst c C
    inst d C
  module A
    ports >x >y <z
    inst b B
    inst e B
  module TOP top
    ports >x >y <z
    inst a A
    inst f A
)";

std::vector<std::string> names_of(const auto& range) {
  std::vector<std::string> names;
  for (const KEP_RG_RELATIVE_PORT* each : range)
    names.push_back(each->get_name());
  return names;
}

class RelativePortsFixture : public testing::Test {
protected:
  KEP_RG_RELATIVE_PORT port(const std::string& text, const char* top = "TOP") const {
    KEP_RG_RELATIVE_PORT result;
    EXPECT_TRUE(result.parse(m_model.module(top), text, RANK, nullptr)) << text;
    return result;
  }
  KEP_RG_MODULE_RELATIVE_PORTS group(const std::vector<std::string>& texts, const char* top = "TOP") const {
    KEP_RG_MODULE_RELATIVE_PORTS result;
    for (const std::string& text : texts) {
      const KEP_RG_RELATIVE_PORT each = port(text, top);
      result.add(&each);
    }
    return result;
  }
  static std::vector<std::string> names(const KEP_RG_MODULE_RELATIVE_PORTS& group) {
    return names_of(group.iter_relative_ports());
  }

  const NAMED_MODEL m_model{DEVICE};
  const KEP_RG_RELATIVE_PORT m_nothing{};
};

} // namespace relative_ports
