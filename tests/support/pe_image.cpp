// The embedded machine keeps its builder of DLLs to itself, and on Windows there is no embedded machine: the tests
// compile the same lines once more.
#include "platform/embedded/modules/image.cpp"
