// What the tool prints where, what it tests before it reads, and what stays when it is ended.

#include "kep_report/kep_report_number.h"
#include "tests/tool/tool_fixture.h"
#include "tools/kep-rg/device/summary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <simdjson.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <map>
#include <random>
#include <string>
#include <sys/mount.h>
#include <vector>

namespace manners_test {

using testing::AnyOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;
using testing::UnorderedElementsAreArray;

const std::string DEVICE = "m.json r.jsonl --redundancy d.txt";

class Manners : public Tool {
protected:
  /// Files of a small fabric with a little of everything.
  void SetUp() override {
    ASSERT_EQ(
        run("generate --columns 3 --rows 3 --hipi 20 --redundant 20 --tunnels 1 --top-ports --model m.json "
            "--routing r.jsonl --redundancy d.txt"),
        0)
        << m_err;
  }
  /// The edges of the device, as the dump has them.
  const std::string& edges() {
    if (m_edges.empty()) {
      EXPECT_EQ(run("build " + DEVICE + " -q --dump reference"), 0) << m_err;
      m_edges = read("reference/edges.tsv");
    }
    return m_edges;
  }
  /// A command for each one that is about a device; those about nodes take the first edge from a plain one.
  std::vector<std::string> commands() {
    std::string line;
    std::istringstream lines(edges());
    std::getline(lines, line);
    while (std::getline(lines, line) && line.compare(line.find('\t'), 5, "\tuip\t") != 0) {
    }
    const std::string from = line.substr(0, line.find('\t'));
    const std::size_t to = line.find('\t', line.find('\t') + 1) + 1;
    const std::string ends = from + " " + line.substr(to, line.find('\t', to) - to);
    return {"build " + DEVICE,
            "check " + DEVICE,
            "trace " + DEVICE + " " + ends,
            "debug " + DEVICE + " " + from,
            "next " + DEVICE + " " + from,
            "path " + DEVICE + " " + ends,
            "nodes " + DEVICE + " --fanout 3",
            "net " + DEVICE + " " + from,
            "view " + DEVICE + " -o page.html"};
  }

private:
  std::string m_edges;
};

/// Ends of lines that hold the report of a build.
const char* const REPORT_LINE = "Counted n_nodes = ";

TEST_F(Manners, ABuildEndsInASummary) {
  ASSERT_EQ(run("build " + DEVICE + " --dump dump --stats dump/stats.json --wire-paths w"), 0) << m_err;
  EXPECT_EQ(m_err, "");
  EXPECT_THAT(m_out, MatchesRegex("device  m\\.json, top \"device\"\n"
                                  "nodes   [0-9],[0-9]{3}, of them [0-9]+ hipi, [0-9]+ boundary\n"
                                  "edges   [0-9]+,[0-9]{3} real, [0-9]+,[0-9]{3} redundant\n"
                                  "memory  [0-9.]+ [kM]B for the graph\n"
                                  "time    [0-9.]+ s: reading [0-9.]+, nodes [0-9.]+, edges [0-9.]+, "
                                  "reverse edges [0-9.]+, dump [0-9.]+, wire paths [0-9.]+\n"
                                  "files   w, dump/nodes\\.tsv, dump/edges\\.tsv, dump/stats\\.json\n"));
  simdjson::dom::parser parser;
  const simdjson::padded_string text(read("dump/stats.json"));
  const simdjson::dom::element stats = parser.parse(text);
  EXPECT_THAT(m_out, HasSubstr("nodes   " + KEP_REPORT::group_digits(stats["graph"]["nodes"])));
  EXPECT_THAT(m_out,
              HasSubstr(KEP_REPORT::group_digits(stats["counters"]["m_created_num_nodes_hipi"]) + " hipi"));
  EXPECT_THAT(m_out, HasSubstr(KEP_REPORT::group_digits(stats["counters"]["m_created_num_nodes_boundary"]) +
                               " boun"));
  EXPECT_THAT(m_out,
              HasSubstr("edges   " + KEP_REPORT::group_digits(stats["graph"]["real_edges"]) + " real, " +
                        KEP_REPORT::group_digits(stats["graph"]["redundant_edges"]) + " redundant\n"));
  EXPECT_THAT(m_out, HasSubstr("memory  " + format_bytes(stats["graph"]["bytes"]) + " for"));
}

TEST_F(Manners, ASummaryTellsOfInsertedNodes) {
  const std::string folder = "'" KEP_TEST_DATA_DIR "/examples/inserted_node/'";
  ASSERT_EQ(run("build " + folder + "model.json " + folder + "routing.jsonl"), 0) << m_err;
  EXPECT_THAT(m_out, HasSubstr(", of them 1 inserted\n"));
}

TEST_F(Manners, ASummaryIsLeftOutOnRequestAndByCommandsThatAnswerAQuestion) {
  ASSERT_EQ(run("build -q " + DEVICE), 0) << m_err;
  EXPECT_EQ(m_out, "");
  for (const std::string& command : commands()) {
    run(command);
    EXPECT_EQ(m_out.starts_with("device "),
              command.starts_with("build") || command.starts_with("check") || command.starts_with("view"))
        << command;
    EXPECT_THAT(m_out, Not(HasSubstr(REPORT_LINE))) << command;
    EXPECT_NE(m_out, "") << command;
  }
}

TEST_F(Manners, EveryCommandTakesTheOptionsOfADevice) {
  for (const std::string& command : commands()) {
    run(command + " -q");
    const std::string answer = m_out;
    run(command + " -q -j 2 --nodes-per-display 1 --stats stats.json --report");
    EXPECT_THAT(m_out, HasSubstr(REPORT_LINE)) << command;
    EXPECT_THAT(m_out, HasSubstr("% done) ")) << command << ": the library's own progress";
    EXPECT_THAT(m_out, HasSubstr("Parsing redundancy with 2 threads\n")) << command;
    if (!command.starts_with("check")) {
      EXPECT_THAT(m_out, EndsWith(answer)) << command;
    }
    EXPECT_THAT(read("stats.json"), HasSubstr("\"add_edges\"")) << command;
    run(command + " -q --verbose");
    EXPECT_THAT(m_out, HasSubstr(REPORT_LINE)) << command;
  }
}

TEST_F(Manners, NoNumberOfThreadsBringsAWarningOrOtherBytes) {
  const std::string expected = edges();
  for (const std::string threads : {"1", "8", "64", "4096"}) {
    ASSERT_EQ(run("build " + DEVICE + " -q --dump dump -j " + threads), 0) << m_err;
    EXPECT_EQ(m_err, "") << threads;
    EXPECT_TRUE(read("dump/edges.tsv") == expected) << threads;
  }
  ASSERT_EQ(run("build " + DEVICE + " --report -j 8"), 0);
  EXPECT_THAT(m_out, HasSubstr("with 8 threads\n"));
}

TEST_F(Manners, AMinusIsAStandardStream) {
  const std::string expected = edges();
  ASSERT_EQ(run("build - r.jsonl --redundancy d.txt --dump dump < m.json"), 0) << m_err;
  EXPECT_THAT(m_out, StartsWith("device  standard input, top \"device\"\n"));
  EXPECT_TRUE(read("dump/edges.tsv") == expected);
  ASSERT_EQ(run("build m.json - --redundancy d.txt --dump dump < r.jsonl"), 0) << m_err;
  EXPECT_TRUE(read("dump/edges.tsv") == expected);
  ASSERT_EQ(run("build m.json r.jsonl --redundancy - --dump dump < d.txt"), 0) << m_err;
  EXPECT_TRUE(read("dump/edges.tsv") == expected);

  ASSERT_EQ(run("build " + DEVICE + " --stats -"), 0) << m_err;
  EXPECT_THAT(m_out, StartsWith("{\n"));
  EXPECT_THAT(m_out, EndsWith("\n}\n")) << "and no summary";
  ASSERT_EQ(run("generate --columns 3 --rows 3 --hipi 20 --redundant 20 --tunnels 1 --top-ports --model - "
                "--routing r2.jsonl --redundancy d2.txt"),
            0)
      << m_err;
  EXPECT_TRUE(m_out == read("m.json"));
  write("chip.txt", "no chip\n");
  expect_refused("import-icebox - --model a --routing b < chip.txt",
                 "standard input:1: text before the first section");
}

TEST_F(Manners, AStandardStreamIsReadAndWrittenOnce) {
  expect_refused("build - - < m.json", "standard input: can't be read twice: more than one input is \"-\"");
  expect_refused("build m.json --redundancy - - < m.json",
                 "standard input: can't be read twice: more than one input is \"-\"");
  expect_refused("build m.json --stats - --wire-paths -",
                 "standard output: can't be written twice: more than one output is \"-\"");
  expect_refused("build m.json --dump -",
                 "standard output: can't be written: a dump is two files in a folder");
  expect_refused("build - --stats x </dev/null", "standard input: no JSON: the file is empty");
}

TEST_F(Manners, OutputsAreTestedBeforeAnythingIsRead) {
  const std::string reason = "none/x: can't be written: No such file or directory";
  for (const std::string command : {"build", "check"})
    expect_refused(command + " none.json --stats none/x", reason);
  expect_refused("build none.json --wire-paths none/x", reason);
  expect_refused("build none.json --dump m.json", "m.json/nodes.tsv: can't be written: Not a directory");
  expect_refused("trace none.json a:b c:d --stats none/x", reason);
  expect_refused("next none.json a:b --stats none/x", reason);
  expect_refused("debug none.json a:b --log none/x", reason);
  expect_refused("generate --model none/x --routing r.jsonl", reason);
  expect_refused("generate --model x --routing none/x", reason);
  expect_refused("generate --model x --routing r --redundancy none/x", reason);
  expect_refused("import-icebox none.txt --model none/x --routing r", reason);
  expect_refused("import-icebox none.txt --model x --routing m.json/x",
                 "m.json/x: can't be written: Not a directory");
  std::filesystem::create_directories(path("dump/edges.tsv"));
  expect_refused("build none.json --dump dump", "dump/edges.tsv: can't be written: Is a directory");
  expect_refused("generate --model m.json --routing ./m.json",
                 "./m.json: can't be written: it is another output of this run");
  expect_refused("build none.json --dump new/dump --stats new/x",
                 "new/x: can't be written: No such file or directory");
  EXPECT_FALSE(std::filesystem::exists(path("new")));
}

TEST_F(Manners, AReadOnlyFolderIsToldBeforeAnythingIsRead) {
  std::filesystem::create_directory(path("disk"));
  if (mount("tmpfs", path("disk").c_str(), "tmpfs", MS_RDONLY, "size=64k") != 0)
    GTEST_SKIP() << "no disk can be mounted here";
  expect_refused("build none.json --stats disk/x", "disk/x: can't be written: Read-only file system");
  expect_refused("build none.json -o disk/x", "disk/x: can't be written: Read-only file system");
  expect_refused("build none.json --dump disk/a/b",
                 "disk/a/b/nodes.tsv: can't be written: Read-only file system");
  EXPECT_EQ(umount(path("disk").c_str()), 0);
}

TEST_F(Manners, AFullDiskIsToldAndLeavesWhatWasThere) {
  std::filesystem::create_directory(path("disk"));
  if (mount("tmpfs", path("disk").c_str(), "tmpfs", 0, "size=100k") != 0)
    GTEST_SKIP() << "no small disk can be mounted here";
  std::filesystem::create_directory(path("disk/old"));
  write("disk/old/nodes.tsv", "old nodes");
  write("disk/old/edges.tsv", "old edges");
  for (const std::string folder : {"disk/old", "disk/new"})
    expect_refused("build " + DEVICE + " --dump " + folder,
                   folder + "/edges.tsv: can't be written: No space left on device");
  expect_refused("generate --width 64 --model disk/m --routing disk/r",
                 "disk/m: can't be written: No space left on device");
  write("disk/d.kdb", "old database");
  expect_refused("build " + DEVICE + " -o disk/d.kdb",
                 "disk/d.kdb: can't be written: No space left on device");
  EXPECT_EQ(read("disk/d.kdb"), "old database");
  EXPECT_EQ(read("disk/old/nodes.tsv"), "old nodes");
  EXPECT_EQ(read("disk/old/edges.tsv"), "old edges");
  EXPECT_FALSE(std::filesystem::exists(path("disk/new")));
  EXPECT_FALSE(std::filesystem::exists(path("disk/m")));
  EXPECT_EQ(umount(path("disk").c_str()), 0);
  if (std::filesystem::exists("/dev/full")) {
    EXPECT_EQ(run("build " + DEVICE + " --stats - >/dev/full"), 2);
    EXPECT_EQ(m_err, "kep-rg: standard output: can't be written: No space left on device\n");
  }
}

TEST_F(Manners, AFileThatIsLargerThanALimitIsToldAndNoSignal) {
  const int status = run_line("ulimit -f 8; kep-rg build " + DEVICE + " --dump dump");
  EXPECT_EQ(status, 2);
  EXPECT_THAT(m_err, MatchesRegex("kep-rg: dump/(nodes|edges)\\.tsv: can't be written: File too large\n"));
  EXPECT_FALSE(std::filesystem::exists(path("dump")));
}

TEST_F(Manners, ABadOptionNamesTheHelpOfItsCommand) {
  expect_refused("build m.json --no-such-option",
                 "The following argument was not expected: --no-such-option (see kep-rg build --help)");
  for (const std::string command : {"check m.json", "trace m.json a:b c:d", "debug m.json a:b",
                                    "next m.json a:b", "generate", "import-icebox x"}) {
    EXPECT_EQ(run(command + " --no-such-option"), 2);
    EXPECT_THAT(m_err, EndsWith(" (see kep-rg " + command.substr(0, command.find(' ')) + " --help)\n"));
  }
  EXPECT_EQ(run("--no-such-option"), 2);
  EXPECT_THAT(m_err, EndsWith(" (see kep-rg --help)\n"));
}

TEST_F(Manners, NoMessageNamesAPlaceInTheSource) {
  // The library refuses this by an exception that names its own function, file and line.
  write("r.jsonl", R"({"op": "set_skip_paths", "module": "device", "skip": true})");
  expect_refused("build m.json r.jsonl", "r.jsonl:1: No port edges exist for module device(logical)");
}

TEST_F(Manners, NumbersAreReadable) {
  EXPECT_EQ(KEP_REPORT::group_digits(0), "0");
  EXPECT_EQ(KEP_REPORT::group_digits(999), "999");
  EXPECT_EQ(KEP_REPORT::group_digits(1000), "1,000");
  EXPECT_EQ(KEP_REPORT::group_digits(123456), "123,456");
  EXPECT_EQ(KEP_REPORT::group_digits(18446744073709551615U), "18,446,744,073,709,551,615");
  EXPECT_EQ(format_bytes(758), "758 bytes");
  EXPECT_EQ(format_bytes(1000), "1.00 kB");
  EXPECT_EQ(format_bytes(701234), "701 kB");
  EXPECT_EQ(format_bytes(999700), "1.00 MB");
  EXPECT_EQ(format_bytes(12345678), "12.3 MB");
  EXPECT_EQ(format_bytes(5000000000000000), "5000 TB");
}

/// A run that is killed at some moment, again and again: files appear whole or not at all.
class KilledRuns : public Tool {
protected:
  void SetUp() override {
    // Where nothing waits for a real disk, more runs are killed while they write.
    m_is_mounted = mount("tmpfs", path("").c_str(), "tmpfs", 0, nullptr) == 0;
    ASSERT_EQ(run("generate --columns 8 --rows 8 --model m.json --routing r.jsonl"), 0) << m_err;
    ASSERT_EQ(run("build m.json r.jsonl -q --dump dump --stats stats.json --wire-paths wires -o d.kdb"), 0)
        << m_err;
    m_files = files();
    for (const std::string name : {"dump/nodes.tsv", "dump/edges.tsv", "wires", "d.kdb"})
      m_new_texts[name] = read(name);
  }
  void TearDown() override {
    if (m_is_mounted) {
      EXPECT_EQ(umount2(path("").c_str(), MNT_DETACH), 0);
    }
  }
  /// The run and whatever it starts hold a pipe open, by which its end is seen.
  pid_t start() {
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) return -1;
    const pid_t child = fork();
    if (child != 0) {
      close(ends[1]);
      m_end_of_run = ends[0];
      return child;
    }
    close(ends[0]);
    for (const int signal : {SIGINT, SIGTERM})
      std::signal(signal, SIG_DFL); // in the background of a shell SIGINT is ignored, and so it would be here
    std::vector<std::string> words{"kep-rg",  "build",      "m.json",       "r.jsonl", "-q", "--dump", "dump",
                                   "--stats", "stats.json", "--wire-paths", "wires",   "-o", "d.kdb"};
    std::vector<char*> arguments;
    for (std::string& word : words)
      arguments.push_back(word.data());
    arguments.push_back(nullptr);
    const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    dup2(nowhere, STDERR_FILENO);
    if (chdir(path("").c_str()) == 0) execv(KEP_RG_TOOL, arguments.data());
    _exit(127);
  }
  /// Old files of all these names; or, when all is new, none of a dump.
  void prepare(bool is_new) {
    if (is_new)
      std::filesystem::remove_all(path("dump"));
    else
      std::filesystem::create_directory(path("dump"));
    for (const auto& [name, text] : m_new_texts)
      if (is_there(is_new, name)) write(name, "old");
    write("stats.json", "old");
  }
  /// Until nothing runs any more: what a killed run has begun ends by itself.
  void wait_for_end() {
    char byte = 0;
    EXPECT_EQ(TEMP_FAILURE_RETRY(::read(m_end_of_run, &byte, 1)), 0);
    close(m_end_of_run);
  }
  void check(bool is_new, useconds_t delay) {
    EXPECT_THAT(get_litter(), IsEmpty()) << delay;
    for (const auto& [name, text] : m_new_texts) {
      const bool was_there = is_there(is_new, name);
      const std::string now = std::filesystem::exists(path(name)) ? read(name) : "none";
      EXPECT_TRUE(now == text || (was_there ? now == "old" : now == "none")) << name << " " << delay;
    }
    EXPECT_THAT(read("stats.json"), AnyOf("old", EndsWith("\n}\n"))) << delay;
  }

private:
  static bool is_there(bool is_new, const std::string& name) { return !is_new || !name.starts_with("dump/"); }
  std::vector<std::string> get_litter() const {
    std::vector<std::string> litter;
    for (const std::string& name : files())
      if (std::find(m_files.begin(), m_files.end(), name) == m_files.end()) litter.push_back(name);
    return litter;
  }

