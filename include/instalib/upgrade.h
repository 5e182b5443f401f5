// Upgrades: may the installed product be replaced, and what of it survives. In this order: KSetIsAllowUpgrade answers
// 0; KSetBKOldProduct saves the old product's branches and tells its product code; KSetUninstallOldProd removes it; the
// new product is installed; KSetCreateRSSubRegKeys adds what every restored key needs; KSetRSOldProdRegKey merges what
// was saved. Everything is traced in the upgrade log. Nothing is raised.
//
// A machine's name that is null, empty or this computer's own stands for this machine. A setup directory is the one
// that holds SETUP.INF, with or without backslashes at its end.
#ifndef INSTALIB_UPGRADE_H
#define INSTALIB_UPGRADE_H

#include <cstddef>

#include "instalib/export.h"
#include "instalib/product.h"
#include "instalib/string.h"
#include "instalib/windows_types.h"

// A value that KSetCreateRSSubRegKeys adds: REG_SZ `szText` when `dwNumber` is 0xFFFFFFFF, else REG_DWORD `dwNumber`.
// Texts may fill their field without a terminator.
struct tagRestoreValue {
    char szValueName[260];
    char szText[260];
    DWORD dwNumber;
};
static_assert(sizeof(tagRestoreValue) == 524 && offsetof(tagRestoreValue, szText) == 260 &&
                  offsetof(tagRestoreValue, dwNumber) == 520,
              "callers pass arrays of it");

extern "C" {

// May the installed product `descriptor` (its registration name) be replaced by the one in `directory`? 0 yes; 1 no; 2
// it is not installed on the machine, and `*versionAndBuild` is left alone; 3 it has exactly the version and build of
// the new one; -1 its registration vanished meanwhile (agents on another 64-bit machine only). Otherwise the installed
// build is stored in the high 16 bits of `*versionAndBuild` and the version in the low ones, for -1 a 0; the pointer
// may be null.
INSTALIB_API int KSetIsAllowUpgrade(const char* directory, const char* descriptor, DWORD* versionAndBuild,
                                    const char* machine);

// Copies the branches that the rule covering the installed product names to the backup tree: the family's root with
// "(BACKUP)" behind its name. Made twice, it is the same backup: what is there already is overwritten, nothing is
// removed but the values that the rule drops. The backup itself is never saved into itself. 1 when the last branch was
// copied or none was to be copied, and `code` holds the old product's code; 0 when the last copy failed (`code` is set)
// or no rule covers the product (`code` is left as it was).
INSTALIB_API int KSetBKOldProduct(const char* directory, const char* descriptor, CString& code, const char* machine);

// Runs "MSIEXEC /x CODE /qn" or, with `isCommand` nonzero, the command line given, in `directory` (null or empty: the
// caller's), and waits for its end without bound; messages of the calling thread's windows are dispatched meanwhile,
// and a WM_QUIT among them is posted again afterwards. A command gets 20 seconds more for what it started. 1 when the
// process was started and has ended, whatever its exit code: look at the product's uninstall key. 0 with a last error
// when it could not be started; a null or empty text starts nothing.
INSTALIB_API int KSetUninstallOldProd(const char* codeOrCommand, int isCommand, const char* directory);

// Merges the backup tree into the family's root: its values win, keys and values that it lacks stay. The tree is
// deleted only when every key and value of it has been merged; otherwise, and after an interruption, the call can be
// repeated.
INSTALIB_API void KSetRSOldProdRegKey();

// For every key directly below `subKey` of the backup tree, adds the `count` values to the key of that name below the
// family's root, created when it is missing. Works while the backup exists: call it before the restore. A key that the
// restore renames gets the values under its new name. Values that the backup holds under the same name win later.
INSTALIB_API void KSetCreateRSSubRegKeys(CString subKey, tagRestoreValue* values, int count);

}  // extern "C"

// Which rule decided, for front ends that explain the answer. Asks the same questions as KSetIsAllowUpgrade at
// construction, and changes as little.
class INSTALIB_API CUpgradeCheck {
  public:
    CUpgradeCheck(const char* directory, const char* descriptor, const char* machine);
    CUpgradeCheck(const CUpgradeCheck& other);
    CUpgradeCheck& operator=(const CUpgradeCheck& other);
    ~CUpgradeCheck();

    // The answer, as KSetIsAllowUpgrade gives it.
    int GetResult() const;
    // The number of the rule that covers the installed product, 0 when none decided.
    int GetRule() const;
    // The rule in words, one sentence without a period.
    const char* GetReason() const;
    // The product as found, with its rule when one covers it, and the new one; with numbers 0 when the product is not
    // installed. Valid as long as the object.
    CProduct& GetOld();
    CProduct& GetNew();

  private:
    int m_nResult;
    int m_nRule;
    CString m_sReason;
    CProduct m_Old;
    CProduct m_New;
};

// The backup tree as a careful front end looks at it between the steps.
class INSTALIB_API CUpgradeBackup {
  public:
    // Its path under HKEY_LOCAL_MACHINE, whether it stands there, and its removal: 1 when nothing of it is left.
    static CString Path();
    static int Exists();
    static int Discard();
    // Compares the branches that the rule for the installed product saves with their copies and appends the path of
    // every key and value that is missing or different to `lost` ("KEY" or "KEY -> VALUE"); values that the rule drops
    // from a branch are not missed. 1 when nothing is lost, 0 when something is or no rule covers the product.
    static int HoldsAll(const char* directory, const char* descriptor, const char* machine,
                        CArray<CString, CString>& lost);
    // Whether this machine's list of installed programs, or its Windows Installer, still knows the product code.
    static int IsStillInstalled(const char* code);
};

#endif
