// Where the product family keeps its keys: the current family's root, and the places of every generation in the order
// in which they are searched.
#ifndef INSTALIB_REGISTRY_FAMILY_KEYS_H
#define INSTALIB_REGISTRY_FAMILY_KEYS_H

#include <span>

#include "instalib/registry.h"
#include "registry/registry_access.h"

namespace registry {

// The names that a construction fills. The first use in a process without an object constructs one, so that no path is
// ever formed from an empty root.
namespace family {
const CString& Vendor();
const CString& Root();
const CString& Base();
const CString& Products();
const CString& Name();  // the root's last component
const CString& ProductId();
}  // namespace family

// Names of generations that the class has no member for.
extern const CString kFormerAlertKey;
extern const CString kEnterpriseKey;
extern const CString kEnterpriseBaseKey;
extern const CString kEnterpriseProductsKey;
extern const CString kDirectoryAgentProductsKey;
extern const CString kListOfProducts;  // below the vendor's root: what the vendor's other products read
extern const CString kNewerOldProducts;
extern const CString kOldAgentsKey;
extern const CString kOldAgents;

enum class View { Plain, Wow32, Native64 };

// One place of a search. The members' addresses stand here since the current family's texts are not known before run
// time.
struct KeyPath {
    const CString* root;
    const CString* subkey = nullptr;
    View view = View::Plain;

    CString Text() const;
};

// Which failure lets a search go on to the next place: any, or only that the key does not open.
enum class Continue { AfterAnyFailure, WhenNotOpened };

// Opens each place below `root` for reading and asks `attempt` for the value there; ends at the first success.
template <class Attempt>
LSTATUS Search(HKEY root, std::span<const KeyPath> places, Attempt attempt, Continue rule = Continue::AfterAnyFailure) {
    LSTATUS status = ERROR_FILE_NOT_FOUND;
    for (const KeyPath& place : places) {
        RegistryKey key;
        const REGSAM view = place.view == View::Native64 ? KEY_WOW64_64KEY : 0;
        status = Open(root, place.Text(), KEY_READ | view, key);
        if (status != 0) continue;
        status = attempt(key.Get());
        if (status == 0 || rule == Continue::WhenNotOpened) return status;
    }
    return status;
}

}  // namespace registry

#endif
