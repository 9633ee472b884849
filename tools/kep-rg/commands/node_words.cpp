#include "tools/kep-rg/commands/node_words.h"

#include "tools/kep-rg/output/plain_output.h"

#include <fmt/format.h>

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
  return word.find(NAME_STYLE.m_port_separator) == std::string::npos &&
         std::filesystem::exists(word, ignored) && !std::filesystem::is_directory(word, ignored);
}

/// No file, but the name of a node.
bool is_name(const std::string& word) {
  std::error_code ignored;
  return word.find(NAME_STYLE.m_port_separator) != std::string::npos &&
         !std::filesystem::exists(word, ignored);
}

} // namespace

void NODE_WORDS::add_to(CLI::App& command, const std::string& description) {
  m_command = command.get_name();
  m_usage = fmt::format("DEVICE [ROUTING ...] {}", fmt::join(m_nodes, " "));
  command.add_option("WORDS", m_words, description)->type_name(m_usage);
  command.formatter(std::make_shared<WORDS_FORMATTER>());
}

void NODE_WORDS::refuse(const std::string& reason) const {
  throw std::runtime_error(fmt::format("{}: {}; usage: kep-rg {} {}", m_command, reason, m_command, m_usage));
}

std::vector<std::string> NODE_WORDS::take(DEVICE_OPTIONS& device, std::size_t num_names) const {
  const auto names = m_words.end() - static_cast<std::ptrdiff_t>(std::min(m_words.size(), num_names));
  const auto file = std::find_if(names, m_words.end(), is_file);
  if (file != m_words.end()) {
    const auto last_file = std::find_if(m_words.rbegin(), m_words.rend(), is_file);
    const std::size_t num_given = static_cast<std::size_t>(last_file - m_words.rbegin());
    const auto missing = m_nodes.begin() + static_cast<std::ptrdiff_t>(num_given);
    const auto end = m_nodes.begin() + static_cast<std::ptrdiff_t>(num_names);
    refuse(fmt::format("{} {} missing: {} is a file and no node", fmt::join(missing, end, " and "),
                       num_given + 1 == num_names ? "is" : "are", *last_file));
  }
  if (m_words.size() <= num_names) refuse("there are too few words");
  if (num_names != m_nodes.size() && is_name(names[-1]))
    refuse(fmt::format("{} is one name too many here", names[-1]));
  device.m_model = m_words.front();
  device.m_routing.assign(m_words.begin() + 1, names);
  return {names, m_words.end()};
}
