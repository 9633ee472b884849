#pragma once

#include "tools/kep-rg/device/load_device.h"

#include <CLI/CLI.hpp>

#include <string>
#include <utility>
#include <vector>

/// The words of a command on a device and on some of its nodes: DEVICE [ROUTING ...] and then the names of
/// the nodes. The option parser can't tell where the files end; here the last words are the names.
class NODE_WORDS {
public:
  /// The description of the words of a command on one plain node.
  static constexpr const char* UIP_TEXT = "The device model and its routing descriptions, or a device "
                                          "database, and the uip of a plain node, the name that the "
                                          "dump has for it: a/b:c";

  /// The names of the nodes as the usage has them: {"FROM", "TO"}.
  explicit NODE_WORDS(std::vector<std::string> nodes) : m_nodes(std::move(nodes)) {}

  /// Both objects must outlive the parse.
  void add_to(CLI::App& command, const std::string& description);
  /// After the parse: puts the files into the device and gives the names of the nodes. Too few words, and a
  /// file where a name should stand, are told by std::runtime_error.
  std::vector<std::string> take(DEVICE_OPTIONS& device) const { return take(device, m_nodes.size()); }
  /// The same for a wish that takes the first so many of the names alone. A further word that can only be a
  /// name is refused.
  std::vector<std::string> take(DEVICE_OPTIONS& device, std::size_t num_names) const;

private:
  [[noreturn]] void refuse(const std::string& reason) const;

  std::vector<std::string> m_nodes;
  std::vector<std::string> m_words;
  std::string m_command;
  std::string m_usage;
};
