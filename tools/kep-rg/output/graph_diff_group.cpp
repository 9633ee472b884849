#include "tools/kep-rg/output/graph_diff_group.h"

#include "kep_io/text/kep_json_text.h"
#include "kep_report/kep_report_number.h"

#include <fmt/format.h>

#include <cstdint>

namespace {

using GROUP = KEP_GRAPH_DIFF_GROUP;

constexpr const char* SIDE_WORDS[] = {"gone", "new"};

std::string count(std::uint64_t number, const char* thing) {
  return fmt::format("{} {}{}", KEP_REPORT::group_digits(number), thing, number == 1 ? "" : "s");
}

/// What is gone and what is new: "2 nodes gone; 3 edges new".
std::string format_both(const GROUP& group) {
  std::string text;
  for (const unsigned side : {0U, 1U})
    if (!group.m_counts[side].empty())
      text += fmt::format("{}{} {}", text.empty() ? "" : "; ", format_counts(group.m_counts[side]),
                          SIDE_WORDS[side]);
  return text;
}

std::string get_name(const KEP_MODULE* module) {
  if (!module) return "the top";
  if (module->get_view_type() == KEP_VIEW_TYPE::LOGICAL) return module->get_plain_name();
  return fmt::format("{} ({})", module->get_plain_name(), kep_get_name_of_view_type(module->get_view_type()));
}

/// The module of both sides, or of the one that has it.
std::string get_module_name(const GROUP& group) {
  const std::string first = get_name(group.m_modules[0] ? group.m_modules[0] : group.m_modules[1]);
  const std::string second = get_name(group.m_modules[1] ? group.m_modules[1] : group.m_modules[0]);
  return first == second ? first : fmt::format("{}, now {}", first, second);
}

/// A side that has what the group is about.
unsigned get_side(const GROUP& group) {
  if (group.m_about == GROUP::ABOUT::INSTANCES) return group.m_masters[0] ? 0 : 1;
  return group.m_inst_ports[0] || group.m_ports[0] ? 0 : 1;
}

std::string get_instance_name(const GROUP& group) {
  const unsigned side = get_side(group);
  if (group.m_instances[side]) return group.m_instances[side]->get_plain_name();
  return group.m_inst_ports[side] ? group.m_inst_ports[side]->get_inst()->get_plain_name() : "";
}

std::string get_port_name(const GROUP& group) {
  const unsigned side = get_side(group);
  if (group.m_inst_ports[side]) return group.m_inst_ports[side]->get_port()->get_plain_name();
  return group.m_ports[side] ? group.m_ports[side]->get_plain_name() : "";
}

std::string format_instances(const GROUP& group) {
  const unsigned side = get_side(group);
  const std::string counts = format_counts(group.m_counts[side]);
  const std::string master = get_name(group.m_masters[side]);
  if (!group.m_modules[side]) return fmt::format("all of {} is {}: {}", master, SIDE_WORDS[side], counts);
  if (group.m_num_instances == 1)
    return fmt::format("instance {} of {}, a {}, is {}{}: {}", get_instance_name(group),
                       get_module_name(group), master, SIDE_WORDS[side],
                       group.m_num_places == 1 ? "" : " at " + count(group.m_num_places, "place"), counts);
  return fmt::format(
      "{} of {} in {} are {}{}, {} the first: {}", count(group.m_num_instances, "instance"), master,
      get_module_name(group), SIDE_WORDS[side],
      group.m_num_places == group.m_num_instances ? "" : " at " + count(group.m_num_places, "place"),
      get_instance_name(group), counts);
}

/// What stands behind a group, in words; empty if it is not known.
std::string format_cause(const GROUP& group) {
  const char* word = SIDE_WORDS[get_side(group)];
  switch (group.m_cause) {
  case GROUP::CAUSE::UNKNOWN:
    return "";
  case GROUP::CAUSE::INSTANCE:
    return fmt::format("instance {} is {}", get_instance_name(group), word);
  case GROUP::CAUSE::PORT:
    return fmt::format("port {} is {}", get_port_name(group), word);
  case GROUP::CAUSE::ARC:
    return "an arc on one side only";
  case GROUP::CAUSE::MASTER:
    return fmt::format("{} was a {}, is a {}", get_instance_name(group), get_name(group.m_masters[0]),
                       get_name(group.m_masters[1]));
  case GROUP::CAUSE::NET:
    return group.m_inst_ports[0]->get_net() ? "not connected any more" : "not connected before";
  }
  return "";
}

/// A mux that has the input on one side alone, or uses it there alone.
std::string format_lost_input(const GROUP& group) {
  const unsigned side = group.m_counts[1].empty() ? 0 : 1;
  return fmt::format("mux {} of {} {} input {}: {}{}", get_instance_name(group), get_module_name(group),
                     side == 0 ? "lost" : "got", get_port_name(group), format_counts(group.m_counts[side]),
                     group.m_cause == GROUP::CAUSE::NET ? " (" + format_cause(group) + ")" : "");
}

/// The same of several muxes.
std::string format_lost_input_of_master(const GROUP& group) {
  const unsigned side = group.m_counts[1].empty() ? 0 : 1;
  return fmt::format("{} {} input {}: {} at {}, {} of {} the first", get_name(group.m_masters[side]),
                     side == 0 ? "lost" : "got", get_port_name(group), format_counts(group.m_counts[side]),
                     KEP_REPORT::group_digits(group.m_num_instances) + " muxes", get_instance_name(group),
                     get_module_name(group));
}

std::string format_subject(const GROUP& group) {
  const std::string instance = get_instance_name(group);
  const std::string port = get_port_name(group);
  const std::string module = get_module_name(group);
  if (group.m_about == GROUP::ABOUT::MUX_INPUT)
    return fmt::format("mux {} of {}, input {}", instance, module, port);
  const char* kind = group.m_about == GROUP::ABOUT::NODES ? "node" : "driver";
  return fmt::format("{} {}:{} of {}", kind, instance, port, module);
}

const char* get_id(GROUP::ABOUT about) {
  constexpr const char* IDS[] = {"instances", "nodes", "mux_input", "master", "driver"};
  return IDS[static_cast<unsigned>(about)];
}

const char* get_id(GROUP::CAUSE cause) {
  constexpr const char* IDS[] = {"unknown", "instance", "master", "port", "arc", "net"};
  return IDS[static_cast<unsigned>(cause)];
}

std::string get_module_json(const KEP_MODULE* module) {
  return module ? kep_get_json_text(module->get_plain_name()) : "null";
}

} // namespace

