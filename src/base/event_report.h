// The event report file: one compact JSON object per line (LF) in
// %LOCALAPPDATA%\<dataDir>\update\update_report.json. Failures are silent.
#pragma once

#include <string>

void ReportEvent(const std::u16string& dataDir, const std::string& eventName, const std::string& failReason,
                 const std::string& extra1Key, const std::string& extra1Val, const std::string& extra2Key,
                 const std::string& extra2Val);
