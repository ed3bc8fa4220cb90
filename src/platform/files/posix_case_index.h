// The Linux backend's index of names without regard to letter case. Windows
// finds "Foo.txt" when "foo.txt" exists; Linux does not, so a path that is
// missing as written is looked up in its parent directory by ASCII-folded
// name. Scanning the whole directory for every such lookup made each new
// file of a large directory cost as much as the directory holds: unpacking
// N files into one directory cost N^2 / 2 name comparisons (20,000 files
// took minutes). The index lists a directory once and answers each lookup
// from a hash of its folded names while the directory stays as it was
// listed. Internal to src/platform.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>

namespace platform {
namespace posix {

// The name in the existing directory `dir` that equals `name` without regard
// to ASCII case (the first one the directory lists, as a scan would find),
// checked to exist now. False when there is none or `dir` can't be read.
//
// The directory's listing is kept for the calling thread while its
// identity and modification time stay the same; a change by this process
// (NoteNameAdded / NoteNameRemoved) keeps the listing true, any other change
// moves the modification time and makes the next lookup list it again. A
// name another process adds within the same tick of the file system's clock
// as a change this process has seen may be missed until the directory
// changes again; the name as written is always looked at first.
//
// `dirState`, when given, is what an lstat of `dir` has just answered; a
// directory's state then spares the lookup its own look at `dir`.
bool FindNameIgnoringCase(const std::string& dir, const std::string& name, std::string* match,
                          const struct stat* dirState = nullptr);

// This process has just made `posixPath` (a file, a directory, the target of
// a rename) or removed it.
void NoteNameAdded(const std::string& posixPath);
void NoteNameRemoved(const std::string& posixPath);

// How many times a directory was listed for the index (tests).
uint64_t CaseIndexListingsForTesting();

}  // namespace posix
}  // namespace platform
