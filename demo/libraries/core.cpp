// The core library's job queue entry points: an empty queue that accepts jobs and forgets them. 0 is success.
#include "demo/libraries/sample_library.h"

SAMPLE_EXPORT DWORD SAMPLE_CALL QSICreateQueue(void*, const char* queue, DWORD, const char*, DWORD* output) {
    if (queue == nullptr || output == nullptr) return 1;
    *output = 0;
    return 0;
}

SAMPLE_EXPORT DWORD SAMPLE_CALL QSIGetQJobItemList(const char*, DWORD, void*, DWORD, DWORD* count, void*) {
    if (count != nullptr) *count = 0;
    return 0;
}

SAMPLE_EXPORT DWORD SAMPLE_CALL QSIMapJobStatus(DWORD, DWORD status) { return status; }

SAMPLE_EXPORT DWORD SAMPLE_CALL KVAddQueueJob(const char*, const char*, WORD, const char*, DWORD, DWORD* job) {
    if (job != nullptr) *job = 1;
    return 0;
}

SAMPLE_EXPORT DWORD SAMPLE_CALL QSIDeleteJob(const char*, DWORD, DWORD) { return 0; }

SAMPLE_EXPORT DWORD SAMPLE_CALL KVGetDefaultQueue(const char*, const char*, DWORD* queue) {
    if (queue != nullptr) *queue = 1;
    return 0;
}
