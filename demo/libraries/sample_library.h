// What the sample product libraries share. They stand in for the family's closed libraries: small, honest answers
// through the very entry points, so that a setup can be rehearsed from start to end. Nothing here is a product's own
// algorithm.
#ifndef INSTALIB_DEMO_SAMPLE_LIBRARY_H
#define INSTALIB_DEMO_SAMPLE_LIBRARY_H

#include <cstdio>
#include <cstring>

#include "instalib/windows_types.h"

#ifdef _WIN32
#define SAMPLE_EXPORT extern "C" __declspec(dllexport)
#define SAMPLE_CALL WINAPI
#else
#define SAMPLE_EXPORT extern "C" __attribute__((visibility("default")))
#define SAMPLE_CALL
#endif

// Copies the text, cut to the buffer's size and terminated; 1 when it fitted whole.
inline int Answer(char* buffer, DWORD size, const char* text) {
    if (buffer == nullptr || size == 0) return 0;
    std::snprintf(buffer, size, "%s", text);
    return std::strlen(text) < size ? 1 : 0;
}

#endif
