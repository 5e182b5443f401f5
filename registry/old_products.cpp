// The records of the products that an upgrade replaces.
#include "changes/changing.h"
#include "registry/family_keys.h"

using namespace registry;

void CHalvRegistry::CreateOldProdDscrpt() {
    RegistryKey source;
    if (Open(HKEY_LOCAL_MACHINE, kDirectoryAgentProductsKey, KEY_ALL_ACCESS, source) != 0 &&
        !Outcome(Open(HKEY_LOCAL_MACHINE, m_sOldProductsKey, KEY_ALL_ACCESS, source))) {
        return;
    }
    tagProductStruct record{};
    if (!Outcome(ReadRecord(source.Get(), m_Settings.Product(), &record))) return;
    RegistryKey kept;
    if (Open(HKEY_LOCAL_MACHINE, kOldAgentsKey, KEY_ALL_ACCESS, kept) != 0 &&
        !Outcome(Create(HKEY_LOCAL_MACHINE, kOldAgentsKey, kept))) {
        return;
    }
    Outcome(SetRecord(kept.Get(), m_Settings.Product(), record));
}

void CHalvRegistry::DeleteOldProdDscrpt() {
    DWORD left = 0;
    {
        RegistryKey kept;
        tagProductStruct record{};
        if (!Outcome(Open(HKEY_LOCAL_MACHINE, kOldAgentsKey, KEY_ALL_ACCESS, kept))) return;
        if (!Outcome(ReadRecord(kept.Get(), m_Settings.Product(), &record))) return;
        if (!Outcome(changing::RegDeleteValueA(kept.Get(), m_Settings.Product()))) return;
        if (!Outcome(RegQueryInfoKeyA(kept.Get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &left, nullptr,
                                      nullptr, nullptr, nullptr))) {
            return;
        }
    }
    if (left == 0) Outcome(DeleteLeaf(HKEY_LOCAL_MACHINE, m_sOldKorvaultITKey, kOldAgents));
}
