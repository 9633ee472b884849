#pragma once

#include <string>
#include <string_view>

/// The text of a routing description, a statement a line. Names go into the text as they are: those of a
/// generated fabric hold nothing that would need an escape.
class GENERATE_DESCRIPTION {
public:
  const std::string& get_text() const { return m_text; }

  void add_port_edge(std::string_view module, std::string_view input, std::string_view output,
                     unsigned hipi = 0, bool flag = false);
  void add_routing_flyover(std::string_view module, std::string_view input, std::string_view output);
  void add_routing_root(std::string_view module, std::string_view root_view);
  void add_inserted_node(std::string_view module, std::string_view port);
  void add_tunnel_type(std::string_view module, unsigned tunnel);
  void set_skip_paths(std::string_view module, std::string_view instance, bool skip);
  void set_skip_paths(std::string_view module, bool skip);
  void add_wire_type(std::string_view name, unsigned flags, std::string_view module, std::string_view path);
  void set_spare_row(std::string_view instance);

private:
  std::string m_text;
};
