#include "kep/kep_routing_graph.h"
#include "kep_rg/kep_rg_exception.h"
#include "kep_rg/kep_rg_instance_is_primitive.h"
#include "kep_rg/kep_rg_parse.h"
#include "tests/support/random_model.h"
#include "tests/support/seeds.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace primitives_random_test {

// The tables against answers found by searching the whole description anew for every question, on many small
// random models and descriptions.

using PORTS = std::vector<const KEP_PORT*>;
using INST_PORTS = std::vector<const KEP_INST_PORT*>;

class NAIVE {
public:
  explicit NAIVE(const KEP_DB* db)
      : m_db(db), m_store(db->get_routing_template_graph()->get_routing_primitive()) {}

  PORTS skip_outputs(const KEP_PORT* input) const {
    PORTS outputs;
    for (const KEP_ROUTING_MUX* mux : m_store->iter_routing_muxes(false))
      for (const KEP_ROUTING_ARC* arc : mux->iter_routing_arcs())
        if (mux->get_skip() && arc->get_input() == input) outputs.push_back(arc->get_output());
    return outputs;
  }
  // The outputs of the input's arcs in muxes whose flag is `skip` and that except its instance.
  INST_PORTS excepted_outputs(const KEP_INST_PORT* input, bool skip) const {
    INST_PORTS outputs;
    for (const KEP_ROUTING_MUX* mux : m_store->iter_routing_muxes(false))
      for (const KEP_ROUTING_ARC* arc : mux->iter_routing_arcs())
        for (const KEP_INSTANCE* instance : mux->iter_skip_exception_instances())
          if (mux->get_skip() == skip && instance == input->get_inst() &&
              arc->get_input() == input->get_port())
            outputs.push_back(on(instance, arc->get_output()));
    return outputs;
  }
  INST_PORTS inst_outputs(const KEP_INST_PORT* input) const {
    INST_PORTS outputs = excepted_outputs(input, false);
    const std::string pattern = m_store->get_non_template_mux_skip_path_inst_name_pattern();
    const KEP_INSTANCE* instance = input->get_inst();
    if (pattern.empty() || std::string(instance->get_plain_name()).find(pattern) == std::string::npos)
      return outputs;
    for (unsigned i = walks_through(instance->get_parent()); i != 0; --i)
      for (const KEP_ROUTING_ARC* arc : m_store->iter_routing_arcs(false))
        if (arc->get_input() == input->get_port() && !arc->get_parent()->get_skip() &&
            !arc->get_parent()->has_skip_exception_instances())
          outputs.push_back(on(instance, arc->get_output()));
    return outputs;
  }
  bool is_ignored(const KEP_PORT* output) const {
    for (const KEP_ROUTING_ARC* arc : m_store->iter_routing_arcs(false))
      if (arc->get_output() == output && arc->is_always_skip()) return true;
    return false;
  }
  bool is_inserted_inst_port(const KEP_INST_PORT* output) const {
    for (const KEP_PORT* input : all_ports(output->get_port()->get_parent())) {
      const INST_PORTS outputs = excepted_outputs(on(output->get_inst(), input), true);
      if (std::count(outputs.begin(), outputs.end(), output)) return true;
    }
    return false;
  }
  const KEP_PORT* flyover(const KEP_PORT* input) const {
    for (const KEP_ROUTING_FLYOVER* each : m_store->iter_routing_flyovers(false))
      if (each->get_input() == input) return each->get_output();
    return nullptr;
  }
  bool is_stop_module(const KEP_MODULE* module) const {
    if (module->has_trait(KEP_MODULE::TRAIT::IP_ROOT) && module->get_view_type() != KEP_VIEW_TYPE::LOGICAL)
      return false;
    for (const KEP_ROUTING_MUX* mux : m_store->iter_routing_muxes(false))
      if (mux->get_module() == module && !mux->get_skip()) return true;
    return false;
  }
  bool is_root(const KEP_MODULE* module) const {
    const auto roots = m_store->iter_routing_roots(false);
    return std::count(roots.begin(), roots.end(), module) != 0;
  }

