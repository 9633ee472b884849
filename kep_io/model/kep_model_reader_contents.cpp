#include "kep_io/model/kep_model_reader_contents.h"

#include "kep/common/kep_loop.h"
#include "kep/common/kep_tsan.h"
#include "kep_report/kep_report_progress.h"

#include <tbb/parallel_pipeline.h>
#include <tbb/task_arena.h>

#include <deque>

namespace {

/// For the thread sanitizer: the steps of a pipeline come behind what was done before it, and one behind the
/// other; and what follows it, be it that a step threw, comes behind them.
struct STEPS {
  STEPS() { KEP_TSAN::before_loop(); }
  ~STEPS() { KEP_TSAN::begin_body(); }
  STEPS(const STEPS&) = delete;
  STEPS& operator=(const STEPS&) = delete;
};
struct STEP {
  STEP() { KEP_TSAN::begin_body(); }
  ~STEP() { KEP_TSAN::before_loop(); }
  STEP(const STEP&) = delete;
  STEP& operator=(const STEP&) = delete;
};

} // namespace

void KEP_MODEL_CONTENTS::read(const KEP_MODEL_OUTLINE& outline) {
  const std::vector<KEP_MODEL_PIECE_TEXT>& texts = outline.m_pieces;
  std::size_t num_bytes = 0;
  for (const KEP_MODEL_PIECE_TEXT& text : texts)
    num_bytes += text.m_members.size();
  KEP_REPORT_PROGRESS progress("reading", num_bytes);
  // So many may be under way; they come out in order, so the first of these is free again for the next one.
  const std::size_t num_live = 2 * static_cast<std::size_t>(tbb::this_task_arena::max_concurrency());
  std::deque<KEP_MODEL_PIECE> pieces;
  std::size_t next = 0;
  const STEPS steps;
  const auto start = [&](tbb::flow_control& control) -> KEP_MODEL_PIECE* {
    const STEP step;
    if (next == texts.size()) {
      control.stop();
      return nullptr;
    }
    if (next < num_live) pieces.emplace_back(m_modules);
    KEP_MODEL_PIECE& piece = pieces[next % num_live];
    piece.set_text(texts[next++]);
    return &piece;
  };
  const auto read = [](KEP_MODEL_PIECE* piece) {
    const STEP step;
    piece->read();
    return piece;
  };
  const auto finish = [&](const KEP_MODEL_PIECE* piece) {
    const STEP step;
    add(*piece);
    progress.add(piece->get_text().m_members.size());
  };
  using MODE = tbb::filter_mode;
  const auto filters = tbb::make_filter<void, KEP_MODEL_PIECE*>(MODE::serial_in_order, start) &
                       tbb::make_filter<KEP_MODEL_PIECE*, KEP_MODEL_PIECE*>(MODE::parallel, read) &
                       tbb::make_filter<KEP_MODEL_PIECE*, void>(MODE::serial_in_order, finish);
  kep_run_loop([&](tbb::task_group_context& context) { tbb::parallel_pipeline(num_live, filters, context); });
}

void KEP_MODEL_CONTENTS::add(const KEP_MODEL_PIECE& piece) {
  const KEP_MODEL_PIECE_TEXT& text = piece.get_text();
  const bool has_cells = text.m_list == KEP_MODEL_LIST::CELLS;
  const MODULE& module = m_modules.get(text.m_module);
  const KEP_JSON_PLACE place(m_modules.get_place(), module.m_key);
  const KEP_JSON_PLACE list_place(place, has_cells ? "cells" : "netnames");
  if (text.m_is_first) {
    if (has_cells) connect_ports(module, place);
    if (const auto list = kep_json_find(module.m_object, list_place.get_name(), place))
      kep_json_object(*list, list_place);
  }
  if (has_cells)
    add_cells(module, piece, list_place);
  else
    add_nets(module, piece, list_place);
  m_warnings.add(piece.get_odd_attributes());
  piece.rethrow_refusal();
  if (!text.m_is_last) return;
  m_names.finish(text.m_list_text, list_place);
  if (!has_cells) m_nets.finish();
}

