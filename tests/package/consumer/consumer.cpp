// Unpacks an archive into a directory through the installed toolkit and
// prints each callback: "progress <code>" or "error <code> <message>".
//
//   toolkit_consumer <archive.zip> <target directory>
//
// Exit status 0 when the extraction succeeded, with progress that never went
// back and ended at 100; 1 otherwise; 2 for a wrong command line.
#include <cstdio>
#include <string>

#include "toolkit/install_report.h"
#include "toolkit/zip_extract.h"

namespace {

#ifdef _WIN32
using ArgChar = wchar_t;
std::u16string ToolkitPath(const ArgChar* arg) {
  return std::u16string(reinterpret_cast<const char16_t*>(arg));
}
#else
using ArgChar = char;
// The toolkit speaks Windows-form paths; the platform layer maps them back.
std::u16string ToolkitPath(const ArgChar* arg) {
  std::u16string path;
  for (const char* c = arg; *c != '\0'; ++c) path.push_back(*c == '/' ? u'\\' : static_cast<char16_t>(*c));
  return path;
}
#endif

std::string Narrow(const std::u16string& text) {
  std::string out;
  for (char16_t c : text) out.push_back(c < 0x80 ? static_cast<char>(c) : '?');
  return out;
}

int Run(int argc, ArgChar** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: toolkit_consumer <archive.zip> <target directory>\n");
    return 2;
  }
  int32_t last = -1;
  bool backwards = false;
  const bool ok = ExtractZipFile(
      ToolkitPath(argv[1]), ToolkitPath(argv[2]),
      [&](int32_t code, const std::u16string& message) {
        if (message.empty()) {
          std::printf("progress %d\n", code);
          backwards = backwards || code < last;
          last = code;
        } else {
          // The installer's own name for the failure, where it is one of its
          // errors.
          const std::string name = GetInstallErrorName(code);
          std::printf("error %d %s%s\n", code, Narrow(message).c_str(),
                      name == "Unknown error" ? "" : (" [" + name + "]").c_str());
        }
      },
      0, 100);
  std::fflush(stdout);
  return ok && !backwards && last == 100 ? 0 : 1;
}

}  // namespace

#ifdef _WIN32
int wmain(int argc, wchar_t** argv) { return Run(argc, argv); }
#else
int main(int argc, char** argv) { return Run(argc, argv); }
#endif
