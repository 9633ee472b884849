#include "tools/kep-rg/describe/describe_arcs.h"

#include "kep_io/kep_io_error.h"
#include "kep_io/text/kep_closest_names.h"
#include "kep_io/text/kep_json_text.h"
#include "kep_io/text/kep_view_name.h"
#include "tools/kep-rg/output/plain_output.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

namespace {

/// The name of a port in the file: that of a bit of several ends in "[NUMBER]".
std::string_view get_bus_name(std::string_view bit) {
  const std::size_t bracket = bit.rfind('[');
  if (bracket == std::string_view::npos || !bit.ends_with(']')) return bit;
  const std::string_view number = bit.substr(bracket + 1, bit.size() - bracket - 2);
  const bool is_number = !number.empty() && number.find_first_not_of("-0123456789") == std::string_view::npos;
  return is_number ? bit.substr(0, bracket) : bit;
}

std::vector<const KEP_PORT*> find_bits(const KEP_MODULE& module, const std::string& name) {
  if (const KEP_PORT* port = module.find_port(name.c_str())) return {port};
  std::vector<const KEP_PORT*> bits;
  for (const KEP_PORT* port : module.iter_ports())
    if (get_bus_name(port->get_plain_name()) == name) bits.push_back(port);
  return bits;
}

/// Why the bits can't be one side of an arc; "" when they can.
std::string find_fault(const std::vector<const KEP_PORT*>& bits, const std::string& name, bool is_input) {
  if (bits.empty()) return fmt::format("it has no port \"{}\"", name);
  if (is_input ? bits[0]->is_output() : bits[0]->is_input())
    return fmt::format("its port \"{}\" is an {}", name, is_input ? "output" : "input");
  return "";
}

/// The first ports of a module, as a file has them.
std::string list_ports(const KEP_MODULE& module) {
  constexpr unsigned MAX_PORTS = 8;
  std::string names;
  std::string_view last;
  unsigned count = 0;
  for (const KEP_PORT* port : module.iter_ports()) {
    const std::string_view name = get_bus_name(port->get_plain_name());
    if (name == last) continue;
    last = name;
    if (++count > MAX_PORTS) return names + ", ...";
    names += fmt::format("{}{} \"{}\"", names.empty() ? "" : ",",
                         port->is_input()    ? " input"
                         : port->is_output() ? " output"
                                             : " inout",
                         name);
  }
  return names.empty() ? " no port" : names;
}

void append_arc(std::string& text, const KEP_MODULE& module, const KEP_PORT& in, const KEP_PORT& out) {
  text += "{\"op\": \"add_port_edge\", \"module\": ";
  kep_append_json_text(text, module.get_plain_name());
  if (module.get_view_type() != KEP_VIEW_TYPE::LOGICAL)
    text += fmt::format(", \"view\": \"{}\"", kep_get_view_name(module.get_view_type()));
  text += ", \"input\": ";
  kep_append_json_text(text, in.get_plain_name());
  text += ", \"output\": ";
  kep_append_json_text(text, out.get_plain_name());
  text += "}\n";
}

} // namespace

MUX_FINDINGS DESCRIBE_ARCS::add(const MUX_PATTERN& pattern) {
  MUX_FINDINGS findings;
  const KEP_MODULE* first = nullptr;
  for (const KEP_MODULE* module : m_db.iter_modules(true)) {
    if (!pattern.fits(module->get_plain_name())) continue;
    if (!first) first = module;
    add_arcs(*module, pattern, findings);
  }
  if (!first) refuse_glob(pattern);
  if (findings.m_modules.empty())
    refuse_ports(pattern, fmt::format("modules.{} has{}", first->get_key(), list_ports(*first)));
  return findings;
}

void DESCRIBE_ARCS::add_arcs(const KEP_MODULE& module, const MUX_PATTERN& pattern, MUX_FINDINGS& findings) {
  const std::vector<const KEP_PORT*> inputs = find_bits(module, pattern.m_in);
  const std::vector<const KEP_PORT*> outputs = find_bits(module, pattern.m_out);
  std::string fault = find_fault(inputs, pattern.m_in, true);
  if (fault.empty()) fault = find_fault(outputs, pattern.m_out, false);
  if (!fault.empty()) {
    ++findings.m_num_without_ports;
    warn(fmt::format("{}: modules.{}: it fits \"{}\", but {}", m_file, module.get_key(), pattern.m_text,
                     fault));
    return;
  }
  check_name(module);
  findings.m_modules.push_back(&module);
  for (const KEP_PORT* in : inputs)
    for (const KEP_PORT* out : outputs)
      if (m_arcs.emplace(in, out).second) {
        append_arc(m_text, module, *in, *out);
        ++findings.m_num_arcs;
      }
}

/// A description names a module by name and view, and reaches the first of them.
void DESCRIBE_ARCS::check_name(const KEP_MODULE& module) const {
  const KEP_MODULE* first = m_db.find_modules(module.get_plain_name(), module.get_view_type(), true).front();
  if (first != &module)
    throw KEP_IO_ERROR(
        fmt::format("{}: modules.{}: modules.{} has its name, \"{}\", too, so a description can't "
                    "name it; without kep_name its key is its name",
                    m_file, module.get_key(), first->get_key(), module.get_plain_name()));
}

void DESCRIBE_ARCS::refuse_glob(const MUX_PATTERN& pattern) const {
  std::string letters = pattern.m_glob;
  letters.erase(std::remove_if(letters.begin(), letters.end(),
                               [](char letter) {
                                 return std::string_view("*?[]").find(letter) != std::string_view::npos;
                               }),
                letters.end());
  KEP_CLOSEST_NAMES closest(letters);
  for (const KEP_MODULE* module : m_db.iter_modules(true))
    closest.offer(module->get_plain_name());
  std::string names;
  for (const std::string& name : closest.get_names())
    names += fmt::format("{} \"{}\"", names.empty() ? "" : ",", name);
  throw KEP_IO_ERROR(fmt::format("{}: no module fits \"{}\" (--mux '{}'); the closest names:{}", m_file,
                                 pattern.m_glob, pattern.m_text, names));
}

void DESCRIBE_ARCS::refuse_ports(const MUX_PATTERN& pattern, const std::string& reason) const {
  throw KEP_IO_ERROR(
      fmt::format("{}: no module that fits \"{}\" has an input \"{}\" and an output \"{}\" (--mux '{}'); {}",
                  m_file, pattern.m_glob, pattern.m_in, pattern.m_out, pattern.m_text, reason));
}
