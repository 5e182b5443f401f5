// Sizes and layouts that front ends compiled against, for 64-bit and 32-bit targets.
#include "foundation/file_version.h"
#include "instalib/array.h"
#include "instalib/combo_box.h"
#include "instalib/command_line.h"
#include "instalib/computer.h"
#include "instalib/exception.h"
#include "instalib/job_queue.h"
#include "instalib/log.h"
#include "instalib/map.h"

constexpr std::size_t kPointer = sizeof(void*);

static_assert(sizeof(CRuntimeClass) == 4 * kPointer);
static_assert(sizeof(CObject) == kPointer && sizeof(CException) == kPointer && sizeof(CMemoryException) == kPointer);
static_assert(sizeof(CString) == kPointer + 8);
static_assert(sizeof(CLog) == sizeof(CString));
static_assert(sizeof(CArray<CString, CString>) == kPointer + 8 + sizeof(CString));
static_assert(sizeof(CMapStringToString) == 4 * kPointer + 8);
static_assert(sizeof(CCommandLineMap) == sizeof(CMapStringToString));
static_assert(sizeof(CSetupException) == (kPointer == 8 ? 40 : 24));
static_assert(sizeof(CComboBox) == 2 * kPointer);
static_assert(sizeof(CComputer) == 2 * sizeof(CString) + 16);
static_assert(sizeof(CJobQueue) == 4);
static_assert(sizeof(VS_FIXEDFILEINFO) == 52 && sizeof(DLLVERSIONINFO) == 20);