  enum MARK { INSERTED, REMOVED };
  bool is_marked(const KEP_PORT* port, MARK mark) const {
    if (mark == INSERTED) return m_store->is_insert_node(port);
    return m_store->is_remove_node(port) && !m_store->is_insert_node(port);
  }
  bool has_mark(const KEP_MODULE* module, MARK mark) const {
    const PORTS ports = all_ports(module);
    return std::any_of(ports.begin(), ports.end(),
                       [&](const KEP_PORT* each) { return is_marked(each, mark); });
  }
  // Marked itself or, in a twin, on an equivalent that is none.
  bool is_marked_somewhere(const KEP_PORT* port, MARK mark) const {
    for (const KEP_MODULE* source : sources_of(port->get_parent()))
      if (is_marked(source->get_port_by_index(port->get_index()), mark)) return true;
    return false;
  }
  // The first source of marks in the order of the design speaks for the module.
  bool is_marked_in_entry(const KEP_PORT* port, MARK mark) const {
    const KEP_MODULE* module = port->get_parent();
    for (const KEP_MODULE* source : sources_of(module)) {
      const bool speaks =
          source == module ? has_mark(module, INSERTED) || has_mark(module, REMOVED) : has_mark(source, mark);
      if (speaks) return is_marked(source->get_port_by_index(port->get_index()), mark);
    }
    return false;
  }

  static PORTS all_ports(const KEP_MODULE* module) {
    const auto ports = module->iter_ports();
    return {ports.begin(), ports.end()};
  }

private:
  static const KEP_INST_PORT* on(const KEP_INSTANCE* instance, const KEP_PORT* port) {
    return instance->get_inst_port_by_index(port->get_index());
  }
  std::vector<const KEP_MODULE*> sources_of(const KEP_MODULE* module) const {
    const bool is_twin = module->get_view_type() == KEP_VIEW_TYPE::LOGICAL_TWIN;
    std::vector<const KEP_MODULE*> sources;
    for (const KEP_MODULE* each : m_db->iter_modules(true)) {
      const std::vector<KEP_MODULE*> others = module->get_equivalent_modules(each->get_view_type());
      const bool is_other = std::count(others.begin(), others.end(), each) != 0;
      if (each == module || (is_twin && is_other && each->get_view_type() != KEP_VIEW_TYPE::LOGICAL_TWIN))
        sources.push_back(each);
    }
    return sources;
  }
  // How many of the walks from the tops come through the module.
  unsigned walks_through(const KEP_MODULE* module) const {
    const KEP_MODULE* top = m_db->get_top_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
    unsigned walks = is_at_or_below(module, {top});
    for (const KEP_VIEW_TYPE view : {KEP_VIEW_TYPE::LOGICAL_TWIN, KEP_VIEW_TYPE::LOGICAL}) {
      const std::vector<KEP_MODULE*> tops = top->get_equivalent_modules(view);
      if (top->get_view_type() != view) walks += is_at_or_below(module, {tops.begin(), tops.end()});
    }
    return walks;
  }
  static bool is_at_or_below(const KEP_MODULE* module, const std::vector<const KEP_MODULE*>& tops) {
    return std::any_of(tops.begin(), tops.end(), [&](const KEP_MODULE* top) {
      if (top == module) return true;
      for (const KEP_INSTANCE* instance : top->iter_instances())
        if (is_at_or_below(module, {instance->get_module()})) return true;
      return false;
    });
  }

  const KEP_DB* m_db;
  const KEP_ROUTING_PRIMITIVE* m_store;
};

// States random facts, and keeps their text for the report of a failure.
class RANDOM_DESCRIPTION {
public:
  RANDOM_DESCRIPTION(KEP_DB* db, std::uint64_t seed) : m_random(seed), m_db(db), m_parse(db) {
    m_store = db->get_routing_template_graph()->get_routing_primitive();
    for (KEP_MODULE* module : db->iter_modules(true)) {
      if (module->get_num_ports() != 0) m_modules.push_back(module);
      for (KEP_INSTANCE* instance : module->iter_instances())
        m_instances.push_back(instance);
    }
    if (m_modules.empty()) return;
    for (unsigned i = m_random.below(25); i != 0; --i)
      state_fact();
    if (m_random.percent(50)) set_pattern(m_random.percent(50) ? "i" : "1");
  }

