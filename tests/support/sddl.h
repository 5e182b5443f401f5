// Security as text, so that a failing comparison shows the difference: "O:BAG:SYD:(A;;FA;;;BA)".
#ifndef INSTALIB_TESTS_SDDL_H
#define INSTALIB_TESTS_SDDL_H

#include <string>

#include "platform/handles.h"

#ifdef _WIN32
#include <sddl.h>
#endif

// The parts of a descriptor that `information` names; "<error N>" when it has no text.
inline std::string SddlOf(PSECURITY_DESCRIPTOR descriptor, SECURITY_INFORMATION information = 0xF) {
    LPSTR text = nullptr;
    if (!ConvertSecurityDescriptorToStringSecurityDescriptorA(descriptor, SDDL_REVISION_1, information, &text,
                                                              nullptr)) {
        return "<error " + std::to_string(GetLastError()) + ">";
    }
    const LocalBuffer owner(text);
    return text;
}

// A list's entries alone: "(A;;FA;;;BA)(A;;FR;;;WD)"; "<null>" for a null list.
inline std::string SddlOf(PACL list) {
    if (list == nullptr) return "<null>";
    SECURITY_DESCRIPTOR descriptor;
    InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
    SetSecurityDescriptorDacl(&descriptor, TRUE, list, FALSE);
    const std::string text = SddlOf(&descriptor, DACL_SECURITY_INFORMATION);
    return text.starts_with("D:") ? text.substr(2) : text;
}

// A self-relative descriptor made from text; empty, with the last error, when the text is none.
class Sddl {
  public:
    explicit Sddl(const char* text) {
        PSECURITY_DESCRIPTOR made = nullptr;
        ULONG size = 0;
        if (!ConvertStringSecurityDescriptorToSecurityDescriptorA(text, SDDL_REVISION_1, &made, &size)) return;
        m_memory.Reset(made);
        m_size = size;
    }
    PSECURITY_DESCRIPTOR Get() const { return m_memory.Get(); }
    ULONG Size() const { return m_size; }
    PACL Dacl() const {
        BOOL present = FALSE, defaulted = FALSE;
        PACL list = nullptr;
        return GetSecurityDescriptorDacl(Get(), &present, &list, &defaulted) && present ? list : nullptr;
    }

  private:
    LocalBuffer m_memory;
    ULONG m_size = 0;
};

// An identifier made from "S-1-5-32-544" or "BA".
class TestSid {
  public:
    explicit TestSid(const char* text) {
        PSID sid = nullptr;
        if (ConvertStringSidToSidA(text, &sid)) m_memory.Reset(sid);
    }
    PSID Get() const { return m_memory.Get(); }

  private:
    LocalBuffer m_memory;
};

#endif
