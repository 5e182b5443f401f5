#include "instalib/mif.h"

#include "foundation/text.h"
#include "instalib/version.h"
#include "platform/product_libraries.h"

namespace {

constexpr char kComponentClass[] = "DMTF|ComponentID|1.0";
constexpr char kStatusClass[] = "MICROSOFT|JOBSTATUS|1.0";
constexpr LONG kMainServer = 133;

int Write(const char* path, DWORD disposition, const CString& text) {
    const FileHandle file(CreateFileA(OrEmpty(path), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                      nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return 0;
    if (disposition == OPEN_EXISTING && SetFilePointer(file.Get(), 0, nullptr, FILE_END) == INVALID_SET_FILE_POINTER) {
        return 0;
    }
    DWORD written = 0;
    return WriteFile(file.Get(), static_cast<const char*>(text), DWORD(text.GetLength()), &written, nullptr);
}

CString Quoted(const char* text) { return CString("\"") + OrEmpty(text) + "\""; }

CString Number(int number) {
    CString text;
    text.Format("%d", number);
    return text;
}

CString Group(const char* name, int id, const char* groupClass) {
    return CString("START GROUP\r\nNAME = ") + Quoted(name) + "\r\nID = " + Number(id) +
           "\r\nCLASS = " + Quoted(groupClass) + "\r\n";
}

CString Attribute(const char* name, int id, const char* type, const char* value) {
    return CString("START ATTRIBUTE\r\nNAME = ") + Quoted(name) + "\r\nID = " + Number(id) +
           "\r\nACCESS = READ-ONLY\r\nSTORAGE = SPECIFIC\r\nTYPE = " + type + "\r\nVALUE = " + Quoted(value) +
           "\r\nEND ATTRIBUTE\r\n";
}

CString ShortAttribute(const char* name, int id, const char* type, const char* value) {
    return CString("\t\tStart Attribute\r\n\t\t\tName = ") + Quoted(name) + "\r\n\t\t\tID = " + Number(id) +
           "\r\n\t\t\tType = " + type + "\r\n\t\t\tValue = " + Quoted(value) + "\r\n\t\tEnd Attribute\r\n";
}

CString ProductName() {
    char name[257] = "";  // one byte more than the library may fill
    const LoadedLibrary library(LoadLibraryA(product::kProductMapLibrary));
    auto* const getName = product::EntryPoint<product::GetProductName>(library.Get(), "HVPGetProductName");
    if (getName != nullptr) getName(kMainServer, name, 256);
    name[256] = '\0';
    return name;
}

CString Now() {
    char date[9] = "", time[9] = "";
    _strdate(date);
    _strtime(time);
    return CString(date) + " " + time;
}

}  // namespace

CMIF::CMIF(const char* file) : m_sMIFFile(file) {}
CMIF::CMIF(const char* file, const char* serialNumber) : m_sMIFFile(file), m_sSerialNumber(serialNumber) {}
CMIF::CMIF(const CMIF& other) = default;
CMIF& CMIF::operator=(const CMIF& other) = default;
CMIF::~CMIF() = default;

int CMIF::Create(const char* file) {
    return Write(file, CREATE_ALWAYS,
                 CString("START COMPONENT\r\nNAME = \"WORKSTATION\"\r\n") + Group("ComponentID", 1, kComponentClass) +
                     Attribute("Manufacturer", 1, "STRING(100)", "Halvenor Software Inc.") +
                     Attribute("Product", 2, "STRING(100)", ProductName()) +
                     Attribute("Version", 3, "STRING(15)", InstalibGetVersionString(product::kVersionLibrary)));
}

int CMIF::WriteStatus(const char* file, const char* serialNumber, int status, const char* description) {
    return Write(file, OPEN_EXISTING,
                 Attribute("Serial Number", 4, "STRING(100)", serialNumber) +
                     Attribute("Installation", 5, "STRING(100)", Now()) + "END GROUP\r\n" +
                     Group("InstallStatus", 2, kStatusClass) +
                     Attribute("Status", 1, "STRING(100)", status == 0 ? "Success" : "Failed") +
                     Attribute("Description", 2, "STRING(255)", description) + "END GROUP\r\nEND COMPONENT\r\n");
}

int CMIF::Create(const char* file, int kind) {
    if (kind != 1 && kind != 2) return FailWith(ERROR_INVALID_PARAMETER);
    const char* const group = kind == 1 ? "INSTALLSTAUTS" : "UNINSTALLSTATUS";
    CString text;
    text.Format(
        "Start Component\r\n\tName = \"WorkStation\"\r\n\tStart Group Name = \"%s\"\r\n\tID = 1\r\n\tClass = "
        "\"ORVANEX|%s|1.0\"\r\n",
        group, group);
    return Write(file, CREATE_ALWAYS, text);
}

int CMIF::WriteStatus(const char* file, const char* description, int status) {
    return Write(file, OPEN_EXISTING,
                 ShortAttribute("Status", 1, "String(16)", status == 1 ? "SUCCESS" : "FAILED") +
                     ShortAttribute("Description", 2, "String(128)", description));
}

int CMIF::WriteEndOfMIF(const char* file) { return Write(file, OPEN_EXISTING, "\tEnd Group\r\nEnd Component"); }

int CMIF::Create() { return Create(m_sMIFFile); }
int CMIF::Create(int kind) { return Create(m_sMIFFile, kind); }
int CMIF::WriteStatus(int status, const char* description) {
    return WriteStatus(m_sMIFFile, m_sSerialNumber, status, description);
}
int CMIF::WriteStatus(const char* description, int status) { return WriteStatus(m_sMIFFile, description, status); }
int CMIF::WriteEndOfMIF() { return WriteEndOfMIF(m_sMIFFile); }
