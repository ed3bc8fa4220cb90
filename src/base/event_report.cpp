// The event report: one compact JSON object per line, appended to
// update\update_report.json in the user data directory. Nothing here is
// visible to the caller; a record that cannot be written is lost.
#include "base/event_report.h"

#include "cJSON.h"
#include "layout/file_io.h"
#include "layout/paths.h"
#include "platform/system/clock.h"

void ReportEvent(const std::u16string& dataDir, const std::string& eventName, const std::string& failReason,
                 const std::string& extra1Key, const std::string& extra1Val, const std::string& extra2Key,
                 const std::string& extra2Val) {
  cJSON* record = cJSON_CreateObject();
  if (record == nullptr) return;
  // All six strings are present in this order, also when empty.
  cJSON_AddStringToObject(record, "event_name", eventName.c_str());
  cJSON_AddStringToObject(record, "fail_reason", failReason.c_str());
  cJSON_AddStringToObject(record, "extra1_key", extra1Key.c_str());
  cJSON_AddStringToObject(record, "extra1_val", extra1Val.c_str());
  cJSON_AddStringToObject(record, "extra2_key", extra2Key.c_str());
  cJSON_AddStringToObject(record, "extra2_val", extra2Val.c_str());

  // UTC seconds with the milliseconds in the fraction.
  const uint64_t nowMs = platform::Service<platform::Clock>().NowMs();
  const double seconds = static_cast<double>(nowMs / 1000);
  const double millis = static_cast<double>(nowMs % 1000);
  cJSON_AddNumberToObject(record, "timestamp", millis / 1000.0 + seconds);

  char* printed = cJSON_PrintUnformatted(record);
  if (printed != nullptr) {
    std::string text(printed);
    // Released at once; the record text is copied and nothing else holds it.
    cJSON_free(printed);
    text.push_back('\n');

    const std::u16string base = GetLocalAppDataPath(dataDir, true);
    const std::u16string dir = BuildSubPath(base, u"update", true);
    // A directory that cannot be created drops the record rather than
    // writing it somewhere relative to the working directory.
    if (!dir.empty()) {
      const std::u16string path = JoinPath(dir, u"update_report.json");
      WriteStringToFile(path, text, true);
    }
  }
  cJSON_Delete(record);
}