  bool m_is_mounted = false;
  int m_end_of_run = -1;            // the end of the pipe from which nothing comes
  std::vector<std::string> m_files; // of a run that ended by itself
  std::map<std::string, std::string> m_new_texts;
};

TEST_F(KilledRuns, LeaveNoFileBehindAndTheOldOnesWhole) {
  const auto begin = std::chrono::steady_clock::now();
  int status = 0;
  waitpid(start(), &status, 0);
  wait_for_end();
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  const auto whole =
      std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - begin);

  std::mt19937 random(4711);
  int num_killed = 0;
  for (int i = 0; i != 60; ++i) {
    const bool is_new = i % 4 == 3;
    prepare(is_new);
    const pid_t child = start();
    const auto delay = static_cast<useconds_t>(random() % static_cast<unsigned>(whole.count()));
    usleep(delay);
    kill(child, std::array{SIGINT, SIGTERM, SIGKILL}[static_cast<std::size_t>(i) % 3]);
    ASSERT_EQ(waitpid(child, &status, 0), child);
    num_killed += WIFSIGNALED(status) ? 1 : 0;
    wait_for_end();
    check(is_new, delay);
  }
  EXPECT_GT(num_killed, 20) << "of runs that take " << whole.count() << " us";
}

} // namespace manners_test
