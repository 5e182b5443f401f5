// The registration record of one product of the family: 49 bytes, stored in the registry as REG_BINARY under a products
// key and named by the product's id. Byte order is little-endian.
#ifndef INSTALIB_PRODUCT_RECORD_H
#define INSTALIB_PRODUCT_RECORD_H

#include <cstddef>

#include "instalib/windows_types.h"

#pragma pack(push, 1)
struct tagProductStruct {
    DWORD dwProductCode;
    BYTE carried4[4];  // the carried bytes belong to the front ends: stored and returned as they are
    WORD wVersion;     // major number in the high byte, minor number in the low byte; 6.6 is 0x0606
    WORD wBuild;
    signed char cSubType;
    BYTE carried13[3];
    DWORD dwUserLevel;
    BYTE carried20[29];
};
#pragma pack(pop)

static_assert(sizeof(tagProductStruct) == 49, "the record is stored as it stands");
static_assert(offsetof(tagProductStruct, dwProductCode) == 0 && offsetof(tagProductStruct, wVersion) == 8 &&
                  offsetof(tagProductStruct, wBuild) == 10 && offsetof(tagProductStruct, cSubType) == 12 &&
                  offsetof(tagProductStruct, dwUserLevel) == 16 && offsetof(tagProductStruct, carried20) == 20,
              "fields stand where other versions of the product look for them");

#endif
