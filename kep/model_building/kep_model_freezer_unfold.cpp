#include "kep/model_building/kep_model_freezer.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <unistd.h>

namespace {

/// Walks over the hierarchy go down by recursion. Real devices are a dozen levels deep.
constexpr unsigned MAX_LEVELS = 2048;

constexpr std::uint64_t TOO_MANY = std::numeric_limits<std::uint64_t>::max();

std::uint64_t add_up(std::uint64_t left, std::uint64_t right) {
  return left > TOO_MANY - right ? TOO_MANY : left + right;
}

/// Refuses what could not be numbered or held, so that a small file that describes far too much is told in
/// words.
void check_num_occurrences(std::uint64_t num_occurrences) {
  const std::uint64_t limit = std::numeric_limits<std::int32_t>::max(); // differences of two fit in 32 bits
  const std::uint64_t memory =
      static_cast<std::uint64_t>(sysconf(_SC_PHYS_PAGES)) * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
  const std::uint64_t num_held = memory / sizeof(KEP_OCCURRENCE);
  if (num_occurrences <= std::min(limit, num_held)) return;
  throw KEP_DB_ERROR(fmt::format(
      "modules: the unfolded hierarchy has {} occurrences of modules with contents, more than the {} that {}",
      num_occurrences == TOO_MANY ? "more than 2^64" : fmt::to_string(num_occurrences),
      std::min(limit, num_held), num_held < limit ? "the memory of this machine holds" : "can be numbered"));
}

} // namespace

/// An instance has one slot for each view in which its master exists: the plain master's first.
void KEP_MODEL_FREEZER::make_slots(KEP_MODULE& module) {
  const auto for_each_view = [](const KEP_MODULE& master, auto use) {
    use(static_cast<unsigned>(master.m_view_type));
    for (unsigned view = 0; view != KEP_NUM_MODULE_VIEWS; ++view)
      if (master.m_views[view] && master.m_views[view] != &master) use(view);
  };
  unsigned char num_views = 0;
  for_each_view(module, [&](unsigned view) { module.m_view_slots[view] = num_views++; });
  module.m_view_slots[static_cast<unsigned>(KEP_VIEW_TYPE::DEFAULT_VIEW)] = 0;

  std::uint64_t num_slots = 0;
  for (unsigned i = 0; i != module.m_num_instances; ++i)
    for_each_view(*module.m_instances[i].m_module, [&](unsigned) { ++num_slots; });
  if (num_slots >= std::numeric_limits<unsigned>::max())
    throw KEP_DB_ERROR(fmt::format(
        "modules.{}: the cells have {} masters in all views, more than the 4294967294 that a module can have",
        module.m_key, num_slots));
  module.m_slots = std::make_unique<KEP_SLOT[]>(num_slots);
  unsigned inner_rank = 0;
  for (unsigned i = 0; i != module.m_num_instances; ++i) {
    KEP_INSTANCE& instance = module.m_instances[i];
    instance.m_first_slot = module.m_num_slots;
    for_each_view(*instance.m_module, [&](unsigned view) {
      KEP_SLOT& slot = module.m_slots[module.m_num_slots++];
      slot.m_module = instance.m_module->m_views[view];
      slot.m_instance = i;
      if (slot.m_module->is_inner()) slot.m_inner_rank = inner_rank++;
    });
  }
}

