#include "tools/kep-rg/generate/generate_grid_logic.h"

#include <fmt/format.h>

namespace {

using BITS = std::vector<std::int64_t>;

constexpr const char* SLICE = "slice";

std::uint64_t add_slice(GENERATE_PARTS& parts, std::vector<KEP_MODEL_MODULE>& modules) {
  GENERATE_BODY body(SLICE, parts);
  const BITS i = body.add_input("i", 4);
  const std::int64_t carry_in = body.add_input("cin", 1).front();
  const std::int64_t before = body.add_input("before", 1).front(); // what the slice before has stored
  const BITS o = {body.take(), body.take()};
  const std::int64_t carry = body.take();
  const std::int64_t stored = body.take();
  const std::int64_t chosen = body.take();
  const std::int64_t looked_up = body.take();
  body.add_mux("choice", {i[3], before, carry_in}, chosen);
  body.add_mux("carry", {i[0], carry_in}, carry);
  body.add_table("table", {i[0], i[1], i[2], chosen}, looked_up);
  body.add_store("store", looked_up, stored);
  body.add_mux("o0", {looked_up, stored}, o[0]);
  body.add_mux("o1", {stored, carry}, o[1]);
  body.add_output("o", o);
  body.add_output("cout", {carry});
  body.add_output("after", {stored});
  modules.push_back(body.finish());
  return body.get_num_muxes();
}

} // namespace

std::size_t GENERATE_GRID_LOGIC::get_num_side_inputs(const GENERATE_OPTIONS& options) {
  return std::size_t{2} * options.m_luts;
}

std::size_t GENERATE_GRID_LOGIC::get_num_outputs(const GENERATE_OPTIONS& options) {
  return std::size_t{2} * options.m_luts;
}

std::uint64_t GENERATE_GRID_LOGIC::add_modules(const GENERATE_OPTIONS& options, GENERATE_PARTS& parts,
                                               std::vector<KEP_MODEL_MODULE>& modules) {
  const std::uint64_t slice_nodes = add_slice(parts, modules);
  GENERATE_BODY body(KEY, parts);
  const BITS n = body.add_input("n", get_num_side_inputs(options));
  const BITS e = body.add_input("e", get_num_side_inputs(options));
  std::int64_t carry = body.add_input("cin", 1).front();
  BITS stored;
  for (std::uint32_t k = 0; k < options.m_luts; ++k)
    stored.push_back(body.take());
  BITS all_outputs;
  for (std::size_t k = 0; k < options.m_luts; ++k) {
    const BITS o = {body.take(), body.take()};
    const std::int64_t carry_out = body.take();
    body.add_link(fmt::format("slice_{}_", k), SLICE,
                  {{"i", {n[2 * k], e[2 * k], n[2 * k + 1], e[2 * k + 1]}},
                   {"cin", {carry}},
                   {"before", {stored[(k + options.m_luts - 1) % options.m_luts]}},
                   {"o", o},
                   {"cout", {carry_out}},
                   {"after", {stored[k]}}});
    all_outputs.insert(all_outputs.end(), o.begin(), o.end());
    carry = carry_out;
  }
  body.add_output("o", all_outputs);
  body.add_output("cout", {carry});
  modules.push_back(body.finish());
  return slice_nodes * options.m_luts;
}
