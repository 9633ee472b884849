#include "kep_io/database/kep_database_reader.h"

#include "kep/common/kep_parts.h"
#include "kep/persistence/kep_database_restorer.h"
#include "kep_io/database/kep_checksum.h"
#include "kep_io/database/kep_database_layout.h"
#include "kep_io/database/kep_database_sections.h"
#include "kep_io/database/kep_message_tables.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <capnp/serialize.h>
#include <cstring>
#include <kj/exception.h>
#include <utility>

namespace {

using BYTES = std::span<const std::byte>;

/// A message in place. No pointer is followed beyond it; lists are not longer in all than it is, so that a
/// small file can't take much memory.
capnp::FlatArrayMessageReader open_message(BYTES bytes) {
  capnp::ReaderOptions options;
  options.traversalLimitInWords = bytes.size() / sizeof(capnp::word) + 1024;
  return {
      kj::arrayPtr(reinterpret_cast<const capnp::word*>(bytes.data()), bytes.size() / sizeof(capnp::word)),
      options};
}

template <class COUNTS, class LIST>
void get_counts(LIST list, COUNTS& counts) {
  for (const auto& count : list)
    counts.emplace_back(count.getName().cStr(), count.getValue());
}

KEP_DATABASE_ORIGIN get_origin(KEP_CAPNP::Header::Reader header) {
  KEP_DATABASE_ORIGIN origin;
  origin.m_made_by = header.getMadeBy().cStr();
  for (const auto& input : header.getInputs())
    origin.m_inputs.push_back(
        {input.getRole().cStr(), input.getName().cStr(), input.getNumBytes(), input.getChecksum()});
  for (const auto& option : header.getOptions())
    origin.m_options.emplace_back(option.getName().cStr(), option.getValue().cStr());
  get_counts(header.getCounters(), origin.m_counters);
  return origin;
}

} // namespace

KEP_DATABASE_READER::KEP_DATABASE_READER(std::shared_ptr<const KEP_MAPPED_FILE> file, std::string name)
    : m_file(std::move(file)), m_name(std::move(name)) {
  try {
    read_header();
  } catch (const kj::Exception&) {
    fail("its header is damaged: it is no message");
  }
  check_sections();
}

void KEP_DATABASE_READER::fail(const std::string& reason) const {
  throw KEP_IO_ERROR(fmt::format("{}: {}", m_name, reason));
}

void KEP_DATABASE_READER::read_header() {
  const BYTES bytes = m_file->get_bytes();
  KEP_DATABASE_PREFIX prefix;
  const std::size_t num_magic = std::min(bytes.size(), prefix.m_magic.size());
  if (num_magic == 0 || std::memcmp(bytes.data(), prefix.m_magic.data(), num_magic) != 0)
    fail("is no device database");
  if (bytes.size() < sizeof(prefix)) fail("the file was cut: its header is not there");
  std::memcpy(&prefix, bytes.data(), sizeof(prefix));
  if (prefix.m_version != KEP_DATABASE_FILE_VERSION)
    fail(fmt::format("is a device database of version {}, and only version {} can be read; build it anew",
                     prefix.m_version, KEP_DATABASE_FILE_VERSION));
  if (bytes.size() - sizeof(prefix) < prefix.m_header_bytes)
    fail("the file was cut: its header is not there");
  const BYTES message = bytes.subspan(sizeof(prefix), prefix.m_header_bytes);
  if (KEP_CHECKSUM::of(message) != prefix.m_header_checksum || message.size() % sizeof(capnp::word) != 0)
    fail("its header is damaged: the checksum is wrong");

  capnp::FlatArrayMessageReader reader = open_message(message);
  const auto header = reader.getRoot<KEP_CAPNP::Header>();
  m_first_section = sizeof(prefix) + message.size();
  m_info.m_version = prefix.m_version;
  m_info.m_num_bytes = bytes.size();
  m_info.m_origin = get_origin(header);
  get_counts(header.getCounts(), m_info.m_counts);
  KEP_CHECKSUM checksum;
  for (const auto& section : header.getSections()) {
    m_info.m_sections.push_back({section.getName().cStr(), section.getNumBytes(), section.getChecksum()});
    m_begins.push_back(section.getBegin());
    const std::uint64_t own = section.getChecksum();
    checksum.add(std::as_bytes(std::span(&own, 1)));
  }
  m_info.m_checksum = checksum.get();
}

