// orvane-setup: the product's installer, built on the installer toolkit
// alone (the installed Orvane::toolkit package). See setup_command_line.h for
// its command line. Exit codes: 0 done, 1 a step failed, 2 a wrong command
// line or configuration.
#include <cstdio>
#include <string>
#include <vector>

#include "base/log.h"
#include "layout/paths.h"
#include "product_config_document.h"
#include "setup_command_line.h"
#include "setup_paths.h"
#include "setup_steps.h"
#include "toolkit/product_config_text.h"

#ifdef _WIN32
#include <objbase.h>
#endif

namespace {

int Run(const std::vector<std::u16string>& args) {
  setup::Options options;
  std::string error;
  if (!setup::ParseSetupCommandLine(args, &options, &error)) {
    std::fprintf(stderr,
                 "orvane-setup: %s\n"
                 "usage: orvane-setup install APP.zip --version V [--root DIR] [--autorun SECONDS] [--launcher PATH]\n"
                 "       orvane-setup update APP.zip --version V [--root DIR] [--md5 HEX]\n"
                 "       orvane-setup uninstall [--root DIR]\n",
                 error.c_str());
    return 2;
  }
  CProductConfig config;
  if (!ParseProductConfigText(std::string(kProductConfigDocument, sizeof(kProductConfigDocument)), &config)) {
    std::fprintf(stderr, "orvane-setup: the product configuration it carries is not valid\n");
    return 2;
  }
  // The toolkit's log lines go to the user data directory, as the
  // launcher's do, under a tag of the installer's own.
  const std::u16string dataDir = GetLocalAppDataPath(config.data_dir, true);
  SetLogFileTag(u"setup");
  if (!dataDir.empty()) OpenLogFile(dataDir, u"setup.log");
  switch (options.command) {
    case setup::Command::kInstall: return setup::Install(config, options);
    case setup::Command::kUpdate: return setup::Update(config, options);
    case setup::Command::kUninstall: return setup::Uninstall(config, options);
  }
  return 2;
}

}  // namespace

#ifdef _WIN32
int wmain(int argc, wchar_t** argv) {
  // The shell-link calls of the toolkit expect COM on this thread, as the
  // launcher's entry point provides it.
  ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  std::vector<std::u16string> args;
  for (int i = 1; i < argc; ++i) args.emplace_back(reinterpret_cast<const char16_t*>(argv[i]));
  return Run(args);
}
#else
int main(int argc, char** argv) {
  std::vector<std::u16string> args;
  for (int i = 1; i < argc; ++i) args.push_back(setup::FromUtf8(argv[i]));
  return Run(args);
}
#endif
