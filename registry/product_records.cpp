// Registration records: writing, finding and dropping them.
#include "changes/changing.h"
#include "instalib/setup_inf.h"
#include "machine/platform_probes.h"
#include "registry/family_keys.h"

using namespace registry;

namespace {

using Halv = CHalvRegistry;

// The products keys of all generations; on a remote 64-bit machine their 32-bit views come first.
constexpr KeyPath kViewsOnRemote64[] = {
    {&Halv::m_sProductsKey, nullptr, View::Wow32},       {&Halv::m_sOldKorVaultITProductsKey, nullptr, View::Wow32},
    {&Halv::m_sOldProductsKey, nullptr, View::Wow32},    {&Halv::m_sZEBProductsKey, nullptr, View::Wow32},
    {&Halv::m_sZKBProductsKey, nullptr, View::Wow32},    {&kEnterpriseProductsKey, nullptr, View::Wow32},
    {&kDirectoryAgentProductsKey, nullptr, View::Wow32},
};
constexpr KeyPath kProductsKeys[] = {
    {&Halv::m_sProductsKey},
    {&Halv::m_sProductsKey, nullptr, View::Native64},
    {&Halv::m_sOldKorVaultITProductsKey},
    {&Halv::m_sOldProductsKey},
    {&Halv::m_sZEBProductsKey},
    {&Halv::m_sZKBProductsKey},
    {&kEnterpriseProductsKey},
    {&kDirectoryAgentProductsKey},
};

const CString kProductsBelow = "\\Products";
constexpr KeyPath kManagementView[] = {{&Halv::m_sQMCKey, &kProductsBelow, View::Wow32}};
constexpr KeyPath kManagement[] = {{&Halv::m_sQMCKey, &kProductsBelow}};

// Where each generation keeps the main product's record, and under which id.
const CString kFormerVendorsProduct = "Omnigrid125Backup";
struct MainProductPlace {
    KeyPath key;
    const CString* name;
};
constexpr MainProductPlace kMainProduct[] = {
    {{&Halv::m_sProductsKey}, &Halv::m_sProductKorvault},
    {{&Halv::m_sOldKorVaultITProductsKey}, &Halv::m_sProductKorvaultOld},
    {{&Halv::m_sOldProductsKey}, &Halv::m_sProductKorvaultOld},
    {{&Halv::m_sOldProductsKey}, &kFormerVendorsProduct},
    {{&Halv::m_sZEBProductsKey}, &Halv::m_sProductZEB},
    {{&Halv::m_sZKBProductsKey}, &Halv::m_sProductZKB},
    {{&kEnterpriseProductsKey}, &Halv::m_sProductZEB},
    {{&Halv::m_sProductsKey, nullptr, View::Wow32}, &Halv::m_sProductKorvault},
};

int StoreRecord(const CString& path, const char* name, const tagProductStruct* record) {
    if (name == nullptr || record == nullptr) return FailWith(ERROR_INVALID_PARAMETER);
    RegistryKey key;
    const LSTATUS status = Create(HKEY_LOCAL_MACHINE, path, key);
    return Outcome(status != 0 ? status : SetRecord(key.Get(), name, *record));
}

// With its last value a products key goes too.
void DropRecord(const CString& products, const CString& parent, const char* name) {
    if (name == nullptr) return SetLastError(ERROR_INVALID_PARAMETER);
    {
        RegistryKey key;
        if (!Outcome(Open(HKEY_LOCAL_MACHINE, products, KEY_ALL_ACCESS, key))) return;
        Outcome(changing::RegDeleteValueA(key.Get(), name));
        char left[256] = "";
        DWORD size = sizeof left;
        if (RegEnumValueA(key.Get(), 0, left, &size, nullptr, nullptr, nullptr, nullptr) != ERROR_NO_MORE_ITEMS) return;
    }
    Outcome(DeleteLeaf(HKEY_LOCAL_MACHINE, parent, Halv::m_sProducts));
}

// A null handle here is one that an object kept from a failed connection: it opens nothing.
int FindRecord(HKEY root, std::span<const KeyPath> first, std::span<const KeyPath> then, const CString& machine,
               const char* name, tagProductStruct* record) {
    if (name == nullptr || record == nullptr) return FailWith(ERROR_INVALID_PARAMETER);
    const auto read = [&](HKEY key) { return ReadRecord(key, name, record); };
    const bool remote64 = !machine.IsEmpty() && IsRemote_64Bit_System(machine) != 0;
    if (remote64 && Search(root, first, read) == 0) return 1;
    return Outcome(Search(root, then, read));
}

int FindMainProduct(HKEY root, tagProductStruct* record) {
    if (record == nullptr) return FailWith(ERROR_INVALID_PARAMETER);
    LSTATUS status = 0;
    for (const MainProductPlace& place : kMainProduct) {
        status = Search(root, {&place.key, 1}, [&](HKEY key) { return ReadRecord(key, *place.name, record); });
        if (status == 0) return 1;
    }
    return Outcome(status);
}

// A getter's way: the field of the record when there is one, else what the cache holds.
template <class Cache, class Field>
Cache Cached(int found, Field field, Cache& cache) {
    if (found) cache = static_cast<Cache>(field);
    return cache;
}

}  // namespace

