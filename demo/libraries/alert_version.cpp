// The alert version library: the build number of the alert component on this medium.
#include "demo/libraries/sample_library.h"

SAMPLE_EXPORT int SAMPLE_CALL AlGetBuildNumberA(char* buffer) { return Answer(buffer, 32, "1207"); }
