#include "setup_report.h"

#include <cstdio>
#include <fstream>
#include <string>

namespace setup {
namespace {

std::string JsonString(const std::string& text) {
  std::string out = "\"";
  for (unsigned char c : text) {
    if (c == '"' || c == '\\') {
      out.push_back('\\');
      out.push_back(static_cast<char>(c));
    } else if (c < 0x20) {
      char escaped[8];
      std::snprintf(escaped, sizeof(escaped), "\\u%04x", c);
      out += escaped;
    } else {
      out.push_back(static_cast<char>(c));
    }
  }
  return out + "\"";
}

}  // namespace

bool JsonLinesReportDelegate::Report(EventReport& report) {
  std::string line = "{";
  for (const auto& [key, value] : report) {
    if (line.size() > 1) line.push_back(',');
    line += JsonString(key) + ":" + JsonString(value);
  }
  line += "}\n";
  std::error_code ignored;
  std::filesystem::create_directories(file_.parent_path(), ignored);
  std::ofstream out(file_, std::ios::binary | std::ios::app);
  out << line;
  return static_cast<bool>(out.flush());
}

}  // namespace setup
