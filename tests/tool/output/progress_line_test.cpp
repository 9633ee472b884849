// The line that shows how far a long phase is.

#include "kep_io/files/kep_interrupts.h"
#include "kep_report/kep_report.h"
#include "kep_report/kep_report_sink.h"
#include "tests/tool/tool_fixture.h"
#include "tools/kep-rg/output/progress_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/ioctl.h>
#include <unistd.h>

namespace progress_line_test {

using namespace std::chrono_literals;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

const char* const ERASED = "\r\033[K";

/// A terminal of so many columns, of which the test holds the other end.
class TERMINAL {
public:
  explicit TERMINAL(unsigned short columns = 100) {
    setenv("TERM", "xterm", 1);
    m_master = posix_openpt(O_RDWR | O_NOCTTY);
    EXPECT_EQ(grantpt(m_master), 0);
    EXPECT_EQ(unlockpt(m_master), 0);
    m_slave = open(ptsname(m_master), O_RDWR | O_NOCTTY | O_CLOEXEC);
    const winsize size{30, columns, 0, 0};
    EXPECT_EQ(ioctl(m_slave, TIOCSWINSZ, &size), 0);
  }
  ~TERMINAL() {
    close(m_slave);
    close(m_master);
  }
  TERMINAL(const TERMINAL&) = delete;
  TERMINAL& operator=(const TERMINAL&) = delete;

