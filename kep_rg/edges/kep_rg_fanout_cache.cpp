#include "kep_rg/detail/kep_rg_fanout_cache.h"

#include <algorithm>

namespace {

constexpr std::uint32_t LAST_LEVEL_BIT = 63;
constexpr std::size_t FIRST_BUCKETS = 64;
// Some tens of megabytes for each thread. Only a device with millions of different drivers in repeated
// modules gets there, and answers nothing worse for it: a node without an answer is searched.
constexpr std::size_t MAX_LEAVES = std::size_t{1} << 21;
// A walk comes back to the occurrences that it has just seen. An occurrence that is entered twice does no
// harm.
constexpr std::ptrdiff_t RECENT_PLACES = 8;

std::size_t mix(std::uint64_t word) {
  word = (word ^ (word >> 31)) * 0x9e3779b97f4a7c15U;
  return word ^ (word >> 32);
}

std::size_t hash_of(const KEP_INST_PORT* inst_port) {
  return mix(reinterpret_cast<std::uintptr_t>(inst_port) / sizeof(KEP_INST_PORT));
}

std::uint64_t get_level_bit(std::uint32_t level) {
  return std::uint64_t{1} << std::min(level, LAST_LEVEL_BIT);
}

} // namespace

std::size_t KEP_RG_FANOUT_CACHE::KEY::hash() const {
  const std::uint64_t module = m_module->get_number();
  return mix(hash_of(m_driver) ^ (m_difference * 0xbf58476d1ce4e5b9U) ^ (module << 40) ^ m_level);
}

KEP_RG_FANOUT_CACHE::STEP::STEP(const KEP_UNFOLDED_INST_PORT& driver)
    : m_unfolding(driver.m_object->get_inst()->get_parent()->get_unfolding()),
      m_occurrence(static_cast<std::uint32_t>(driver.m_position)),
      m_module(driver.get_unfolded_instance().get_module(KEP_VIEW_TYPE::DEFAULT_VIEW)) {}

/// To the module around; an empty one above the top of the device, which has no answers.
void KEP_RG_FANOUT_CACHE::STEP::climb() {
  if (m_level++ != 0) m_occurrence = m_unfolding->get(m_occurrence).m_parent;
  const KEP_OCCURRENCE& occurrence = m_unfolding->get(m_occurrence);
  if (occurrence.m_parent == KEP_UNFOLDING::ABOVE_TOP)
    m_module = {};
  else
    m_module = {KEP_SLOT_POSITION::pack(occurrence.m_parent, occurrence.m_slot), occurrence.m_module};
}

KEP_RG_FANOUT_CACHE::KEY KEP_RG_FANOUT_CACHE::get_key(const KEP_UNFOLDED_INST_PORT& driver,
                                                      const STEP& step) {
  const std::uint64_t own = step.m_unfolding->get(static_cast<std::uint32_t>(driver.m_position)).m_number;
  const std::uint64_t above = step.m_unfolding->get(step.m_occurrence).m_number;
  return {driver.m_object, step.m_module.m_object, own - above, step.m_level};
}

KEP_UNFOLDED_MODULE KEP_RG_FANOUT_CACHE::find(const KEP_UNFOLDED_INST_PORT& driver, UIPS& leaves) {
  const std::uint64_t levels = find_levels(driver.m_object);
  if (!levels) return {};
  for (STEP step(driver); step.m_module && levels >= get_level_bit(step.m_level); step.climb()) {
    if (!(levels & get_level_bit(step.m_level))) continue;
    if (const ANSWER* answer = find_answer(get_key(driver, step))) {
      append_leaves(*answer, step, leaves);
      return step.m_module;
    }
  }
  return {};
}

void KEP_RG_FANOUT_CACHE::append_leaves(const ANSWER& answer, const STEP& step, UIPS& leaves) {
  m_occurrences.assign(1, step.m_occurrence);
  const PLACE* place = m_places.data() + answer.m_first_place;
  for (const PLACE* end = place + answer.m_num_places; place != end; ++place)
    m_occurrences.push_back(step.m_unfolding->get(m_occurrences[place->m_parent]).m_first_child +
                            place->m_rank);
  const LEAF* leaf = m_leaves.data() + answer.m_first_leaf;
  for (const LEAF* end = leaf + answer.m_num_leaves; leaf != end; ++leaf)
    leaves.emplace_back(m_occurrences[leaf->m_place], leaf->m_inst_port);
}

bool KEP_RG_FANOUT_CACHE::store(const KEP_UNFOLDED_INST_PORT& driver, const KEP_UNFOLDED_MODULE& top,
                                const UIPS& leaves) {
  STEP step(driver);
  while (top && step.m_module && !(step.m_module == top))
    step.climb();
  if (!step.m_module || m_leaves.size() + m_places.size() + leaves.size() > MAX_LEAVES) return false;
  const std::size_t num_places = m_places.size();
  const std::size_t num_leaves = m_leaves.size();
  if (!add_leaves(driver, step, leaves)) {
    m_places.resize(num_places);
    m_leaves.resize(num_leaves);
    return false;
  }
  enter({get_key(driver, step), static_cast<std::uint32_t>(num_places),
         static_cast<std::uint32_t>(m_places.size() - num_places), static_cast<std::uint32_t>(num_leaves),
         static_cast<std::uint32_t>(leaves.size())});
  add_level(driver.m_object, step.m_level);
  return true;
}

