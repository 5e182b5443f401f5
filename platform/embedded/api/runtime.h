// What Windows' C runtime adds to the standard library (stdlib.h, string.h, direct.h, io.h, time.h there).
#ifndef INSTALIB_EMBEDDED_API_RUNTIME_H
#define INSTALIB_EMBEDDED_API_RUNTIME_H

#include <cerrno>

#include "platform/embedded/api/base.h"

// Capacities of path parts, terminator included.
#define _MAX_PATH 260
#define _MAX_DRIVE 3
#define _MAX_DIR 256
#define _MAX_FNAME 256
#define _MAX_EXT 256

// Mode 0 asks for existence, 2 for writing, 4 for reading, 6 for both. 0, or -1 with errno ENOENT, EACCES or EINVAL.
MACHINE_API int _access(const char* path, int mode);

// Parts that the caller does not want may be null. A drive keeps its colon, a directory its final separator, an
// extension its dot; a part longer than its capacity is cut.
MACHINE_API void _splitpath(const char* path, char* drive, char* directory, char* name, char* extension);
// Adds the separators that are missing between the parts; null and empty parts are left out.
MACHINE_API void _makepath(char* path, const char* drive, const char* directory, const char* name,
                           const char* extension);
// The absolute form of a path, existing or not; null with errno ERANGE when it does not fit. A null buffer is allocated
// with malloc, an empty or null path means the current directory.
MACHINE_API char* _fullpath(char* buffer, const char* path, std::size_t size);

// 0, or -1 with errno ENOENT, EEXIST, ENOTEMPTY or EACCES.
MACHINE_API int _chdir(const char* path);
MACHINE_API int _mkdir(const char* path);
MACHINE_API int _rmdir(const char* path);

// Compare the lower-case forms of ASCII letters, as the runtime's "C" locale does.
MACHINE_API int _stricmp(const char* left, const char* right);
MACHINE_API int _strnicmp(const char* left, const char* right, std::size_t count);

// The machine's local date "MM/DD/YY" and time "HH:MM:SS" into nine bytes.
MACHINE_API char* _strdate(char* buffer);
MACHINE_API char* _strtime(char* buffer);

#endif
