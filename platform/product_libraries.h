// The closed libraries of the product family: every entry point that this library calls, its signature and its file
// name, in one place. They are loaded at run time on both targets. An ordinal n stands on the embedded machine under
// the symbol OrdinalN. All entry points use the calling convention of the Windows interface.
//
// What a product library writes is not trusted: buffers are larger by one byte than what the library is told (or, where
// the entry point takes no size, than its contract allows) and that byte is zero, so a missing terminator is harmless.
#ifndef INSTALIB_PLATFORM_PRODUCT_LIBRARIES_H
#define INSTALIB_PLATFORM_PRODUCT_LIBRARIES_H

#include "platform/handles.h"
#include "platform/platform.h"

struct tagQJOBITEM;  // records of the core library; passed through, never read here
struct tagQUEUEINFO;

namespace product {

// --- Tool library ---
inline constexpr char kToolLibrary[] = "HSTOOL.DLL";
// "HstGetBrandNameStringA", "HstGetRegRootStringA", "HstGetRegBaseStringA": a key path into a buffer of `size` bytes.
using GetKeyPath = int WINAPI(char* buffer, DWORD size);
// "HstSetUserAccountA": creates or updates the account; the low 16 bits of the answer are nonzero on success.
struct UserAccount {
    char domain[64];
    char userName[64];
    char password[64];
};
static_assert(sizeof(UserAccount) == 192);
using SetUserAccount = DWORD WINAPI(char* computer, UserAccount* account);
// "IsWindowsVersionOKA"
using IsWindowsVersionOK = int WINAPI(DWORD major, DWORD minor, DWORD build);

// --- Branding library: ordinal 101 puts the product id into a buffer of `size` bytes ---
inline constexpr char kBrandLibrary[] = "BRAND.dll";
inline constexpr WORD kBrandProductId = 101;
using GetProductId = int WINAPI(char* buffer, DWORD size);

// --- Version library: "KvvGetVersionA", "KvvGetBuildNumberA", a text of at most 31 characters ---
inline constexpr char kVersionLibrary[] = "kvvctl.dll";
using GetVersionText = int WINAPI(char* buffer);

// --- Product map library ---
inline constexpr char kProductMapLibrary[] = "HalvProd.dll";
// "HVPGetProductMapInfo": the registry name of a product type.
struct ProductMapInfo {
    BYTE unread[4];
    char name[24];  // may lack its terminator
};
static_assert(sizeof(ProductMapInfo) == 28);
using GetProductMapInfo = int WINAPI(LONG productType, ProductMapInfo* info);
// "HVPGetProductComponentCode2A": an 8-byte buffer.
using GetProductComponentCode = int WINAPI(LONG productType, BYTE subType, char* code);

// "HVPGetProductName": the product's name into a buffer of `size` bytes.
using GetProductName = int WINAPI(LONG productType, char* buffer, DWORD size);

// --- Alert version library: "AlGetBuildNumberA"; no size is passed ---
inline constexpr char kAlertVersionLibrary[] = "ALERTVER.DLL";
using GetAlertBuildText = int WINAPI(char* buffer);

// --- Core library: the job queue; 0 is success ---
inline constexpr char kCoreLibrary[] = "KVCORE.DLL";
using CreateQueue = DWORD WINAPI(void* reserved, const char* queue, DWORD zero, const char* text, DWORD* output);
using GetQueueJobs = DWORD WINAPI(const char*, DWORD, tagQJOBITEM*, DWORD, DWORD*, tagQUEUEINFO*);
using MapJobStatus = DWORD WINAPI(DWORD, DWORD);
using AddQueueJob = DWORD WINAPI(const char*, const char*, WORD, const char*, DWORD, DWORD*);
using DeleteQueueJob = DWORD WINAPI(const char*, DWORD, DWORD);
using GetDefaultQueue = DWORD WINAPI(char*, char*, DWORD*);

// --- Scrambling library ---
// "ZKBEncrypt", "ZKBDecrypt"; `outputLength` in: capacity, out: bytes written; 0 is success.
inline constexpr char kScramblingLibrary[] = "KVDCEN.DLL";
using Scramble = DWORD WINAPI(const BYTE* input, DWORD inputLength, BYTE* output, DWORD* outputLength);

// --- Libraries of Windows that are loaded when first called ---
// SHFOLDER.DLL "SHGetFolderPathA": 0 (S_OK) or above on success; the buffer holds 260 bytes.
using ShGetFolderPath = LONG WINAPI(HWND owner, int folder, HANDLE token, DWORD flags, char* path);
// msi.dll ordinal 112, MsiQueryProductStateA: 5 is installed. Ordinal 194, MsiGetFileVersionA: 0 is success.
inline constexpr WORD kMsiQueryProductState = 112;
using MsiQueryProductState = int WINAPI(const char* productCode);
inline constexpr WORD kMsiGetFileVersion = 194;
using MsiGetFileVersion = UINT WINAPI(const char* path, char* version, DWORD* versionLength, char* language,
                                      DWORD* languageLength);
// user32.dll "MessageBoxA", "SendMessageA"
using ShowMessageBox = int WINAPI(HWND owner, const char* text, const char* caption, UINT type);
using SendWindowMessage = LONG_PTR WINAPI(HWND window, UINT message, UINT_PTR wParam, LONG_PTR lParam);
// "MsgWaitForMultipleObjects", "PeekMessageA", "TranslateMessage", "DispatchMessageA", "PostQuitMessage"
using WaitForMessages = DWORD WINAPI(DWORD count, const HANDLE* handles, BOOL all, DWORD milliseconds, DWORD wakeMask);
using PeekWindowMessage = BOOL WINAPI(MSG* message, HWND window, UINT first, UINT last, UINT remove);
using TranslateWindowMessage = BOOL WINAPI(const MSG* message);
using DispatchWindowMessage = LONG_PTR WINAPI(const MSG* message);
using PostQuit = void WINAPI(int exitCode);
// "FindWindowA", "EnumWindows", "IsWindow", "IsWindowVisible", "GetWindow", "GetWindowThreadProcessId",
// "GetWindowTextA", "ShowWindow", "PostMessageA"
using FindWindowByClass = HWND WINAPI(const char* className, const char* title);
using EachWindow = BOOL CALLBACK(HWND window, LONG_PTR parameter);
using EnumerateWindows = BOOL WINAPI(EachWindow* function, LONG_PTR parameter);
using AskWindow = BOOL WINAPI(HWND window);
using GetRelatedWindow = HWND WINAPI(HWND window, UINT relation);
using GetWindowProcess = DWORD WINAPI(HWND window, DWORD* process);
using GetWindowTitle = int WINAPI(HWND window, char* text, int size);
using SetWindowShown = BOOL WINAPI(HWND window, int command);
using PostWindowMessage = BOOL WINAPI(HWND window, UINT message, UINT_PTR wParam, LONG_PTR lParam);

// --- Installation plug-ins ---
// "Install", "UnInstall", "IsInstalled", "IsInstalledVersionNewer", "GetDebugErrorString", "GetInstallPath"; they answer
// a status of their own.
using PluginInstall = DWORD WINAPI(void* parameters);
using PluginUnInstall = DWORD WINAPI();
using PluginAnswer = DWORD WINAPI(int* answer);
using PluginErrorText = DWORD WINAPI(DWORD status, char* buffer, DWORD size);
using PluginPath = DWORD WINAPI(char* buffer, DWORD size);

// An entry point by name or ordinal, null when the library is null or lacks it.
template <class Function>
Function* EntryPoint(HMODULE library, const char* name) {
    if (library == nullptr) return nullptr;
    // The detour through void(*)() is the one cast of function types that compilers accept silently.
    return reinterpret_cast<Function*>(reinterpret_cast<void (*)()>(GetProcAddress(library, name)));
}
template <class Function>
Function* EntryPoint(HMODULE library, WORD ordinal) {
    return EntryPoint<Function>(library, reinterpret_cast<const char*>(static_cast<ULONG_PTR>(ordinal)));
}

}  // namespace product

#endif
