// What the tests of files share: opening, reading and writing in one line, errors, and what a pattern finds.
#ifndef INSTALIB_TESTS_FILES_FIXTURE_H
#define INSTALIB_TESTS_FILES_FIXTURE_H

#include "tests/support/fresh_machine.h"

inline constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

class Files : public FreshMachine {
  protected:
    // "C:\\TEST\\" + name
    static std::string In(const std::string& name) { return Folder() + "\\" + name; }

    static FileHandle Open(const std::string& path, DWORD access, DWORD share = kShareAll,
                           DWORD disposition = OPEN_EXISTING, DWORD flags = FILE_ATTRIBUTE_NORMAL) {
        SetLastError(0xdeadbeef);
        return FileHandle(CreateFileA(path.c_str(), access, share, nullptr, disposition, flags, nullptr));
    }
    // The error of opening a file; 0 when it opens.
    static DWORD OpenError(const std::string& path, DWORD access, DWORD share = kShareAll,
                           DWORD disposition = OPEN_EXISTING, DWORD flags = FILE_ATTRIBUTE_NORMAL) {
        return Open(path, access, share, disposition, flags) ? 0 : GetLastError();
    }
    static BOOL Write(const FileHandle& file, std::string_view text) {
        DWORD written = 0;
        return WriteFile(file.Get(), text.data(), DWORD(text.size()), &written, nullptr) && written == text.size();
    }
    static std::string Read(const FileHandle& file, DWORD bytes) {
        std::string text(bytes, '\0');
        DWORD read = 0;
        EXPECT_NE(ReadFile(file.Get(), text.data(), bytes, &read, nullptr), FALSE);
        text.resize(read);
        return text;
    }
    // The names that a pattern in C:\TEST finds, in the order they come in, each followed by a blank.
    static std::string Found(const std::string& pattern) {
        WIN32_FIND_DATAA data;
        std::string names;
        const FindHandle find(FindFirstFileA(In(pattern).c_str(), &data));
        if (!find) return "error " + std::to_string(GetLastError());
        do names += std::string(data.cFileName) + ' ';
        while (FindNextFileA(find.Get(), &data));
        EXPECT_EQ(GetLastError(), DWORD(ERROR_NO_MORE_FILES));
        return names;
    }
    static DWORD Attributes(const std::string& name) { return GetFileAttributesA(In(name).c_str()); }
};

// Takes a file's attributes off again, so that the next test's machine can be cleared.
struct ClearedAttributes {
    std::string path;
    ~ClearedAttributes() { SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_NORMAL); }
};

// Answers 0 when a call succeeded, else its last error.
template <class Call>
DWORD ErrorOf(Call call) {
    SetLastError(0xdeadbeef);
    return call() ? 0 : GetLastError();
}

#endif
