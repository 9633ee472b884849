#include "kep/kep_joined_nets.h"

#include "kep/detail/kep_unfolded_set.h"
#include "kep/kep_cancelled.h"

#include <algorithm>

namespace {

constexpr std::size_t NETS_PER_LOOK = 256; // whether the work was cancelled

} // namespace

std::vector<KEP_UNFOLDED_NET> kep_find_joined_nets(const std::vector<KEP_UNFOLDED_NET>& nets,
                                                   const KEP_VIEW_TYPE_RANK& rank) {
  KEP_UNFOLDED_SET<KEP_UNFOLDED_NET> joined;
  const auto join = [&joined](const KEP_UNFOLDED_NET& net) {
    if (net) joined.insert(net);
  };
  for (const KEP_UNFOLDED_NET& net : nets)
    join(net);
  for (std::size_t i = 0; i != joined.size(); ++i) {
    if (i % NETS_PER_LOOK == 0) kep_throw_if_cancelled();
    const KEP_UNFOLDED_NET net = joined.get_values()[i];
    for (const KEP_UNFOLDED_INST_PORT& uip : net.iter_inst_ports())
      join(uip.get_unfolded_port(rank).get_unfolded_net());
    for (const KEP_UNFOLDED_PORT& port : net.iter_ports())
      join(port.get_unfolded_inst_port().get_unfolded_net());
  }
  std::vector<KEP_UNFOLDED_NET> sorted = joined.get_values();
  std::sort(sorted.begin(), sorted.end());
  return sorted;
}
