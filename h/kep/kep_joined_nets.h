#pragma once

/// @file
/// What is one net electrically.

#include "kep/kep_unfolded.h"

#include <vector>

/// All nets that hang together with the given ones through ports of instances, up and down the hierarchy: the
/// net outside of an inst port is joined with the net inside of it. Muxes and other modules join nothing but
/// what their own nets join. Empty nets are passed over.
///
/// The rank, which must outlive the call, says which master an inst port leads into. What stands in another
/// view is met only if the search begins there, or comes up from below.
///
/// In the order of KEP_UNFOLDED_NET::operator<, which has nets near the top first, each net once: the same
/// list whichever of the nets is given. Takes time with the points on these nets, and 24 bytes a net. Any
/// number of threads may search; KEP_CANCELLED ends a search whose task group was cancelled.
KEP_EXPORT std::vector<KEP_UNFOLDED_NET> kep_find_joined_nets(const std::vector<KEP_UNFOLDED_NET>& nets,
                                                              const KEP_VIEW_TYPE_RANK& rank);
