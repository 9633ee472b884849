#pragma once

#include "kep_io/kep_model_writer.h"
#include "tools/kep-rg/generate/generate_description.h"

#include <compare>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

/// Bits below this one are left to the constants, as is the custom of this netlist form.
inline constexpr std::int64_t GENERATE_FIRST_BIT = 2;

/// The name of one bit of a port: a port of one bit keeps its name.
std::string generate_bit_name(const std::string& port, std::size_t width, std::size_t index);

/// `width` bits from `first` on.
std::vector<std::int64_t> generate_bits(std::int64_t first, std::size_t width);

/// What tells mux modules apart. The redundant inputs repeat other inputs; of a hipi mux the first half of
/// the inputs and the redundant ones are of its hipi type.
struct GENERATE_MUX_KIND {
  std::uint32_t m_inputs;
  std::uint32_t m_redundant = 0;
  std::uint32_t m_hipi = 0;

  auto operator<=>(const GENERATE_MUX_KIND&) const = default;

  std::string get_key() const;
  std::uint32_t get_hipi_inputs() const { return (m_inputs + 1) / 2; }
};

/// The instances of muxes that a fabric needs, and from them the mux modules.
class GENERATE_MUXES {
public:
  /// A mux over `sources`. `redundant` of its inputs stand twice, beginning at `rotation`; they are the bits
  /// of port "r".
  KEP_MODEL_CELL make_cell(const std::string& name, const std::vector<std::int64_t>& sources,
                           std::uint32_t redundant, std::uint32_t rotation, std::uint32_t hipi,
                           std::int64_t output);

  /// The module of every kind that a cell was made of.
  void add_modules(std::vector<KEP_MODEL_MODULE>& modules, GENERATE_DESCRIPTION& description) const;

private:
  std::set<GENERATE_MUX_KIND> m_kinds;
};

/// How many inputs of mux `number` stand twice, all muxes having so many inputs: `percent` of all inputs,
/// those that stand twice counted again.
std::uint32_t generate_redundant_inputs(std::uint32_t percent, std::uint32_t inputs, std::uint32_t number);

/// An instance with a header: the outputs of its master are routing nodes without a wire type.
KEP_MODEL_CELL generate_primitive_cell(const std::string& name, const std::string& master);

/// A module of the input port "i" of so many bits and the output port "o", with nothing in between.
KEP_MODEL_MODULE generate_primitive_module(const std::string& key, std::size_t inputs);
