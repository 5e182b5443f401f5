// Answers TEST_CORE_STATUS to every call and leaves in TEST_CORE_CALL what it was called with.
#include "tests/product_libs/environment.h"

namespace {

std::string Text(const void* pointer) { return pointer == nullptr ? "null" : "set"; }
std::string Text(const char* text) { return text == nullptr ? "null" : text; }
std::string Text(char* text) { return Text(static_cast<const char*>(text)); }
std::string Text(DWORD number) { return std::to_string(number); }

template <class... Arguments>
DWORD Answer(const char* name, Arguments... arguments) {
    std::string call = name;
    ((call.append(1, ' ').append(Text(arguments))), ...);
    SetEnvironmentVariableA("TEST_CORE_CALL", call.c_str());
    return ToldNumber("TEST_CORE_STATUS");
}

}  // namespace

EXPORTED DWORD WINAPI QSICreateQueue(void* reserved, const char* queue, DWORD zero, const char* text, DWORD* output) {
    *output = 1;
    return Answer("create", static_cast<const void*>(reserved), queue, zero, text);
}
EXPORTED DWORD WINAPI QSIGetQJobItemList(const char* queue, DWORD first, const void* items, DWORD size, DWORD* count,
                                         const void* information) {
    *count = 7;
    return Answer("list", queue, first, items, size, information);
}
EXPORTED DWORD WINAPI QSIMapJobStatus(DWORD status, DWORD result) { return Answer("map", status, result); }
EXPORTED DWORD WINAPI KVAddQueueJob(const char* queue, const char* job, WORD type, const char* text, DWORD flags,
                                    DWORD* number) {
    *number = 7;
    return Answer("add", queue, job, DWORD(type), text, flags);
}
EXPORTED DWORD WINAPI QSIDeleteJob(const char* queue, DWORD job, DWORD flags) {
    return Answer("delete", queue, job, flags);
}
EXPORTED DWORD WINAPI KVGetDefaultQueue(char* machine, char* queue, DWORD* number) {
    *number = 7;
    return Answer("default", machine, queue);
}
