#include "toolkit/zip_extract.h"

#include <algorithm>

#include "app/vorn_app.h"
#include "base/format.h"
#include "platform/error_codes.h"
#include "platform/files/files.h"
#include "toolkit/install_report.h"

namespace {

constexpr int32_t kBadArguments = -1;

uint32_t LastError() { return platform::LastError(); }

void ReportUnzipFailure() { CVornApp::ReportInstallError(kInstallErrorUnzipPackageFailed, 0); }

ExtractCallback OrNothing(ExtractCallback callback) {
  if (!callback) return [](int32_t, const std::u16string&) {};
  return callback;
}

}  // namespace

bool ExtractZipFile(const std::u16string& zipPath, const std::u16string& targetDir, ExtractCallback callback,
                    int32_t progressFrom, int32_t progressTo) {
  callback = OrNothing(std::move(callback));
  if (zipPath.empty()) {
    callback(kBadArguments, FormatWideString(u"empty path, zipPath='%s'", zipPath));
    return false;
  }
  if (!platform::Service<platform::Files>().PathExists(zipPath)) {
    callback(kBadArguments, FormatWideString(u"zip not found, path='%s'", zipPath));
    return false;
  }
  ZipHandle zip = OpenZip(zipPath, nullptr);
  if (zip == nullptr) {
    ReportUnzipFailure();
    callback(kInstallErrorUnzipPackageFailed, FormatWideString(u"OpenZip '%s' failed, error=%d", zipPath, LastError()));
    return false;
  }
  const bool result = ExtractZipContents(zip, targetDir, callback, progressFrom, progressTo);
  ReleaseZip(zip);
  return result;
}

bool ExtractZipHandle(platform::Handle file, const std::u16string& targetDir, ExtractCallback callback,
                      int32_t progressFrom, int32_t progressTo) {
  callback = OrNothing(std::move(callback));
  if (file == platform::InvalidFileHandle()) {
    callback(static_cast<int32_t>(reinterpret_cast<intptr_t>(file)), u"invalid file handle");
    return false;
  }
  ZipHandle zip = OpenZipHandle(file, nullptr);
  if (zip == nullptr) {
    const uint32_t low = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(file));
    callback(kBadArguments, FormatWideString(u"OpenZipHandle '0x%08x' failed, error=%d", low, LastError()));
    return false;
  }
  const bool result = ExtractZipContents(zip, targetDir, callback, progressFrom, progressTo);
  ReleaseZip(zip);
  return result;
}

bool ExtractZipContents(ZipHandle zip, const std::u16string& targetDir, const ExtractCallback& callback,
                        int32_t progressFrom, int32_t progressTo) {
  if (targetDir.empty()) {
    callback(kBadArguments, u"empty dest path");
    return false;
  }
  auto& files = platform::Service<platform::Files>();
  // The directory may exist already, so the result is not looked at.
  files.MakeDirectoryTree(targetDir);
  const uint32_t createError = platform::LastError();
  if (!files.PathIsDir(targetDir)) {
    callback(kBadArguments, FormatWideString(u"create target dir failed,path='%s', error=%d", targetDir, createError));
    return false;
  }
  if (SetUnzipBaseDir(zip, targetDir) != ZR_OK) {
    ReportUnzipFailure();
    callback(kInstallErrorUnzipPackageFailed,
             FormatWideString(u"SetUnzipBaseDir '%s' failed, error=%d", targetDir, LastError()));
    return false;
  }
  ZipEntry entry;
  if (GetZipItem(zip, -1, &entry) != ZR_OK) {
    ReportUnzipFailure();
    callback(kInstallErrorUnzipPackageFailed, FormatWideString(u"GetZipItem -1 failed, error=%d", LastError()));
    return false;
  }
  const int32_t count = entry.index;
  const double step = static_cast<double>(progressTo - progressFrom) / count;
  for (int32_t i = 0; i < count; ++i) {
    // An item that cannot be reached or described fails the run, named by
    // its index where the archive gives no name: going on would report
    // success with files missing.
    if (GetZipItem(zip, i, &entry) != ZR_OK) {
      const std::u16string name(entry.name);
      ReportUnzipFailure();
      callback(kInstallErrorUnzipPackageFailed,
               name.empty() ? FormatWideString(u"GetZipItem %d failed, error=%d", i, LastError())
                            : FormatWideString(u"UnzipItem '%s' failed, error=%d", name, LastError()));
      return false;
    }
    const std::u16string name(entry.name);
    // An empty item comes out of the reader as a failure once the file is
    // made, so that failure is none; a name that is refused is never made,
    // whatever its size.
    if (UnzipItem(zip, i, name) != ZR_OK && (entry.unc_size > 0 || IsRefusedZipName(name))) {
      ReportUnzipFailure();
      callback(kInstallErrorUnzipPackageFailed,
               FormatWideString(u"UnzipItem '%s' failed, error=%d", name, LastError()));
      return false;
    }
    const double at = i * step + progressFrom;
    const int32_t code = std::min(static_cast<int32_t>(at), progressTo - 1);
    callback(code, std::u16string());
  }
  callback(progressTo, std::u16string());
  return true;
}
