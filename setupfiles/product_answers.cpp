#include "setupfiles/product_answers.h"

#include <algorithm>
#include <cstdlib>

#include "platform/product_libraries.h"
#include "setupfiles/program_folder.h"

CString ProductNameFromMap(LONG productType, const CString& fallback) {
    const LoadedLibrary library(LoadLibraryA(product::kProductMapLibrary));
    auto* const ask = product::EntryPoint<product::GetProductMapInfo>(library.Get(), "HVPGetProductMapInfo");
    if (ask == nullptr) return fallback;
    struct {
        product::ProductMapInfo record;
        char terminator;  // stays zero, whatever the library leaves out
    } answer{};
    ask(productType, &answer.record);
    const char* const name = answer.record.name;
    return CString(name, int(std::find(name, name + sizeof answer.record.name, '\0') - name));
}

CString ComponentCodeFromMap(LONG productType, BYTE subType, const CString& fallback) {
    const LoadedLibrary library(LoadLibraryA(product::kProductMapLibrary));
    auto* const ask =
        product::EntryPoint<product::GetProductComponentCode>(library.Get(), "HVPGetProductComponentCode2A");
    if (ask == nullptr) return fallback;
    char text[8 + 1] = "";
    ask(productType, subType, text);
    text[8] = '\0';
    CString code(text);
    code.MakeUpper();
    return code;
}

DWORD AlertBuildOfMedium() {
    const LoadedLibrary library(LoadLibraryA(ProgramFolder() + product::kAlertVersionLibrary));
    auto* const ask = product::EntryPoint<product::GetAlertBuildText>(library.Get(), "AlGetBuildNumberA");
    if (ask == nullptr) return 0;
    char text[_MAX_PATH + 1] = "";
    ask(text);
    text[_MAX_PATH] = '\0';
    // Builds have 16 bits; a longer number, which atoi leaves open, must not come out small.
    return DWORD(std::clamp<long>(std::strtol(text, nullptr, 10), 0, 0x7FFFFFFF));
}