void KEP_MODEL_CONTENTS::connect_ports(const MODULE& module, const KEP_JSON_PLACE& module_place) {
  m_nets.start(module.m_id);
  const auto ports = kep_json_find(module.m_object, "ports", module_place);
  if (!ports) return;
  const KEP_JSON_PLACE list_place(module_place, "ports");
  const KEP_MODEL_MODULES::PORT* port = module.m_ports.data();
  for (const auto [name, value] : kep_json_object(*ports, list_place)) {
    const KEP_JSON_PLACE place(list_place, name);
    const KEP_JSON_PLACE bits_place(place, "bits");
    const KEP_MODEL_BITS bits(kep_json_get(kep_json_object(value, place), "bits", place), bits_place);
    bits.for_each([&](unsigned index, std::uint64_t bit) {
      m_builder.connect(module.m_id, port->m_first + index, m_nets.get(bit));
    });
    ++port;
  }
}

void KEP_MODEL_CONTENTS::add_cells(const MODULE& module, const KEP_MODEL_PIECE& piece,
                                   const KEP_JSON_PLACE& list_place) {
  // All at once: nets of a large module are far apart, and a processor can look for several at a time.
  m_net_ids.clear();
  for (const KEP_MODEL_PIECE::BIT& bit : piece.get_bits())
    m_net_ids.push_back(m_nets.get(bit.m_number));
  auto cell = piece.get_cells().begin();
  std::size_t bit = 0;
  for (const KEP_MODEL_NAME& name : piece.get_names()) {
    const std::string_view model_name = m_names.get(name, list_place);
    if (cell == piece.get_cells().end()) return; // refused at this one
    const KEP_INSTANCE_ID instance = m_builder.add_instance(
        module.m_id, model_name, m_modules.get(cell->m_master).m_id, cell->m_properties);
    for (; bit != cell->m_end; ++bit)
      m_builder.connect(module.m_id, instance, piece.get_bits()[bit].m_index, m_net_ids[bit]);
    ++cell;
  }
}

void KEP_MODEL_CONTENTS::add_nets(const MODULE& module, const KEP_MODEL_PIECE& piece,
                                  const KEP_JSON_PLACE& list_place) {
  auto net = piece.get_nets().begin();
  std::size_t bit = 0;
  for (const KEP_MODEL_NAME& name : piece.get_names()) {
    const std::string_view model_name = m_names.get(name, list_place);
    if (net == piece.get_nets().end()) return; // refused at this one
    KEP_MODEL_BIT_NAMES names(model_name, net->m_range);
    for (; bit != net->m_end; ++bit) {
      const auto& [index, number] = piece.get_bits()[bit];
      m_nets.set_name(number, names.get(index));
    }
    set_port_attributes(module, *net, KEP_JSON_PLACE(list_place, name.m_text));
    ++net;
  }
}

void KEP_MODEL_CONTENTS::set_port_attributes(const MODULE& module, const KEP_MODEL_PIECE::NET& net,
                                             const KEP_JSON_PLACE& place) {
  if (!net.m_re_index && !net.m_icd_port_name) return;
  const KEP_MODEL_MODULES::PORT& port = *net.m_port;
  if (m_has_net_attributes[port.m_number]) place.refuse("attributes of that port stand before");
  m_has_net_attributes[port.m_number] = true;
  const bool has_index = net.m_re_index && *net.m_re_index != -1;
  for (unsigned i = 0; i != port.m_width; ++i)
    m_builder.set_port_blc(module.m_id, port.m_first + i,
                           has_index ? static_cast<int>(*net.m_re_index + i) : -1,
                           net.m_icd_port_name.value_or(std::string_view()));
}
