// log_decrypt: prints a launcher log with every encrypted path span turned
// back into clear text, using the private half of the log key.
//
//   log_decrypt [--key=<private key PEM>] <log file>...   ("-" reads stdin)
//
// Without --key the development key of the source tree is used.
#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "log_decrypt_lib.h"

#ifndef ORVANE_DEFAULT_LOG_KEY
#define ORVANE_DEFAULT_LOG_KEY ""
#endif

namespace {

int Usage() {
  std::cerr << "usage: log_decrypt [--key=<private key PEM>] <log file>... (\"-\" for standard input)\n";
  return 2;
}

bool ReadAll(const std::string& path, std::string* text) {
  std::ostringstream buffer;
  if (path == "-") {
    buffer << std::cin.rdbuf();
  } else {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    buffer << in.rdbuf();
  }
  *text = buffer.str();
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  std::string keyPath = ORVANE_DEFAULT_LOG_KEY;
  std::vector<std::string> logs;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg.rfind("--key=", 0) == 0) {
      keyPath = arg.substr(6);
    } else if (arg == "-h" || arg == "--help") {
      return Usage();
    } else {
      logs.push_back(arg);
    }
  }
  if (logs.empty() || keyPath.empty()) return Usage();

  logdecrypt::LogKey key;
  std::string error;
  if (!key.LoadFile(keyPath, &error)) {
    std::cerr << "log_decrypt: " << keyPath << ": " << error << "\n";
    return 1;
  }

  int status = 0;
  for (const std::string& path : logs) {
    std::string text;
    if (!ReadAll(path, &text)) {
      std::cerr << "log_decrypt: cannot read " << path << "\n";
      status = 1;
      continue;
    }
    const std::string clear = logdecrypt::DecryptLogText(key, text);
    std::fwrite(clear.data(), 1, clear.size(), stdout);
  }
  return status;
}
