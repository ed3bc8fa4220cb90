// Whole-file narrow reads and writes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/types.h"

// Reads the whole file. -1 when it cannot be opened (text untouched); the
// size when it is 0 or less; -2 on a short read; else the file size, with the
// text cut at its first NUL byte.
int64_t ReadFileToString(const std::u16string& path, std::string* text);

// Writes (or appends) the text in one write. -1 when the file cannot be
// opened; 0 for an empty text (the file then exists); the size of the text on
// success; -2 on a short write.
int64_t WriteStringToFile(const std::u16string& path, const std::string& text, bool append);

// The entries of a FindFirstFileW pattern ("C:\\dir\\*") without the empty
// name, "." and "..", which every walk of a directory skips first. False
// when the enumeration could not start.
bool ListEntries(const std::u16string& pattern, std::vector<platform::DirEntry>* entries);
