#include "kep_report/kep_report_assert.h"
#include "tests/support/build_case.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <string>

namespace build_module_type_test {

using testing::StartsWith;
using ACCESS = KEP_RG_TEST_ACCESS;

constexpr std::uint32_t BLC_ROUTING_ROOT = 2;
constexpr std::uint32_t NO_TYPE = 6;

/// A device whose module TILE has a type that no description leads to.
class BuildModuleType : public testing::Test {
protected:
  BuildModuleType() : m_case("module TILE\n ports >a <o\nmodule TOP top\n inst t TILE") {
    m_case.store()->initialize();
  }

  /// The assertion that `body` fails with, less its line.
  std::string failure(std::uint32_t type, const std::function<void(KEP_RG_BUILD&)>& body) {
    ACCESS::set_module_type(m_case.builder(), m_case.model().module("TILE"), type);
    const KEP_REPORT_CAPTURE capture;
    try {
      body(m_case.builder());
    } catch (const KEP_REPORT_ASSERTION_FAILURE& assertion) {
      return assertion.what();
    }
    return "no assertion";
  }

  BUILD_CASE m_case;
};

void count(KEP_RG_BUILD& build) {
  std::size_t boundary = 0;
  ACCESS::count(build, boundary);
}

void add_nodes(KEP_RG_BUILD& build) {
  ACCESS::add_nodes(build, false);
}

TEST_F(BuildModuleType, CountingAssertsThatAModuleHasOneOfTheSixTypes) {
  EXPECT_THAT(failure(NO_TYPE, count), StartsWith("Assertion failed: false in kep_rg/kep_rg_build.cpp@"));
}

TEST_F(BuildModuleType, NodeCreationAssertsThatAModuleHasOneOfTheSixTypes) {
  EXPECT_THAT(failure(NO_TYPE, add_nodes), StartsWith("Assertion failed: false in kep_rg/kep_rg_build.cpp@"));
}

TEST_F(BuildModuleType, CountingAssertsThatABlcRoutingRootHasTheBlcView) {
  EXPECT_THAT(
      failure(BLC_ROUTING_ROOT, count),
      StartsWith(
          "Assertion failed: master->get_view_type() == KEP_VIEW_TYPE::BLC in kep_rg/kep_rg_build.cpp@"));
}

TEST_F(BuildModuleType, NodeCreationAssertsThatABlcRoutingRootHasTheBlcView) {
  EXPECT_THAT(
      failure(BLC_ROUTING_ROOT, add_nodes),
      StartsWith(
          "Assertion failed: master->get_view_type() == KEP_VIEW_TYPE::BLC in kep_rg/kep_rg_build.cpp@"));
}

} // namespace build_module_type_test
