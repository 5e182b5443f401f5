// The list of everything that the family has registered on a machine.
#include "instalib/installed_products.h"

#include "instalib/computer.h"
#include "registry/family_keys.h"

using namespace registry;

namespace {

using Halv = CHalvRegistry;

// Where one generation keeps what the list shows; null for what it does not have.
struct GenerationKeys {
    const char* name;
    const CString* root;
    const CString* base;
    const CString* products;
    const CString* agent;
};

const GenerationKeys kGenerations[] = {
    {"Current family", &Halv::m_sKorvaultKey, &Halv::m_sKorvaultBaseKey, &Halv::m_sProductsKey, &Halv::m_sAgentKey},
    {"KorvaultIT", &Halv::m_sOldKorvaultITKey, &Halv::m_sOldKorvaultBaseKeyKorvault, &Halv::m_sOldKorVaultITProductsKey,
     &Halv::m_sOldKorvaultITAgentKey},
    {"Former vendor", &Halv::m_sOldKorvaultKey, &Halv::m_sOldKorvaultBaseKey, &Halv::m_sOldProductsKey,
     &Halv::m_sOldAgentKey},
    {"Sarvex", &Halv::m_sZEBKey, &Halv::m_sZEBBaseKey, &Halv::m_sZEBProductsKey, &Halv::m_sZEBAgentKey},
    {"Zephranite Korvault Backup", &Halv::m_sZKBKey, &Halv::m_sZKBBaseKey, &Halv::m_sZKBProductsKey,
     &Halv::m_sZKBAgentKey},
    {"Zephranite Enterprise Backup", &kEnterpriseKey, &kEnterpriseBaseKey, &kEnterpriseProductsKey, nullptr},
    {"Directory-services agent", nullptr, nullptr, &kDirectoryAgentProductsKey, nullptr},
};

// Calls `use` with the name of every value of the key.
template <class Use>
void ForEachValue(HKEY key, Use use) {
    constexpr DWORD kLongestName = 16383;  // of a value, in characters
    CString name;
    for (DWORD index = 0;; ++index) {
        DWORD length = kLongestName + 1;
        const LSTATUS status =
            RegEnumValueA(key, index, name.GetBuffer(kLongestName), &length, nullptr, nullptr, nullptr, nullptr);
        name.ReleaseBuffer(status == ERROR_SUCCESS ? static_cast<int>(length) : 0);
        if (status != ERROR_SUCCESS) return;
        use(name);
    }
}

void ReadProducts(HKEY machine, const CString& path, CProductGeneration& generation) {
    RegistryKey key;
    if (Open(machine, path, KEY_READ, key) != ERROR_SUCCESS) return;
    ForEachValue(key.Get(), [&](const CString& name) {
        CInstalledProduct product{name, {}};
        if (ReadRecord(key.Get(), name, &product.m_Record) == ERROR_SUCCESS) generation.m_Products.Add(product);
    });
}

void ReadComponents(HKEY machine, const CString& base, CProductGeneration& generation) {
    RegistryKey key;
    if (Open(machine, base + Halv::m_sComponentsSubKey, KEY_READ, key) != ERROR_SUCCESS) return;
    ForEachValue(key.Get(), [&](const CString& name) {
        DWORD installed = 0;
        if (ReadNumber(key.Get(), name, &installed) == ERROR_SUCCESS && installed == 1)
            generation.m_Components.Add(name);
    });
}

void ReadInto(HKEY machine, const CString& path, const CString& name, CString& text) {
    RegistryKey key;
    char buffer[MAX_PATH + 1] = "";
    if (Open(machine, path, KEY_READ, key) == ERROR_SUCCESS && ReadText(key.Get(), name, buffer) == ERROR_SUCCESS) {
        text = buffer;
    }
}

CProductGeneration ReadGeneration(HKEY machine, const GenerationKeys& keys) {
    CProductGeneration generation;
    generation.m_sName = keys.name;
    if (keys.root != nullptr) generation.m_sRoot = *keys.root;
    ReadProducts(machine, *keys.products, generation);
    if (keys.agent != nullptr) ReadInto(machine, *keys.agent, Halv::m_sPath, generation.m_sAgentHomeDir);
    if (keys.base == nullptr) return generation;
    const CString paths = *keys.base + Halv::m_sPathSubKey;
    const CString user = *keys.base + Halv::m_sUserSubKey;
    ReadInto(machine, paths, Halv::m_sHome, generation.m_sHomeDir);
    ReadInto(machine, paths, Halv::m_sDatabase, generation.m_sDBDir);
    ReadInto(machine, paths, Halv::m_sLog, generation.m_sLogDir);
    ReadInto(machine, paths, Halv::m_sTemp, generation.m_sTempDir);
    ReadInto(machine, user, Halv::m_sRegisteredName, generation.m_sUser);
    ReadInto(machine, user, Halv::m_sRegisteredOrg, generation.m_sCompany);
    ReadComponents(machine, *keys.base, generation);
    return generation;
}

bool HoldsAnything(const CProductGeneration& generation) {
    return !generation.m_Products.IsEmpty() || !generation.m_Components.IsEmpty() || !generation.m_sHomeDir.IsEmpty() ||
           !generation.m_sDBDir.IsEmpty() || !generation.m_sLogDir.IsEmpty() || !generation.m_sTempDir.IsEmpty() ||
           !generation.m_sAgentHomeDir.IsEmpty() || !generation.m_sUser.IsEmpty() || !generation.m_sCompany.IsEmpty();
}

}  // namespace

CInstalledProducts::CInstalledProducts(const char* machine) {
    const CString& current = family::Root();
    RegistryKey root(HKEY_LOCAL_MACHINE);
    const bool isLocal = machine == nullptr || *machine == '\0' || CComputer::IsLocalMachine(machine);
    if (!isLocal && RegConnectRegistryA(machine, HKEY_LOCAL_MACHINE, root.Receive()) != ERROR_SUCCESS) return;
    for (const GenerationKeys& keys : kGenerations) {
        // The current family often is one of the named generations; it is listed once.
        const bool repeated = &keys != kGenerations && keys.root != nullptr && current.CompareNoCase(*keys.root) == 0;
        if (repeated) continue;
        const CProductGeneration generation = ReadGeneration(root.Get(), keys);
        if (HoldsAnything(generation)) m_Generations.Add(generation);
    }
}

CInstalledProducts::CInstalledProducts(const CInstalledProducts& other) = default;
CInstalledProducts& CInstalledProducts::operator=(const CInstalledProducts& other) = default;
CInstalledProducts::~CInstalledProducts() = default;

int CInstalledProducts::GetCount() const { return m_Generations.GetSize(); }

const CProductGeneration& CInstalledProducts::GetAt(int index) const {
    return const_cast<CInstalledProducts*>(this)->m_Generations.ElementAt(index);
}
