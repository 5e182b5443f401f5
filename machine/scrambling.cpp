#include "machine/scrambling.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "foundation/wipe.h"
#include "platform/product_libraries.h"

namespace {

// What the caller of the text form sees in the length after a failure.
constexpr DWORD kLengthOfFailure = 150;

// Zeroed memory that passwords pass through: wiped when it goes.
class Scratch {
  public:
    explicit Scratch(std::size_t size) : m_size(size), m_bytes(new (std::nothrow) BYTE[size == 0 ? 1 : size]()) {}
    ~Scratch() {
        if (m_bytes != nullptr) WipeMemory(m_bytes.get(), m_size);
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    explicit operator bool() const { return m_bytes != nullptr; }
    BYTE* Bytes() { return m_bytes.get(); }
    char* Text() { return reinterpret_cast<char*>(m_bytes.get()); }

  private:
    std::size_t m_size;
    std::unique_ptr<BYTE[]> m_bytes;
};

LoadedLibrary LoadFromCurrentDirectory(DWORD flags) {
    char directory[256] = "";
    char path[sizeof directory + sizeof product::kScramblingLibrary + 1] = "";
    const DWORD length = GetCurrentDirectoryA(sizeof directory, directory);
    if (length == 0 || length >= sizeof directory) return LoadedLibrary();
    std::snprintf(path, sizeof path, "%s\\%s", directory, product::kScramblingLibrary);
    return LoadedLibrary(flags == 0 ? LoadLibraryA(path) : LoadLibraryExA(path, nullptr, flags));
}

LoadedLibrary LoadFromProgramFolder() {
    char program[MAX_PATH] = "";
    char drive[_MAX_DRIVE] = "";
    char directory[MAX_PATH] = "";
    char path[_MAX_DRIVE + sizeof directory + sizeof product::kScramblingLibrary] = "";
    const DWORD length = GetModuleFileNameA(nullptr, program, sizeof program);
    if (length == 0 || length >= sizeof program) return LoadedLibrary();
    _splitpath(program, drive, directory, nullptr, nullptr);
    std::snprintf(path, sizeof path, "%s%s%s", drive, directory, product::kScramblingLibrary);
    return LoadedLibrary(LoadLibraryA(path));
}

DWORD CallLibrary(const char* entryPoint, DWORD flags, const BYTE* input, DWORD inputLength, BYTE* output,
                  DWORD* outputLength) {
    LoadedLibrary library = LoadFromCurrentDirectory(flags);
    if (!library) library = LoadFromProgramFolder();
    auto* const scramble = product::EntryPoint<product::Scramble>(library.Get(), entryPoint);
    if (scramble == nullptr) return KSET_ZKB_UNAVAILABLE;
    const DWORD capacity = outputLength == nullptr ? 0 : *outputLength;
    const DWORD status = scramble(input, inputLength, output, outputLength);
    // After a failure the length may be what the library needs, which is for the caller to know.
    if (status == 0 && outputLength != nullptr) *outputLength = std::min(*outputLength, capacity);
    return status;
}

BYTE DigitValue(char digit) {
    if (digit >= '0' && digit <= '9') return BYTE(digit - '0');
    if (digit >= 'A' && digit <= 'F') return BYTE(digit - 'A' + 10);
    if (digit >= 'a' && digit <= 'f') return BYTE(digit - 'a' + 10);
    return 0;
}

void WriteDigits(const BYTE* bytes, DWORD count, char* text) {
    constexpr char kDigits[] = "0123456789abcdef";
    for (DWORD i = 0; i < count; ++i) {
        *text++ = kDigits[bytes[i] >> 4];
        *text++ = kDigits[bytes[i] & 0xF];
    }
    *text = '\0';
}

}  // namespace

DWORD KSET_ZKBEncrypt(const BYTE* input, DWORD inputLength, BYTE* output, DWORD* outputLength) {
    return CallLibrary("ZKBEncrypt", 0, input, inputLength, output, outputLength);
}

DWORD KSET_ZKBDecrypt(const BYTE* input, DWORD inputLength, BYTE* output, DWORD* outputLength) {
    return CallLibrary("ZKBDecrypt", LOAD_WITH_ALTERED_SEARCH_PATH, input, inputLength, output, outputLength);
}

DWORD KSET_ZKBEncrypt_NUMSTR(const char* input, DWORD inputLength, char* output, DWORD* outputLength) {
    if (output == nullptr || outputLength == nullptr) return ERROR_INVALID_PARAMETER;
    if (input == nullptr && inputLength > 0) return ERROR_INVALID_PARAMETER;
    DWORD length = *outputLength;
    *outputLength = kLengthOfFailure;
    Scratch scratch(length);
    if (!scratch) return ERROR_NOT_ENOUGH_MEMORY;
    const DWORD status = KSET_ZKBEncrypt(reinterpret_cast<const BYTE*>(input), inputLength, scratch.Bytes(), &length);
    if (status == 0) {
        WriteDigits(scratch.Bytes(), length, output);
        *outputLength = 2 * length;
    }
    return status;
}

DWORD KSET_ZKBDecrypt_NUMSTR(const char* input, DWORD inputLength, BYTE* output, DWORD* outputLength) {
    if (output == nullptr || outputLength == nullptr) return ERROR_INVALID_PARAMETER;
    if (input == nullptr && inputLength > 0) return ERROR_INVALID_PARAMETER;
    Scratch scratch(inputLength);
    if (!scratch) return ERROR_NOT_ENOUGH_MEMORY;
    const DWORD count = inputLength / 2;
    for (DWORD i = 0; i < count; ++i) {
        scratch.Bytes()[i] = BYTE(16 * DigitValue(input[2 * i]) + DigitValue(input[2 * i + 1]));
    }
    return KSET_ZKBDecrypt(scratch.Bytes(), count, output, outputLength);
}

int ScramblePasswordText(const char* text, char* output) {
    if (text == nullptr || text[0] == '\0') return FailWith(ERROR_INVALID_PARAMETER);
    // The library may use the whole capacity, and each of its bytes becomes two characters.
    Scratch scrambled(2 * kScrambledTextCapacity + 1);
    DWORD length = kScrambledTextCapacity;
    if (!scrambled) return FailWith(ERROR_NOT_ENOUGH_MEMORY);
    const DWORD status = KSET_ZKBEncrypt_NUMSTR(text, DWORD(std::strlen(text)), scrambled.Text(), &length);
    if (status != 0) return FailWith(status);
    if (length > kScrambledTextCapacity) return FailWith(ERROR_INSUFFICIENT_BUFFER);
    std::memcpy(output, scrambled.Text(), length);
    return 1;
}

int UnscramblePasswordText(const char* text, char* output) {
    if (text == nullptr || text[0] == '\0') return FailWith(ERROR_INVALID_PARAMETER);
    Scratch plain(kPlainTextCapacity);
    DWORD length = kPlainTextCapacity;
    if (!plain) return FailWith(ERROR_NOT_ENOUGH_MEMORY);
    const DWORD status = KSET_ZKBDecrypt_NUMSTR(text, DWORD(std::strlen(text)), plain.Bytes(), &length);
    if (status != 0) return FailWith(status);
    std::memset(output, 0, kPlainTextCapacity);
    std::memcpy(output, plain.Bytes(), length);
    return 1;
}

int KSET_Is3DESEncrypt(const char* file) { return GetPrivateProfileIntA("INSTALL", "EM", 0, file) == 3; }
