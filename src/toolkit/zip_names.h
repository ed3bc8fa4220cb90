// Names of items and targets: the cleaning of a name as the archive gives it,
// and which targets are absolute. IsRefusedZipName, which says which relative
// targets are never written, is declared with the reader's interface.
#pragma once

#include <string>

namespace zip {

// Drops a drive, leading separators and everything up to the last inner
// parent reference, until none of these applies.
std::u16string CleanName(std::u16string name);

// A path that starts with a separator or a drive.
bool IsAbsolute(const std::u16string& path);

}  // namespace zip
