// The version library: version and build of the product on this medium.
#include "demo/libraries/sample_library.h"

SAMPLE_EXPORT int SAMPLE_CALL KvvGetVersionA(char* buffer) { return Answer(buffer, 32, "11.5"); }
SAMPLE_EXPORT int SAMPLE_CALL KvvGetBuildNumberA(char* buffer) { return Answer(buffer, 32, "4231"); }
