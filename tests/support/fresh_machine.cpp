#include "tests/support/fresh_machine.h"

#include <fstream>
#include <iterator>
#include <random>

#ifndef _WIN32
#include "platform/embedded/control/machine.h"
namespace control = embedded::control;
#endif

namespace fs = std::filesystem;

namespace {

// What a test may have left on a machine that outlives it. Subkeys go with their key.
[[maybe_unused]] constexpr const char* kFamilyKeys[] = {
    "SOFTWARE\\Orvanex",      "SOFTWARE\\Halvenor", "SOFTWARE\\Wow6432Node\\Orvanex", "SOFTWARE\\Wow6432Node\\Halvenor",
    "SOFTWARE\\InstalibTest",
};

fs::path HostPathOf(const std::string& path) {
#ifdef _WIN32
    return fs::path(path);
#else
    return control::HostPath(path);
#endif
}

#ifndef _WIN32
fs::path MakeTemporaryFolder() {
    std::random_device random;
    for (;;) {
        const fs::path folder =
            fs::temp_directory_path() / ("instalib-test-" + std::to_string(random()) + std::to_string(random()));
        if (fs::create_directory(folder)) return folder;
    }
}
#endif

}  // namespace

void FreshMachine::SetUp() {
    m_hostDirectory = fs::current_path();
#ifdef _WIN32
    for (const char* key : kFamilyKeys) DeleteKeyTree(HKEY_LOCAL_MACHINE, key);
    for (const char* key : kFamilyKeys) DeleteKeyTree(HKEY_CURRENT_USER, key);
    std::error_code ignored;
    fs::remove_all(Folder(), ignored);
    fs::create_directories(Folder());
#else
    m_world = MakeTemporaryFolder();
    m_machine = m_world / "TESTPC";
    ASSERT_TRUE(control::NewMachine(m_world, "TESTPC"));
    ASSERT_TRUE(control::UseMachine(m_machine));
    control::RunAs("C:\\SETUP\\SETUP.EXE");
    MakeFolder("C:\\SETUP");
    MakeFolder(Folder());
    ASSERT_EQ(control::OpenReport(), "") << "left open before the test";
#endif
    SetLastError(0xdeadbeef);
}

void FreshMachine::TearDown() {
#ifdef _WIN32
    SetCurrentDirectoryA("C:\\");
#else
    control::ClearFault();
    control::UseManualClock(false);
    EXPECT_EQ(control::OpenReport(), "") << "left open by the test";
    std::error_code ignored;
    fs::remove_all(m_world, ignored);
#endif
    std::error_code error;
    fs::current_path(m_hostDirectory, error);
}

std::string FreshMachine::Folder() { return "C:\\TEST"; }

void FreshMachine::WriteBytes(const std::string& path, std::string_view bytes) {
    const fs::path host = HostPathOf(path);
    fs::create_directories(host.parent_path());
    std::ofstream file(host, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), std::streamsize(bytes.size()));
    ASSERT_TRUE(file.good()) << path;
}

std::string FreshMachine::ReadBytes(const std::string& path) {
    std::ifstream file(HostPathOf(path), std::ios::binary);
    EXPECT_TRUE(file.good()) << path << " cannot be read";
    return {std::istreambuf_iterator<char>(file), {}};
}

bool FreshMachine::FileExists(const std::string& path) { return fs::exists(HostPathOf(path)); }

void FreshMachine::MakeFolder(const std::string& path) { fs::create_directories(HostPathOf(path)); }

void FreshMachine::PlaceLibrary(const std::string& name, const std::string& target) {
    std::string path = target;
    if (path.ends_with('\\')) path += name;
    const fs::path host = HostPathOf(path);
    fs::create_directories(host.parent_path());
    fs::remove(host);  // copying over a file fails with MinGW's runtime, whatever the option says
    fs::copy_file(HostProgramFolder() / "product_libs" / name, host);
}

fs::path FreshMachine::HostProgramFolder() {
#ifdef _WIN32
    char path[MAX_PATH] = "";
    GetModuleFileNameA(nullptr, path, MAX_PATH);
    return fs::path(path).parent_path();
#else
    return fs::read_symlink("/proc/self/exe").parent_path();
#endif
}