/// False when one of them does not stand below the module of the step.
bool KEP_RG_FANOUT_CACHE::add_leaves(const KEP_UNFOLDED_INST_PORT& driver, const STEP& step,
                                     const UIPS& leaves) {
  m_occurrences.assign(1, step.m_occurrence);
  for (const KEP_UNFOLDED_INST_PORT& leaf : leaves) {
    const auto occurrence = static_cast<std::uint32_t>(leaf.m_position);
    // The occurrence is that around the master: only the driver's own instance belongs to it.
    if (step.m_level == 0 && occurrence == step.m_occurrence &&
        leaf.m_object->get_inst() != driver.m_object->get_inst())
      return false;
    std::uint32_t place = 0;
    if (occurrence != m_occurrences.back()) {
      if (!add_place(step, occurrence, place)) return false;
    } else {
      place = static_cast<std::uint32_t>(m_occurrences.size() - 1);
    }
    m_leaves.push_back({leaf.m_object, place});
  }
  return true;
}

/// The number of an occurrence in the answer at hand, which is entered with the occurrences above it unless
/// it is there.
bool KEP_RG_FANOUT_CACHE::add_place(const STEP& step, std::uint32_t occurrence, std::uint32_t& place) {
  m_way.clear();
  for (;; occurrence = step.m_unfolding->get(occurrence).m_parent) {
    const auto last = m_occurrences.rbegin();
    const auto end = last + std::min<std::ptrdiff_t>(RECENT_PLACES, m_occurrences.rend() - last);
    const auto found = std::find(last, end, occurrence);
    place = 0;
    if (found != end) place = static_cast<std::uint32_t>(m_occurrences.rend() - found - 1);
    if (found != end || occurrence == step.m_occurrence) break;
    if (occurrence == KEP_UNFOLDING::ABOVE_TOP) return false;
    m_way.push_back(occurrence);
  }
  for (; !m_way.empty(); m_way.pop_back()) {
    const KEP_OCCURRENCE& parent = step.m_unfolding->get(m_occurrences[place]);
    const KEP_OCCURRENCE& child = step.m_unfolding->get(m_way.back());
    if (step.m_level == 0 && place == 0 && child.m_slot != KEP_SLOT_POSITION::slot(step.m_module.m_position))
      return false; // in another instance than the driver's
    m_places.push_back({place, m_way.back() - parent.m_first_child});
    place = static_cast<std::uint32_t>(m_occurrences.size());
    m_occurrences.push_back(m_way.back());
  }
  return true;
}

std::uint64_t KEP_RG_FANOUT_CACHE::find_levels(const KEP_INST_PORT* driver) const {
  if (m_drivers.empty()) return 0;
  std::size_t at = hash_of(driver) & (m_drivers.size() - 1);
  while (m_drivers[at].m_inst_port && m_drivers[at].m_inst_port != driver)
    at = (at + 1) & (m_drivers.size() - 1);
  return m_drivers[at].m_levels;
}

void KEP_RG_FANOUT_CACHE::add_level(const KEP_INST_PORT* driver, std::uint32_t level) {
  const auto find_free = [this](const KEP_INST_PORT* inst_port) -> DRIVER& {
    std::size_t at = hash_of(inst_port) & (m_drivers.size() - 1);
    while (m_drivers[at].m_inst_port && m_drivers[at].m_inst_port != inst_port)
      at = (at + 1) & (m_drivers.size() - 1);
    return m_drivers[at];
  };
  if ((m_num_drivers + 1) * 2 > m_drivers.size()) {
    const std::vector<DRIVER> old = std::move(m_drivers);
    m_drivers.assign(std::max(FIRST_BUCKETS, old.size() * 2), {});
    for (const DRIVER& each : old)
      if (each.m_inst_port) find_free(each.m_inst_port) = each;
  }
  DRIVER& entry = find_free(driver);
  if (!entry.m_inst_port) ++m_num_drivers;
  entry.m_inst_port = driver;
  entry.m_levels |= get_level_bit(level);
}

const KEP_RG_FANOUT_CACHE::ANSWER* KEP_RG_FANOUT_CACHE::find_answer(const KEY& key) const {
  if (m_buckets.empty()) return nullptr;
  for (std::size_t at = key.hash() & (m_buckets.size() - 1); m_buckets[at];
       at = (at + 1) & (m_buckets.size() - 1))
    if (const ANSWER& answer = m_answers[m_buckets[at] - 1]; answer.m_key == key) return &answer;
  return nullptr;
}

void KEP_RG_FANOUT_CACHE::enter(const ANSWER& answer) {
  if (const ANSWER* old = find_answer(answer.m_key)) {
    m_answers[static_cast<std::size_t>(old - m_answers.data())] = answer;
    return;
  }
  const auto set_bucket = [this](std::size_t number) {
    std::size_t at = m_answers[number].m_key.hash() & (m_buckets.size() - 1);
    while (m_buckets[at])
      at = (at + 1) & (m_buckets.size() - 1);
    m_buckets[at] = static_cast<std::uint32_t>(number + 1);
  };
  m_answers.push_back(answer);
  if (m_answers.size() * 2 <= m_buckets.size()) {
    set_bucket(m_answers.size() - 1);
    return;
  }
  m_buckets.assign(std::max(FIRST_BUCKETS, m_buckets.size() * 2), 0);
  for (std::size_t number = 0; number != m_answers.size(); ++number)
    set_bucket(number);
}