int CHalvRegistry::RegisterProduct(const char* name, tagProductStruct* rec) {
    return StoreRecord(family::Products(), name, rec);
}

int CHalvRegistry::RegisterProduct_QMC(const char* name, tagProductStruct* rec) {
    return StoreRecord(m_sQMCKey + kProductsBelow, name, rec);
}

void CHalvRegistry::UnregisterProduct(const char* name) { DropRecord(family::Products(), family::Root(), name); }

void CHalvRegistry::UnregisterProduct_QMC(const char* name) { DropRecord(m_sQMCKey + kProductsBelow, m_sQMCKey, name); }

void CHalvRegistry::UnregisterHalvenorProduct(const char* name) {
    DropRecord(m_sOldProductsKey, m_sOldHalvenorKey, name);
}

int CHalvRegistry::SavePerviousRegisterProduct(const char* name, WORD major, WORD minor) {
    tagProductStruct record{};
    if (!GetProductInfo(name, &record, nullptr)) return 0;
    const WORD installedMajor = HIBYTE(record.wVersion);
    const WORD installedMinor = LOBYTE(record.wVersion);
    if (installedMajor > major || (installedMajor == major && installedMinor >= minor)) return 0;
    const bool beforeSixSix = installedMajor < 6 || (installedMajor == 6 && installedMinor < 6);
    if (!StoreRecord(Join(family::Root(), beforeSixSix ? m_sOldProducts : kNewerOldProducts), name, &record)) return 0;
    UnregisterHalvenorProduct(name);
    return 1;
}

int CHalvRegistry::GetProductInfo(const char* name, tagProductStruct* rec, HKEY key) {
    return FindRecord(key != nullptr ? key : m_hKey, kViewsOnRemote64, kProductsKeys, m_sMachine, name, rec);
}

int CHalvRegistry::GetProductInfo_QMC(const char* name, tagProductStruct* rec, HKEY key) {
    return FindRecord(key != nullptr ? key : m_hKey, kManagementView, kManagement, m_sMachine, name, rec);
}

int CHalvRegistry::GetKorvaultProductInfo(tagProductStruct* rec, HKEY key) {
    return FindMainProduct(OrLocalMachine(key), rec);
}

tagProductStruct CHalvRegistry::GetKorvaultProductInfo() {
    FindMainProduct(m_hKey, &m_ProductInfo);
    return m_ProductInfo;
}

int CHalvRegistry::IsKorvaultInstalled() {
    tagProductStruct record{};
    return FindMainProduct(m_hKey, &record);
}

int CHalvRegistry::IsProductInstalled(const char* name, HKEY key) {
    tagProductStruct record{};
    return GetProductInfo(name, &record, key);
}

int CHalvRegistry::IsProductInstalled(const char* name) { return IsProductInstalled(name, m_hKey); }

