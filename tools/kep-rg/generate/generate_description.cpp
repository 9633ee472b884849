#include "tools/kep-rg/generate/generate_description.h"

#include <fmt/format.h>

#include <iterator>

namespace {

auto end_of(std::string& text) {
  return std::back_inserter(text);
}

} // namespace

void GENERATE_DESCRIPTION::add_port_edge(std::string_view module, std::string_view input,
                                         std::string_view output, unsigned hipi, bool flag) {
  fmt::format_to(end_of(m_text), R"({{"op":"add_port_edge","module":"{}","input":"{}","output":"{}")", module,
                 input, output);
  if (hipi != 0) fmt::format_to(end_of(m_text), R"(,"hipi":{})", hipi);
  if (flag) m_text += R"(,"flag":true)";
  m_text += "}\n";
}

void GENERATE_DESCRIPTION::add_routing_flyover(std::string_view module, std::string_view input,
                                               std::string_view output) {
  fmt::format_to(end_of(m_text),
                 R"({{"op":"add_routing_flyover","module":"{}","input":"{}","output":"{}"}})"
                 "\n",
                 module, input, output);
}

void GENERATE_DESCRIPTION::add_routing_root(std::string_view module, std::string_view root_view) {
  fmt::format_to(end_of(m_text),
                 R"({{"op":"add_routing_root","module":"{}","root_view":"{}"}})"
                 "\n",
                 module, root_view);
}

void GENERATE_DESCRIPTION::add_inserted_node(std::string_view module, std::string_view port) {
  fmt::format_to(end_of(m_text),
                 R"({{"op":"add_inserted_node","module":"{}","port":"{}"}})"
                 "\n",
                 module, port);
}

void GENERATE_DESCRIPTION::add_tunnel_type(std::string_view module, unsigned tunnel) {
  fmt::format_to(end_of(m_text),
                 R"({{"op":"add_tunnel_type","module":"{}","tunnel":{}}})"
                 "\n",
                 module, tunnel);
}

void GENERATE_DESCRIPTION::set_skip_paths(std::string_view module, std::string_view instance, bool skip) {
  fmt::format_to(end_of(m_text),
                 R"({{"op":"set_skip_paths","module":"{}","instance":"{}","skip":{}}})"
                 "\n",
                 module, instance, skip);
}

void GENERATE_DESCRIPTION::set_skip_paths(std::string_view module, bool skip) {
  fmt::format_to(end_of(m_text),
                 R"({{"op":"set_skip_paths","module":"{}","skip":{}}})"
                 "\n",
                 module, skip);
}

void GENERATE_DESCRIPTION::add_wire_type(std::string_view name, unsigned flags, std::string_view module,
                                         std::string_view path) {
  fmt::format_to(end_of(m_text),
                 R"({{"op":"add_wire_type","name":"{}","flags":{},"module":"{}","path":"{}"}})"
                 "\n",
                 name, flags, module, path);
}

void GENERATE_DESCRIPTION::set_spare_row(std::string_view instance) {
  fmt::format_to(end_of(m_text),
                 R"({{"op":"set_spare_row","instance":"{}"}})"
                 "\n",
                 instance);
}