std::string FreshMachine::ProgramFolder() {
    char path[MAX_PATH + 1] = "";
    GetModuleFileNameA(nullptr, path, MAX_PATH);
    const std::string text = path;
    return text.substr(0, text.rfind('\\') + 1);
}

void FreshMachine::SetRaw(HKEY root, const std::string& key, const char* name, DWORD type, const TestBytes& data) {
    RegistryKey handle;
    ASSERT_EQ(RegCreateKeyExA(root, key.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, handle.Receive(), nullptr), 0);
    ASSERT_EQ(RegSetValueExA(handle.Get(), name, 0, type, data.data(), DWORD(data.size())), 0);
}

void FreshMachine::SetText(HKEY root, const std::string& key, const char* name, std::string_view text) {
    TestBytes data(text.begin(), text.end());
    data.push_back(0);
    SetRaw(root, key, name, REG_SZ, data);
}

void FreshMachine::SetNumber(HKEY root, const std::string& key, const char* name, DWORD number) {
    const auto* bytes = reinterpret_cast<const BYTE*>(&number);
    SetRaw(root, key, name, REG_DWORD, TestBytes(bytes, bytes + sizeof number));
}

void FreshMachine::MakeKey(HKEY root, const std::string& key) {
    RegistryKey handle;
    ASSERT_EQ(RegCreateKeyExA(root, key.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, handle.Receive(), nullptr), 0);
}

std::optional<FreshMachine::Raw> FreshMachine::GetRaw(HKEY root, const std::string& key, const char* name) {
    RegistryKey handle;
    if (RegOpenKeyExA(root, key.c_str(), 0, KEY_READ, handle.Receive()) != 0) return std::nullopt;
    DWORD size = 0;
    Raw raw{};
    if (RegQueryValueExA(handle.Get(), name, nullptr, &raw.type, nullptr, &size) != 0) return std::nullopt;
    raw.data.resize(size);
    if (RegQueryValueExA(handle.Get(), name, nullptr, &raw.type, raw.data.data(), &size) != 0) return std::nullopt;
    return raw;
}

std::string FreshMachine::GetText(HKEY root, const std::string& key, const char* name) {
    const std::optional<Raw> raw = GetRaw(root, key, name);
    if (!raw) return "<none>";
    if (raw->type != REG_SZ && raw->type != REG_EXPAND_SZ) return "<type " + std::to_string(raw->type) + ">";
    const std::string text(raw->data.begin(), raw->data.end());
    return text.substr(0, text.find('\0'));
}

long long FreshMachine::GetNumber(HKEY root, const std::string& key, const char* name) {
    const std::optional<Raw> raw = GetRaw(root, key, name);
    if (!raw || raw->type != REG_DWORD || raw->data.size() != 4) return -1;
    DWORD number = 0;
    std::copy(raw->data.begin(), raw->data.end(), reinterpret_cast<BYTE*>(&number));
    return number;
}

bool FreshMachine::KeyExists(HKEY root, const std::string& key) {
    RegistryKey handle;
    return RegOpenKeyExA(root, key.c_str(), 0, KEY_READ, handle.Receive()) == 0;
}

namespace {

// Key by key through open handles, so that no path grows long; false at the first key that cannot be removed.
bool DeleteBelow(HKEY parent, const char* name) {
    {
        RegistryKey key;
        if (RegOpenKeyExA(parent, name, 0, KEY_ALL_ACCESS, key.Receive()) != 0) return false;
        char child[256] = "";
        for (DWORD size = sizeof child;
             RegEnumKeyExA(key.Get(), 0, child, &size, nullptr, nullptr, nullptr, nullptr) == 0; size = sizeof child) {
            if (!DeleteBelow(key.Get(), child)) return false;
        }
    }
    return RegDeleteKeyA(parent, name) == 0;
}

}  // namespace

void FreshMachine::DeleteKeyTree(HKEY root, const std::string& key) { DeleteBelow(root, key.c_str()); }

std::string FreshMachine::ComputerName() {
    char name[64] = "";
    DWORD size = sizeof name;
    GetComputerNameA(name, &size);
    return name;
}

#ifndef _WIN32
fs::path FreshMachine::AddMachine(const std::string& name) {
    EXPECT_TRUE(control::NewMachine(m_world, name));
    return m_world / name;
}
#endif
