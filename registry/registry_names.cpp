// The texts of the class and their accessors.
#include "instalib/registry.h"

#define HALV_TEXT(member, text) const CString member = text;
#include "registry/registry_names.def"
#undef HALV_TEXT

CString CHalvRegistry::m_sHalvenorKey;
CString CHalvRegistry::m_sKorvaultKey;
CString CHalvRegistry::m_sKorvaultBaseKey;
CString CHalvRegistry::m_sProductsKey;
CString CHalvRegistry::m_sAgentKey;
CString CHalvRegistry::m_sKorvault;
CString CHalvRegistry::m_sZephraniteProdKey;
CString CHalvRegistry::m_sProductKorvault;

const char* CHalvRegistry::OldHalvenorKey() { return m_sOldHalvenorKey; }
const char* CHalvRegistry::OldKorvaultKey() { return m_sOldKorvaultKey; }
const char* CHalvRegistry::OldKorvaultBaseKey() { return m_sOldKorvaultBaseKey; }
const char* CHalvRegistry::OldProductsKey() { return m_sOldProductsKey; }
const char* CHalvRegistry::OldAgentKey() { return m_sOldAgentKey; }
const char* CHalvRegistry::GetKorvaultKey() { return m_sKorvaultKey; }
const char* CHalvRegistry::GetKorvaultBaseKey() { return m_sKorvaultBaseKey; }
const char* CHalvRegistry::GetZephraniteProdName() { return m_sProductKorvault; }
const char* CHalvRegistry::GetZephraniteProdKey() { return m_sKorvault; }
const char* CHalvRegistry::GetZephraniteProdRootKey() { return m_sZephraniteProdKey; }
const char* CHalvRegistry::GetKorVaultITRootKey() { return m_sKorVaultITRootKey; }
const char* CHalvRegistry::GetSarvexRootKey() { return m_sSarvexRootKey; }
const char* CHalvRegistry::GetZKBRootKey() { return m_sZKBRootKey; }

CString CHalvRegistry::Wow6432Node(CString path) {
    const int head = path.Find('\\');
    if (head < 0) return path + "\\Wow6432Node";
    return path.Left(head) + "\\Wow6432Node" + path.Mid(head);
}
