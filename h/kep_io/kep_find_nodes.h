#pragma once

#include "kep/kep_db.h"
#include "kep/kep_routing_graph.h"
#include "kep_io/kep_io_export.h"

#include <string>
#include <vector>

/// @file
/// What a user names, as a dump spells it: "a/b:c" for an inst port, ":p" for a port of the top, "a/b/n" for
/// a net. Any number of threads may look for names at once.

/// The uips of a name, one for each choice of views on the way; none for a name of another form and for one
/// that is not there.
KEP_IO_EXPORT std::vector<KEP_UNFOLDED_INST_PORT> kep_find_unfolded_inst_ports(const KEP_DB& db,
                                                                               const std::string& name);

/// The nodes of a name, the plain node before its hipi twin; none where the name is that of no node.
KEP_IO_EXPORT std::vector<KEP_ROUTING::NODE> kep_find_nodes(const KEP_DB& db, const std::string& name);

/// The same for a name that a user gave: KEP_IO_ERROR, "no node "a/b:c"; closest: ...", when there is none.
/// To find the closest names takes a walk over all nodes, which a cancelled task group ends with
/// KEP_CANCELLED.
KEP_IO_EXPORT std::vector<KEP_ROUTING::NODE> kep_get_nodes(const KEP_DB& db, const std::string& name);

/// The nets of a full name: all that have the name in their module, in the order of the module, for each
/// choice of views on the way. KEP_IO_ERROR, with the closest names, when there is none.
KEP_IO_EXPORT std::vector<KEP_UNFOLDED_NET> kep_get_unfolded_nets(const KEP_DB& db, const std::string& name);
