#include "kep_rg/kep_rg_parse_redundancy.h"

#include "kep/common/kep_tsan.h"
#include "kep/kep_routing_graph.h"
#include "kep_report/kep_report.h"
#include "kep_report/kep_report_profiler.h"
#include "kep_rg/kep_rg_exception.h"
#include "kep_rg/redundancy/kep_rg_redundancy_fixup_tables.h"
#include "kep_rg/redundancy/kep_rg_redundancy_tokens.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/partitioner.h>
#include <tbb/task_arena.h>
#include <tbb/task_group.h>

#include <algorithm>
#include <numeric>
#include <string_view>
#include <thread>
#include <utility>

namespace {

constexpr std::string_view KEYWORD = "module_name:";
constexpr std::size_t LINE_GRAIN = 1000;
constexpr std::size_t CHUNK = 1 << 16; // bytes

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
    KEP_TSAN::begin_body();
    for (std::size_t i = lines.begin(); i != lines.end(); ++i)
      m_state->m_parsed[i] = m_state->m_relative_ports[i].parse(m_state->m_module, m_state->m_tokens[i],
                                                                *m_state->m_view_type_rank, nullptr)
                                 ? 1
                                 : 0;
    KEP_TSAN::end_body();
  }

private:
  KEP_RG_PARSE_RELATIVE_PORTS_STATE* m_state;
};

template <class BODY>
void run_loop(std::size_t size, std::size_t grain, const BODY& body) {
  if (size == 0) return;
  tbb::task_group_context context;
  KEP_TSAN::before_loop();
  tbb::parallel_for(tbb::blocked_range<std::size_t>(0, size, grain), body, tbb::auto_partitioner(), context);
  KEP_TSAN::after_loop();
}

/// Splits the pairs behind the module's name, chunk by chunk. A token belongs to the chunk in which it
/// begins; the number of tokens before a chunk tells which of its tokens are second ones and whose lines they
/// are.
class PAIRS {
public:
  explicit PAIRS(std::string_view text)
      : m_text(text), m_tokens_before((text.size() + CHUNK - 1) / CHUNK + 1) {
    run_loop(get_num_chunks(), 1, [this](const tbb::blocked_range<std::size_t>& chunks) {
      KEP_TSAN::begin_body();
      for (std::size_t i = chunks.begin(); i != chunks.end(); ++i)
        m_tokens_before[i + 1] = KEP_RG_REDUNDANCY_TOKENS::count(m_text, i * CHUNK, get_end(i));
      KEP_TSAN::end_body();
    });
    std::partial_sum(m_tokens_before.begin(), m_tokens_before.end(), m_tokens_before.begin());
  }

  std::size_t get_num_tokens() const { return m_tokens_before.back(); }

  /// Stores the second token of each pair; there is room for all.
  void get_second(std::vector<std::string_view>& seconds) const {
    run_loop(get_num_chunks(), 1, [&](const tbb::blocked_range<std::size_t>& chunks) {
      KEP_TSAN::begin_body();
      for (std::size_t i = chunks.begin(); i != chunks.end(); ++i) {
        KEP_RG_REDUNDANCY_TOKENS tokens(m_text, i * CHUNK);
        for (std::size_t token = m_tokens_before[i]; token != m_tokens_before[i + 1]; ++token, tokens.next())
          if (token % 2 == 1) seconds[token / 2] = tokens.get();
      }
      KEP_TSAN::end_body();
    });
  }

private:
  std::size_t get_num_chunks() const { return m_tokens_before.size() - 1; }
  std::size_t get_end(std::size_t chunk) const { return std::min((chunk + 1) * CHUNK, m_text.size()); }

  std::string_view m_text;
  std::vector<std::size_t> m_tokens_before; // one more than chunks
};

} // namespace

KEP_RG_PARSE_REDUNDANCY::KEP_RG_PARSE_REDUNDANCY(KEP_DB* db, int view_type, const KEP_VIEW_TYPE_RANK& rank,
                                                 int num_threads)
    : m_db(db), m_view_type(static_cast<KEP_VIEW_TYPE>(view_type)), m_view_type_rank(rank),
      m_num_threads(num_threads) {
  const std::string threads =
      num_threads < 0 ? std::to_string(std::thread::hardware_concurrency()) : std::to_string(num_threads);
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
  tbb::task_arena arena(m_num_threads < 0 ? tbb::task_arena::automatic : m_num_threads, 1);
  arena.execute([&] {
    const PAIRS pairs(text.substr(tokens.get_end()));
    const bool valid_ = pairs.get_num_tokens() % 2 == 0; // told like a token that is not there
    KEP_ASSERT(valid_);
    state.set_num_lines(pairs.get_num_tokens() / 2);
    pairs.get_second(state.m_tokens);
    run_loop(state.m_tokens.size(), LINE_GRAIN, APPLY_PARSE_RELATIVE_PORTS(&state));
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
