// The product map library: registry name, component code and display name of a product type.
#include "demo/libraries/sample_library.h"

namespace {

struct Product {
    LONG type;
    const char* registryName;
    const char* componentCode;
    const char* displayName;
};

constexpr Product kProducts[] = {
    {133, "ZephraniteCB", "kvbase", "Zephranite Korvault Backup"},
    {24, "ZephraniteCB", "kvbase", "Zephranite Korvault Backup"},
    {25, "ZephraniteCB", "kvbase", "Zephranite Korvault Backup"},
    {105, "KorvaultServer", "kvserver", "Zephranite Korvault Server"},
    {62, "ClientAgentNT", "kvagent", "Zephranite Client Agent"},
    {1027, "ClientAgentNT", "kvagent", "Zephranite Client Agent"},
};

const Product* FindProduct(LONG type) {
    for (const Product& product : kProducts) {
        if (product.type == type) return &product;
    }
    return nullptr;
}

}  // namespace

SAMPLE_EXPORT int SAMPLE_CALL HVPGetProductMapInfo(LONG type, BYTE* record) {
    const Product* const product = FindProduct(type);
    return product != nullptr ? Answer(reinterpret_cast<char*>(record) + 4, 24, product->registryName) : 0;
}

SAMPLE_EXPORT int SAMPLE_CALL HVPGetProductComponentCode2A(LONG type, BYTE, char* code) {
    const Product* const product = FindProduct(type);
    return product != nullptr ? Answer(code, 8, product->componentCode) : 0;
}

SAMPLE_EXPORT int SAMPLE_CALL HVPGetProductName(LONG type, char* buffer, DWORD size) {
    const Product* const product = FindProduct(type);
    return product != nullptr ? Answer(buffer, size, product->displayName) : 0;
}
