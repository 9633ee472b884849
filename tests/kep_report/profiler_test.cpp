#include "kep_report/kep_report_profiler.h"

#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>
#include <time.h>
#include <type_traits>
#include <vector>

namespace profiler_test {

using KEP_REPORT::get_profile;
using KEP_REPORT::PROFILE_SECTION;
using KEP_REPORT::reset_profile;

static_assert(!std::is_copy_constructible_v<KEP_REPORT_PROFILER> &&
              !std::is_copy_assignable_v<KEP_REPORT_PROFILER> &&
              !std::is_move_constructible_v<KEP_REPORT_PROFILER>);

using CLOCK = std::chrono::steady_clock;
using namespace std::chrono_literals;

class Profiler : public testing::Test {
protected:
  Profiler() { reset_profile(); }
  ~Profiler() override { reset_profile(); }
};

// The shape of the tree: name and times entered, children in parentheses.
std::string shape(const std::vector<PROFILE_SECTION>& sections) {
  std::string text;
  for (const PROFILE_SECTION& section : sections) {
    if (!text.empty()) text += ' ';
    text += section.m_name + "*" + std::to_string(section.m_times_entered);
    if (!section.m_children.empty()) text += "(" + shape(section.m_children) + ")";
  }
  return text;
}

void spin(CLOCK::duration time) {
  for (auto end = CLOCK::now() + time; CLOCK::now() < end;) {
  }
}

TEST_F(Profiler, NoSectionMakesAnEmptyProfile) {
  EXPECT_TRUE(get_profile().empty());
}

TEST_F(Profiler, SectionsNestAsTheScopesDo) {
  {
    KEP_REPORT_PROFILER build("build", true);
    {
      KEP_REPORT_PROFILER nodes("nodes", true);
      KEP_REPORT_PROFILER hipi("hipi", true);
    }
    KEP_REPORT_PROFILER edges("edges", true);
  }
  KEP_REPORT_PROFILER parse("parse", true);
  EXPECT_EQ(shape(get_profile()), "build*1(nodes*1(hipi*1) edges*1) parse*1");
}

TEST_F(Profiler, TheSameNameInTheSamePlaceAddsUpInOrderOfFirstEntry) {
  for (int i = 0; i < 3; ++i) {
    KEP_REPORT_PROFILER outer("outer", true);
    for (const char* name : {"z", "a", "z"})
      KEP_REPORT_PROFILER inner(name, true);
  }
  EXPECT_EQ(shape(get_profile()), "outer*3(z*6 a*3)");
}

TEST_F(Profiler, TheSameNameInAnotherPlaceIsAnotherSection) {
  {
    KEP_REPORT_PROFILER outer("same", true);
    KEP_REPORT_PROFILER inner("same", true);
  }
  KEP_REPORT_PROFILER other("other", true);
  KEP_REPORT_PROFILER inner("same", true);
  EXPECT_EQ(shape(get_profile()), "same*1(same*1) other*1(same*1)");
}

TEST_F(Profiler, AnExceptionClosesTheSection) {
  try {
    KEP_REPORT_PROFILER failing("failing", true);
    KEP_REPORT_PROFILER inner("inner", true);
    spin(2ms);
    throw std::runtime_error("out");
  } catch (const std::runtime_error&) {
  }
  KEP_REPORT_PROFILER next("next", true);
  auto profile = get_profile();
  EXPECT_EQ(shape(profile), "failing*1(inner*1) next*1");
  EXPECT_GE(profile[0].m_wall_seconds, 0.002);
  EXPECT_GE(profile[0].m_children[0].m_wall_seconds, 0.002);
}

TEST_F(Profiler, MeasuresWallTimeWithoutUsingTheProcessor) {
  auto start = CLOCK::now();
  {
    KEP_REPORT_PROFILER section("asleep", true);
    std::this_thread::sleep_for(50ms);
  }
  std::chrono::duration<double> around = CLOCK::now() - start;
  auto profile = get_profile();
  EXPECT_GE(profile[0].m_wall_seconds, 0.05);
  EXPECT_LE(profile[0].m_wall_seconds, around.count());
  EXPECT_LT(profile[0].m_cpu_seconds, 0.04);
}

TEST_F(Profiler, MeasuresTheProcessorTimeOfTheWholeProcess) {
  double used = 0;
  {
    KEP_REPORT_PROFILER section("busy", true);
    timespec start{};
    timespec end{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &start);
    std::thread helper([] { spin(30ms); });
    spin(30ms);
    helper.join();
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &end);
    used = static_cast<double>(end.tv_sec - start.tv_sec) +
           static_cast<double>(end.tv_nsec - start.tv_nsec) * 1e-9;
  }
  auto profile = get_profile();
  EXPECT_GT(used, 0);
  EXPECT_GE(profile[0].m_cpu_seconds, used - 1e-6);
  EXPECT_LT(profile[0].m_cpu_seconds, used + 0.02);
}