  int get_file() const { return m_slave; }
  std::string get_path() const { return ptsname(m_master); }
  /// What was shown since the last call, after a while without anything new.
  std::string take() const {
    std::string text;
    char bytes[4096];
    for (pollfd wait{m_master, POLLIN, 0}; poll(&wait, 1, 50) == 1 && (wait.revents & POLLIN) != 0;) {
      const ssize_t count = read(m_master, bytes, sizeof bytes);
      if (count <= 0) break;
      text.append(bytes, static_cast<std::size_t>(count));
    }
    return text;
  }

private:
  int m_master;
  int m_slave;
};

/// The longest of the lines that were drawn over each other.
std::size_t get_width(const std::string& shown) {
  std::size_t width = 0;
  std::size_t column = 0;
  for (std::size_t i = 0; i != shown.size(); ++i) {
    if (shown.compare(i, 3, "\033[K") == 0)
      i += 2;
    else
      column = shown[i] == '\r' || shown[i] == '\n' ? 0 : column + 1;
    width = std::max(width, column);
  }
  return width;
}

TEST(ProgressLine, TellsTheShareAndTheTimeLeftWhereTheyAreKnown) {
  const auto format = [](std::uint64_t done, std::uint64_t total, double seconds) {
    return PROGRESS_LINE::format("edges", done, total, seconds, 79);
  };
  EXPECT_EQ(format(43, 100, 10), "edges: 43 % done, 13 s left");
  EXPECT_EQ(format(50, 100, 200), "edges: 50 % done, 3 min 20 s left");
  EXPECT_EQ(format(1, 2, 7300), "edges: 50 % done, 2 h 1 min left");
  EXPECT_EQ(format(0, 100, 10), "edges: 0 % done") << "nothing is known yet";
  EXPECT_EQ(format(50, 100, 0.5), "edges: 50 % done") << "nor so early";
  EXPECT_EQ(format(999, 1000, 10), "edges: 99 % done, 0 s left");
  EXPECT_EQ(format(120, 100, 10), "edges: 100 % done, 0 s left") << "a total may be an estimate";
  EXPECT_EQ(format(0, 0, 10), "edges ...");
  EXPECT_EQ(PROGRESS_LINE::format("edges", 43, 100, 10, 12), "edges: 43 % ");
}

TEST(ProgressLine, IsDrawnInPlaceAndErasedAtTheEndOfThePhase) {
  const TERMINAL terminal;
  const PROGRESS_LINE line(terminal.get_file());
  {
    KEP_REPORT_PROGRESS progress("edges", 100);
    progress.add(43);
    std::this_thread::sleep_for(700ms);
    EXPECT_THAT(terminal.take(), HasSubstr("\redges: 43 % done\033[K\redges: 43 % done\033[K"));
  }
  EXPECT_THAT(terminal.take(), EndsWith(ERASED));
  std::this_thread::sleep_for(200ms);
  EXPECT_EQ(terminal.take(), "");
}

TEST(ProgressLine, GivesWayToWhatIsTold) {
  const TERMINAL terminal;
  std::string told;
  const KEP_REPORT::SINK before =
      KEP_REPORT::set_sink(KEP_REPORT::STREAM::WARN, [&](std::string_view text) { told += text; });
  {
    const PROGRESS_LINE line(terminal.get_file());
    const KEP_REPORT_PROGRESS progress("nodes");
    std::this_thread::sleep_for(600ms);
    KEP_REPORT::warn(KEP_REPORT::PREFIX_VIEW::STANDARD) << "a warning" << std::endl;
    const std::string shown = terminal.take();
    EXPECT_THAT(shown, HasSubstr(std::string("\rnodes ...\033[K") + ERASED));
  }
  KEP_REPORT::set_sink(KEP_REPORT::STREAM::WARN, before);
  EXPECT_EQ(told, "a warning\n");
}

TEST(ProgressLine, ShowsTheInnermostPhaseAndNoShortOnes) {
  const TERMINAL terminal;
  const PROGRESS_LINE line(terminal.get_file());
  const KEP_REPORT_PROGRESS outer("outer", 10);
  for (int i = 0; i != 5; ++i) {
    const KEP_REPORT_PROGRESS inner("short", 10);
    std::this_thread::sleep_for(50ms);
  }
  {
    const KEP_REPORT_PROGRESS inner("inner", 10);
    std::this_thread::sleep_for(500ms);
    EXPECT_THAT(terminal.take(), HasSubstr("inner: 0 % done"));
  }
  terminal.take();
  std::this_thread::sleep_for(200ms);
  const std::string shown = terminal.take();
  EXPECT_THAT(shown, HasSubstr("outer: 0 % done"));
  EXPECT_THAT(shown, Not(HasSubstr("short")));
}

TEST(ProgressLine, FitsIntoANarrowTerminal) {
  const TERMINAL terminal(10);
  const PROGRESS_LINE line(terminal.get_file());
  const KEP_REPORT_PROGRESS progress("a phase of a long name", 100);
  std::this_thread::sleep_for(500ms);
  EXPECT_EQ(get_width(terminal.take()), 9U);
}

TEST(ProgressLine, IsErasedWhenASignalEndsTheTool) {
  const TERMINAL terminal;
  const pid_t child = fork();
  if (child == 0) {
    dup2(terminal.get_file(), STDERR_FILENO);
    kep_handle_interrupts();
    const PROGRESS_LINE line(STDERR_FILENO);
    const KEP_REPORT_PROGRESS progress("edges", 100);
    std::this_thread::sleep_for(600ms);
    raise(SIGTERM);
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFSIGNALED(status));
  const std::string shown = terminal.take();
  EXPECT_THAT(shown, HasSubstr("edges: 0 % done"));
  EXPECT_THAT(shown, EndsWith(ERASED));
}

using ProgressOfTheTool = Tool;

TEST_F(ProgressOfTheTool, IsShownOnATerminalAlone) {
  ASSERT_EQ(run("generate --columns 3 --rows 3 --model m.json --routing r.jsonl"), 0) << m_err;
  // A model that comes slowly makes for a long phase. Runs that show nothing wait side by side.
  const std::string build = "(sleep 1; cat m.json) | kep-rg build - r.jsonl ";
  const TERMINAL quiet[3];
  const TERMINAL dumb;
  const TERMINAL terminal;
  std::string started =
      "(" + build + ") & p=$!; (export TERM=dumb; " + build + "2>" + dumb.get_path() + ") & q=$!; ";
  std::string ended = " && wait $p && wait $q";
  for (std::size_t i = 0; i != 3; ++i) {
    const std::string option = std::array{"-q", "--report", "--verbose"}[i];
    const std::string number = std::to_string(i);
    started += "(" + build + option + " 2>" + quiet[i].get_path() + ") & p" + number + "=$!; ";
    ended += " && wait $p" + number;
  }
  ASSERT_EQ(run_line(started + build + ">shown.txt 2>" + terminal.get_path() + ended), 0);
  const std::string shown = terminal.take();
  EXPECT_THAT(shown, HasSubstr("\rreading ...\033[K"));
  EXPECT_THAT(shown, EndsWith(ERASED));
  EXPECT_THAT(shown, Not(HasSubstr("\n")));
  EXPECT_LT(get_width(shown), 80U);
  EXPECT_THAT(read("shown.txt"), HasSubstr("\nnodes   "));
  EXPECT_EQ(m_err, "") << "no terminal";
  EXPECT_EQ(dumb.take(), "") << "a terminal that can't erase";
  for (const TERMINAL& each : quiet)
    EXPECT_EQ(each.take(), "") << "-q, --report, --verbose: " << &each - quiet;
}

} // namespace progress_line_test