  const std::string& text() const { return m_text; }

private:
  void state_fact() {
    KEP_MODULE* module = m_random.pick(m_modules);
    KEP_PORT* a = port_of(module);
    KEP_PORT* b = port_of(module);
    const bool flag = m_random.percent(50);
    const unsigned kind = m_random.below(8);
    m_text += fmt::format("fact {} {} {} {} {}\n", kind, module->get_key(), a->get_plain_name(),
                          b->get_plain_name(), flag);
    switch (kind) {
    case 0:
    case 1:
      m_parse.add_port_edge(a, b, flag);
      break;
    case 2:
      m_parse.add_routing_flyover(a, b);
      break;
    case 3:
      m_store->add_insert_node(a, "");
      break;
    case 4:
      m_store->add_remove_node(a);
      break;
    case 5:
      m_store->add_routing_root(module);
      break;
    case 6:
      if (flag) KEP_ROUTING_ARC::allocate(m_db, a, b, KEP_ROUTING_MUX::allocate(m_db, module, true));
      break;
    default:
      set_skip_path_of_an_instance(flag);
    }
  }
  void set_skip_path_of_an_instance(bool skip) {
    if (m_instances.empty()) return;
    KEP_INSTANCE* instance = m_random.pick(m_instances);
    m_text +=
        std::string("  on ") + instance->get_parent()->get_key() + "/" + instance->get_plain_name() + "\n";
    try {
      m_parse.set_skip_paths(instance, skip);
    } catch (const KEP_RUNTIME_ERROR&) { // refused: what was marked before stays
    }
  }
  void set_pattern(const char* pattern) {
    m_text += std::string("pattern ") + pattern + "\n";
    m_parse.set_non_template_mux_skip_path_inst_name_pattern(pattern);
  }
  KEP_PORT* port_of(KEP_MODULE* module) {
    return module->get_port_by_index(m_random.below(module->get_num_ports()));
  }

  test_model::RANDOM_SOURCE m_random;
  KEP_DB* m_db;
  KEP_RG_PARSE m_parse;
  KEP_ROUTING_PRIMITIVE* m_store = nullptr;
  std::vector<KEP_MODULE*> m_modules;
  std::vector<KEP_INSTANCE*> m_instances;
  std::string m_text;
};

class RandomPrimitives : public testing::Test {
protected:
  // Counts that an answer other than "none" occurred.
  template <class T>
  void expect_entry(const char* question, const std::vector<T>* answer, const std::vector<T>& expected) {
    if (!expected.empty()) ++m_answers[question];
    EXPECT_EQ(answer ? *answer : std::vector<T>(), expected) << question;
    EXPECT_EQ(answer != nullptr, !expected.empty()) << question;
  }
  void expect_flag(const char* question, bool answer, bool expected) {
    m_answers[question] += expected;
    EXPECT_EQ(answer, expected) << question;
  }

  void compare_port(const NAIVE& naive, const KEP_RG_PRIMITIVES& tables, KEP_PORT* port) {
    expect_entry("skip outputs", tables.find_skip_path_outputs(port), naive.skip_outputs(port));
    expect_flag("flyover", tables.find_skip_path_sparerow_map(port), naive.flyover(port));
    EXPECT_EQ(tables.find_skip_path_sparerow_map(port), naive.flyover(port));
    expect_flag("ignored", tables.port_is_ignored(port), naive.is_ignored(port));
    expect_flag("has inserted", tables.has_inserted_port(port),
                naive.is_marked_somewhere(port, NAIVE::INSERTED));
    expect_flag("inserted", tables.is_inserted_port(port), naive.is_marked_in_entry(port, NAIVE::INSERTED));
    expect_flag("removed", tables.is_removed_port(port), naive.is_marked_in_entry(port, NAIVE::REMOVED));
    const auto* entry = tables.get_inserted_ports(port->get_parent());
    EXPECT_EQ(entry && entry->contains(port), tables.is_inserted_port(port));
  }

  void compare_inst_port(const NAIVE& naive, const KEP_RG_PRIMITIVES& tables, KEP_INST_PORT* inst_port) {
    const INST_PORTS dont_skip = naive.excepted_outputs(inst_port, true);
    expect_entry("inst outputs", tables.find_skip_path_inst_outputs(inst_port),
                 naive.inst_outputs(inst_port));
    expect_entry("dont skip", tables.find_dont_skip_path_inst_outputs(inst_port), dont_skip);
    expect_flag("inserted inst port", tables.is_inserted_inst_port(inst_port),
                naive.is_inserted_inst_port(inst_port));
    const bool begins =
        tables.find_skip_path_inst_outputs(inst_port) || tables.find_skip_path_outputs(inst_port->get_port());
    EXPECT_TRUE(!begins || tables.begins_some_path(inst_port->get_port()));
  }

