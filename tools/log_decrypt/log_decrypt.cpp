// orvane-log-decrypt: prints a launcher log with every encrypted path span
// turned back into clear text, using the private half of the log key.
//
//   orvane-log-decrypt --key <private key PEM file> [<log file>...]
//
// Without a log file, or with "-", the log is read from standard input. A
// span that does not decrypt with the key is printed marked, as
// "[cannot decrypt: <span>]"; size notes ("str size:N") and every other part
// of a line are printed as they stand.
//
// Exit status: 0 when every log was read and every span decrypted, 1 when a
// span was marked or a log could not be read, 2 for a wrong command line or a
// key that cannot be used.
#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "log_decrypt_lib.h"

namespace {

constexpr char kName[] = "orvane-log-decrypt";

int Usage(std::ostream& out, int status) {
  out << "usage: " << kName << " --key <private key PEM file> [<log file>...]\n"
      << "Reads standard input when no log file, or \"-\", is given.\n";
  return status;
}

bool ReadAll(const std::string& path, std::string* text) {
  std::ostringstream buffer;
  if (path == "-") {
    buffer << std::cin.rdbuf();
    if (std::cin.bad()) return false;
  } else {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    buffer << in.rdbuf();
    if (in.bad()) return false;
  }
  *text = buffer.str();
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  std::string keyPath;
  std::vector<std::string> logs;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg.rfind("--key=", 0) == 0) {
      keyPath = arg.substr(6);
    } else if (arg == "--key" || arg == "-k") {
      if (i + 1 >= argc) return Usage(std::cerr, 2);
      keyPath = argv[++i];
    } else if (arg == "-h" || arg == "--help") {
      return Usage(std::cout, 0);
    } else if (arg.size() > 1 && arg[0] == '-') {
      std::cerr << kName << ": unknown option " << arg << "\n";
      return Usage(std::cerr, 2);
    } else {
      logs.push_back(arg);
    }
  }
  if (keyPath.empty()) {
    std::cerr << kName << ": the private key is required (--key <file>)\n";
    return Usage(std::cerr, 2);
  }
  if (logs.empty()) logs.push_back("-");

  logdecrypt::LogKey key;
  std::string error;
  if (!key.LoadFile(keyPath, &error)) {
    std::cerr << kName << ": " << keyPath << ": " << error << "\n";
    return 2;
  }

  int status = 0;
  size_t marked = 0;
  for (const std::string& path : logs) {
    std::string text;
    if (!ReadAll(path, &text)) {
      std::cerr << kName << ": cannot read " << (path == "-" ? "standard input" : path) << "\n";
      status = 1;
      continue;
    }
    const std::string clear = logdecrypt::DecryptLogText(key, text, &marked);
    std::fwrite(clear.data(), 1, clear.size(), stdout);
  }
  std::fflush(stdout);
  if (marked > 0) {
    std::cerr << kName << ": " << marked << " span(s) did not decrypt with " << keyPath << "\n";
    status = 1;
  }
  return status;
}