std::string format_counts(const KEP_GRAPH_DIFF_COUNTS& counts) {
  if (counts.empty()) return "nothing";
  const std::uint64_t num_edges = counts.get_num_edges();
  std::string text = counts.m_num_nodes == 0 ? "" : count(counts.m_num_nodes, "node");
  if (num_edges == 0) return text;
  if (!text.empty()) text += ", ";
  if (counts.m_num_real == 0) return text + count(num_edges, "redundant edge");
  text += count(num_edges, "edge");
  if (counts.m_num_redundant != 0)
    text += fmt::format(" ({} redundant)", KEP_REPORT::group_digits(counts.m_num_redundant));
  return text;
}

std::string format_group(const KEP_GRAPH_DIFF_GROUP& group) {
  if (group.m_about == GROUP::ABOUT::INSTANCES) return format_instances(group);
  if (group.m_about == GROUP::ABOUT::MASTER) return format_lost_input_of_master(group);
  const bool is_one_sided = group.m_counts[0].empty() || group.m_counts[1].empty();
  const bool lacks_input = group.m_cause == GROUP::CAUSE::ARC || group.m_cause == GROUP::CAUSE::PORT ||
                           group.m_cause == GROUP::CAUSE::NET;
  if (group.m_about == GROUP::ABOUT::MUX_INPUT && lacks_input && is_one_sided)
    return format_lost_input(group);
  const std::string cause = format_cause(group);
  return fmt::format("{}: {}{}", format_subject(group), format_both(group),
                     cause.empty() ? "" : " (" + cause + ")");
}

std::string get_counts_json(const KEP_GRAPH_DIFF_COUNTS& counts) {
  return fmt::format(R"({{"nodes": {}, "real_edges": {}, "redundant_edges": {}}})", counts.m_num_nodes,
                     counts.m_num_real, counts.m_num_redundant);
}

std::string get_group_json(const KEP_GRAPH_DIFF_GROUP& group) {
  std::string more;
  if (group.m_about == GROUP::ABOUT::INSTANCES)
    more = fmt::format(R"("master": {}, "instances": {}, "places": {}, )",
                       get_module_json(group.m_masters[get_side(group)]), group.m_num_instances,
                       group.m_num_places);
  else
    more = fmt::format(R"("port": {}, "cause": "{}", )", kep_get_json_text(get_port_name(group)),
                       get_id(group.m_cause));
  if (group.m_about == GROUP::ABOUT::MASTER)
    more += fmt::format(R"("master": {}, "muxes": {}, )", get_module_json(group.m_masters[get_side(group)]),
                        group.m_num_instances);
  return fmt::format(R"({{"about": "{}", "modules": [{}, {}], "instance": {}, {}"gone": {}, "new": {}, )"
                     R"("text": {}}})",
                     get_id(group.m_about), get_module_json(group.m_modules[0]),
                     get_module_json(group.m_modules[1]), kep_get_json_text(get_instance_name(group)), more,
                     get_counts_json(group.m_counts[0]), get_counts_json(group.m_counts[1]),
                     kep_get_json_text(format_group(group)));
}
