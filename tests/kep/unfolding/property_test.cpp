// Properties that hold for any input; RapidCheck looks for the smallest that breaks one.

#include "kep/kep_db_builder.h"
#include "kep/kep_flat_utils.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace property_test {

std::string name_of(unsigned number) {
  return "n" + std::to_string(number);
}

/// A top with instances of those names, each with a net of its own.
std::unique_ptr<KEP_DB> make_model(const std::set<unsigned>& names) {
  KEP_DB_BUILDER builder;
  const KEP_MODULE_ID leaf = builder.add_module("LEAF", {});
  builder.add_port(leaf, "p", KEP_PORT_DIRECTION::INPUT);
  const KEP_MODULE_ID top = builder.add_module("TOP", {.m_is_designated_top = true});
  for (const unsigned name : names) {
    const KEP_INSTANCE_ID instance = builder.add_instance(top, name_of(name), leaf, {});
    builder.connect(top, instance, 0, builder.add_net(top, name_of(name)));
  }
  return KEP_DB_BUILDER::freeze(std::move(builder));
}

const std::vector<unsigned> ALL_NAMES = [] {
  std::vector<unsigned> names(64);
  for (unsigned i = 0; i != names.size(); ++i)
    names[i] = i;
  return names;
}();

RC_GTEST_PROP(NameLookUp, FindsExactlyTheInstancesThatAreThere, ()) {
  const auto chosen = *rc::gen::container<std::set<unsigned>>(rc::gen::elementOf(ALL_NAMES));
  const std::unique_ptr<KEP_DB> db = make_model(chosen);
  const KEP_MODULE* top = db->get_top_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
  for (const unsigned name : ALL_NAMES) {
    const KEP_INSTANCE* found = top->find_instance(name_of(name));
    RC_ASSERT((found != nullptr) == (chosen.count(name) != 0));
    if (found) RC_ASSERT(found->get_plain_name() == name_of(name));
  }
}

RC_GTEST_PROP(NetSet, IsASetThatCanBeEmptiedAndFilledAgain, ()) {
  static const std::unique_ptr<KEP_DB> db = make_model({ALL_NAMES.begin(), ALL_NAMES.end()});
  std::vector<KEP_UNFOLDED_NET> nets;
  for (const KEP_UNFOLDED_INSTANCE& instance :
       db->get_top_unfolded_module(KEP_VIEW_TYPE::LOGICAL).iter_instances())
    nets.push_back(instance.get_unfolded_inst_port_by_index(0).get_unfolded_net());

  // A step inserts the net of that number, or empties the set where there is none.
  const auto steps = *rc::gen::container<std::vector<unsigned>>(
      rc::gen::inRange(0U, static_cast<unsigned>(nets.size() + 2)));
  KEP_UNFOLDED_NET_SET real;
  std::set<KEP_UNFOLDED_NET> model;
  for (const unsigned step : steps) {
    if (step >= nets.size()) {
      real.clear();
      model.clear();
    } else {
      RC_ASSERT(real.insert(nets[step]) == model.insert(nets[step]).second);
    }
    RC_ASSERT(real.size() == model.size());
    RC_ASSERT(std::all_of(nets.begin(), nets.end(), [&](const KEP_UNFOLDED_NET& net) {
      return real.contains(net) == (model.count(net) != 0);
    }));
  }
}

} // namespace property_test
