#include "tools/kep-rg/generate/generate_flat.h"

#include "tools/kep-rg/generate/generate_muxes.h"
#include "tools/kep-rg/generate/generate_random.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>
#include <vector>

namespace {

using BITS = std::vector<std::int64_t>;

constexpr std::uint64_t FLAT_TOPIC = 256;

constexpr const char* CHAIN_MUX = "skip_mux";
constexpr std::uint32_t NEAR_REACH = 50;     ///< how far a near mux reads, where its inputs don't take more
constexpr std::uint64_t OPEN_DISTANCE = 100; ///< every so manieth mux takes its signals from outside

std::string flat_mux_key(std::uint32_t inputs) {
  return fmt::format("mux_{}", inputs);
}

void write_cell(KEP_MODEL_WRITER& writer, const std::string& name, const std::string& master,
                const BITS& inputs, std::int64_t output) {
  KEP_MODEL_CELL cell = generate_primitive_cell(name, master);
  cell.m_connections = {{"i", inputs}, {"o", {output}}};
  writer.write_cell(cell);
}

std::int64_t output_of(std::uint64_t mux) {
  return GENERATE_FIRST_BIT + static_cast<std::int64_t>(mux);
}

/// Muxes that read others, none twice and not themselves.
class NETWORK {
public:
  explicit NETWORK(const GENERATE_OPTIONS& options)
      : m_options(options), m_distances(std::size_t{2} * std::max(NEAR_REACH, options.m_inputs)) {
    std::iota(m_distances.begin(), m_distances.end(), 1U);
  }

  void write(KEP_MODEL_WRITER& writer) {
    for (std::uint64_t mux = 0; mux < m_options.m_nodes; ++mux)
      write_cell(writer, fmt::format("m{}", mux), flat_mux_key(m_options.m_inputs),
                 mux % OPEN_DISTANCE == 0 ? BITS(m_options.m_inputs, KEP_MODEL_UNCONNECTED_BIT)
                 : m_options.m_form == GENERATE_FORM::NEAR ? choose_near(mux)
                                                           : choose_random(mux),
                 output_of(mux));
  }

private:
  BITS choose_random(std::uint64_t mux) const {
    GENERATE_RANDOM random(m_options.m_seed, FLAT_TOPIC, mux);
    BITS sources;
    while (sources.size() < m_options.m_inputs) {
      const std::int64_t source = output_of(random.below(static_cast<std::uint32_t>(m_options.m_nodes)));
      if (source != output_of(mux) && std::ranges::find(sources, source) == sources.end())
        sources.push_back(source);
    }
    return sources;
  }

  /// Distances up to the half of them lead back, the others on, around the end of the row.
  BITS choose_near(std::uint64_t mux) {
    GENERATE_RANDOM(m_options.m_seed, FLAT_TOPIC, mux).draw(m_distances, m_options.m_inputs);
    const std::uint64_t reach = m_distances.size() / 2;
    BITS sources;
    for (std::uint32_t i = 0; i < m_options.m_inputs; ++i) {
      const std::uint64_t on =
          m_distances[i] <= reach ? m_options.m_nodes - m_distances[i] : m_distances[i] - reach;
      sources.push_back(output_of((mux + on) % m_options.m_nodes));
    }
    return sources;
  }

  const GENERATE_OPTIONS m_options;
  std::vector<std::uint32_t> m_distances;
};

/// One net that one half of the muxes drives and the other half reads.
void write_net(KEP_MODEL_WRITER& writer, std::uint64_t nodes) {
  for (std::uint64_t i = 0; i < nodes / 2; ++i) {
    write_cell(writer, fmt::format("driver{}", i), flat_mux_key(1), {KEP_MODEL_UNCONNECTED_BIT},
               output_of(0));
    write_cell(writer, fmt::format("reader{}", i), flat_mux_key(1), {output_of(0)}, output_of(1 + i));
  }
}

/// Muxes between which one stands that is skipped: each drives all muxes behind it.
void write_chain(KEP_MODEL_WRITER& writer, std::uint64_t nodes) {
  for (std::uint64_t i = 0; i < nodes; ++i) {
    const std::int64_t before = output_of(2 * i);
    write_cell(writer, fmt::format("m{}", i), flat_mux_key(1), {before}, before + 1);
    write_cell(writer, fmt::format("skip{}", i), CHAIN_MUX, {before, before + 1}, before + 2);
  }
}

void describe(GENERATE_DESCRIPTION& description, const std::string& key, std::uint32_t inputs) {
  for (std::uint32_t i = 0; i < inputs; ++i)
    description.add_port_edge(key, generate_bit_name("i", inputs, i), "o");
}

void write(const GENERATE_OPTIONS& options, std::uint32_t inputs, KEP_MODEL_WRITER& writer) {
  writer.write(generate_primitive_module(flat_mux_key(inputs), inputs));
  const bool is_chain = options.m_form == GENERATE_FORM::CHAIN;
  if (is_chain) writer.write(generate_primitive_module(CHAIN_MUX, 2));
  KEP_MODEL_MODULE top{.m_key = "device"};
  top.m_attributes.push_back({"top", 1});
  writer.begin_module(top);
  if (is_chain)
    write_chain(writer, options.m_nodes);
  else if (options.m_form == GENERATE_FORM::NET)
    write_net(writer, options.m_nodes);
  else
    NETWORK(options).write(writer);
  writer.end_module(top);
}

} // namespace

GENERATE_RESULT make_generate_flat(const GENERATE_OPTIONS& options) {
  const bool is_network = options.m_form == GENERATE_FORM::RANDOM || options.m_form == GENERATE_FORM::NEAR;
  const std::uint32_t inputs = is_network ? options.m_inputs : 1;
  GENERATE_DESCRIPTION description;
  describe(description, flat_mux_key(inputs), inputs);
  if (options.m_form == GENERATE_FORM::CHAIN) {
    describe(description, CHAIN_MUX, 2);
    description.set_skip_paths(CHAIN_MUX, true);
  }
  const std::uint64_t num_pairs = options.m_nodes / 2;
  return {.m_write_model = [options, inputs](KEP_MODEL_WRITER& writer) { write(options, inputs, writer); },
          .m_routing = description.get_text(),
          .m_text = fmt::format("--form {}: one module of muxes",
                                GENERATE_FORM_NAMES[static_cast<std::size_t>(options.m_form)]),
          .m_nodes = options.m_form == GENERATE_FORM::NET ? 2 * num_pairs : options.m_nodes};
}