TEST_F(Profiler, TimesOfOneSectionAddUp) {
  for (int i = 0; i < 3; ++i) {
    KEP_REPORT_PROFILER section("slept", true);
    std::this_thread::sleep_for(5ms);
  }
  EXPECT_GE(get_profile()[0].m_wall_seconds, 0.015);
}

TEST_F(Profiler, TheTimeOfAnOpenSectionComesWhenItCloses) {
  {
    KEP_REPORT_PROFILER section("open", true);
    spin(2ms);
    EXPECT_EQ(get_profile()[0].m_times_entered, 1U);
    EXPECT_EQ(get_profile()[0].m_wall_seconds, 0);
  }
  EXPECT_GE(get_profile()[0].m_wall_seconds, 0.002);
}

TEST_F(Profiler, AnObjectThatIsNotToMeasureLeavesNoTrace) {
  KEP_REPORT_PROFILER outer("outer", true);
  KEP_REPORT_PROFILER silent("silent", false);
  KEP_REPORT_PROFILER inner("inner", true);
  EXPECT_EQ(shape(get_profile()), "outer*1(inner*1)");
}

TEST_F(Profiler, AResetForgetsClosedSections) {
  { KEP_REPORT_PROFILER section("gone", true); }
  reset_profile();
  EXPECT_TRUE(get_profile().empty());
}

TEST_F(Profiler, AResetKeepsOpenSectionsInPlaceAndMeasuresThemAnew) {
  auto reset_at = CLOCK::now();
  {
    KEP_REPORT_PROFILER outer("outer", true);
    { KEP_REPORT_PROFILER closed("closed", true); }
    KEP_REPORT_PROFILER inner("inner", true);
    spin(100ms);
    reset_at = CLOCK::now();
    reset_profile();
    EXPECT_EQ(shape(get_profile()), "outer*1(inner*1)");
    KEP_REPORT_PROFILER innermost("innermost", true);
  }
  std::chrono::duration<double> since_reset = CLOCK::now() - reset_at;
  auto profile = get_profile();
  EXPECT_EQ(shape(profile), "outer*1(inner*1(innermost*1))");
  EXPECT_LE(profile[0].m_wall_seconds, since_reset.count());
  EXPECT_GT(profile[0].m_wall_seconds, 0);
  EXPECT_LT(profile[0].m_cpu_seconds, 0.05); // that of the time before was twice as much
}

TEST_F(Profiler, SectionsOfAnotherThreadStandAtTheTop) {
  KEP_REPORT_PROFILER mine("mine", true);
  std::thread([] {
    KEP_REPORT_PROFILER theirs("theirs", true);
    KEP_REPORT_PROFILER inner("inner", true);
  }).join();
  KEP_REPORT_PROFILER inner("inner", true);
  EXPECT_EQ(shape(get_profile()), "mine*1(inner*1) theirs*1(inner*1)");
}

TEST_F(Profiler, ThreadsAddUpOnTheSameSections) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i)
    threads.emplace_back([] {
      for (int j = 0; j < 500; ++j) {
        KEP_REPORT_PROFILER outer("outer", true);
        KEP_REPORT_PROFILER inner("inner", true);
      }
    });
  for (int i = 0; i < 100; ++i)
    get_profile(); // readers are welcome at any time
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(shape(get_profile()), "outer*4000(inner*4000)");
}

TEST_F(Profiler, AResetMayComeWhileThreadsMeasure) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([] {
      for (int j = 0; j < 500; ++j) {
        KEP_REPORT_PROFILER outer("outer", true);
        KEP_REPORT_PROFILER inner(std::to_string(j % 3), true);
      }
    });
  for (int i = 0; i < 200; ++i)
    reset_profile();
  for (std::thread& thread : threads)
    thread.join();
  reset_profile();
  EXPECT_TRUE(get_profile().empty());
}

} // namespace profiler_test
