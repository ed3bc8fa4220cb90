#include "base/event_report.h"

#include <memory>
#include <string>

#include "base/log_test_support.h"
#include "cJSON.h"
#include "gtest/gtest.h"

namespace {

TEST(EventReportTest, RecordsAreCompactLinesWithAllMembersAppended) {
  platform::FakePlatform fake;
  orvane_test::TempDir temp;
  fake.SetEnvValue(u"LOCALAPPDATA", temp.core());
  ReportEvent(u"Orvane\\User Data", "", "", "", "", "", "");
  ReportEvent(u"Orvane\\User Data", "e", "a\"b\\c\n", "k", "\xe6\x97\xa5\xe6\x9c\xac", "k2", "v2");
  fake.nowMs = 1700000000007ull;
  ReportEvent(u"Orvane\\User Data", "update_launcher_run_task", "", "n", "7", "", "");

  const std::string text =
      orvane_test::ReadFileBytes(temp.path() / "Orvane" / "User Data" / "update" / "update_report.json");
  const std::string first =
      R"({"event_name":"","fail_reason":"","extra1_key":"","extra1_val":"","extra2_key":"","extra2_val":"",)"
      R"("timestamp":1763126526.123})"
      "\n"
      R"({"event_name":"e","fail_reason":"a\"b\\c\n","extra1_key":"k","extra1_val":")"
      "\xe6\x97\xa5\xe6\x9c\xac"
      R"(","extra2_key":"k2","extra2_val":"v2","timestamp":1763126526.123})"
      "\n";
  ASSERT_EQ(text.substr(0, first.size()), first);

  // The last line parses on its own and keeps the milliseconds.
  const std::string last = text.substr(first.size());
  ASSERT_EQ(last.find('\n'), last.size() - 1);
  std::unique_ptr<cJSON, decltype(&cJSON_Delete)> record(cJSON_Parse(last.c_str()), &cJSON_Delete);
  ASSERT_NE(record, nullptr) << last;
  EXPECT_STREQ(cJSON_GetStringValue(cJSON_GetObjectItem(record.get(), "extra1_val")), "7");
  EXPECT_NEAR(cJSON_GetNumberValue(cJSON_GetObjectItem(record.get(), "timestamp")), 1700000000.007, 1e-6);
}

}  // namespace
