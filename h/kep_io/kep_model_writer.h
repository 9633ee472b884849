#pragma once

#include "kep_io/kep_io_export.h"

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// @file
/// What a device model is made of as a file, and the writer of such files.

/// A net number that stands for no net.
inline constexpr std::int64_t KEP_MODEL_UNCONNECTED_BIT = -1;

/// Of a port.
enum class KEP_MODEL_DIRECTION : unsigned char { INPUT, OUTPUT, INOUT };

/// An attribute of a module, a cell or a net name: a number or a text.
struct KEP_MODEL_ATTRIBUTE {
  std::string m_name;        ///< docs/formats.md lists those that mean something
  std::int64_t m_number = 0; ///< counts when there is no text
  std::string m_text = {};   ///< empty: none
};

/// A port of a module, of one bit or several.
struct KEP_MODEL_PORT {
  std::string m_name;                                           ///< unique in the module
  KEP_MODEL_DIRECTION m_direction = KEP_MODEL_DIRECTION::INPUT; ///< of all its bits
  std::vector<std::int64_t> m_bits;                             ///< the nets inside, bit 0 first
};

/// An instance of a module.
struct KEP_MODEL_CELL {
  std::string m_name;                                 ///< unique among the cells of the module
  std::string m_type;                                 ///< key of the master module in the same file
  std::vector<KEP_MODEL_ATTRIBUTE> m_attributes = {}; ///< in the order in which they are written
  std::vector<std::pair<std::string, std::vector<std::int64_t>>> m_connections = {}; ///< port name, bits
};

/// A name for nets of a module, which otherwise have numbers alone.
struct KEP_MODEL_NETNAME {
  std::string m_name;                                 ///< that of a port, to give this one attributes
  std::vector<std::int64_t> m_bits;                   ///< several bits are name[0], name[1], ...
  std::vector<KEP_MODEL_ATTRIBUTE> m_attributes = {}; ///< of the port that bears the name
};

/// A module. Its ports, cells and net names are written in their order, which is that of the model.
struct KEP_MODEL_MODULE {
  std::string m_key;                                  ///< unique in the file
  std::vector<KEP_MODEL_ATTRIBUTE> m_attributes = {}; ///< of the module itself
  std::vector<KEP_MODEL_PORT> m_ports = {};           ///< in the order of the model
  std::vector<KEP_MODEL_CELL> m_cells = {};           ///< likewise
  std::vector<KEP_MODEL_NETNAME> m_netnames = {};     ///< likewise
};

/// Writes a device model in the JSON form that the model reader takes (a hierarchical netlist of modules).
///
/// A module is filled as one KEP_MODEL_MODULE and written at once, or cell by cell, so a file may be far
/// larger than memory: only the module or the cell at hand is held. Order is kept: ports, cells and
/// connections are written in the order in which they stand. A bit is a net number within its module;
/// KEP_MODEL_UNCONNECTED_BIT is written as "x".
///
/// One writer, one thread.
class KEP_IO_EXPORT KEP_MODEL_WRITER {
public:
  /// Writes the head of the file. `out` must outlive the writer; its state tells of write errors.
  KEP_MODEL_WRITER(std::ostream& out, std::string_view creator);
  KEP_MODEL_WRITER(const KEP_MODEL_WRITER&) = delete;
  KEP_MODEL_WRITER& operator=(const KEP_MODEL_WRITER&) = delete;

  /// Writes a whole module. Keys and names are not checked.
  void write(const KEP_MODEL_MODULE& module);

  ///@{
  /// A module of more cells than should be held: its key, attributes and ports, then cell by cell, then its
  /// net names. The bytes are those of write().
  void begin_module(const KEP_MODEL_MODULE& module);
  void write_cell(const KEP_MODEL_CELL& cell);
  void end_module(const KEP_MODEL_MODULE& module);
  ///@}

  /// Writes the end of the file and flushes. Nothing may be written after it.
  void finish();

private:
  std::ostream& m_out;
  std::string m_buffer; // the text of one piece, reused
  bool m_is_first_module = true;
  bool m_is_first_cell = true;
};
