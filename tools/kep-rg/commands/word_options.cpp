#include "tools/kep-rg/commands/word_options.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <system_error>

namespace {

/// Shows the one positional option as its type says, which holds all of its words.
class WORDS_FORMATTER : public CLI::Formatter {
public:
  std::string make_option_usage(const CLI::Option* option) const override { return option->get_type_name(); }
  std::string make_option_name(const CLI::Option* option, bool is_positional) const override {
    return is_positional ? option->get_type_name() : CLI::Formatter::make_option_name(option, false);
  }
  std::string make_option_opts(const CLI::Option* option) const override {
    return option->get_positional() ? "" : CLI::Formatter::make_option_opts(option);
  }
};

/// The name of a node holds a colon, so a word without one that names a file is meant as the file.
bool is_file(const std::string& word) {
  std::error_code ignored;
  return word.find(KEP_NAME_STYLE().m_port_separator) == std::string::npos &&
         std::filesystem::exists(word, ignored) && !std::filesystem::is_directory(word, ignored);
}

} // namespace

void NODE_WORDS::add_to(CLI::App& command, const std::string& description) {
  m_command = command.get_name();
  m_usage = "DEVICE [ROUTING ...]";
  for (const std::string& node : m_nodes)
    m_usage += " " + node;
  command.add_option("WORDS", m_words, description)->type_name(m_usage);
  command.formatter(std::make_shared<WORDS_FORMATTER>());
}

void NODE_WORDS::refuse(const std::string& reason) const {
  throw std::runtime_error(m_command + ": " + reason + "; usage: kep-rg " + m_command + " " + m_usage);
}

std::vector<std::string> NODE_WORDS::take(DEVICE_OPTIONS& device) const {
  const auto names = m_words.end() - static_cast<std::ptrdiff_t>(std::min(m_words.size(), m_nodes.size()));
  const auto file = std::find_if(names, m_words.end(), is_file);
  if (file != m_words.end()) {
    const auto last_file = std::find_if(m_words.rbegin(), m_words.rend(), is_file);
    const std::size_t num_names = static_cast<std::size_t>(last_file - m_words.rbegin());
    std::string missing = m_nodes[num_names];
    for (std::size_t i = num_names + 1; i != m_nodes.size(); ++i)
      missing += " and " + m_nodes[i];
    refuse(missing + (num_names + 1 == m_nodes.size() ? " is" : " are") + " missing: " + *last_file +
           " is a file and no node");
  }
  if (m_words.size() <= m_nodes.size()) refuse("there are too few words");
  device.m_model = m_words.front();
  device.m_routing.assign(m_words.begin() + 1, names);
  return {names, m_words.end()};
}
