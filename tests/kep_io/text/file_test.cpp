#include "tests/support/folder_fixture.h"
#include "tests/support/routing_test_support.h"

#include <filesystem>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace file_test {

class ReadingFiles : public Folder {
protected:
  /// What both readers say of a file, each without the name of the file.
  std::pair<std::string, std::string> refusals(const std::string& file) {
    const std::string model = refusal_of([&] { kep_read_model(file); });
    const std::string routing = refusal_of([&] { kep_read_routing(m_device.db(), m_device.parse(), file); });
    return {without(model, file), without(routing, file)};
  }

  ROUTED_DEVICE m_device;

private:
  static std::string without(const std::string& message, const std::string& file) {
    return message.starts_with(file) ? message.substr(file.size()) : message;
  }
};

using PAIR = std::pair<std::string, std::string>;

TEST_F(ReadingFiles, GivesWhatTheTextGives) {
  const auto db = kep_read_model(write("m.json", ROUTED_DEVICE::MODEL));
  EXPECT_STREQ(db->get_top_module(KEP_VIEW_TYPE::DEFAULT_VIEW)->get_key(), "TOP");
  kep_read_routing(m_device.db(), m_device.parse(),
                   write("r.jsonl", R"({"op": "add_remove_node", "module": "MUX", "port": "o"})"));
  EXPECT_TRUE(m_device.store()->is_remove_node(m_device.port("MUX", "o")));
  EXPECT_TRUE(m_device.store()->is_initialized());
}

TEST_F(ReadingFiles, ReadsAPipe) {
  ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
  const std::string text = std::string(300000, ' ') + ROUTED_DEVICE::MODEL;
  std::thread writer([&] { write("pipe", text); });
  const auto db = kep_read_model(path("pipe"));
  writer.join();
  EXPECT_STREQ(db->get_top_module(KEP_VIEW_TYPE::DEFAULT_VIEW)->get_key(), "TOP");
}

TEST_F(ReadingFiles, SeveralDescriptionsAddUp) {
  for (const char* port : {"i[0]", "i[1]"})
    kep_read_routing(
        m_device.db(), m_device.parse(),
        write("r.jsonl",
              std::string(R"({"op": "add_port_edge", "module": "MUX", "output": "o", "input": ")") + port +
                  "\"}"));
  EXPECT_EQ(m_device.muxes("MUX"), "( i[0]>o i[1]>o )");
}

TEST_F(ReadingFiles, TellsOfAFileThatIsNotThere) {
  EXPECT_EQ(refusals(path("none")),
            PAIR(": can't be read: No such file or directory", ": can't be read: No such file or directory"));
}

TEST_F(ReadingFiles, TellsOfAFolder) {
  EXPECT_EQ(refusals(path("")), PAIR(": can't be read: Is a directory", ": can't be read: Is a directory"));
}

TEST_F(ReadingFiles, TellsOfAFileThatMayNotBeRead) {
  if (geteuid() == 0) GTEST_SKIP() << "root may read every file";
  const std::string file = write("secret", "{}");
  std::filesystem::permissions(file, std::filesystem::perms::none);
  EXPECT_EQ(refusals(file), PAIR(": can't be read: Permission denied", ": can't be read: Permission denied"));
}

TEST_F(ReadingFiles, TakesAnEmptyFileAsADescriptionAndNotAsAModel) {
  EXPECT_EQ(refusals(write("empty", "")), PAIR(": no JSON: the file is empty", ""));
}

TEST_F(ReadingFiles, RefusesAModelOfFourGigabytesBeforeItIsRead) {
  const std::string file = write("large", "{}");
  std::filesystem::resize_file(file, std::uintmax_t{1} << 32); // takes no space on the disk
  EXPECT_EQ(refusal_of([&] { kep_read_model(file); }),
            file + ": the file is larger than 4294967295 bytes, the most that can be read");
}

TEST_F(ReadingFiles, TellsTheLineInAFile) {
  EXPECT_EQ(refusals(write("bad", "\n\n{\"op\": \"x\"}")).second, ":3: unknown op \"x\"");
  EXPECT_EQ(refusals(write("bad", "{\"modules\"\n: x}")).first, ":2:3: no JSON: a value is expected");
}

} // namespace file_test
