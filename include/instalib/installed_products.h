// CInstalledProducts: what the family has registered on a machine, generation by generation. The look-ups of CHalvRegistry
// answer for one product and stop at the first generation that knows it; this list shows all of them, for inventories.
#ifndef INSTALIB_INSTALLED_PRODUCTS_H
#define INSTALIB_INSTALLED_PRODUCTS_H

#include "instalib/array.h"
#include "instalib/export.h"
#include "instalib/product_record.h"
#include "instalib/string.h"
#include "instalib/windows_types.h"

struct CInstalledProduct {
    CString m_sName;            // under which it is registered
    tagProductStruct m_Record;  // a shorter stored record leaves the rest zero
};

// One generation as it is found; texts are empty where the machine holds none. At most 260 characters each.
struct CProductGeneration {
    CString m_sName;  // "Current family", "KorvaultIT", ...
    CString m_sRoot;  // its root key; empty for a generation of which only the products key is known
    CArray<CInstalledProduct, const CInstalledProduct&> m_Products;
    CString m_sHomeDir;
    CString m_sDBDir;
    CString m_sLogDir;
    CString m_sTempDir;
    CString m_sAgentHomeDir;
    CString m_sUser;
    CString m_sCompany;
    // Names of the components that are registered as installed ("SERVER", "MANAGER", ...).
    CArray<CString, CString> m_Components;
};

class INSTALIB_API CInstalledProducts {
  public:
    // Reads the machine at once; null or empty is the local one. A machine that cannot be reached has nothing.
    explicit CInstalledProducts(const char* machine = nullptr);
    CInstalledProducts(const CInstalledProducts& other);
    CInstalledProducts& operator=(const CInstalledProducts& other);
    ~CInstalledProducts();

    // The generations that have left anything, the current family first.
    int GetCount() const;
    const CProductGeneration& GetAt(int index) const;

  private:
    CArray<CProductGeneration, const CProductGeneration&> m_Generations;
};

#endif
