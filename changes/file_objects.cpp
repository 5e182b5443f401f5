// Directories, deleted files, attributes, the security of files, and the process's environment.
#include "changes/bytes.h"
#include "changes/descriptors.h"
#include "changes/objects.h"
#include "platform/handles.h"

namespace changes {
namespace {

bool IsMissing(DWORD error) { return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND; }

// 0 with the attributes, INVALID_FILE_ATTRIBUTES when nothing is there; or the error.
DWORD AttributesOf(const std::string& path, DWORD& attributes) {
    attributes = GetFileAttributesA(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES) return 0;
    const DWORD error = GetLastError();
    return IsMissing(error) ? 0 : error;
}

DWORD ReadDirectory(const Object& object, State& state) {
    state.clear();
    DWORD attributes = 0;
    if (const DWORD error = AttributesOf(object.name, attributes)) return error;
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) return 0;
    std::string security;
    if (const DWORD error = descriptors::OfFile(object.name.c_str(), security)) return error;
    state = Writer().Number(attributes).Text(security).Bytes();
    return 0;
}

DWORD WriteDirectory(const Object& object, const State&, const State& wanted) {
    const char* const path = object.name.c_str();
    if (wanted.empty()) return ::RemoveDirectoryA(path) ? 0 : GetLastError();
    Reader reader(wanted);
    const DWORD attributes = reader.Number();
    const std::string security = reader.Text();
    if (!::CreateDirectoryA(path, nullptr)) return GetLastError();
    if (const DWORD error = descriptors::RestoreFile(path, security)) return error;
    if (GetFileAttributesA(path) == attributes) return 0;
    return ::SetFileAttributesA(path, attributes & ~DWORD(FILE_ATTRIBUTE_DIRECTORY)) ? 0 : GetLastError();
}

DWORD ReadFileThere(const Object& object, State& state) {
    state.clear();
    WIN32_FIND_DATAA found;
    DWORD attributes = 0;
    if (const DWORD error = AttributesOf(object.name, attributes)) return error;
    if (attributes == INVALID_FILE_ATTRIBUTES) return 0;
    const FindHandle find(FindFirstFileA(object.name.c_str(), &found));
    if (!find) return GetLastError();
    state = Writer()
                .Number(found.nFileSizeHigh)
                .Number(found.nFileSizeLow)
                .Number(found.ftLastWriteTime.dwHighDateTime)
                .Number(found.ftLastWriteTime.dwLowDateTime)
                .Bytes();
    return 0;
}

DWORD WriteFileBack(const Object& object, const State&, const State& wanted) {
    if (wanted.empty()) return ::DeleteFileA(object.name.c_str()) ? 0 : GetLastError();
    return ::MoveFileA(object.part.c_str(), object.name.c_str()) ? 0 : GetLastError();
}

DWORD ReadAttributes(const Object& object, State& state) {
    state.clear();
    DWORD attributes = 0;
    if (const DWORD error = AttributesOf(object.name, attributes)) return error;
    if (attributes != INVALID_FILE_ATTRIBUTES) state = Writer().Number(attributes).Bytes();
    return 0;
}

DWORD WriteAttributes(const Object& object, const State&, const State& wanted) {
    const DWORD attributes = Reader(wanted).Number() & ~DWORD(FILE_ATTRIBUTE_DIRECTORY);
    return ::SetFileAttributesA(object.name.c_str(), attributes == 0 ? DWORD(FILE_ATTRIBUTE_NORMAL) : attributes)
               ? 0
               : GetLastError();
}

DWORD ReadFileSecurity(const Object& object, State& state) {
    const DWORD error = descriptors::OfFile(object.name.c_str(), state);
    return IsMissing(error) ? 0 : error;
}

DWORD WriteFileSecurity(const Object& object, const State&, const State& wanted) {
    return descriptors::RestoreFile(object.name.c_str(), wanted);
}

DWORD ReadEnvironment(const Object& object, State& state) {
    state.clear();
    std::string value(256, '\0');
    for (;;) {
        SetLastError(0);
        const DWORD size = GetEnvironmentVariableA(object.name.c_str(), value.data(), DWORD(value.size()));
        if (size == 0 && GetLastError() != 0) return GetLastError() == ERROR_ENVVAR_NOT_FOUND ? 0 : GetLastError();
        if (size >= value.size()) {
            value.resize(size + 1);
            continue;
        }
        value.resize(size);
        state = Writer().Text(value).Bytes();
        return 0;
    }
}

DWORD WriteEnvironment(const Object& object, const State&, const State& wanted) {
    const std::string value = Reader(wanted).Text();
    return ::SetEnvironmentVariableA(object.name.c_str(), wanted.empty() ? nullptr : value.c_str()) ? 0
                                                                                                    : GetLastError();
}

}  // namespace

const KindRow kDirectoryRow = {"directory", ReadDirectory, WriteDirectory, SamePresence, true, nullptr};
const KindRow kFileRow = {"file", ReadFileThere, WriteFileBack, SameState, true, nullptr};
const KindRow kAttributesRow = {"attributes", ReadAttributes, WriteAttributes, SameState, true, nullptr};
const KindRow kFileSecurityRow = {"file security", ReadFileSecurity, WriteFileSecurity, SameState, true, nullptr};
const KindRow kEnvironmentRow = {"environment", ReadEnvironment, WriteEnvironment, SameState, false, nullptr};

}  // namespace changes
