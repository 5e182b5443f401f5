// Response files, media and marker files; the test's folder is the current directory.
#ifndef INSTALIB_TESTS_SETUP_FILES_FIXTURE_H
#define INSTALIB_TESTS_SETUP_FILES_FIXTURE_H

#include <algorithm>
#include <cstring>
#include <sstream>
#include <string>

#include "instalib/settings.h"
#include "tests/support/fresh_machine.h"

class SetupFiles : public FreshMachine {
  protected:
    void SetUp() override {
        FreshMachine::SetUp();
        RemovePlaced();
        ASSERT_TRUE(SetCurrentDirectoryA(Folder().c_str()));
    }
    void TearDown() override {
        RemovePlaced();
        FreshMachine::TearDown();
    }

    static std::string AnswersFile() { return Folder() + "\\ANSWERS.ICF"; }
    static std::string Missing() { return Folder() + "\\MISSING"; }
    static std::string WindowsFolder() {
        char path[MAX_PATH] = "";
        GetWindowsDirectoryA(path, sizeof path);
        return std::string(path) + "\\";
    }
    static std::string Entry(const std::string& section, const std::string& key, const std::string& value) {
        return "[" + section + "]\r\n" + key + "=" + value + "\r\n";
    }

  private:
    // Files outside the test's folder, on a machine that outlives the test.
    static void RemovePlaced() {
        for (const std::string& file :
             {WindowsFolder() + "HOST.INI", WindowsFolder() + "SCANNER.ALT", WindowsFolder() + "KORVAULT.ALT",
              ProgramFolder() + "ALERTVER.DLL", ProgramFolder() + "SETUP.ICF", ProgramFolder() + "SETUP.INF"}) {
            if (!FileExists(file)) continue;
            SetFileAttributesA(file.c_str(), FILE_ATTRIBUTE_NORMAL);
            DeleteFileA(file.c_str());
        }
    }
};

// Joined(1, "a", "") is "1|a||".
template <class... Values>
std::string Joined(const Values&... values) {
    std::ostringstream text;
    ((text << values << '|'), ...);
    return text.str();
}

// A field of the front end's record.
template <std::size_t Size>
void Fill(char (&field)[Size], const std::string& text) {
    std::memset(field, 0, Size);
    std::memcpy(field, text.data(), std::min(text.size(), Size));
}

#endif
