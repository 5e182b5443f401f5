// CProduct: one product as an upgrade sees it: the new product that a setup installs, or one of the old products that
// its information file (SETUP.INF) lists as upgradable.
#ifndef INSTALIB_PRODUCT_H
#define INSTALIB_PRODUCT_H

#include "instalib/array.h"
#include "instalib/export.h"
#include "instalib/string.h"
#include "instalib/windows_types.h"

// What holds for the whole class:
// - Versions are words with the major number in the high byte: 11.5 is 0x0B05. Ranges are texts of two ends, "9.0,11.1"
//   or "3500,4100"; without a comma the whole text is the upper end and the lower one is 0.
// - Numbers in texts are decimal: leading blanks are skipped, the first character that is no digit ends the number (so
//   a sign gives 0), no digits give 0, and a number too large for 31 bits counts as 2147483647.
// - Getters of text return a copy. A null text given to a setter counts as empty. Nothing fails, nothing is raised.
class INSTALIB_API CProduct {
  public:
    // Empty texts and lists, numbers 0.
    CProduct();
    // Reads a description from the information file `file`. A negative `index` describes the new product: section
    // Setup, the messages of section Upgrade, the family's root key, and version and build as the product's version
    // library beside the file tells them ("32VersionDLL" for a 64-bit `machine` other than this one, else
    // "VersionDLL"). Any other index reads the upgrade rule of that number from section Upgrade ("ProductCode01",
    // "VersionRange01", ...); `machine` does not matter then. Null and an empty machine name mean this one. Values are
    // read up to 259 characters; what is missing is empty or 0, and a rule without a product code ends the list of
    // rules. Each step is traced in the upgrade log.
    CProduct(const char* file, int index, const char* machine);
    CProduct(const CProduct& other);
    CProduct& operator=(const CProduct& other);
    virtual ~CProduct();

    // A free name; the library never fills it.
    CString getName() const;
    void setName(char* name);
    // The Windows Installer's product code: the name of its uninstall key and the argument of its removal.
    CString getProductCode() const;
    void setProductCode(char* code);
    WORD getBuildNo() const;
    void setBuildNo(WORD build);
    WORD getVersionNo() const;
    void setVersionNo(WORD version);
    // From "major.minor", each cut to 8 bits: "11.300" is 0x0B2C. Without a period the text is the minor number.
    void setVersionNo(CString text);
    BYTE getMajorVersionNo() const;
    BYTE getMinorVersionNo() const;
    // Of a rule the accepted subtypes, as read; of an installed product its own subtype in decimal.
    CString getProductSubType() const;
    void setProductSubType(char* subtype);
    // Numbers of the messages that ask to confirm an upgrade and that refuse it; 0 when there is none.
    int getUpgradeMsg() const;
    void setUpgradeMsg(int message);
    int getInvalidUpgradeMsg() const;
    void setInvalidUpgradeMsg(int message);

    // The ends of an empty version range are 0.
    CString getVersionRange() const;
    void setVersionRange(char* range);
    WORD getMinVersionNo() const;
    WORD getMaxVersionNo() const;
    int getMajorMinVersionNo() const;
    int getMinorMinVersionNo() const;
    int getMajorMaxVersionNo() const;
    int getMinorMaxVersionNo() const;
    // The ends of an empty build range are 0 and 10000.
    CString getBuildRange() const;
    void setBuildRange(char* range);
    int getMinBuildNo() const;
    int getMaxBuildNo() const;

    // Paths under HKEY_LOCAL_MACHINE: the product's root, and the key below which saved branches are kept.
    CString getRegRootKey() const;
    void setRegRootKey(char* key);
    CString getRegBKRootKey() const;
    void setRegBKRootKey(char* key);
    // The name under which the product is registered, for example "ClientAgentNT".
    CString getProductDescriptor() const;
    void setProductDescriptor(char* descriptor);

    // The object's own lists, valid as long as it lives: the branches below the root that are saved, and the values
    // that are dropped from what was saved. Their setters append the pieces of a text with commas, untrimmed: "A,,B"
    // appends "A", "" and "B", "A," only "A".
    CArray<CString, CString>& getRegSubKey();
    void setRegSubKey(char* keys);
    CArray<CString, CString>& getRegBKValues();
    void setRegBKValues(char* values);

  private:
    void ReadNewProduct(const char* file, const char* machine);
    void ReadRule(const char* file, int index);

    CString m_sName;
    CString m_sProductCode;
    WORD m_wBuildNo = 0;
    WORD m_wVersionNo = 0;
    CString m_sProductSubType;
    int m_nUpgradeMsg = 0;
    int m_nInvalidUpgradeMsg = 0;
    CString m_sVersionRange;
    CString m_sBuildRange;
    CString m_sRegRootKey;
    CArray<CString, CString> m_RegSubKey;
    CString m_sProductDescriptor;
    CString m_sRegBKRootKey;
    CArray<CString, CString> m_RegBKValues;
};

#endif
