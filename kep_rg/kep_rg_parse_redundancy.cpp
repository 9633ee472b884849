#include "kep_rg/kep_rg_parse_redundancy.h"

#include "kep/common/kep_arena.h"
#include "kep/kep_routing_graph.h"
#include "kep_report/kep_report.h"
#include "kep_report/kep_report_profiler.h"
#include "kep_rg/kep_rg_exception.h"
#include "kep_rg/redundancy/kep_rg_redundancy_fixup_tables.h"
#include "kep_rg/redundancy/kep_rg_redundancy_loop.h"
#include "kep_rg/redundancy/kep_rg_redundancy_pairs.h"
#include "kep_rg/redundancy/kep_rg_redundancy_tokens.h"

#include <fmt/format.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <string_view>
#include <thread>
#include <utility>

namespace {

constexpr std::string_view KEYWORD = "module_name:";
constexpr std::size_t LINE_GRAIN = 1000;

/// The working state of one parse. A worker writes the elements of its own lines alone; results are plain
/// bytes, so that no two workers share a written unit.
struct KEP_RG_PARSE_RELATIVE_PORTS_STATE {
  KEP_MODULE* m_module;
  const KEP_VIEW_TYPE_RANK* m_view_type_rank;
  std::vector<std::string_view> m_tokens;
  std::vector<char> m_parsed;
  std::vector<KEP_RG_RELATIVE_PORT> m_relative_ports;

  void set_num_lines(std::size_t num_lines) {
    m_tokens.resize(num_lines);
    m_parsed.assign(num_lines, 0);
    m_relative_ports.resize(num_lines);
  }
  /// Leaves only the relative ports that were read and tells of each other line its text.
  template <class TELL>
  void drop_failed(TELL tell) {
    std::size_t num_read = 0;
    for (std::size_t i = 0; i != m_tokens.size(); ++i)
      if (!m_parsed[i])
        tell(m_tokens[i]);
      else if (num_read++ != i)
        m_relative_ports[num_read - 1] = std::move(m_relative_ports[i]);
    m_relative_ports.resize(num_read);
  }
};

/// The body of the parallel loop over lines.
class APPLY_PARSE_RELATIVE_PORTS {
public:
  explicit APPLY_PARSE_RELATIVE_PORTS(KEP_RG_PARSE_RELATIVE_PORTS_STATE* state) : m_state(state) {}
  void operator()(const tbb::blocked_range<std::size_t>& lines) const {
    for (std::size_t i = lines.begin(); i != lines.end(); ++i)
      m_state->m_parsed[i] = m_state->m_relative_ports[i].parse(m_state->m_module, m_state->m_tokens[i],
                                                                *m_state->m_view_type_rank, nullptr)
                                 ? 1
                                 : 0;
  }

private:
  KEP_RG_PARSE_RELATIVE_PORTS_STATE* m_state;
};

} // namespace

KEP_RG_PARSE_REDUNDANCY::KEP_RG_PARSE_REDUNDANCY(KEP_DB* db, int view_type, const KEP_VIEW_TYPE_RANK& rank,
                                                 int num_threads)
    : m_db(db), m_view_type(static_cast<KEP_VIEW_TYPE>(view_type)), m_view_type_rank(rank),
      m_num_threads(num_threads) {
  const std::string threads =
      num_threads < 0 ? fmt::to_string(std::thread::hardware_concurrency()) : fmt::to_string(num_threads);
  KEP_REPORT::info("Parsing redundancy with %s threads\n", threads.c_str());
}

KEP_RG_PARSE_REDUNDANCY::~KEP_RG_PARSE_REDUNDANCY() {
  delete m_fixup_tables;
}

