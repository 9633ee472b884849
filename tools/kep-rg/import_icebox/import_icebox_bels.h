#pragma once

#include "tools/kep-rg/import_icebox/import_icebox_fold.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// The cells of tiles (what local names with a "/" belong to) and the modules that they share.

/// A cell within a tile.
struct ICEBOX_BEL {
  std::string m_name; ///< what stands before the "/"
  std::uint32_t m_kind = 0;
  std::vector<std::pair<std::string, std::uint32_t>> m_pins = {}; ///< port and wire in ICEBOX_SHAPE::wires
};

struct ICEBOX_BEL_KIND {
  std::string m_key; ///< name of the module
  std::vector<std::pair<std::string, KEP_MODEL_DIRECTION>> m_ports;
};

/// Collects the kinds of cells of the shapes given to it: cells of one family with the same ports share one.
class ICEBOX_BELS {
public:
  explicit ICEBOX_BELS(const ICEBOX_CHIP& chip) : m_chip(chip) {}

  /// Takes in the kinds of the cells of a shape, and gives these cells, in the order of their first pins.
  std::vector<ICEBOX_BEL> add_bels(const ICEBOX_SHAPE& shape);

  const std::vector<ICEBOX_BEL_KIND>& get_kinds() const { return m_kinds; }

private:
  std::uint32_t find_kind(const ICEBOX_SHAPE& shape, const ICEBOX_BEL& bel);

  using PORTS = std::vector<std::pair<std::string, KEP_MODEL_DIRECTION>>;

  const ICEBOX_CHIP& m_chip;
  std::vector<ICEBOX_BEL_KIND> m_kinds;
  std::map<std::string, std::map<PORTS, std::uint32_t>> m_families; // kinds by family and sorted ports
};

/// A local name, or a part of one, as the model spells it: "/" as ".".
std::string get_icebox_model_name(std::string_view name);
