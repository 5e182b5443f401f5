// How CSettings::Initialize learns the machine's state and applies the response file: one object for one call.
#ifndef INSTALIB_SETUPFILES_SETTINGS_INITIALIZATION_H
#define INSTALIB_SETUPFILES_SETTINGS_INITIALIZATION_H

#include "instalib/registry.h"
#include "instalib/settings.h"
#include "instalib/setup_icf.h"
#include "instalib/setup_inf.h"

class SettingsInitialization {
  public:
    explicit SettingsInitialization(CSettings& settings);
    void Run();

  private:
    // What every mode learns.
    void ReadProduct();
    void ReadOwner();
    void FindMainProduct();
    void FindAlert();
    void FindQueueAndDatabase();
    void FindNewerAlert();
    void FindClientAgent();

    void ChooseRemovals();

    // Install mode.
    void FindProgramFiles();
    void FindUpgrade();
    void ReadSubType(CSetupInf& medium);
    void ReadComponentCode();
    void InitializeServer(CSetupInf& medium);
    void ReadMedium(CSetupInf& medium);
    void ApplySubType();
    void ReadSystemAccount();
    void SelectStandardSet();
    void TakePathsFromAnswers();
    void TakeAnswers();
    void ChooseDefaultPaths();
    void InitializeClientAgent();
    void FindRemoteHost();

    bool IsMainServer() const;
    bool IsServer() const;
    bool IsClientAgent() const;
    // The response file is there and may be asked.
    bool HasAnswers();
    CString InProgramFiles(const char* answeredPath) const;

    CSettings& m_settings;
    CSetupIcf m_answers;
    CHalvRegistry m_registry;
    CString m_programFiles;  // without a final backslash
};

#endif
