// The fixture of every test that touches the system: a fresh machine before it, and nothing left open behind it.
// On the embedded target each test gets a world of its own in a temporary folder; under Wine the family's keys, values,
// services, shares and the folder C:\TEST are removed instead. Paths are the machine's unless called host paths.
#ifndef INSTALIB_TESTS_FRESH_MACHINE_H
#define INSTALIB_TESTS_FRESH_MACHINE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/handles.h"
#include "platform/platform.h"

// "SECTION" texts and registry data of tests, zero bytes included.
using TestBytes = std::vector<BYTE>;

// Names the cases of a table by their rows.
inline constexpr auto kCaseName = [](const auto& tested) {
    if constexpr (requires { tested.param.title; })
        return std::string(tested.param.title);
    else if constexpr (requires { tested.param.name; })
        return std::string(tested.param.name);
    else
        return std::string(tested.param.what);
};

// What a case has answered and left, "|" between its parts, so that one comparison checks a case and a failure shows
// all of it. Parts are numbers and texts; calls whose order matters are made before.
template <class... Parts>
std::string Told(const Parts&... parts) {
    std::ostringstream text;
    const char* separator = "";
    ((text << std::exchange(separator, "|") << parts), ...);
    return text.str();
}

// Whether a call has failed (answered 0, FALSE or nothing) and left this last error.
template <class Result>
testing::AssertionResult FailsWith(DWORD error, const Result& result) {
    const DWORD left = GetLastError();
    SetLastError(0xdeadbeef);  // no later call can pass for failing with this one's error
    if (!result && left == error) return testing::AssertionSuccess();
    return testing::AssertionFailure() << (result ? "succeeds" : "fails") << ", last error " << left << ", not "
                                       << error;
}

class FreshMachine : public testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    // An empty folder of the test's own on the machine's drive C:, without a final backslash: "C:\\TEST".
    static std::string Folder();
    // Files of the machine, as bytes. WriteBytes makes missing folders. ReadBytes of a missing file fails the test.
    static void WriteBytes(const std::string& path, std::string_view bytes);
    static std::string ReadBytes(const std::string& path);
    static bool FileExists(const std::string& path);
    static void MakeFolder(const std::string& path);

    // Copies a library of tests/product_libs, by its file name, to a path or into a folder (final backslash) of the
    // machine.
    static void PlaceLibrary(const std::string& name, const std::string& target);
    // The host's folder of the test program; product_libs and the front end stand there.
    static std::filesystem::path HostProgramFolder();
    // The folder of the running program as GetModuleFileNameA tells it, with a final backslash.
    static std::string ProgramFolder();

    // Registry values in one line. Set* create the key.
    static void SetText(HKEY root, const std::string& key, const char* name, std::string_view text);
    static void SetNumber(HKEY root, const std::string& key, const char* name, DWORD number);
    static void SetRaw(HKEY root, const std::string& key, const char* name, DWORD type, const TestBytes& data);
    static void MakeKey(HKEY root, const std::string& key);
    struct Raw {
        DWORD type;
        TestBytes data;
    };
    // Nothing when the key or the value is missing.
    static std::optional<Raw> GetRaw(HKEY root, const std::string& key, const char* name);
    // The text up to its terminator; "<none>" when missing, "<type N>" when it is no text.
    static std::string GetText(HKEY root, const std::string& key, const char* name);
    // -1 when missing or no REG_DWORD.
    static long long GetNumber(HKEY root, const std::string& key, const char* name);
    static bool KeyExists(HKEY root, const std::string& key);
    static void DeleteKeyTree(HKEY root, const std::string& key);
    // The same of the local machine.
    using Key = const std::string&;
    static void SetText(Key key, const char* name, std::string_view text) { SetText(kMachine, key, name, text); }
    static void SetNumber(Key key, const char* name, DWORD number) { SetNumber(kMachine, key, name, number); }
    static void SetRaw(Key key, const char* name, DWORD type, const TestBytes& data) {
        SetRaw(kMachine, key, name, type, data);
    }
    static void MakeKey(Key key) { MakeKey(kMachine, key); }
    static std::optional<Raw> GetRaw(Key key, const char* name) { return GetRaw(kMachine, key, name); }
    static std::string GetText(Key key, const char* name) { return GetText(kMachine, key, name); }
    static long long GetNumber(Key key, const char* name) { return GetNumber(kMachine, key, name); }
    static bool KeyExists(Key key) { return KeyExists(kMachine, key); }
    static void DeleteKeyTree(Key key) { DeleteKeyTree(kMachine, key); }

    static std::string ComputerName();

#ifndef _WIN32
    // A further machine of the test's world, seeded like the first; its folder on the host.
    std::filesystem::path AddMachine(const std::string& name);
    std::filesystem::path World() const { return m_world; }
    std::filesystem::path MachineFolder() const { return m_machine; }
#endif

  private:
    static inline const HKEY kMachine = HKEY_LOCAL_MACHINE;
    std::filesystem::path m_world;
    std::filesystem::path m_machine;
    std::filesystem::path m_hostDirectory;
};

// Names, in the test's source, a gap of the system under Wine; the reason stands in docs/ARCHITECTURE.md's table too.
#ifdef _WIN32
#define SKIP_UNDER_WINE(reason) GTEST_SKIP() << "Wine: " << (reason)
#else
#define SKIP_UNDER_WINE(reason) static_cast<void>(0)
#endif

#endif
