#include "registry/family_keys.h"

namespace registry {

const CString kFormerAlertKey = "SOFTWARE\\Halvenor\\ALERT\\CurrentVersion";
const CString kEnterpriseKey = "SOFTWARE\\Orvanex\\Zephranite Enterprise Backup";
const CString kEnterpriseBaseKey = "SOFTWARE\\Orvanex\\Zephranite Enterprise Backup\\Base";
const CString kEnterpriseProductsKey = "SOFTWARE\\Orvanex\\Zephranite Enterprise Backup\\Products";
const CString kDirectoryAgentProductsKey = "SOFTWARE\\Halvenor\\DSAgent\\CurrentVersion\\Products";
const CString kListOfProducts = "OV-InstalledITProducts";
const CString kNewerOldProducts = "OVOldProducts";
const CString kOldAgentsKey = "SOFTWARE\\Orvanex\\KorvaultIT\\OldDBAgents";
const CString kOldAgents = "OldDBAgents";

namespace {

const CString& Chosen(const CString& name) {
    if (CHalvRegistry::m_sKorvaultKey.IsEmpty()) CHalvRegistry(1, nullptr);
    return name;
}

}  // namespace

namespace family {
const CString& Vendor() { return Chosen(CHalvRegistry::m_sHalvenorKey); }
const CString& Root() { return Chosen(CHalvRegistry::m_sKorvaultKey); }
const CString& Base() { return Chosen(CHalvRegistry::m_sKorvaultBaseKey); }
const CString& Products() { return Chosen(CHalvRegistry::m_sProductsKey); }
const CString& Name() { return Chosen(CHalvRegistry::m_sKorvault); }
const CString& ProductId() { return Chosen(CHalvRegistry::m_sProductKorvault); }
}  // namespace family

CString KeyPath::Text() const {
    const CString& start = Chosen(*root);
    const CString path = subkey != nullptr ? start + *subkey : start;
    return view == View::Wow32 ? CHalvRegistry::Wow6432Node(path) : path;
}

}  // namespace registry
