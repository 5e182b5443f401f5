// Marks an entry point of a test's product library on both targets.
#ifndef INSTALIB_TESTS_EXPORTED_H
#define INSTALIB_TESTS_EXPORTED_H

#include "platform/platform.h"

#ifdef _WIN32
#define EXPORTED extern "C" __declspec(dllexport)
#else
#define EXPORTED extern "C" __attribute__((visibility("default")))
#endif

#endif
