// The branding library: the product id, by ordinal 101.
#include "demo/libraries/sample_library.h"

SAMPLE_EXPORT int SAMPLE_CALL Ordinal101(char* buffer, DWORD size) { return Answer(buffer, size, "ZephraniteCB"); }
