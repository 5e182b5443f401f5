// The framework's exceptions. An exception object is allocated on the heap, thrown by pointer and deleted by the code
// that catches it (CException::Delete). The library lets none of its own out, with one exception: CMemoryException*
// leaves an operation whose memory could not be had.
#ifndef INSTALIB_EXCEPTION_H
#define INSTALIB_EXCEPTION_H

#include <new>

#include "instalib/object.h"
#include "instalib/string.h"
#include "instalib/windows_types.h"

// Virtual slots after CObject's, in order: GetErrorMessage, ReportError.
class INSTALIB_API CException : public CObject {
    DECLARE_DYNAMIC(CException)
  public:
    // Writes the exception's text into `buffer`, cut to `capacity` characters with the terminator. A capacity of 0 or a
    // null buffer writes nothing. `helpContext` may be null. The base class has no text: an empty text and 0.
    virtual int GetErrorMessage(char* buffer, UINT capacity, UINT* helpContext = nullptr);
    // Shows the user the text of GetErrorMessage in a message box of the given type (0: an OK button and a warning
    // sign); `messageId` is kept for callers' own texts and not used. Returns the box's answer, 0 when there is no text
    // to show.
    virtual int ReportError(UINT type = 0, UINT messageId = 0);

    void Delete() { delete this; }
};

// Raised when an allocation fails. It is built once, at start, so that raising it takes no memory; Delete and delete
// leave that object alone.
class INSTALIB_API CMemoryException : public CException {
    DECLARE_DYNAMIC(CMemoryException)
  public:
    int GetErrorMessage(char* buffer, UINT capacity, UINT* helpContext = nullptr) override;
    ~CMemoryException() override;
    // Leaves the one object that AfxThrowMemoryException raises alive and destroys any other. The inherited form is for
    // a constructor that throws. Users of older standards than C++20 come here, too, through the virtual destructor.
    using CObject::operator delete;
#ifdef __cpp_lib_destroying_delete
    static void operator delete(CMemoryException* exception, std::destroying_delete_t) noexcept;
#endif
};

// Throws the CMemoryException*. Does not return.
[[noreturn]] INSTALIB_API void AfxThrowMemoryException();

// The library's own error: a cause code, the Windows error of the failed call and a text that names the call.
class INSTALIB_API CSetupException : public CException {
    DECLARE_DYNAMIC(CSetupException)
  public:
    CSetupException(int cause = 0, DWORD error = 0, const char* message = "");
    ~CSetupException() override;
    // "%s - [0x%lx]" of the text and the error as 32 bits, for example "AccessCheck() failed - [0x5]". Returns 1 and
    // does not touch `helpContext`.
    int GetErrorMessage(char* buffer, UINT capacity, UINT* helpContext = nullptr) override;

    int m_nCause;
    CString m_sMessage;
    DWORD m_dwError;
};

// Throws a new CSetupException* with these values; the catcher deletes it. Does not return.
[[noreturn]] INSTALIB_API void AfxThrowSetupException(int cause, DWORD error, const char* message);

#endif