int CHalvRegistry::IsProductInstalled(const char* name, WORD major, WORD minor) {
    tagProductStruct record{};
    if (!GetProductInfo(name, &record, m_hKey)) return 0;
    return HIBYTE(record.wVersion) == major && LOBYTE(record.wVersion) == minor;
}

int CHalvRegistry::IsProductInstalled_QMC(const char* name, HKEY key) {
    tagProductStruct record{};
    return GetProductInfo_QMC(name, &record, key);
}

// Result type, getter, field, cache.
#define MAIN_PRODUCT_FIELD(Type, Getter, field, cache)      \
    Type Getter() {                                         \
        tagProductStruct record{};                          \
        const int found = FindMainProduct(m_hKey, &record); \
        return Cached(found, record.field, cache);          \
    }
MAIN_PRODUCT_FIELD(DWORD, CHalvRegistry::GetKorvaultUserLevel, dwUserLevel, m_dwUserLevel)
MAIN_PRODUCT_FIELD(DWORD, CHalvRegistry::GetKorvaultProductCode, dwProductCode, m_dwProductCode)
MAIN_PRODUCT_FIELD(WORD, CHalvRegistry::GetKorvaultVersionNumber, wVersion, m_wVersion)
MAIN_PRODUCT_FIELD(WORD, CHalvRegistry::GetKorvaultBuildNumber, wBuild, m_wBuild)
MAIN_PRODUCT_FIELD(char, CHalvRegistry::GetKorvaultSubType, cSubType, m_cSubType)
#undef MAIN_PRODUCT_FIELD

// Result type, getter, look-up, field, cache.
#define NAMED_PRODUCT_FIELD(Type, Getter, LookUp, field, cache) \
    Type Getter(const char* name) {                             \
        tagProductStruct record{};                              \
        const int found = LookUp(name, &record, m_hKey);        \
        return Cached(found, record.field, cache);              \
    }
NAMED_PRODUCT_FIELD(DWORD, CHalvRegistry::GetProductCode, GetProductInfo, dwProductCode, m_dwNamedProductCode)
NAMED_PRODUCT_FIELD(WORD, CHalvRegistry::GetVersionNumber, GetProductInfo, wVersion, m_wNamedVersion)
NAMED_PRODUCT_FIELD(WORD, CHalvRegistry::GetVersionNumber_QMC, GetProductInfo_QMC, wVersion, m_wNamedVersion)
NAMED_PRODUCT_FIELD(WORD, CHalvRegistry::GetBuildNumber, GetProductInfo, wBuild, m_wNamedBuild)
NAMED_PRODUCT_FIELD(WORD, CHalvRegistry::GetBuildNumber_QMC, GetProductInfo_QMC, wBuild, m_wNamedBuild)
NAMED_PRODUCT_FIELD(char, CHalvRegistry::GetSubType, GetProductInfo, cSubType, m_cNamedSubType)
#undef NAMED_PRODUCT_FIELD

int CHalvRegistry::AllowProductUpdate(const char* name, const char* key) {
    return AllowProductUpdate(name, key, CSetupInf());
}

int CHalvRegistry::AllowProductUpdate(const char* name, const char* key, CSetupInf inf) {
    tagProductStruct record{};
    if (!GetProductInfo(name, &record, nullptr)) return 0;
    int low = 0;
    int high = 0;
    if (!inf.GetUpdateBuildNoRange(key, &low, &high)) return 0;
    const int build = record.wBuild;
    return low <= build && build <= high;
}

int CHalvRegistry::SetOVITProduct() {
    const int subType = m_Settings.ProductSubType();
    if (subType == 0 || subType == 1) return 1;
    AddHalvenorKey(kListOfProducts);
    const CString entry = Join(kListOfProducts, family::Name());
    AddHalvenorKey(entry);
    RegistryKey key;
    if (!Outcome(Open(HKEY_LOCAL_MACHINE, Join(family::Vendor(), entry), KEY_ALL_ACCESS, key))) return 1;
    Outcome(SetUnterminated(key.Get(), m_sDisplayName, REG_SZ, family::Name()));
    Outcome(SetUnterminated(key.Get(), "ProductCode", REG_SZ, m_Settings.ComponentCode()));
    return 1;
}
