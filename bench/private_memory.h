// What a process has for itself.
#ifndef INSTALIB_BENCH_PRIVATE_MEMORY_H
#define INSTALIB_BENCH_PRIVATE_MEMORY_H

#include <cstdio>

// Megabytes that no other process shares.
inline double PrivateMemory() {
    std::FILE* const file = std::fopen("/proc/self/smaps_rollup", "r");
    if (file == nullptr) return 0;
    double kilobytes = 0;
    char line[256];
    while (std::fgets(line, sizeof line, file) != nullptr) {
        double count = 0;
        if (std::sscanf(line, "Private_Clean: %lf", &count) == 1 ||
            std::sscanf(line, "Private_Dirty: %lf", &count) == 1)
            kilobytes += count;
    }
    std::fclose(file);
    return kilobytes / 1024;
}

#endif