/// All modules, each behind those that stand in its slots. A hierarchy that contains itself has no such
/// order.
std::vector<KEP_MODULE*> KEP_MODEL_FREEZER::order_bottom_up() {
  enum class STATE : unsigned char { NEW, OPEN, DONE };
  struct VISIT {
    KEP_MODULE* m_module;
    unsigned m_next_slot;
  };
  std::vector<KEP_MODULE*> order;
  std::vector<STATE> states(m_storage->m_owned.size(), STATE::NEW);
  std::vector<VISIT> stack;
  for (const auto& start : m_storage->m_owned) {
    if (states[start->m_number] != STATE::NEW) continue;
    states[start->m_number] = STATE::OPEN;
    stack.push_back({start.get(), 0});
    while (!stack.empty()) {
      VISIT& visit = stack.back();
      if (visit.m_next_slot == visit.m_module->m_num_slots) {
        states[visit.m_module->m_number] = STATE::DONE;
        order.push_back(visit.m_module);
        stack.pop_back();
        continue;
      }
      const KEP_SLOT& slot = visit.m_module->m_slots[visit.m_next_slot++];
      STATE& state = states[slot.m_module->m_number];
      if (state == STATE::OPEN)
        throw KEP_DB_ERROR(fmt::format(
            R"(modules.{}.cells.{}: the hierarchy contains itself: this cell leads back to module "{}")",
            visit.m_module->m_key, visit.m_module->m_instances[slot.m_instance].m_name,
            slot.m_module->m_key));
      if (state == STATE::DONE) continue;
      state = STATE::OPEN;
      stack.push_back({slot.m_module, 0});
    }
  }
  return order;
}

void KEP_MODEL_FREEZER::number_slots() {
  for (const auto& module : m_storage->m_owned)
    make_slots(*module);
  m_num_inner.assign(m_storage->m_owned.size(), 0);
  std::vector<unsigned> num_levels(m_storage->m_owned.size(), 1); // at and below a module
  for (KEP_MODULE* module : order_bottom_up()) {
    std::uint64_t size = 1;
    std::uint64_t num_inner = module->is_inner() ? 1 : 0;
    for (unsigned i = 0; i != module->m_num_slots; ++i) {
      KEP_SLOT& slot = module->m_slots[i];
      slot.m_number = size;
      size = add_up(size, slot.m_module->m_size);
      num_inner = add_up(num_inner, m_num_inner[slot.m_module->m_number]);
      num_levels[module->m_number] =
          std::max(num_levels[module->m_number], num_levels[slot.m_module->m_number] + 1);
    }
    module->m_size = size;
    m_num_inner[module->m_number] = num_inner;
  }
  const auto deepest = std::max_element(num_levels.begin(), num_levels.end());
  if (deepest != num_levels.end() && *deepest > MAX_LEVELS)
    throw KEP_DB_ERROR(fmt::format(
        "modules.{}: the hierarchy from here down has {} levels, more than the {} that a model can have",
        m_storage->m_owned[static_cast<std::size_t>(deepest - num_levels.begin())]->m_key, *deepest,
        MAX_LEVELS));
}

/// Gives the number of inner occurrences, and entry 0 with them.
std::uint64_t KEP_MODEL_FREEZER::number_tops() {
  KEP_UNFOLDING& unfolding = m_storage->m_own_unfolding;
  unfolding.m_modules_and_null = unfolding.m_modules;
  unfolding.m_modules_and_null.push_back(nullptr);
  const KEP_MODULE& top = *m_storage->m_top;
  std::uint64_t num_occurrences = 1;
  std::uint64_t number = 0;
  unsigned inner_rank = 0;
  const auto add_top = [&](KEP_MODULE* module) {
    KEP_SLOT slot;
    slot.m_module = module;
    slot.m_number = number;
    if (module->is_inner()) slot.m_inner_rank = inner_rank++;
    number = add_up(number, module->m_size);
    num_occurrences = add_up(num_occurrences, m_num_inner[module->m_number]);
    unfolding.m_top_slots.push_back(slot);
  };
  add_top(m_storage->m_top);
  for (unsigned view = 0; view != KEP_NUM_MODULE_VIEWS; ++view)
    if (top.m_views[view] && top.m_views[view] != &top) add_top(top.m_views[view]);
  check_num_occurrences(number == TOO_MANY ? TOO_MANY : num_occurrences);
  return num_occurrences;
}

