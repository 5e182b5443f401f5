// What a source sees of the interface: sizes of classes, and functions whose names the system's macros could change.
#include <array>
#include <tuple>

using HeaderOrder = std::tuple<std::array<std::size_t, 4>, int (*)(const char*, int), int (*)(char*, DWORD*)>;

static HeaderOrder MeasuredHere() {
    return {{sizeof(CSettings), sizeof(CHalvRegistry), sizeof(CComputer), sizeof(CSetupException)},
            &CComputer::CreateDirectoryA,
            &CComputer::GetComputerNameA};
}
