#include "foundation/file_version.h"

#include <cstring>
#include <new>

#include "platform/product_libraries.h"

namespace {

constexpr WORD kDefaultCodePage = 1252;

// A block of the resource by its path, at least `least` bytes (for texts: characters) of it; null when there is none.
const void* Query(const void* resource, const char* path, UINT least, UINT& size) {
    void* value = nullptr;
    size = 0;
    return VerQueryValueA(resource, path, &value, &size) && size >= least ? value : nullptr;
}

}  // namespace

CFileVersion::CFileVersion() : m_fixed(), m_wLanguage(0), m_wCodePage(kDefaultCodePage) {}
CFileVersion::~CFileVersion() = default;

int CFileVersion::Read(const char* module) {
    m_fixed = {};
    m_pData.reset();
    m_wLanguage = 0;
    m_wCodePage = kDefaultCodePage;
    const LoadedLibrary library(LoadLibraryA(module));
    if (!library) return 0;
    const HMODULE handle = GetModuleHandleA(module);
    char path[MAX_PATH] = "";
    if (handle == nullptr) return 0;
    const DWORD length = GetModuleFileNameA(handle, path, sizeof path);
    return length != 0 && length < sizeof path ? ReadResource(path) : 0;
}

int CFileVersion::ReadResource(const char* path) {
    DWORD ignored = 0;
    const DWORD bytes = GetFileVersionInfoSizeA(path, &ignored);
    if (bytes == 0) return 0;
    m_pData.reset(new (std::nothrow) BYTE[bytes]());
    if (m_pData == nullptr) return FailWith(ERROR_NOT_ENOUGH_MEMORY);
    if (!GetFileVersionInfoA(path, 0, bytes, m_pData.get())) {
        m_pData.reset();
        return 0;
    }
    UINT size = 0;
    const void* const fixed = Query(m_pData.get(), "\\", sizeof m_fixed, size);
    if (fixed == nullptr) return 0;
    std::memcpy(&m_fixed, fixed, sizeof m_fixed);
    if (const void* const translation = Query(m_pData.get(), "\\VarFileInfo\\Translation", 4, size)) {
        std::memcpy(&m_wLanguage, translation, 2);
        std::memcpy(&m_wCodePage, static_cast<const BYTE*>(translation) + 2, 2);
    }
    return m_fixed.dwSignature == VS_FFI_SIGNATURE;
}

CString CFileVersion::GetStringValue(const char* name) const {
    if (m_pData == nullptr || name == nullptr) return CString();
    CString path;
    path.Format("\\StringFileInfo\\%04x%04x\\%s", m_wLanguage, m_wCodePage, name);
    UINT size = 0;
    const char* const text = static_cast<const char*>(Query(m_pData.get(), path, 1, size));
    if (text == nullptr) return CString();
    const void* const end = std::memchr(text, '\0', size);
    return CString(text, int(end == nullptr ? size : UINT(static_cast<const char*>(end) - text)));
}

int GetDllVersion(const char* library, DLLVERSIONINFO* information) {
    const LoadedLibrary loaded(LoadLibraryA(library));
    return GetDllVersion(loaded.Get(), information);
}

int GetDllVersion(HMODULE library, DLLVERSIONINFO* information) {
    auto* const getVersion = product::EntryPoint<HRESULT CALLBACK(DLLVERSIONINFO*)>(library, "DllGetVersion");
    if (getVersion == nullptr || information == nullptr) return 0;
    *information = {};
    information->cbSize = sizeof *information;
    return SUCCEEDED(getVersion(information));
}
