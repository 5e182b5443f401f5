// Parts of a path from which the default directories are made. Double-byte characters are kept whole.
#ifndef INSTALIB_SETUPFILES_DEFAULT_PATH_H
#define INSTALIB_SETUPFILES_DEFAULT_PATH_H

#include "instalib/string.h"

// "D:\Old\Prod\\" gives "Prod", "Prod" gives "Prod", "\" gives "".
CString LastPathComponent(const char* path);
// "C:\ALERT" gives "\ALERT", "ALERT" gives "ALERT".
CString FromFirstBackslash(const char* path);

#endif