bool KEP_RG_PARSE_REDUNDANCY::parse(KEP_RG_MODULE_RELATIVE_PORTS* out, std::string_view text) {
  const KEP_REPORT_PROFILER profiler("parse_redundancy", true);
  out->clear();
  m_failed_module.clear();
  m_failed_lines.clear();
  m_failed_offsets.clear();

  KEP_RG_REDUNDANCY_TOKENS tokens(text);
  if (tokens.get() != KEYWORD)
    KEP_RG_THROW("KEP_RG_PARSE_REDUNDANCY::parse",
                 "FATAL ERROR: Missing module_name keyword in first line of redundancy_data.\n");
  tokens.next();
  m_failed_module = tokens.get();
  const std::vector<KEP_MODULE*> modules = m_db->find_modules(m_failed_module, m_view_type, true);
  if (modules.empty()) return false;

  KEP_RG_PARSE_RELATIVE_PORTS_STATE state{modules.front(), &m_view_type_rank, {}, {}, {}};
  kep_run_in_arena(m_num_threads < 0 ? tbb::task_arena::automatic : m_num_threads, [&] {
    const KEP_RG_REDUNDANCY_PAIRS pairs(text.substr(tokens.get_end()));
    const bool valid_ = pairs.get_num_tokens() % 2 == 0; // told like a token that is not there
    KEP_ASSERT(valid_);
    state.set_num_lines(pairs.get_num_tokens() / 2);
    pairs.get_second(state.m_tokens);
    kep_rg_run_redundancy_loop(state.m_tokens.size(), LINE_GRAIN, APPLY_PARSE_RELATIVE_PORTS(&state));
  });

  const auto num_failed =
      static_cast<std::size_t>(std::count(state.m_parsed.begin(), state.m_parsed.end(), 0));
  m_failed_lines.reserve(num_failed);
  m_failed_offsets.reserve(num_failed);
  state.drop_failed([&](std::string_view line) {
    m_failed_lines.emplace_back(line);
    m_failed_offsets.push_back(static_cast<std::size_t>(line.data() - text.data()));
  });
  out->assign(std::move(state.m_relative_ports));
  if (out->size() == 0) return false;
  m_failed_module.clear();
  return m_failed_lines.empty();
}

bool KEP_RG_PARSE_REDUNDANCY::is_module_unknown() const {
  return !m_failed_module.empty() && m_db->find_modules(m_failed_module, m_view_type, true).empty();
}

const char* KEP_RG_PARSE_REDUNDANCY::find_cut_off(std::string_view text) {
  KEP_RG_REDUNDANCY_TOKENS tokens(text);
  if (tokens.at_end() || tokens.get() != KEYWORD) return "the keyword \"module_name:\" is missing";
  tokens.next();
  if (tokens.at_end()) return "the text ends behind the keyword";
  const std::string_view pairs = text.substr(tokens.get_end());
  if (KEP_RG_REDUNDANCY_TOKENS::count(pairs, 0, pairs.size()) % 2 != 0)
    return "the text ends in the middle of a pair";
  return "";
}

std::size_t KEP_RG_PARSE_REDUNDANCY::fixup(KEP_RG_MODULE_RELATIVE_PORTS* out,
                                           const KEP_RG_MODULE_RELATIVE_PORTS* in) {
  if (!m_fixup_tables)
    m_fixup_tables =
        new KEP_RG_REDUNDANCY_FIXUP_TABLES(m_db->get_routing_template_graph()->get_routing_primitive());
  KEP_RG_MODULE_RELATIVE_PORTS middle;
  const std::size_t count = m_fixup_tables->get_inner_to_outer().apply(&middle, in);
  return count + m_fixup_tables->get_output_to_input().apply(out, &middle);
}

const KEP_RG_RELATIVE_PORT_TO_PORT* KEP_RG_PARSE_REDUNDANCY::get_inner_to_outer() const {
  return m_fixup_tables ? &m_fixup_tables->get_inner_to_outer() : nullptr;
}

const KEP_RG_RELATIVE_PORT_TO_PORT* KEP_RG_PARSE_REDUNDANCY::get_output_to_input() const {
  return m_fixup_tables ? &m_fixup_tables->get_output_to_input() : nullptr;
}
