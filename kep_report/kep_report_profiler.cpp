#include "kep_report/kep_report_profiler.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <mutex>
#include <time.h>
#include <utility>

namespace KEP_REPORT {

struct detail::PROFILE_NODE {
  PROFILE_NODE* m_parent = nullptr; // null for the root alone
  std::string m_name;
  std::uint64_t m_times_entered = 0;
  std::uint64_t m_times_open = 0;
  std::int64_t m_wall = 0; // nanoseconds, as is m_cpu
  std::int64_t m_cpu = 0;
  std::vector<std::unique_ptr<PROFILE_NODE>> m_children;
};

namespace {

using detail::PROFILE_NODE;

std::int64_t get_wall_clock() {
  auto now = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
}

std::int64_t get_cpu_clock() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

std::vector<PROFILE_SECTION> copy_children(const PROFILE_NODE& node) {
  std::vector<PROFILE_SECTION> sections;
  sections.reserve(node.m_children.size());
  for (const auto& child : node.m_children)
    sections.push_back({child->m_name, child->m_times_entered, static_cast<double>(child->m_wall) * 1e-9,
                        static_cast<double>(child->m_cpu) * 1e-9, copy_children(*child)});
  return sections;
}

// Whether the node has to stay: open sections point to their nodes and, through them, to those above.
bool reset_node(PROFILE_NODE& node) {
  std::erase_if(node.m_children, [](const auto& child) { return !reset_node(*child); });
  node.m_times_entered = node.m_times_open;
  node.m_wall = 0;
  node.m_cpu = 0;
  return node.m_times_open > 0 || !node.m_children.empty();
}

class PROFILE_TREE {
public:
  PROFILE_NODE* enter(PROFILE_NODE* parent, const std::string& name) {
    std::lock_guard lock(m_mutex);
    PROFILE_NODE& node = find_or_add(parent ? *parent : m_root, name);
    ++node.m_times_entered;
    ++node.m_times_open;
    return &node;
  }

  // Gives the section that the closed one stood in, null at the top.
  PROFILE_NODE* leave(PROFILE_NODE& node, std::int64_t wall_start, std::int64_t cpu_start) {
    std::int64_t wall = get_wall_clock();
    std::int64_t cpu = get_cpu_clock();
    std::lock_guard lock(m_mutex);
    // A reset may come between the clocks and the lock.
    node.m_wall += std::max<std::int64_t>(0, wall - std::max(wall_start, m_wall_reset));
    node.m_cpu += std::max<std::int64_t>(0, cpu - std::max(cpu_start, m_cpu_reset));
    --node.m_times_open;
    return node.m_parent == &m_root ? nullptr : node.m_parent;
  }

  std::vector<PROFILE_SECTION> copy() {
    std::lock_guard lock(m_mutex);
    return copy_children(m_root);
  }

  void reset() {
    std::lock_guard lock(m_mutex);
    reset_node(m_root);
    m_wall_reset = get_wall_clock();
    m_cpu_reset = get_cpu_clock();
  }

private:
  static PROFILE_NODE& find_or_add(PROFILE_NODE& parent, const std::string& name) {
    for (const auto& child : parent.m_children)
      if (child->m_name == name) return *child;
    auto child = std::make_unique<PROFILE_NODE>();
    child->m_parent = &parent;
    child->m_name = name;
    return *parent.m_children.emplace_back(std::move(child));
  }

  std::mutex m_mutex;
  PROFILE_NODE m_root;
  std::int64_t m_wall_reset = 0;
  std::int64_t m_cpu_reset = 0;
};

// Never destroyed: sections of other threads may be open when the process ends.
PROFILE_TREE& get_tree() {
  static PROFILE_TREE& tree = *new PROFILE_TREE;
  return tree;
}

thread_local PROFILE_NODE* t_section = nullptr; // the innermost open section of the thread

} // namespace

std::vector<PROFILE_SECTION> get_profile() {
  return get_tree().copy();
}

void reset_profile() {
  get_tree().reset();
}

} // namespace KEP_REPORT

KEP_REPORT_PROFILER::KEP_REPORT_PROFILER(const std::string& name, bool measure)
    : m_section(nullptr), m_wall_start(0), m_cpu_start(0) {
  if (!measure) return;
  m_section = KEP_REPORT::get_tree().enter(KEP_REPORT::t_section, name);
  KEP_REPORT::t_section = m_section;
  m_wall_start = KEP_REPORT::get_wall_clock();
  m_cpu_start = KEP_REPORT::get_cpu_clock();
}

KEP_REPORT_PROFILER::~KEP_REPORT_PROFILER() {
  if (m_section) KEP_REPORT::t_section = KEP_REPORT::get_tree().leave(*m_section, m_wall_start, m_cpu_start);
}
