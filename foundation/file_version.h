// Reads the version resource of a module.
#ifndef INSTALIB_FOUNDATION_FILE_VERSION_H
#define INSTALIB_FOUNDATION_FILE_VERSION_H

#include <memory>

#include "instalib/string.h"
#include "platform/platform.h"

class CFileVersion {
  public:
    CFileVersion();
    CFileVersion(const CFileVersion&) = delete;
    CFileVersion& operator=(const CFileVersion&) = delete;
    virtual ~CFileVersion();

    // Loads the module (path or name) for the call and reads its version resource. 1 when its fixed version record is a
    // valid one; otherwise 0, with the fields as far as they were filled. A new read replaces what the last one left.
    int Read(const char* module);
    // A text of the resource by name, for example "ProductVersion"; empty when there is none.
    CString GetStringValue(const char* name) const;

    VS_FIXEDFILEINFO m_fixed;         // zero before the first read
    std::unique_ptr<BYTE[]> m_pData;  // the whole resource, or null
    WORD m_wLanguage;                 // of the first translation
    WORD m_wCodePage;                 // of the first translation; 1252 without one

  private:
    int ReadResource(const char* path);
};

// Asks the library's own "DllGetVersion"; 1 and the record when it succeeds, otherwise 0. By path or name, or loaded
// already (null: 0).
int GetDllVersion(const char* library, DLLVERSIONINFO* information);
int GetDllVersion(HMODULE library, DLLVERSIONINFO* information);

#endif
