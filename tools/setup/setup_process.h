// Starting a program and waiting for its end: how the installer has the
// placed launcher register the update task.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace setup {

// The launcher's file name beside the installer and in the install root.
#ifdef _WIN32
inline constexpr char16_t kLauncherFileName[] = u"Orvane.exe";
#else
inline constexpr char16_t kLauncherFileName[] = u"orvane-launcher";
#endif

// Starts `program` with `args` (each one argument, quoted as needed) and
// waits for its end; false when it could not be started.
bool RunAndWait(const std::filesystem::path& program, const std::vector<std::u16string>& args, uint32_t* exitCode);

}  // namespace setup
