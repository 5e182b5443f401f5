#include <cstdio>
#include <cstring>

#include "changes/changing.h"
#include "foundation/text.h"
#include "instalib/computer.h"
#include "instalib/path.h"
#include "platform/handles.h"

namespace {

// Set for directories whose content stands elsewhere: links and mounted drives (FILE_ATTRIBUTE_REPARSE_POINT, winnt.h).
constexpr DWORD kElsewhere = 0x00000400;

// A path in Windows' buffer of 260 bytes. One that would not fit is refused: cut, it would be another file's.
class Path {
  public:
    Path(const char* directory, const char* separator, const char* name) {
        const int length = std::snprintf(m_text, sizeof m_text, "%s%s%s", directory, separator, name);
        m_fits = length >= 0 && length < int(sizeof m_text);
        if (!m_fits) SetLastError(ERROR_FILENAME_EXCED_RANGE);
    }
    bool Fits() const { return m_fits; }
    const char* Get() const { return m_text; }

  private:
    char m_text[MAX_PATH];
    bool m_fits;
};

// A pattern names entries of one directory. With a separator it would find entries elsewhere, whose paths would be
// formed wrongly.
bool IsPlainPattern(const char* pattern) {
    for (; *pattern != '\0'; ++pattern) {
        if (IsDBCSLeadByte(BYTE(*pattern)) && pattern[1] != '\0') {
            ++pattern;
        } else if (std::strchr("\\/:", *pattern) != nullptr) {
            return false;
        }
    }
    return true;
}

bool IsDots(const char* name) { return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0; }
bool IsDirectory(const WIN32_FIND_DATAA& entry) { return (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0; }
bool StandsElsewhere(const WIN32_FIND_DATAA& entry) { return (entry.dwFileAttributes & kElsewhere) != 0; }

// The directory with a backslash at its end; a 0x5C that ends a double-byte character is none. Empty for an empty one.
CString WithBackSlash(const char* directory) {
    const CString text(directory);
    if (text.IsEmpty()) return text;
    CString trimmed = text;
    return TrimTailBackSlash(trimmed) < text.GetLength() ? text : text + '\\';
}

// Calls visit(entry) for what the search finds except "." and ".."; visit answers whether to go on. False, with the
// last error, when what is there could not be told to the end.
template <class Visit>
bool ForEachMatch(const Path& search, Visit visit) {
    if (!search.Fits()) return false;
    WIN32_FIND_DATAA entry;
    const FindHandle find(FindFirstFileA(search.Get(), &entry));
    if (!find) return GetLastError() == ERROR_FILE_NOT_FOUND || GetLastError() == ERROR_PATH_NOT_FOUND;
    do {
        if (!IsDots(entry.cFileName) && !visit(entry)) return true;
    } while (FindNextFileA(find.Get(), &entry));
    return GetLastError() == ERROR_NO_MORE_FILES;
}

// The same for a pattern in a directory with its backslash. One that was empty has no entries: it would be the root of
// the current drive.
template <class Visit>
void ForEachMatch(const CString& directory, const char* pattern, Visit visit) {
    if (directory.IsEmpty() || !IsPlainPattern(pattern)) return;
    ForEachMatch(Path(directory, "", pattern), visit);
}

void DeleteOneFile(const Path& path) {
    if (!path.Fits()) return;
    changing::SetFileAttributesA(path.Get(), FILE_ATTRIBUTE_NORMAL);
    changing::DeleteFileA(path.Get());
}

// "C:\" of "C:\dir"; "\" of a path without a drive, which stands for the current drive.
void GetDriveRoot(const char* path, char (&root)[_MAX_DRIVE + 1]) {
    char drive[_MAX_DRIVE] = "";
    _splitpath(OrEmpty(path), drive, nullptr, nullptr, nullptr);
    std::snprintf(root, sizeof root, "%s\\", drive);
}

}  // namespace

int CComputer::CreateDirectoryA(const char* path, int) {
    CString directory(OrEmpty(path));
    const int length = AppendBackSlash(directory);
    for (int i = 0; i < length; ++i) {
        if (IsDBCSLeadByte(BYTE(directory[i]))) {
            ++i;  // the second byte is no boundary, whatever its value
        } else if (i > 0 && directory[i] == '\\' && directory[i - 1] != ':') {
            const CString prefix = directory.Left(i);
            if (!DirectoryExists(prefix) && !changing::CreateDirectoryA(prefix, nullptr)) return 0;
        }
    }
    return 1;
}

int CComputer::RemoveDirectoryA(const char* path) { return changing::_rmdir(OrEmpty(path)) == 0; }
int CComputer::ChangeDirectory(const char* path) { return _chdir(OrEmpty(path)) == 0; }

int CComputer::DirectoryExists(const char* path) {
    const Path search(OrEmpty(path), "\\", "*.*");
    WIN32_FIND_DATAA entry;
    return search.Fits() && FindHandle(FindFirstFileA(search.Get(), &entry));
}

int CComputer::PathExists(const char* path) { return _access(OrEmpty(path), 0) == 0; }

int CComputer::PathEmpty(const char* directory, const char* pattern) {
    const CString text = WithBackSlash(directory);
    if (text.IsEmpty()) return 1;
    int empty = 1;
    // No entry's path is formed here, so that the pattern may lead into a directory below.
    const Path search(text, "", pattern == nullptr ? "*.*" : pattern);
    const bool isListed = ForEachMatch(search, [&](const WIN32_FIND_DATAA&) {
        empty = 0;
        return false;
    });
    return isListed ? empty : 0;
}

int CComputer::DeleteFiles(const char* directory, const char* pattern) {
    const CString text = WithBackSlash(directory);
    ForEachMatch(text, OrEmpty(pattern), [&](const WIN32_FIND_DATAA& entry) {
        if (!IsDirectory(entry)) DeleteOneFile(Path(text, "", entry.cFileName));
        return true;
    });
    return 1;
}

int CComputer::DeleteTree(const char* directory) {
    if (directory == nullptr || directory[0] == '\0') return FailWith(ERROR_INVALID_PARAMETER);
    const Path search(directory, "\\", "*.*");
    if (!search.Fits()) return 0;
    int result = 1;
    const DWORD attributes = GetFileAttributesA(directory);
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & kElsewhere) == 0) {
        ForEachMatch(search, [&](const WIN32_FIND_DATAA& entry) {
            const Path path(directory, "\\", entry.cFileName);
            if (!IsDirectory(entry)) {
                DeleteOneFile(path);
            } else if (!path.Fits() || !DeleteTree(path.Get())) {
                result = 0;
            }
            return true;
        });
    }
    changing::SetFileAttributesA(directory, FILE_ATTRIBUTE_NORMAL);
    changing::RemoveDirectoryA(directory);
    return result;
}

