// Entries of profile (INI) files. A state is the entry's value and the whole file, so that what is taken back is the
// file as it was, to the byte. A file that holds a password is not kept: its entries are taken back one by one.
#include <vector>

#include "changes/bytes.h"
#include "changes/checksum.h"
#include "changes/objects.h"
#include "platform/handles.h"

namespace changes {
namespace {

constexpr DWORD kLargest = 256 * 1024;  // bytes of a file that is kept whole

DWORD ReadWhole(const std::string& path, bool& there, std::string& bytes) {
    there = false;
    const FileHandle file(CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        const DWORD error = GetLastError();
        return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ? 0 : error;
    }
    there = true;
    char buffer[4096];
    for (DWORD read = 0;; bytes.append(buffer, read)) {
        if (!ReadFile(file.Get(), buffer, sizeof buffer, &read, nullptr)) return GetLastError();
        if (read == 0) return 0;
    }
}

DWORD WriteWhole(const std::string& path, const std::string& bytes) {
    const FileHandle file(
        CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, TRUNCATE_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    if (!file || !WriteFile(file.Get(), bytes.data(), DWORD(bytes.size()), &written, nullptr)) return GetLastError();
    return written == bytes.size() ? 0 : DWORD(ERROR_DISK_FULL);
}

struct Entry {
    std::string section, key;
    bool hasKey;
    explicit Entry(const Object& object) {
        const std::size_t end = object.part.find('\0');
        section = object.part.substr(0, end);
        hasKey = end != object.part.npos;
        if (hasKey) key = object.part.substr(end + 1);
    }
    const char* Key() const { return hasKey ? key.c_str() : nullptr; }
};

// The value of the key, or the section's lines; false when it is not there.
bool ReadEntry(const Object& object, std::string& value) {
    const Entry entry(object);
    value.assign(1024, '\0');
    // A value that equals the default twice, for two defaults, is there.
    constexpr char kNone[] = "\x01";
    for (;;) {
        const DWORD size = DWORD(value.size());
        const DWORD read =
            entry.hasKey ? GetPrivateProfileStringA(entry.section.c_str(), entry.Key(), kNone, value.data(), size,
                                                    object.name.c_str())
                         : GetPrivateProfileSectionA(entry.section.c_str(), value.data(), size, object.name.c_str());
        if (read + 2 >= size && size < 65536) {
            value.resize(size * 2);
            continue;
        }
        value.resize(read);
        return entry.hasKey ? value != kNone : !value.empty();
    }
}

DWORD ReadProfileEntry(const Object& object, State& state) {
    state.clear();
    bool there = false;
    std::string bytes, value;
    if (const DWORD error = ReadWhole(object.name, there, bytes)) return error;
    const bool present = there && ReadEntry(object, value);
    const bool whole = !object.secret && bytes.size() <= kLargest && !NamesPassword(bytes);
    state = Writer()
                .Number(there)
                .Number(Checksum(bytes))
                .Number(present)
                .Text(present && !object.secret ? value : "")
                .Number(whole)
                .Text(whole ? bytes : "")
                .Bytes();
    return 0;
}

struct Parts {
    bool there, present, whole;
    DWORD checksum;
    std::string value, bytes;
    explicit Parts(const State& state) {
        Reader reader(state);
        there = reader.Number() != 0;
        checksum = reader.Number();
        present = reader.Number() != 0;
        value = reader.Text();
        whole = reader.Number() != 0;
        bytes = reader.Text();
    }
};

DWORD SetEntry(const Object& object, const Parts& wanted) {
    const Entry entry(object);
    const char* const value = wanted.present ? wanted.value.c_str() : nullptr;
    const BOOL set = entry.hasKey
                         ? ::WritePrivateProfileStringA(entry.section.c_str(), entry.Key(), value, object.name.c_str())
                         : ::WritePrivateProfileSectionA(entry.section.c_str(), value, object.name.c_str());
    return set ? 0 : GetLastError();
}

DWORD WriteEntryAlone(const Object& object, const State&, const State& wanted) {
    return SetEntry(object, Parts(wanted));
}

// The file as a whole where it was kept whole; else the one entry.
DWORD WriteProfileEntry(const Object& object, const State& now, const State& state) {
    const Parts wanted(state), current(now);
    if (!wanted.there && current.there && wanted.whole) {
        return ::DeleteFileA(object.name.c_str()) ? 0 : GetLastError();
    }
    if (wanted.there && wanted.whole && current.whole) return WriteWhole(object.name, wanted.bytes);
    return SetEntry(object, wanted);
}

// Only the file's other entries may differ: what counts is this one.
bool SameEntry(const State& now, const State& after) {
    const Parts one(now), other(after);
    return one.present == other.present && one.value == other.value;
}

}  // namespace

const KindRow kProfileEntryRow = {"profile entry", ReadProfileEntry, WriteProfileEntry, SameEntry, true,
                                  WriteEntryAlone};

}  // namespace changes
