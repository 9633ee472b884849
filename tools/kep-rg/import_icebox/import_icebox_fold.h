#pragma once

#include "kep_io/kep_model_writer.h"
#include "tools/kep-rg/import_icebox/import_icebox_read.h"

#include <cstdint>
#include <optional>
#include <vector>

/// Finds the tiles of a chip that can share one module.
///
/// Directions follow the drivers. A net is driven by its muxes, or by its pins where it has no mux. A local
/// wire is an output of its tile when it has drivers inside alone, bidirectional when it has some on either
/// side, an input otherwise; what drives another local wire of the same net is outside, in the same tile too.

struct ICEBOX_SHAPE_WIRE {
  std::uint32_t m_name; ///< in ICEBOX_CHIP::names
  std::optional<KEP_MODEL_DIRECTION>
      m_port;                ///< when the net leaves the wire: the direction of the tile's port
  KEP_MODEL_DIRECTION m_pin; ///< of the cell's pin, where the name is one
};

struct ICEBOX_SHAPE_MUX {
  ICEBOX_MUX_KIND m_kind;
  std::uint32_t m_ordinal;
  std::uint32_t m_output; ///< in ICEBOX_SHAPE::wires
  std::uint32_t m_first_input;
  std::uint32_t m_num_inputs;
};

/// What a tile is but for its place: wires and muxes in the file order of the first tile that has the shape.
struct ICEBOX_SHAPE {
  std::uint32_t m_kind;   ///< in ICEBOX_CHIP::kinds
  std::uint32_t m_number; ///< among the shapes of its kind, from 1
  std::vector<ICEBOX_SHAPE_WIRE> m_wires;
  std::vector<ICEBOX_SHAPE_MUX> m_muxes;
  std::vector<std::uint32_t> m_inputs; ///< wires, those of mux after mux
};

struct ICEBOX_FOLDED {
  std::vector<ICEBOX_SHAPE> m_shapes;         ///< in the order of the first tile of each
  std::vector<std::uint32_t> m_shape_of_tile; ///< in `shapes`
};

/// Two tiles get one shape exactly when they agree in kind, local wires, ports, pins and in every mux with
/// its inputs, whatever the order in which the file lists wires and muxes.
ICEBOX_FOLDED fold_icebox(const ICEBOX_CHIP& chip);

/// The positions in ICEBOX_CHIP::wires (or ::muxes) by tile, file order kept.
struct ICEBOX_BY_TILE {
  std::vector<std::uint32_t> m_first; ///< in `items`, by tile, with one more at the end
  std::vector<std::uint32_t> m_items;
};
ICEBOX_BY_TILE get_wires_by_tile(const ICEBOX_CHIP& chip);