int CComputer::ChangeFilesAttribute(const char* directory, const char* pattern, DWORD attributes) {
    const CString text = WithBackSlash(directory);
    ForEachMatch(text, OrEmpty(pattern), [&](const WIN32_FIND_DATAA& entry) {
        const Path path(text, "", entry.cFileName);
        if (!path.Fits()) return true;
        if (!IsDirectory(entry)) {
            changing::SetFileAttributesA(path.Get(), attributes);
        } else if (!StandsElsewhere(entry)) {
            ChangeFilesAttribute(path.Get(), pattern, attributes);
        }
        return true;
    });
    return 1;
}

UINT CComputer::GetDriveTypeA(const char* path) {
    char root[_MAX_DRIVE + 1];
    GetDriveRoot(path, root);
    return ::GetDriveTypeA(root);
}

DWORD CComputer::DriveFreeSpaceBytes(const char* path) {
    char root[_MAX_DRIVE + 1];
    GetDriveRoot(path, root);
    DWORD sectors = 0, bytes = 0, clusters = 0, total = 0;
    return GetDiskFreeSpaceA(root, &sectors, &bytes, &clusters, &total) ? clusters * sectors * bytes : 0;
}

char CComputer::FindFirstHardDrive() {
    char root[] = "A:\\";
    while (root[0] < 'Z' && ::GetDriveTypeA(root) != DRIVE_FIXED) ++root[0];
    return root[0];
}
