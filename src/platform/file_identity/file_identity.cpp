#include "platform/file_identity/file_identity.h"

namespace platform {

bool IsSameFile(const std::u16string& a, const std::u16string& b) {
  FileIdentity& identity = Service<FileIdentity>();
  FileId first, second;
  return identity.IdentifyFile(a, &first) && identity.IdentifyFile(b, &second) && first == second;
}

}  // namespace platform
