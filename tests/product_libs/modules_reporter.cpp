// REPORTER.EXE FILE CODE [MILLISECONDS | hold NAME]: writes what it was started with to FILE, waits or takes a mutex,
// and ends with CODE. A holder writes its file when it has the mutex, and never lets go.
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/platform.h"

namespace {

std::string Variable(const char* name) {
    char value[512] = "";
    return GetEnvironmentVariableA(name, value, sizeof value) == 0 ? "<none>" : value;
}

void Report(const char* file) {
    char directory[MAX_PATH] = "", program[MAX_PATH] = "";
    GetCurrentDirectoryA(sizeof directory, directory);
    GetModuleFileNameA(nullptr, program, sizeof program);
    const std::string text = std::string("line=") + GetCommandLineA() + "\nprogram=" + program +
                             "\ndirectory=" + directory + "\nvariable=" + Variable("REPORTER_VARIABLE") +
                             "\nremoved=" + Variable("TEMP") + "\n";
    const HANDLE handle = CreateFileA(file, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD written = 0;
    WriteFile(handle, text.data(), DWORD(text.size()), &written, nullptr);
    CloseHandle(handle);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc > 4 && std::strcmp(argv[3], "hold") == 0) CreateMutexA(nullptr, TRUE, argv[4]);
    if (argc > 1) Report(argv[1]);
    if (argc == 4) Sleep(DWORD(std::atoi(argv[3])));
    if (argc > 4) Sleep(60'000);
    return argc > 2 ? std::atoi(argv[2]) : 0;
}
