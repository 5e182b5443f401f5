// A response file in the test's folder, and none beside the program.
#ifndef INSTALIB_TESTS_SETUP_ICF_FIXTURE_H
#define INSTALIB_TESTS_SETUP_ICF_FIXTURE_H

#include <string>

#include "instalib/setup_icf.h"
#include "tests/support/fresh_machine.h"

inline std::string Entry(const std::string& section, const std::string& key, const std::string& value) {
    return "[" + section + "]\r\n" + key + "=" + value + "\r\n";
}

class SetupIcf : public FreshMachine {
  protected:
    void SetUp() override {
        FreshMachine::SetUp();
        RemoveBesideProgram();
    }
    void TearDown() override {
        RemoveBesideProgram();
        FreshMachine::TearDown();
    }
    static std::string File() { return Folder() + "\\ANSWERS.ICF"; }
    static std::string BesideProgram() { return ProgramFolder() + "SETUP.ICF"; }
    static CSetupIcf Open(const std::string& content) {
        WriteBytes(File(), content);
        return CSetupIcf(File().c_str());
    }
    static std::string Recorded(const char* section, const char* key) {
        char text[4096] = "";
        GetPrivateProfileStringA(section, key, "<none>", text, sizeof text, File().c_str());
        return text;
    }

  private:
    static void RemoveBesideProgram() {
        if (!FileExists(BesideProgram())) return;
        SetFileAttributesA(BesideProgram().c_str(), FILE_ATTRIBUTE_NORMAL);
        DeleteFileA(BesideProgram().c_str());
    }
};

#endif
