#pragma once

#include "kep_report/kep_report_capture.h"
#include "kep_rg/kep_rg_parse_redundancy.h"
#include "tests/support/named_model.h"

#include <string>
#include <string_view>
#include <vector>

/// A device to read redundancy data for, and what tests of its parser have in common.
namespace parse_redundancy {

inline const KEP_VIEW_TYPE_RANK RANK(KEP_VIEW_TYPE::BLC, KEP_VIEW_TYPE::LOGICAL);

inline const char* const DEVICE = R"(
  module C
    ports >x <z
  module TILE
    ports >x <z
    inst c C
    inst d C
  module TILE_BLC view=BLC name=TILE
    ports >blc
  module TWICE name=SAME
    ports >first
  module AGAIN name=SAME
    ports >second
  module IP ip_root group=ip
    ports >x
    inst plain C
  module IP_BLC view=BLC group=ip ip_root
    ports >x
    inst u C
  module TOP top
    ports >x
    inst t TILE
    inst i IP
)";

/// A parser whose report of its threads is not shown.
inline KEP_RG_PARSE_REDUNDANCY quiet_parser(KEP_DB* db, int threads = 1,
                                            KEP_VIEW_TYPE view = KEP_VIEW_TYPE::LOGICAL) {
  KEP_REPORT_CAPTURE capture;
  return {db, static_cast<int>(view), RANK, threads};
}

inline std::vector<std::string> names(const KEP_RG_MODULE_RELATIVE_PORTS& ports) {
  std::vector<std::string> result;
  for (const KEP_RG_RELATIVE_PORT* each : ports.iter_relative_ports())
    result.push_back(each->get_name());
  return result;
}

/// The tokens of a text, found byte by byte.
inline std::vector<std::string> naive_tokens(std::string_view text) {
  std::vector<std::string> tokens(1);
  for (const char each : text)
    if (std::string_view(" \t\n\"").find(each) != std::string_view::npos)
      tokens.emplace_back();
    else
      tokens.back() += each;
  std::erase(tokens, "");
  return tokens;
}

} // namespace parse_redundancy
