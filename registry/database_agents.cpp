// Database agents: keys beside each other, each with the full path of its library in "dll". An agent is named by the
// path of its key below a product root; keys whose names contain its name are its variants.
#include <cstring>

#include "changes/changing.h"
#include "foundation/compare_names.h"
#include "foundation/text.h"
#include "instalib/array.h"
#include "registry/family_keys.h"

using namespace registry;

namespace {

constexpr char kLibrary[] = "dll";
constexpr char kExchange[] = "dbaexch";
constexpr char kExchange2[] = "dbaxchg2";  // belongs to the agent above and never counts beside it

struct AgentPath {
    CString parent;  // below a product root, possibly empty
    CString name;    // the last component

    explicit AgentPath(const CString& agent) : name(agent) {
        const char* const text = agent;
        const char* const last = LastBackslash(text);
        if (last == nullptr) return;
        parent = agent.Left(int(last - text));
        name = last + 1;
    }
    bool Names(const CString& key) const { return ContainsName(key, name); }
};

// The directory of the file, without its final backslash; empty when there is none.
void CutToDirectory(char* path) {
    const char* const end = LastBackslash(path);
    path[end == nullptr ? 0 : end - path] = '\0';
}

LSTATUS FirstVariant(HKEY parent, const AgentPath& agent, RegistryKey& found) {
    CString name;
    for (DWORD index = 0;; ++index) {
        const LSTATUS status = SubkeyAt(parent, index, name);
        if (status != 0) return status;
        if (agent.Names(name) && Open(parent, name, KEY_READ, found) == 0) return 0;
    }
}

// With an installed product only its own root, else the older ones in turn.
LSTATUS OpenAgents(HKEY root, const CString& parent, bool current, RegistryKey& key) {
    if (current) return Open(root, Join(family::Root(), parent), KEY_ALL_ACCESS, key);
    LSTATUS status = 0;
    for (const CString* older :
         {&CHalvRegistry::m_sOldKorvaultITKey, &CHalvRegistry::m_sOldHalvenorKey, &CHalvRegistry::m_sZEBKey}) {
        status = Open(root, Join(*older, parent), KEY_ALL_ACCESS, key);
        if (status == 0) break;
    }
    return status;
}

CString ParentOf(const AgentPath& agent, int current) {
    return Join(current != 0 ? family::Root() : CHalvRegistry::m_sOldHalvenorKey, agent.parent);
}

}  // namespace

int CHalvRegistry::GetDBAgentHomeDir(CString agent, char* dir, DWORD* size, int current, HKEY key) {
    const AgentPath path(agent);
    if (dir == nullptr || size == nullptr) return FailWith(ERROR_INVALID_PARAMETER);
    if (*size != 0) dir[0] = '\0';
    if (path.name.IsEmpty()) return FailWith(ERROR_INVALID_PARAMETER);
    RegistryKey parent;
    RegistryKey found;
    if (!Outcome(OpenAgents(OrLocalMachine(key), path.parent, current != 0, parent))) return 0;
    if (!Outcome(FirstVariant(parent.Get(), path, found))) return 0;
    const LSTATUS status = ReadText(found.Get(), kLibrary, dir, *size, size);
    if (status == ERROR_FILE_NOT_FOUND) return 1;
    if (!Outcome(status)) return 0;
    CutToDirectory(dir);
    *size = static_cast<DWORD>(std::strlen(dir) + 1);
    return 1;
}

int CHalvRegistry::ExistOther_DBAgents(CString agent, int current, CString& dir) {
    const AgentPath path(agent);
    if (path.name.IsEmpty()) return FailWith(ERROR_INVALID_PARAMETER);
    RegistryKey parent;
    if (!Outcome(Open(HKEY_LOCAL_MACHINE, ParentOf(path, current), KEY_ALL_ACCESS, parent))) return 0;
    CString name;
    for (DWORD index = 0;; ++index) {
        const LSTATUS status = SubkeyAt(parent.Get(), index, name);
        if (status == ERROR_NO_MORE_ITEMS) return 0;
        if (!Outcome(status)) return 0;
        if (!path.Names(name) && name != kExchange2) break;
    }
    // The agent is there even when its directory cannot be told: its shared files must stay.
    char library[MAX_PATH + 1] = "";
    RegistryKey other;
    if (Open(parent.Get(), name, KEY_READ, other) == 0) ReadText(other.Get(), kLibrary, library);
    CutToDirectory(library);
    dir = library;
    return 1;
}

void CHalvRegistry::DeleteAgentSubKeys(CString agent, int current) {
    const AgentPath path(agent);
    RegistryKey parent;
    // Every key contains an empty name.
    if (path.name.IsEmpty()) return;
    if (!Outcome(Open(HKEY_LOCAL_MACHINE, ParentOf(path, current), KEY_ALL_ACCESS, parent))) return;
    CArray<CString, CString> names;  // a framework array: memory that runs out is the framework's exception
    CString name;
    for (DWORD index = 0; SubkeyAt(parent.Get(), index, name) == 0; ++index) {
        if (path.Names(name)) names.Add(name);
    }
    const auto remove = [&](const char* child) {
        DeleteSubKeys(parent.Get(), child);
        Outcome(changing::RegDeleteKeyA(parent.Get(), child));
    };
    for (int i = 0; i < names.GetSize(); ++i) {
        const CString& variant = names.ElementAt(i);
        remove(variant);
        if (SameName(variant, kExchange2)) remove(kExchange);
    }
}
