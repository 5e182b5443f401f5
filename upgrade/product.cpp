#include "instalib/product.h"

#include "foundation/text.h"
#include "foundation/upgrade_log.h"
#include "instalib/version.h"
#include "machine/platform_probes.h"
#include "platform/platform.h"
#include "registry/family_keys.h"
#include "upgrade/rule_text.h"

using upgrade::NumberOf;
using upgrade::SplitRange;
using upgrade::VersionOf;

namespace {

constexpr char kSetup[] = "Setup";
constexpr char kUpgrade[] = "Upgrade";
// What every new product writes itself, so that the old one's never comes back.
constexpr char kAlwaysDropped[] = "Version,Dll,ProdSubtype,BuildNumber";

void AppendPieces(CArray<CString, CString>& list, const char* text) {
    const CString all(text);
    for (int start = 0; start < all.GetLength();) {
        const int comma = all.Find(',', start);
        const int end = comma < 0 ? all.GetLength() : comma;
        list.Add(all.Mid(start, end - start));
        start = end + 1;
    }
}

// The library's path beside the information file.
CString Beside(const char* file, const CString& library) {
    const char* const last = LastBackslash(file);
    return last == nullptr ? library : CString(file, int(last - file)) + "\\" + library;
}

}  // namespace

CProduct::CProduct() = default;
CProduct::CProduct(const CProduct& other) = default;
CProduct& CProduct::operator=(const CProduct& other) = default;
CProduct::~CProduct() = default;

CProduct::CProduct(const char* file, int index, const char* machine) {
    if (index < 0) {
        ReadNewProduct(OrEmpty(file), machine);
    } else {
        ReadRule(OrEmpty(file), index);
    }
}

void CProduct::ReadNewProduct(const char* file, const char* machine) {
    m_sProductCode = upgrade::ReadRule(file, kSetup, "ProductCode");
    WriteUpgradeLog("ProductCode is %s", static_cast<const char*>(m_sProductCode));
    m_sProductSubType = upgrade::ReadRule(file, kSetup, "ProdSubType");
    WriteUpgradeLog("ProductSubType is %s", static_cast<const char*>(m_sProductSubType));
    m_sProductDescriptor = upgrade::ReadRule(file, kSetup, "ProductDescriptor");
    WriteUpgradeLog("ProductDescriptor is %s", static_cast<const char*>(m_sProductDescriptor));
    m_nUpgradeMsg = int(GetPrivateProfileIntA(kUpgrade, "UpgradeMsg", 0, file));
    WriteUpgradeLog("UpgradeMsgID is %d", m_nUpgradeMsg);
    m_nInvalidUpgradeMsg = int(GetPrivateProfileIntA(kUpgrade, "InvalidUpgradeMsg", 0, file));
    WriteUpgradeLog("InvalidUpgradeMsgID is %d", m_nInvalidUpgradeMsg);

    const CString& root = registry::family::Root();
    m_sRegBKRootKey = root + "(BACKUP)";
    WriteUpgradeLog("RegBKRootKey is %s", static_cast<const char*>(m_sRegBKRootKey));
    m_sRegRootKey = root;
    WriteUpgradeLog("RegRootKey is %s", static_cast<const char*>(m_sRegRootKey));

    CString library;
    if (IsRemote_64Bit_System(machine)) {
        WriteUpgradeLog("IsRemote_64Bit_System is true");
        library = upgrade::ReadRule(file, kUpgrade, "32VersionDLL");
    }
    if (library.IsEmpty()) library = upgrade::ReadRule(file, kUpgrade, "VersionDLL");
    const DWORD both = library.IsEmpty() ? 0 : InstalibGetVersionBuildNumber(Beside(file, library));
    m_wBuildNo = WORD(both >> 16);
    m_wVersionNo = WORD(both & 0xFFFF);
    WriteUpgradeLog("newproduct getBuildNo is %d", m_wBuildNo);
    WriteUpgradeLog("newproduct getVersionNo is %d.%d", getMajorVersionNo(), getMinorVersionNo());
}

