// Names and identifiers, as winbase.h asks for them.
#include <algorithm>
#include <cstring>

#include "platform/embedded/accounts/domain.h"
#include "platform/embedded/accounts/ids.h"
#include "platform/embedded/accounts/store.h"
#include "platform/embedded/api/accounts.h"
#include "platform/embedded/core/gate.h"
#include "platform/embedded/security/token.h"

using namespace embedded;
using control::CallKind;

namespace {

BOOL Fail(DWORD error) {
    SetLastError(error);
    return FALSE;
}

// A text that a caller receives with its size in characters: what is needed with the terminator, what was stored
// without.
struct TextOut {
    LPSTR buffer;
    LPDWORD size;
    const std::string& text;

    bool Fits() const { return buffer != nullptr && *size > text.size(); }
    void Store() const {
        std::memcpy(buffer, text.c_str(), text.size() + 1);
        *size = DWORD(text.size());
    }
    void StoreNeed() const { *size = DWORD(text.size() + 1); }
};

// The accounts of the system that a look-up goes to.
std::shared_ptr<Machine> LookUpOn(LPCSTR system) { return domain::Authority(world::Find(system)); }

accounts::Account EffectiveUser() {
    const auto machine = world::Local();
    const auto token = security::ThreadToken();
    if (token == nullptr) return accounts::CurrentUser(*machine);
    return accounts::BySid(*machine, token->user).value_or(accounts::CurrentUser(*machine));
}

}  // namespace

BOOL GetUserNameA(LPSTR buffer, LPDWORD size) {
    if (gate::Refuses(CallKind::Account, "GetUserNameA")) return FALSE;
    if (size == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    const std::string name = EffectiveUser().name;
    // This one counts the terminator both ways.
    const bool fits = buffer != nullptr && *size > name.size();
    *size = DWORD(name.size() + 1);
    if (!fits) return Fail(ERROR_INSUFFICIENT_BUFFER);
    std::memcpy(buffer, name.c_str(), name.size() + 1);
    return TRUE;
}

BOOL LookupAccountNameA(LPCSTR system, LPCSTR account, PSID sid, LPDWORD sidBytes, LPSTR domainBuffer,
                        LPDWORD domainSize, PSID_NAME_USE use) {
    if (gate::Refuses(CallKind::Account, "LookupAccountNameA")) return FALSE;
    if (sidBytes == nullptr || domainSize == nullptr || use == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    const auto machine = LookUpOn(system);
    if (machine == nullptr) return Fail(RPC_S_SERVER_UNAVAILABLE);
    const auto found = accounts::ByName(*machine, account == nullptr ? "" : account);
    if (!found) return Fail(ERROR_NONE_MAPPED);
    const TextOut domainOut{domainBuffer, domainSize, found->domain};
    const bool sidFits = sid != nullptr && *sidBytes >= found->sid.size();
    *sidBytes = DWORD(found->sid.size());
    if (!sidFits || !domainOut.Fits()) {
        domainOut.StoreNeed();
        return Fail(ERROR_INSUFFICIENT_BUFFER);
    }
    std::copy(found->sid.begin(), found->sid.end(), static_cast<BYTE*>(sid));
    domainOut.Store();
    *use = SID_NAME_USE(found->use);
    return TRUE;
}

BOOL LookupAccountSidA(LPCSTR system, PSID sid, LPSTR name, LPDWORD nameSize, LPSTR domainBuffer, LPDWORD domainSize,
                       PSID_NAME_USE use) {
    if (gate::Refuses(CallKind::Account, "LookupAccountSidA")) return FALSE;
    const Bytes wanted = accounts::CopyOf(sid);
    if (wanted.empty() || nameSize == nullptr || domainSize == nullptr || use == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    const auto machine = LookUpOn(system);
    if (machine == nullptr) return Fail(RPC_S_SERVER_UNAVAILABLE);
    const auto found = accounts::BySid(*machine, wanted);
    if (!found) return Fail(ERROR_NONE_MAPPED);
    const TextOut nameOut{name, nameSize, found->name};
    const TextOut domainOut{domainBuffer, domainSize, found->domain};
    if (!nameOut.Fits() || !domainOut.Fits()) {
        nameOut.StoreNeed();
        domainOut.StoreNeed();
        return Fail(ERROR_INSUFFICIENT_BUFFER);
    }
    nameOut.Store();
    domainOut.Store();
    *use = SID_NAME_USE(found->use);
    return TRUE;
}
