// Unpacks a whole zip archive into a directory and tells a caller how far it
// has come. One callback carries both progress (a code from progressFrom up
// to progressTo with an empty message) and failure (-1 for unusable
// arguments, target directory or archive handle; -9996 when the archive
// cannot be read or an item cannot be written, with a message). Items written
// before a failure stay on disk.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "platform/types.h"
#include "toolkit/zip_reader.h"

using ExtractCallback = std::function<void(int32_t code, const std::u16string& message)>;

// Opens the archive at `zipPath` and extracts it. False on failure.
bool ExtractZipFile(const std::u16string& zipPath, const std::u16string& targetDir, ExtractCallback callback,
                    int32_t progressFrom, int32_t progressTo);

// Extracts the archive that starts at the current position of `file`; the
// handle stays the caller's and stays open.
bool ExtractZipHandle(platform::Handle file, const std::u16string& targetDir, ExtractCallback callback,
                      int32_t progressFrom, int32_t progressTo);

// Extracts every item of an open archive below `targetDir` (created if
// missing). `callback` must be callable.
bool ExtractZipContents(ZipHandle zip, const std::u16string& targetDir, const ExtractCallback& callback,
                        int32_t progressFrom, int32_t progressTo);