void CProduct::ReadRule(const char* file, int index) {
    CString suffixText;
    suffixText.Format("%02d", index);
    const char* const suffix = suffixText;
    const auto read = [&](const char* name) { return upgrade::ReadRule(file, kUpgrade, name + suffixText); };
    m_sProductCode = read("ProductCode");
    m_sBuildRange = read("BuildRange");
    m_sVersionRange = read("VersionRange");
    m_sProductSubType = read("ProdSubType");
    AppendPieces(m_RegSubKey, read("RegSubKey"));
    m_sRegRootKey = read("RegRootKey");
    const CString dropped = read("RegBKValues");
    AppendPieces(m_RegBKValues, (dropped.IsEmpty() ? dropped : dropped + ",") + kAlwaysDropped);

    WriteUpgradeLog("productCode%s is %s", suffix, static_cast<const char*>(m_sProductCode));
    WriteUpgradeLog("BuildRange%s is %s", suffix, static_cast<const char*>(m_sBuildRange));
    WriteUpgradeLog("MaxBuild%s is %d", suffix, getMaxBuildNo());
    WriteUpgradeLog("MinBuild%s is %d", suffix, getMinBuildNo());
    WriteUpgradeLog("VersionRange%s is %s", suffix, static_cast<const char*>(m_sVersionRange));
    WriteUpgradeLog("MaxVersion is%s %d", suffix, getMaxVersionNo());
    WriteUpgradeLog("MajorMaxVersion%s is %2d", suffix, getMajorMaxVersionNo());
    WriteUpgradeLog("MinorMaxVersion%s is %2d", suffix, getMinorMaxVersionNo());
    WriteUpgradeLog("MinVersion is%s %d", suffix, getMinVersionNo());
    WriteUpgradeLog("MajorMinVersion%s is %2d", suffix, getMajorMinVersionNo());
    WriteUpgradeLog("MinorMinVersion%s is %2d", suffix, getMinorMinVersionNo());
    for (int i = 0; i < m_RegSubKey.GetSize(); ++i) {
        WriteUpgradeLog("lpszSubKey%s[%d] is %s", suffix, i, static_cast<const char*>(m_RegSubKey.ElementAt(i)));
    }
    WriteUpgradeLog("RegRootKeyOld%s is %s", suffix, static_cast<const char*>(m_sRegRootKey));
    for (int i = 0; i < m_RegBKValues.GetSize(); ++i) {
        WriteUpgradeLog("RegBKValues%s[%d] is %s", suffix, i, static_cast<const char*>(m_RegBKValues.ElementAt(i)));
    }
}

#define PRODUCT_TEXT(Name, member)                         \
    CString CProduct::get##Name() const { return member; } \
    void CProduct::set##Name(char* text) { member = OrEmpty(text); }
#define PRODUCT_NUMBER(Name, Type, member)              \
    Type CProduct::get##Name() const { return member; } \
    void CProduct::set##Name(Type number) { member = number; }
#define PRODUCT_LIST(Name, member)                                     \
    CArray<CString, CString>& CProduct::get##Name() { return member; } \
    void CProduct::set##Name(char* text) { AppendPieces(member, text); }
#include "upgrade/product.def"
#undef PRODUCT_TEXT
#undef PRODUCT_NUMBER
#undef PRODUCT_LIST

void CProduct::setVersionNo(CString text) { m_wVersionNo = VersionOf(text); }
BYTE CProduct::getMajorVersionNo() const { return BYTE(m_wVersionNo >> 8); }
BYTE CProduct::getMinorVersionNo() const { return BYTE(m_wVersionNo & 0xFF); }

WORD CProduct::getMinVersionNo() const { return VersionOf(SplitRange(m_sVersionRange).lower); }
WORD CProduct::getMaxVersionNo() const { return VersionOf(SplitRange(m_sVersionRange).upper); }
int CProduct::getMajorMinVersionNo() const { return getMinVersionNo() >> 8; }
int CProduct::getMinorMinVersionNo() const { return getMinVersionNo() & 0xFF; }
int CProduct::getMajorMaxVersionNo() const { return getMaxVersionNo() >> 8; }
int CProduct::getMinorMaxVersionNo() const { return getMaxVersionNo() & 0xFF; }

int CProduct::getMinBuildNo() const { return NumberOf(SplitRange(m_sBuildRange).lower); }
int CProduct::getMaxBuildNo() const {
    return m_sBuildRange.IsEmpty() ? 10000 : NumberOf(SplitRange(m_sBuildRange).upper);
}
