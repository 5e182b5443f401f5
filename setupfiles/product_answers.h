// What the family's libraries tell about the product being set up. A library or an entry point that is missing answers
// the fallback, or 0.
#ifndef INSTALIB_SETUPFILES_PRODUCT_ANSWERS_H
#define INSTALIB_SETUPFILES_PRODUCT_ANSWERS_H

#include "instalib/string.h"
#include "platform/platform.h"

CString ProductNameFromMap(LONG productType, const CString& fallback);
CString ComponentCodeFromMap(LONG productType, BYTE subType, const CString& fallback);  // upper case
// Of the alert component beside the running program.
DWORD AlertBuildOfMedium();

#endif
