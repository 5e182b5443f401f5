// CMIF: the status file by which a software distribution system learns how a setup ended, in two layouts.
//
// A complete standard file is Create() and WriteStatus(status, description), where 0 is success. A complete short file
// is Create(kind), one or more WriteStatus(description, status), where 1 is success, and WriteEndOfMIF(). Each call
// opens the file, writes and closes it. The answer is nonzero on success; 0, with the last error, when the file cannot
// be opened or written. All but Create need the file to exist and append to it. Texts are written as they are.
#ifndef INSTALIB_MIF_H
#define INSTALIB_MIF_H

#include "instalib/string.h"

class INSTALIB_API CMIF {
  public:
    CMIF(const char* file);
    CMIF(const char* file, const char* serialNumber);
    CMIF(const CMIF& other);
    CMIF& operator=(const CMIF& other);
    ~CMIF();

    // Standard layout: creates or truncates the file. The product's name comes from HalvProd.dll, its version from
    // kvvctl.dll; without those they are empty.
    static int Create(const char* file);
    static int WriteStatus(const char* file, const char* serialNumber, int status, const char* description);
    // Short layout: kind 1 is an installation, 2 a removal; any other is refused with ERROR_INVALID_PARAMETER before
    // the file is touched.
    static int Create(const char* file, int kind);
    static int WriteStatus(const char* file, const char* description, int status);
    static int WriteEndOfMIF(const char* file);

    // The same with the object's texts.
    int Create();
    int Create(int kind);
    int WriteStatus(int status, const char* description);
    int WriteStatus(const char* description, int status);
    int WriteEndOfMIF();

  private:
    CString m_sMIFFile;
    CString m_sSerialNumber;
};

#endif
