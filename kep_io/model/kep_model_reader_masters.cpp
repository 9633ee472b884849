#include "kep_io/model/kep_model_reader_masters.h"

#include <fmt/format.h>

namespace {

bool has_members(simdjson::dom::object owner, std::string_view name) {
  simdjson::dom::object members;
  return owner[name].get(members) == simdjson::SUCCESS && members.size() != 0;
}

/// What makes Yosys write a module for each set of parameters that cells give to a black box.
std::string get_derivation(std::string_view type) {
  return fmt::format("\"setattr -mod -unset blackbox ={}\" before \"hierarchy\"", type);
}

} // namespace

std::string kep_tell_unknown_master(std::string_view type, simdjson::dom::object cell) {
  const std::string unknown = fmt::format("unknown master \"{}\"", type);
  if (type.starts_with("$array:"))
    return fmt::format("{}: an array of instances that Yosys unrolls in \"hierarchy -top TOP\"", unknown);
  if (type.starts_with("$paramod"))
    return fmt::format("{}: a module with parameters that isn't in the file; write the whole design",
                       unknown);
  if (type.starts_with("$"))
    return fmt::format(
        "{}: a cell that Yosys made from an expression or a process. \"blackbox MODULE\" empties "
        "a module, \"delete =*/t:{}\" takes such cells out",
        unknown, type);
  if (has_members(cell, "parameters"))
    return fmt::format(
        "{}: the file has no such module. If it is a black box with parameters, Yosys needs its "
        "ports (\"read_verilog -lib FILE\"), and {}",
        unknown, get_derivation(type));
  return fmt::format(
      "{}: the file has no such module. If it is a black box, Yosys needs its ports (\"read_verilog "
      "-lib FILE\"); \"hierarchy -check\" tells what is missing",
      unknown);
}

std::string kep_tell_unknown_port(std::string_view port, std::string_view type) {
  const bool is_position = port.size() > 1 && port.front() == '$' &&
                           port.find_first_not_of("0123456789", 1) == std::string_view::npos;
  return fmt::format("unknown port: the master \"{}\" has none of that name{}", type,
                     is_position ? ", which is a position; Yosys names ports in \"hierarchy -top TOP\"" : "");
}

std::string kep_tell_other_width(unsigned width, unsigned master_width, std::string_view type,
                                 simdjson::dom::object cell) {
  std::string differs = fmt::format("the width is {}, that of the master's port {}", width, master_width);
  if (has_members(cell, "parameters"))
    return fmt::format(
        "{}: the cell gives parameters to a black box, which Yosys writes once, as it is without "
        "them; {} makes a module for each set",
        differs, get_derivation(type));
  return differs;
}
