#include "instalib/setup_icf.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "changes/changing.h"
#include "machine/scrambling.h"
#include "platform/handles.h"
#include "platform/platform.h"
#include "setupfiles/program_folder.h"
#include "setupfiles/wiped_buffer.h"

namespace {

// Sections that older response files used and that have no name of their own.
constexpr char kKorvaultInstall[] = "KorvaultInstall";
constexpr char kSystemAccountWithBlank[] = "System Account";

constexpr std::size_t kPasswordLength = 96;

}  // namespace

CSetupIcf::CSetupIcf(const char* file) { Init(file); }
CSetupIcf::CSetupIcf(const CSetupIcf& other) = default;
CSetupIcf& CSetupIcf::operator=(const CSetupIcf& other) = default;

CSetupIcf::~CSetupIcf() {
    WipeMemory(m_szSystemAccountPassword, sizeof m_szSystemAccountPassword);
    WipeMemory(m_szKVDomainPassword, sizeof m_szKVDomainPassword);
    WipeMemory(m_szMDBPassword, sizeof m_szMDBPassword);
    WipeMemory(m_szeDLVPass, sizeof m_szeDLVPass);
}

int CSetupIcf::Init(const char* file) {
    m_sIcfFile = file;
    m_bExists = FindFile();
    Reset();
    return m_bExists;
}

int CSetupIcf::Exists() { return m_bExists; }

int CSetupIcf::FindFile() {
    if (!m_sIcfFile.IsEmpty() && _access(m_sIcfFile, 0) == 0) {
        // The profile functions would look for a bare name in the Windows directory, not where it was found.
        char path[_MAX_PATH] = "";
        if (_fullpath(path, m_sIcfFile, sizeof path) != nullptr) m_sIcfFile = path;
        return 1;
    }
    m_sIcfFile = ProgramFolder() + m_sDefaultFilename;
    if (_access(m_sIcfFile, 0) != 0) return 0;
    const DWORD attributes = GetFileAttributesA(m_sIcfFile);
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0) {
        changing::SetFileAttributesA(m_sIcfFile, attributes & ~DWORD(FILE_ATTRIBUTE_READONLY));
    }
    return 1;
}

// Names a number in the rows: what the flag is without a file.
static constexpr int WithoutFile(int flag) { return flag; }

// Zeros the whole buffers: an earlier file's password must not stay behind a terminator.
void CSetupIcf::Reset() {
#define ICF_TEXT(Name, buffer, ...) std::memset(buffer, 0, sizeof buffer);
#define ICF_PASSWORD ICF_TEXT
#define ICF_FLAG(Name, flag, key, fallback, builtIn, ...) flag = builtIn;
#define ICF_FEATURE(...)
#include "setupfiles/setup_icf_accessors.def"
    std::memset(m_szKorvaultPath, 0, sizeof m_szKorvaultPath);
    std::memset(m_szAlertPath, 0, sizeof m_szAlertPath);
    m_bInstallOGT = 0;
    m_bSQLDB = 0;
}

const char* CSetupIcf::ReadText(char* buffer, DWORD capacity, const char* key, const char* fallback,
                                Sections sections) {
    if (m_bExists == 0) return buffer;
    for (const char* section : sections) {
        if (GetPrivateProfileStringA(section, key, fallback, buffer, capacity, m_sIcfFile) != 0) break;
    }
    return buffer;
}

const char* CSetupIcf::ReadPassword(char* buffer, DWORD capacity, const char* key, Sections plainSections) {
    if (m_bExists == 0 || *ReadText(buffer, capacity, key, "", plainSections) != '\0') return buffer;
    WipedBuffer<kScrambledTextCapacity> scrambled;
    WipedBuffer<kPlainTextCapacity + 1> plain;
    GetPrivateProfileStringA(m_sBaseProduct, key, "", scrambled.Text(), DWORD(scrambled.Size()), m_sIcfFile);
    if (UnscramblePasswordText(scrambled.Text(), plain.Text()) == 0) return buffer;
    const std::size_t length = std::min<std::size_t>(std::strlen(plain.Text()), capacity - 1);
    std::memcpy(buffer, plain.Text(), length);
    buffer[length] = '\0';
    return buffer;
}

int CSetupIcf::WritePassword(const char* key, const char* password) {
    if (password == nullptr || *password == '\0') return FailWith(ERROR_INVALID_PARAMETER);
    WipedBuffer<kPasswordLength + 1> plain;
    WipedBuffer<kScrambledTextCapacity + 1> scrambled;
    std::memcpy(plain.Text(), password, std::min(std::strlen(password), kPasswordLength));
    if (ScramblePasswordText(plain.Text(), scrambled.Text()) == 0) return 0;
    return WriteString(m_sBaseProduct, key, scrambled.Text());
}

// The next section is asked only while the flag is set, so that a 0 in the first one decides.
int CSetupIcf::ReadFlag(int& flag, const char* key, int fallback, Sections sections) {
    if (m_bExists == 0) return flag;
    for (const char* section : sections) {
        flag = int(GetPrivateProfileIntA(section, key, fallback, m_sIcfFile));
        if (flag == 0) break;
    }
    return flag;
}

