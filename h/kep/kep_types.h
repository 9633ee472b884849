#pragma once

#include "kep/kep_export.h"

/// @file
/// The small types that all of `kep` shares: views, database types, kinds of marks, and the style of names.
/// What each of them means to a graph stands in docs/glossary.md.

class KEP_DB;
class KEP_DB_BUILDER;
class KEP_INST_PORT;
class KEP_INSTANCE;
class KEP_LEGACY_API;
class KEP_MODULE;
class KEP_NET;
class KEP_PORT;
struct KEP_SLOT;
class KEP_UNFOLDING;

/// One way of describing a piece of hardware. A module belongs to exactly one of the first four.
enum class KEP_VIEW_TYPE : unsigned char {
  LOGICAL = 0,
  VIEW_1 = 1,
  BLC = 2,
  LOGICAL_TWIN = 3,
  DEFAULT_VIEW = 4, ///< a request for no particular view; never the view of a module
};

/// The views that a module can have: LOGICAL up to, not including, DEFAULT_VIEW.
inline constexpr unsigned KEP_NUM_MODULE_VIEWS = 4;

/// The printable name of a view, for messages: "logical", "view_1", "blc", "logical_twin", "default".
KEP_EXPORT const char* kep_get_name_of_view_type(KEP_VIEW_TYPE view);

/// What the top says of the ports of the device and of redundancy.
enum class KEP_DB_TYPE : unsigned char {
  NO_REDUNDANCY = 0,    ///< no redundant inputs
  TOP_PORTS_ROUTED = 1, ///< the ports of the top module are routing nodes
  REDUNDANCY = 2,       ///< redundant inputs; the top's ports are not routed
};

/// How a name is printed. The option bytes are kept for tools that pass them; every name is spelled alike
/// under all of them.
struct KEP_NAME_STYLE {
  bool m_options[7] = {};           ///< not looked at
  char m_hierarchy_separator = '/'; ///< between instances
  char m_port_separator = ':';      ///< before a port
};

/// 0 is no hipi; 1, 2 and 3 are hipi m, hipi t and hipi p (docs/glossary.md).
enum class KEP_ROUTING_PRIMITIVE_HIPI : unsigned char { NONE = 0, M = 1, T = 2, P = 3 };

/// 0 is no tunnel; 1, 2 and 3 are the parts of one (docs/glossary.md).
enum class KEP_ROUTING_PRIMITIVE_TUNNEL : unsigned char { NONE = 0, SOURCE = 1, THROUGH = 2, TARGET = 3 };
