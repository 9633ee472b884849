#pragma once

/// @file
/// The points of a walk as a text file.

#include "kep/kep_unfold_observer.h"
#include "kep/kep_view_type_rank.h"
#include "kep_rg/kep_rg_export.h"

#include <fstream>
#include <string>

/// Writes each point that a walk visits to a text file, a line a point, in the order of the visits. (UUI in
/// the name: the unfolded ports and unfolded inst ports, or uips, that the walk goes through.)
///
///     inst_port a/b:c blc -type start     the uip, the view of the port inside its master, the visit type
///     port a/b:c logical -type cross      the port, the view of its module, the visit type
///
/// A type without a name leaves out " -type " and what follows. Where the rank finds no view, the view is
/// empty. Nothing that fails is reported: a file that can't be opened or written leaves the walk
/// undisturbed. One object serves one thread at a time.
class KEP_RG_EXPORT KEP_RG_UUI_OBSERVER : public KEP_UNFOLD_OBSERVER {
public:
  /// Opens the file, and so replaces one of that name. The rank leads from a uip to its port.
  KEP_RG_UUI_OBSERVER(const std::string& file_name, const KEP_VIEW_TYPE_RANK& rank);
  ~KEP_RG_UUI_OBSERVER() override;
  KEP_RG_UUI_OBSERVER(const KEP_RG_UUI_OBSERVER&) = delete;
  KEP_RG_UUI_OBSERVER& operator=(const KEP_RG_UUI_OBSERVER&) = delete;

  /// From here on visits write nothing.
  void close() override;
  /// Flushes the file.
  void finish_uip() override;
  void visit(const KEP_UNFOLDED_PORT& port, VISIT_TYPE type) override;
  void visit(const KEP_UNFOLDED_INST_PORT& uip, VISIT_TYPE type) override;

  ///@{
  /// The lines by themselves, with their line feeds, for a tool that writes them elsewhere.
  static std::string get_line(const KEP_UNFOLDED_PORT& port, VISIT_TYPE type);
  static std::string get_line(const KEP_UNFOLDED_INST_PORT& uip, VISIT_TYPE type,
                              const KEP_VIEW_TYPE_RANK& rank);
  ///@}

private:
  std::ofstream m_file;
  KEP_VIEW_TYPE_RANK m_view_type_rank;
};