int CSetupIcf::ReadFeature(const char* buffer, DWORD capacity, const char* key, Sections sections) {
    if (m_bExists == 0 || buffer == nullptr || capacity == 0) return 0;
    for (const char* section : sections) {
        if (GetPrivateProfileStringA(section, key, "", const_cast<char*>(buffer), capacity, m_sIcfFile) != 0) return 1;
    }
    return 0;
}

int CSetupIcf::WriteFlag(const char* section, const char* key, int flag) {
    return WriteString(section, key, flag != 0 ? "1" : "0");
}

// Rows name their sections in reading order; WrittenSection is the last.
static const char* WrittenSection(std::initializer_list<const char*> sections) { return *(sections.end() - 1); }

// The same: what it is in a file that lacks the key.
static constexpr int WhenMissing(int flag) { return flag; }

#define ICF_TEXT(Name, buffer, key, fallback, ...)                                               \
    const char* Name() { return ReadText(buffer, sizeof buffer, key, fallback, {__VA_ARGS__}); } \
    int Name(const char* text) { return WriteString(WrittenSection({__VA_ARGS__}), key, text); }
#define ICF_PASSWORD(Name, buffer, key, ...)                                               \
    const char* Name() { return ReadPassword(buffer, sizeof buffer, key, {__VA_ARGS__}); } \
    int Name(const char* password) { return WritePassword(key, password); }
#define ICF_FLAG(Name, flag, key, fallback, builtIn, ...)               \
    int Name() { return ReadFlag(flag, key, fallback, {__VA_ARGS__}); } \
    int Name(int value) { return WriteFlag(WrittenSection({__VA_ARGS__}), key, value); }
#define ICF_FEATURE(Name, key, ...) \
    int Name(const char* buffer, DWORD capacity) { return ReadFeature(buffer, capacity, key, {__VA_ARGS__}); }
#include "setupfiles/setup_icf_accessors.def"

// The oldest section has a key of its own for the path.
const char* CSetupIcf::KorvaultPath() {
    if (*ReadText(m_szKorvaultPath, sizeof m_szKorvaultPath, m_sInstallPath, "", {kKorvaultInstall}) != '\0') {
        return m_szKorvaultPath;
    }
    return ReadText(m_szKorvaultPath, sizeof m_szKorvaultPath, m_sKorvaultPath, m_sDefaultKorvaultPath,
                    {m_sInstallPath, m_sBaseProduct});
}
int CSetupIcf::KorvaultPath(const char* path) { return WriteString(m_sBaseProduct, m_sKorvaultPath, path); }

// Only the later sections have the default.
const char* CSetupIcf::AlertPath() {
    if (*ReadText(m_szAlertPath, sizeof m_szAlertPath, m_sAlertPath, "", {kKorvaultInstall}) != '\0') {
        return m_szAlertPath;
    }
    return ReadText(m_szAlertPath, sizeof m_szAlertPath, m_sAlertPath, m_sDefaultAlertPath,
                    {m_sInstallPath, m_sBaseProduct});
}
int CSetupIcf::AlertPath(const char* path) { return WriteString(m_sBaseProduct, m_sAlertPath, path); }

int CSetupIcf::AgentPath(const char* path) { return ClientAgentPath(path); }

// The other way round than the flags above: Base is asked while the flag is 0.
int CSetupIcf::SQLDB() {
    if (ReadFlag(m_bSQLDB, m_sSQL, 0, {m_sDatabaseOption}) != 0) return m_bSQLDB;
    return ReadFlag(m_bSQLDB, m_sSQL, 0, {m_sBaseProduct});
}
int CSetupIcf::SQLDB(int useSQL) { return WriteFlag(m_sBaseProduct, m_sSQL, useSQL); }

int CSetupIcf::InstallOGT() { return m_bInstallOGT; }
int CSetupIcf::InstallOGT(int) { return 0; }

int CSetupIcf::GetProductSubType() {
    int subType = -1;
    if (m_bExists != 0) subType = int(GetPrivateProfileIntA(m_sInstall, m_sProdSubType, -1, m_sIcfFile));
    return subType >= 0 && subType <= 4 ? subType : -1;
}

int CSetupIcf::GetInt(const char* section, const char* key, int* value) {
    if (m_bExists == 0 || value == nullptr) return 0;
    *value = int(GetPrivateProfileIntA(section, key, 0, m_sIcfFile));
    return 1;
}

int CSetupIcf::GetString(const char* section, const char* key, char* buffer, int capacity) {
    if (m_bExists == 0 || buffer == nullptr || capacity <= 0) return 0;
    return int(GetPrivateProfileStringA(section, key, "", buffer, DWORD(capacity), m_sIcfFile));
}

int CSetupIcf::WriteString(const char* section, const char* key, const char* value) {
    return changing::WritePrivateProfileStringA(section, key, value, m_sIcfFile);
}

int CSetupIcf::WriteInt(const char* section, const char* key, int value) {
    return WriteString(section, key, std::to_string(value).c_str());
}
