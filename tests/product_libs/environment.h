// How a test tells a product library what to do: by environment variables of its process.
#ifndef INSTALIB_TESTS_PRODUCT_LIBS_ENVIRONMENT_H
#define INSTALIB_TESTS_PRODUCT_LIBS_ENVIRONMENT_H

#include <cstdlib>
#include <string>

#include "tests/product_libs/exported.h"

inline std::string Told(const char* name) {
    char text[512] = "";
    GetEnvironmentVariableA(name, text, sizeof text);
    return text;
}

inline DWORD ToldNumber(const char* name) { return DWORD(std::strtoul(Told(name).c_str(), nullptr, 0)); }

#endif