/// Calls `use` with each entry behind entry 0, in their order: breadth first, so that the inner children of
/// an occurrence stand side by side. `occurrences` are those that were used before, without first children,
/// and `set_first_child` tells these.
template <class GET, class USE, class SET_FIRST_CHILD>
void KEP_MODEL_FREEZER::visit_occurrences(std::uint64_t num_occurrences, const GET& get, const USE& use,
                                          const SET_FIRST_CHILD& set_first_child) const {
  const KEP_UNFOLDING& unfolding = m_storage->m_own_unfolding;
  std::uint32_t next = 1;
  const auto visit_children = [&](std::uint32_t parent, const KEP_SLOT* slots, std::size_t num_slots) {
    set_first_child(parent, next);
    const std::uint64_t number = get(parent).m_number;
    for (std::size_t i = 0; i != num_slots; ++i)
      if (slots[i].m_inner_rank != KEP_SLOT::NOT_INNER)
        use(next++, KEP_OCCURRENCE{number + slots[i].m_number, parent, static_cast<std::uint32_t>(i), 0,
                                   slots[i].m_module->m_number});
  };
  visit_children(KEP_UNFOLDING::ABOVE_TOP, unfolding.m_top_slots.data(), unfolding.m_top_slots.size());
  for (std::uint32_t i = 1; i < num_occurrences; ++i) {
    const KEP_MODULE& module = *unfolding.m_modules[get(i).m_module];
    visit_children(i, module.m_slots.get(), module.m_num_slots);
  }
}

void KEP_MODEL_FREEZER::lay_out_occurrences() {
  const std::uint64_t num_occurrences = number_tops();
  KEP_UNFOLDING& unfolding = m_storage->m_own_unfolding;
  std::vector<KEP_OCCURRENCE> occurrences;
  occurrences.reserve(num_occurrences);
  occurrences.push_back({0, 0, 0, 0, static_cast<std::uint32_t>(unfolding.m_modules.size())});
  visit_occurrences(
      num_occurrences, [&](std::uint32_t i) { return occurrences[i]; },
      [&](std::uint32_t, const KEP_OCCURRENCE& occurrence) { occurrences.push_back(occurrence); },
      [&](std::uint32_t i, std::uint32_t child) { occurrences[i].m_first_child = child; });
  unfolding.m_occurrences = std::move(occurrences);
}

/// The entries that were given must be those that would be laid out.
void KEP_MODEL_FREEZER::take_occurrences(std::span<const KEP_OCCURRENCE> given) {
  const std::uint64_t num_occurrences = number_tops();
  KEP_UNFOLDING& unfolding = m_storage->m_own_unfolding;
  const auto num_modules = static_cast<std::uint32_t>(unfolding.m_modules.size());
  if (given.size() != num_occurrences)
    throw KEP_DB_ERROR(
        fmt::format("occurrences: {} are there, {} in the model", given.size(), num_occurrences));
  const auto check = [](bool is_right, std::uint32_t i) {
    if (!is_right) throw KEP_DB_ERROR(fmt::format("occurrences.{}: it is not that of the model", i));
  };
  const KEP_OCCURRENCE& above = given.front();
  check(above.m_number == 0 && above.m_parent == 0 && above.m_slot == 0 && above.m_module == num_modules, 0);
  visit_occurrences(
      num_occurrences, [&](std::uint32_t i) { return given[i]; },
      [&](std::uint32_t i, const KEP_OCCURRENCE& expected) {
        const KEP_OCCURRENCE& each = given[i];
        check(each.m_number == expected.m_number && each.m_parent == expected.m_parent &&
                  each.m_slot == expected.m_slot && each.m_module == expected.m_module,
              i);
      },
      [&](std::uint32_t i, std::uint32_t child) { check(given[i].m_first_child == child, i); });
  unfolding.m_occurrences = KEP_TABLE<KEP_OCCURRENCE>::lend(given.data(), given.size());
}
