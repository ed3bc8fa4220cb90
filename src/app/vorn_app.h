// The abstract application base that the product family's programs share. It
// owns the command line, the configuration, the language and both parsed
// documents for the whole run.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "app/command_line.h"
#include "base/product_config.h"

struct cJSON;

class CVornApp {
 public:
  CVornApp();
  // Not virtual: the object is never deleted through a base pointer.
  ~CVornApp();
  CVornApp(const CVornApp&) = delete;
  CVornApp& operator=(const CVornApp&) = delete;

  // The program's one virtual operation. `commandLine` must not be null.
  virtual int32_t Run(const char16_t* commandLine) = 0;

  const CProductConfig& GetProductConfig() const { return m_productConfig; }

  static CVornApp* s_instance;

  // The language and locale table, read by the localised-string lookup.
  const std::u16string& language() const { return m_language; }
  const std::string& languageUtf8() const { return m_languageUtf8; }
  bool useChineseName() const { return m_useChineseName; }
  const cJSON* localeJson() const { return m_localeJson; }
  const CCommandLine& commandLine() const { return m_commandLine; }

  // Install stage reports of the installer toolkit (toolkit/install_report.cpp).
  // The user's message for an install error code.
  std::u16string GetInstallErrorMessage(int32_t code) const;
  // Hands the error report of `code` to the event reporter; the stage stays.
  static void ReportInstallError(int32_t code, int32_t lastErrorCode);
  // Sets the stage word and reports the stage.
  void SetInstallStage(uint32_t stage);
  uint32_t GetInstallStage() const;
  uint64_t GetInstallProgressDone() const { return m_installProgressDone.load(); }
  void SetInstallProgressDone(uint64_t value) { m_installProgressDone.store(value); }
  uint64_t GetInstallProgressTotal() const { return m_installProgressTotal.load(); }
  void SetInstallProgressTotal(uint64_t value) { m_installProgressTotal.store(value); }

 protected:
  // Loads resource `resourceId` into m_configText, m_configJson and
  // m_productConfig. False on any failure (logged).
  bool _InitConfigInfo(uint16_t resourceId);
  // Chooses m_language / m_useChineseName and loads the locale table. False
  // when the resource cannot be read or parsed.
  bool _InitLanguage(uint16_t resourceId);
  // Opens the log below baseDir ("sdk_storage\log" when useLogSubDir) as
  // "<product_name_en>-<tag>.log". Always true.
  bool _StartLog(const std::u16string& baseDir, const std::u16string& tag, bool useLogSubDir);

  CCommandLine m_commandLine;
  std::u16string m_language;
  std::string m_languageUtf8;
  std::u16string m_command;
  std::u16string m_rawCommandLine;
  bool m_useChineseName = false;
  CProductConfig m_productConfig;
  cJSON* m_configJson = nullptr;
  cJSON* m_localeJson = nullptr;
  std::string m_configText;
  // Stage bookkeeping of the installer toolkit; the launcher never touches it.
  uint32_t m_installStage = 0;
  std::atomic<uint32_t> m_installStageAtomic{0};
  std::atomic<uint64_t> m_installProgressDone{0};
  std::atomic<uint64_t> m_installProgressTotal{0};
};

// The configuration from anywhere: CVornApp::s_instance->GetProductConfig().
const CProductConfig& GetProductConfig();
