// MODTEST.DLL: entry points by name and by ordinal, and a counter that starts anew with every load.
#ifdef _WIN32
#define EXPORT extern "C" __declspec(dllexport)
#else
#define EXPORT extern "C" __attribute__((visibility("default")))
#endif

namespace {
int g_calls = 0;
}

EXPORT int CountCalls() { return ++g_calls; }

#ifdef _WIN32
extern "C" int BySeven() { return 7; }
#else
EXPORT int Ordinal7() { return 7; }
#endif