  // What the predicate makes of the tables, at every uip of the model.
  void compare_outputs(const NAIVE& naive, const KEP_RG_INSTANCE_IS_PRIMITIVE& predicate,
                       const KEP_UNFOLDED_INST_PORT& uip) {
    const KEP_UNFOLDED_INSTANCE instance = uip.get_unfolded_instance();
    std::vector<unsigned> expected;
    const PORTS outputs = naive.skip_outputs(uip.m_object->get_port());
    if (outputs.empty()) {
      for (const KEP_INST_PORT* each : naive.inst_outputs(uip.m_object))
        expected.push_back(each->get_index());
    } else if (naive.excepted_outputs(uip.m_object, true).empty()) {
      for (const KEP_PORT* each : outputs)
        expected.push_back(each->get_index());
    }
    std::vector<KEP_UNFOLDED_INST_PORT> found;
    predicate.get_trace_thru_outputs(uip, found);
    std::vector<unsigned> indices;
    for (const KEP_UNFOLDED_INST_PORT& each : found) {
      EXPECT_EQ(each.get_unfolded_instance(), instance);
      indices.push_back(each.m_object->get_index());
    }
    EXPECT_EQ(indices, expected);
    m_answers["uip with outputs"] += !expected.empty();
  }

  void compare_module(const NAIVE& naive, const KEP_RG_PRIMITIVES& tables,
                      const KEP_RG_INSTANCE_IS_PRIMITIVE& predicate, const KEP_MODULE* module) {
    using TYPE = KEP_RG_INSTANCE_IS_PRIMITIVE::MODULE_TYPE;
    expect_flag("routing root", tables.is_routing_root(module), naive.is_root(module));
    const auto stops = tables.iter_stop_modules();
    expect_flag("stop module", std::count(stops.begin(), stops.end(), module) == 1,
                naive.is_stop_module(module));
    TYPE expected = TYPE::UNCLASSIFIED;
    if (naive.is_stop_module(module))
      expected = TYPE::STOP_MODULE;
    else if (module->has_trait(KEP_MODULE::TRAIT::IP_ROOT) && !naive.is_root(module))
      expected = TYPE::IP_ROOT_NOT_ROUTED;
    else if (module->has_trait(KEP_MODULE::TRAIT::IP_ROOT))
      expected = module->get_view_type() == KEP_VIEW_TYPE::BLC ? TYPE::BLC_ROUTING_ROOT : TYPE::ROUTING_ROOT;
    EXPECT_EQ(predicate.get_module_type(module), expected);
  }

  void compare_below(const NAIVE& naive, const KEP_RG_INSTANCE_IS_PRIMITIVE& predicate,
                     const KEP_UNFOLDED_MODULE& module) {
    for (const KEP_UNFOLDED_INSTANCE& instance : module.iter_instances()) {
      for (const KEP_UNFOLDED_INST_PORT& uip : instance.iter_inst_ports())
        compare_outputs(naive, predicate, uip);
      compare_below(naive, predicate, instance.get_module(KEP_VIEW_TYPE::DEFAULT_VIEW));
    }
  }

  void compare(const KEP_DB* db, const KEP_RG_PRIMITIVES& tables) {
    const NAIVE naive(db);
    const KEP_RG_INSTANCE_IS_PRIMITIVE predicate(db, tables,
                                                 KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank);
    for (const KEP_MODULE* module : db->iter_modules(true)) {
      compare_module(naive, tables, predicate, module);
      for (KEP_PORT* port : module->iter_ports())
        compare_port(naive, tables, port);
      for (KEP_INSTANCE* instance : module->iter_instances())
        for (const KEP_PORT* port : instance->get_module()->iter_ports())
          compare_inst_port(naive, tables, instance->get_inst_port_for_port(port));
    }
    compare_below(naive, predicate, db->get_top_unfolded_module(KEP_VIEW_TYPE::DEFAULT_VIEW));
  }

  std::map<std::string, unsigned> m_answers;
};

TEST_F(RandomPrimitives, AnswerAsASearchOfTheWholeDescriptionDoes) {
  for (const std::uint64_t seed : test_model::SEEDS(1, 2000)) {
    const std::unique_ptr<KEP_DB> db = test_model::make_random_db(seed, {.m_max_size = 60});
    RANDOM_DESCRIPTION description(db.get(), seed);
    const KEP_DB_ROUTING_PRIMITIVE_CACHE cache(db.get());
    const KEP_RG_PRIMITIVES tables(db.get(), &cache);
    compare(db.get(), tables);
    if (HasFailure()) FAIL() << test_model::describe(*db) << description.text();
  }
  for (const auto& [question, count] : m_answers)
    EXPECT_GE(count, 50U) << "hardly ever: " << question;
  EXPECT_EQ(m_answers.size(), 12U);
}

} // namespace primitives_random_test
