/* start-stub: the floor of any launcher. It starts the program it is given
 * and exits at once, without waiting, and does nothing else: no C++ runtime,
 * no crypto, no file but the program's own. The launch latency benchmark
 * measures the launcher against it.
 *
 *   start-stub <program> [arguments...]
 *
 * Linux: posix_spawn with the arguments as given and the same environment.
 * Windows: CreateProcessW with the rest of the stub's own command line, exactly
 * as it was typed, so nothing is parsed or quoted again.
 *
 * A start that fails prints one line with the error on standard error and
 * exits with 1; a missing program name exits with 2. */
#ifdef _WIN32
#include <windows.h>
#include <stdio.h>

/* The command line after the program's own name, by the rule the runtime
 * uses for argv[0]: a quoted name ends at the next quote, a bare one at the
 * first blank; the blanks after it go too. */
static const wchar_t* SkipProgramName(const wchar_t* line) {
  if (*line == L'"') {
    ++line;
    while (*line != L'\0' && *line != L'"') ++line;
    if (*line == L'"') ++line;
  } else {
    while (*line != L'\0' && *line != L' ' && *line != L'\t') ++line;
  }
  while (*line == L' ' || *line == L'\t') ++line;
  return line;
}

int wmain(int argc, wchar_t** argv) {
  (void)argc;
  (void)argv;
  const wchar_t* rest = SkipProgramName(GetCommandLineW());
  if (*rest == L'\0') {
    fputs("usage: start-stub <program> [arguments...]\n", stderr);
    return 2;
  }
  /* CreateProcessW may write into the command line: it gets its own copy. */
  size_t length = wcslen(rest);
  wchar_t* commandLine = (wchar_t*)HeapAlloc(GetProcessHeap(), 0, (length + 1) * sizeof(wchar_t));
  if (commandLine == NULL) return 1;
  memcpy(commandLine, rest, (length + 1) * sizeof(wchar_t));
  STARTUPINFOW startup;
  PROCESS_INFORMATION process;
  ZeroMemory(&startup, sizeof startup);
  startup.cb = sizeof startup;
  if (!CreateProcessW(NULL, commandLine, NULL, NULL, FALSE, 0, NULL, NULL, &startup, &process)) {
    fprintf(stderr, "start-stub: CreateProcessW failed, error=%lu\n", (unsigned long)GetLastError());
    return 1;
  }
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  return 0;
}
#else
#include <spawn.h>
#include <stdio.h>
#include <string.h>

extern char** environ;

int main(int argc, char** argv) {
  if (argc < 2) {
    fputs("usage: start-stub <program> [arguments...]\n", stderr);
    return 2;
  }
  pid_t pid;
  int error = posix_spawn(&pid, argv[1], NULL, NULL, argv + 1, environ);
  if (error != 0) {
    fprintf(stderr, "start-stub: posix_spawn of %s failed: %s\n", argv[1], strerror(error));
    return 1;
  }
  return 0;
}
#endif
