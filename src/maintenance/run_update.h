// The privileged broker behind the scheduled update task: the administrator
// check and the decoding of the child's parameters. RunUpdate itself is a
// member of CLauncherApp.
#pragma once

#include <cstdint>
#include <string>

// Nonzero when the process's effective token is a member of the local
// Administrators group; logs "AdminEnv:%d". A process of an administrator
// that has not been elevated answers 0.
int32_t IsCurrentUserAdmin();

// The `run-params` value: UTF-8 text in Base64 (standard alphabet). Symbols
// of no other kind are skipped, so padding, blanks and line ends do not
// matter; a short last group yields the whole bytes its bits allow, and a
// zero byte ends the text.
std::u16string DecodeRunParams(const std::u16string& encoded);

// The value of `wait-time-ms` as std::stoi reads it: blanks, a sign and
// decimal digits up to the first other character. False with the runtime's
// message ("invalid stoi argument", "stoi argument out of range") when there
// is no leading number or it does not fit 32 bits.
bool ParseWaitTime(const std::u16string& text, int32_t* value, const char** failure);
