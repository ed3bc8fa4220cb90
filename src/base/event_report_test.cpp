#include "base/event_report.h"

#include <memory>
#include <string>

#include "base/log_test_support.h"
#include "cJSON.h"
#include "gtest/gtest.h"

namespace {

class EventReportTest : public ::testing::Test {
 protected:
  void SetUp() override { fake.SetEnvValue(u"LOCALAPPDATA", temp.core()); }

  std::filesystem::path ReportPath() const { return temp.path() / "Orvane" / "User Data" / "update" / "update_report.json"; }

  platform::FakePlatform fake;
  orvane_test::TempDir temp;
};

TEST_F(EventReportTest, RecordsAreCompactLinesWithAllMembers) {
  struct Row {
    const char* event;
    const char* reason;
    const char* k1;
    const char* v1;
    const char* k2;
    const char* v2;
    const char* expectedStrings;  // the record up to the timestamp
  };
  const Row rows[] = {
      {"", "", "", "", "", "",
       R"({"event_name":"","fail_reason":"","extra1_key":"","extra1_val":"","extra2_key":"","extra2_val":"",)"},
      {"update_launcher_drag_file", "", "file_ex", "dir", "", "",
       R"({"event_name":"update_launcher_drag_file","fail_reason":"","extra1_key":"file_ex","extra1_val":"dir","extra2_key":"","extra2_val":"",)"},
      {"e", "a\"b\\c\n", "k", "\xe6\x97\xa5\xe6\x9c\xac", "k2", "v2",
       R"({"event_name":"e","fail_reason":"a\"b\\c\n","extra1_key":"k","extra1_val":")"
       "\xe6\x97\xa5\xe6\x9c\xac"
       R"(","extra2_key":"k2","extra2_val":"v2",)"},
  };
  std::string expected;
  for (const Row& row : rows) {
    ReportEvent(u"Orvane\\User Data", row.event, row.reason, row.k1, row.v1, row.k2, row.v2);
    expected += std::string(row.expectedStrings) + "\"timestamp\":1763126526.123}\n";
  }
  EXPECT_EQ(orvane_test::ReadFileBytes(ReportPath()), expected);
}

TEST_F(EventReportTest, TenCallsGiveTenParseableLines) {
  for (int i = 0; i < 10; ++i) {
    fake.nowMs = 1700000000000ull + i;
    ReportEvent(u"Orvane\\User Data", "update_launcher_run_task", "", "n", std::to_string(i), "", "");
  }
  const std::string text = orvane_test::ReadFileBytes(ReportPath());
  // The file as a whole is not one JSON document.
  const char* end = nullptr;
  cJSON* first = cJSON_ParseWithOpts(text.c_str(), &end, 1);
  EXPECT_EQ(first, nullptr);
  cJSON_Delete(first);

  size_t pos = 0;
  int count = 0;
  while (pos < text.size()) {
    const size_t nl = text.find('\n', pos);
    ASSERT_NE(nl, std::string::npos);
    const std::string line = text.substr(pos, nl - pos);
    ASSERT_EQ(line.find('\r'), std::string::npos);
    std::unique_ptr<cJSON, decltype(&cJSON_Delete)> record(cJSON_Parse(line.c_str()), &cJSON_Delete);
    ASSERT_NE(record, nullptr) << line;
    const cJSON* value = cJSON_GetObjectItem(record.get(), "extra1_val");
    ASSERT_TRUE(cJSON_IsString(value));
    EXPECT_EQ(std::string(value->valuestring), std::to_string(count));
    const cJSON* stamp = cJSON_GetObjectItem(record.get(), "timestamp");
    ASSERT_TRUE(cJSON_IsNumber(stamp));
    EXPECT_NEAR(stamp->valuedouble, 1700000000.0 + count / 1000.0, 1e-6);
    ++count;
    pos = nl + 1;
  }
  EXPECT_EQ(count, 10);
}

}  // namespace
