#include "toolkit/local_state.h"

#include <filesystem>
#include <string>
#include <vector>

#include "base/log_test_support.h"
#include "gtest/gtest.h"
#include "toolkit/toolkit_test_support.h"

namespace {

namespace fs = std::filesystem;

using Profiles = std::vector<std::pair<std::u16string, std::u16string>>;

Profiles Pairs(const std::vector<CProfileInfo>& profiles) {
  Profiles pairs;
  for (const CProfileInfo& p : profiles) pairs.emplace_back(p.directory, p.name);
  return pairs;
}

std::string Cache(const std::string& members) { return R"({"profile":{"info_cache":{)" + members + "}}}"; }

using LocalStateTest = orvane_test::OpenLogTest;

TEST_F(LocalStateTest, DocumentRows) {
  const std::string longName(256, 'p');
  struct Row {
    const char* what; std::string json; bool ok; Profiles expected;
  } rows[] = {
      {"two profiles, document order",
       R"({"browser":{},"profile":{"last_used":"Default","info_cache":{"Profile 1":{"name":"Work","avatar_icon":"x"},)"
       R"("Default":{"name":"Person 1"}}}})",
       true, {{u"Profile 1", u"Work"}, {u"Default", u"Person 1"}}},
      {"names in UTF-8", Cache(R"("Default":{"name":"\u00e4 \u6211"},"P2":{"name":")" "\xC3\xA9t\xC3\xA9" R"("})"), true,
       {{u"Default", u"\u00e4 \u6211"}, {u"P2", u"\u00e9t\u00e9"}}},
      {"byte-order mark", "\xEF\xBB\xBF" + Cache(R"("Default":{"name":"A"})"), true, {{u"Default", u"A"}}},
      {"no name, a name of another type", Cache(R"("A":{},"B":{"name":5},"C":{"name":null})"), true,
       {{u"A", u""}, {u"B", u""}, {u"C", u""}}},
      {"empty list", Cache(""), true, {}},
      // Entries that name no profile directory of their own are left out.
      {"hostile directory names",
       Cache(R"("..":{"name":"up"},".":{},"":{},"a\\b":{},"a/b":{},"C:":{},"x\ny":{},")" + longName +
             R"(":{},"ok":{"name":"kept"},")" + std::string(255, 'q') + R"(":{})"),
       true, {{u"ok", u"kept"}, {std::u16string(255, u'q'), u""}}},
      {"a repeated directory, case ignored", Cache(R"("Default":{"name":"1"},"default":{"name":"2"})"), true,
       {{u"Default", u"1"}}},
      {"entries that are no objects", Cache(R"("A":"x","B":[],"C":1,"D":{"name":"d"})"), true, {{u"D", u"d"}}},
      // Documents without a profile list.
      {"empty", "", false, {}},
      {"truncated", Cache(R"("Default":{"name":"A"})").substr(0, 40), false, {}},
      {"not JSON", "Local State", false, {}},
      {"an array", "[1,2]", false, {}},
      {"no profile object", R"({"browser":{}})", false, {}},
      {"no info_cache", R"({"profile":{"last_used":"Default"}})", false, {}},
      {"info_cache of another type", R"({"profile":{"info_cache":"Default"}})", false, {}},
      {"keys are case-sensitive", R"({"Profile":{"info_cache":{"A":{}}}})", false, {}},
      {"nesting far too deep", std::string(100000, '['), false, {}},
      {"text after the document", Cache(R"("A":{})") + "garbage", false, {}},
      {"a NUL inside", Cache(R"("A":{})") + std::string(1, '\0') + "x", false, {}},
      {"blanks around the document", " \n" + Cache(R"("A":{})") + "\r\n", true, {{u"A", u""}}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    std::vector<CProfileInfo> profiles = {{u"stale", u"stale"}};
    const size_t before = LogText().size();
    EXPECT_EQ(Utils::ParseProfileList(row.json, &profiles), row.ok);
    EXPECT_EQ(Pairs(profiles), row.expected);
    const std::string log = LogText().substr(before);
    EXPECT_NE(log.find(row.ok ? "[INFO]" : "[ERRO]"), std::string::npos) << log;
  }
  EXPECT_NE(LogText().find("Utils::GetProfileList, 8 profile entries skipped"), std::string::npos);
}

TEST_F(LocalStateTest, FileRows) {
  const fs::path dir = temp.path() / "User Data";
  fs::create_directories(dir);
  const std::u16string userData = temp.core() + u"\\User Data";
  struct Row {
    const char* what; std::string content; bool asDirectory; bool ok; size_t count; const char* logged;
  } rows[] = {
      {"a real file", Cache(R"("Default":{"name":"A"},"Profile 2":{"name":"B"})"), false, true, 2,
       "Utils::GetProfileList, 2 profiles"},
      {"missing", "", false, false, 0, "failed, error=2"},
      {"a directory in its place", "", true, false, 0, "failed, error=5"},
      {"empty", "", false, false, 0, "no JSON object (0 bytes)"},
      {"larger than any real one", std::string(kLocalStateMaxBytes + 1, ' '), false, false, 0,
       "is larger than 16777216 bytes"},
      {"exactly the limit", Cache("") + std::string(kLocalStateMaxBytes - Cache("").size(), ' '), false, true, 0,
       "Utils::GetProfileList, 0 profiles"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    fs::remove_all(dir / "Local State");
    if (row.asDirectory) {
      fs::create_directories(dir / "Local State");
    } else if (std::string(row.what) != "missing") {
      orvane_test::WriteBytes(dir / "Local State", row.content);
    }
    const size_t before = LogText().size();
    std::vector<CProfileInfo> profiles = {{u"stale", u""}};
    EXPECT_EQ(Utils::GetProfileList(userData, &profiles), row.ok);
    EXPECT_EQ(profiles.size(), row.count);
    const std::string log = LogText().substr(before);
    EXPECT_NE(log.find(row.logged), std::string::npos) << log;
  }
}

}  // namespace
