// Whether only the administrators can change a file or a directory: the test
// that decides where the elevated scheduled task may point.
//
// An entry passes when its owner is the administrators group, the system or
// the installer service, and its access list lets nobody else change it.
// What "change" means depends on where the entry stands:
//  - the file and the directory that holds it: write (add a file), append
//    (add a directory), delete, delete a child, change permissions, take
//    ownership;
//  - every directory above, up to the volume's root: delete, delete a child,
//    change permissions, take ownership. Adding a new entry there cannot
//    replace the one on the path, and every volume root lets users add
//    directories, so those two rights are allowed above the holding
//    directory.
// Generic rights count as what they map to for files, entries that are only
// inherited by children count for nothing, and deny entries are not relied
// upon. A link or junction anywhere on the path, an entry without an access
// list, an allow entry of a kind that files do not carry, or an entry whose
// security cannot be read fails the test.
#pragma once

#include <cstdint>
#include <string>

#include "platform/protected_files/protected_files.h"

// The rights an entry must not grant to anyone but the three trustees.
enum : uint32_t {
  kForbiddenOnHolder = 0x2 | 0x4 | 0x40 | 0x10000 | 0x40000 | 0x80000,
  kForbiddenAbove = 0x40 | 0x10000 | 0x40000 | 0x80000,
};

// Generic rights of an access mask mapped as the file system maps them; the
// generic bits themselves cleared.
uint32_t MapGenericFileRights(uint32_t mask);

// One entry's security against the rights forbidden at its place. True when
// it passes; otherwise *reason says why ("owned by S-1-5-21-...").
bool PassesAdminOnly(const platform::FileSecurity& security, uint32_t forbidden, std::u16string* reason);

// The file at `filePath`, its directory and every directory above it. False
// with the reason (naming the entry) when one of them fails, or when the path
// is not a plain full path (drive, UNC or rooted; no "." or "..").
bool IsAdministratorsOnlyFile(const std::u16string& filePath, std::u16string* reason);

// The directory `dirPath` (a trailing separator allowed) and every directory
// above it.
bool IsAdministratorsOnlyDirectory(const std::u16string& dirPath, std::u16string* reason);
