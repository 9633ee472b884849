#include "kep_io/text/kep_json_cursor.h"
#include "tests/support/io_test_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace json_cursor_test {

using testing::ElementsAre;

/// The members of an object, each as it stands in the text.
std::vector<std::string> members_of(const std::string& text) {
  std::vector<std::string> members;
  KEP_JSON_CURSOR cursor(text.c_str());
  cursor.for_each_member([&](std::string_view key) {
    cursor.pass_value();
    members.emplace_back(key.data(), cursor.get_place());
  });
  members.emplace_back(cursor.get_place());
  return members;
}

TEST(JsonCursor, FindsTheMembersOfAnObjectAndWhatStandsBehind) {
  EXPECT_THAT(members_of("{}x"), ElementsAre("x"));
  EXPECT_THAT(members_of(" { \"a\" : 1 , \"b\":[] } "), ElementsAre("\"a\" : 1", "\"b\":[]", " "));
  EXPECT_THAT(members_of(R"({"a":{"b":[{},[2,"]"]]},"c":null,"d":-1e+7})"),
              ElementsAre(R"("a":{"b":[{},[2,"]"]]})", R"("c":null)", R"("d":-1e+7)", ""));
}

TEST(JsonCursor, BracketsAndQuotesInTextsAreNoneOfIts) {
  EXPECT_THAT(members_of(R"({"}":"{\"","\\":["\\\"]","\\"],"\"":"\u0022}"})"),
              ElementsAre(R"("}":"{\"")", R"("\\":["\\\"]","\\"])", R"("\"":"\u0022}")", ""));
}

TEST(JsonCursor, ATextThatEndsTooEarlyIsRefused) {
  const std::string text = R"({"a":{"b":["\"",2]},"c":"d"})";
  ASSERT_EQ(members_of(text).size(), 3U);
  for (std::size_t length = 0; length != text.size(); ++length)
    EXPECT_EQ(refusal_of([&] { members_of(text.substr(0, length)); }), "no JSON") << length;
}

TEST(JsonCursor, WhatIsNoMemberIsRefused) {
  for (const std::string text : {"[]", "{1:2}", "{\"a\" 1}", "{\"a\":1 \"b\":2}", "{\"a\":1,}", "{,}"})
    EXPECT_EQ(refusal_of([&] { members_of(text); }), "no JSON") << text;
}

TEST(JsonCursor, KeysAreReadAsJsonMeansThem) {
  EXPECT_EQ(kep_read_json_key(R"("cells")"), "cells");
  EXPECT_EQ(kep_read_json_key(R"("\u0063e\/\"")"), "ce/\"");
  EXPECT_EQ(kep_read_json_key(R"("\x")"), "\\x"); // no JSON, which the parser tells
}

} // namespace json_cursor_test