/// They are those of this version, one behind the other up to the end of the file.
void KEP_DATABASE_READER::check_sections() const {
  const auto& sections = m_info.m_sections;
  const bool are_known =
      std::equal(sections.begin(), sections.end(), KEP_DATABASE_SECTIONS.begin(), KEP_DATABASE_SECTIONS.end(),
                 [](const auto& section, const char* name) { return section.m_name == name; });
  if (!are_known) fail("its header is damaged: the sections are not those of a device database");
  std::uint64_t end = m_first_section;
  for (std::size_t i = 0; i != sections.size(); ++i) {
    const std::uint64_t room = UINT64_MAX - end;
    if (m_begins[i] != end || sections[i].m_num_bytes % sizeof(capnp::word) != 0 ||
        sections[i].m_num_bytes > room)
      fail("its header is damaged: the sections don't follow each other");
    end += sections[i].m_num_bytes;
  }
  if (end != m_info.m_num_bytes)
    fail(fmt::format("the file was {}: {} bytes are there, {} in its header",
                     m_info.m_num_bytes < end ? "cut" : "made longer", m_info.m_num_bytes, end));
}

std::span<const std::byte> KEP_DATABASE_READER::get_section(std::size_t number) const {
  return m_file->get_bytes().subspan(m_begins[number], m_info.m_sections[number].m_num_bytes);
}

void KEP_DATABASE_READER::check_checksums() const {
  std::array<bool, KEP_DATABASE_SECTIONS.size()> are_right{};
  kep_for_parts(are_right.size(), 1, [&](std::size_t begin, std::size_t end) {
    for (std::size_t i = begin; i != end; ++i)
      are_right[i] = KEP_CHECKSUM::of(get_section(i)) == m_info.m_sections[i].m_checksum;
  });
  const auto wrong = std::find(are_right.begin(), are_right.end(), false);
  if (wrong != are_right.end())
    fail(fmt::format("{}: the section is damaged: the checksum is wrong",
                     KEP_DATABASE_SECTIONS[static_cast<std::size_t>(wrong - are_right.begin())]));
}

namespace {

/// Tables of a section; they stay where they are, and so does the message.
template <class ROOT, class TABLES>
void read_section(BYTES bytes, const char* name, TABLES& tables) {
  try {
    capnp::FlatArrayMessageReader reader = open_message(bytes);
    tables = kep_get_section(reader.getRoot<ROOT>());
    if (reinterpret_cast<const std::byte*>(reader.getEnd()) != bytes.data() + bytes.size())
      throw KEP_MESSAGE_TABLES::ERROR("something stands behind its message");
  } catch (const kj::Exception&) {
    throw KEP_DB_ERROR(fmt::format("{}: the section is damaged: it is no such message", name));
  } catch (const KEP_MESSAGE_TABLES::ERROR& error) {
    throw KEP_DB_ERROR(fmt::format("{}: the section is damaged: {}", name, error.what()));
  }
}

} // namespace

std::unique_ptr<KEP_DB> KEP_DATABASE_READER::read(KEP_DATABASE_CHECKSUMS checksums) const {
  m_file->read_ahead();
  if (checksums == KEP_DATABASE_CHECKSUMS::TEST) check_checksums();
  // Those of several chunks are not in the file as they are.
  struct LENDER {
    std::shared_ptr<const KEP_MAPPED_FILE> m_file;
    KEP_DATABASE_TABLES m_tables;
  };
  const auto lender = std::make_shared<LENDER>(LENDER{m_file, {}});
  KEP_DATABASE_TABLES& tables = lender->m_tables;
  try {
    read_section<KEP_CAPNP::Model>(get_section(0), KEP_DATABASE_SECTIONS[0], tables.m_model);
    read_section<KEP_CAPNP::Positions>(get_section(1), KEP_DATABASE_SECTIONS[1], tables.m_positions);
    read_section<KEP_CAPNP::Description>(get_section(2), KEP_DATABASE_SECTIONS[2], tables.m_description);
    read_section<KEP_CAPNP::Paths>(get_section(3), KEP_DATABASE_SECTIONS[3], tables.m_paths);
    read_section<KEP_CAPNP::Graph>(get_section(4), KEP_DATABASE_SECTIONS[4], tables.m_graph);
    return KEP_DATABASE_RESTORER(tables, lender).restore();
  } catch (const KEP_DB_ERROR& error) {
    fail(error.what());
  }
}
