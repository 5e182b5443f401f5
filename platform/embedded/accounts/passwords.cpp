#include <crypt.h>
#include <dlfcn.h>

#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/embedded/accounts/records.h"

namespace embedded::accounts {
namespace {

constexpr char kMethod[] = "$6$";        // SHA-512 with a salt
constexpr unsigned long kRounds = 1000;  // the least that it takes: every fresh machine hashes

std::string VerifierKey(DWORD rid) { return std::string(kAccountsKey) + "\\Users\\" + std::to_string(rid); }

// A text of the password in the one alphabet that the hash takes whole; wiped when it goes.
class PlainText {
  public:
    explicit PlainText(const char16_t* password) {
        const std::u16string_view units = password == nullptr ? u"" : password;
        m_text.reserve(units.size() * 3 + 1);
        for (const char16_t unit : units) Append(unit);
        m_text.push_back('\0');
    }
    ~PlainText() { explicit_bzero(m_text.data(), m_text.size()); }
    PlainText(const PlainText&) = delete;
    PlainText& operator=(const PlainText&) = delete;
    const char* Get() const { return m_text.data(); }

  private:
    // Each UTF-16 unit as UTF-8 would write it by itself: different passwords stay different.
    void Append(char16_t unit) {
        if (unit < 0x80) {
            m_text.push_back(char(unit));
            return;
        }
        if (unit < 0x800) {
            m_text.push_back(char(0xC0 | unit >> 6));
        } else {
            m_text.push_back(char(0xE0 | unit >> 12));
            m_text.push_back(char(0x80 | (unit >> 6 & 0x3F)));
        }
        m_text.push_back(char(0x80 | (unit & 0x3F)));
    }

    std::vector<char> m_text;
};

// The host's password library, loaded by the first process that has to do with a password: most have not.
struct PasswordLibrary {
    decltype(&crypt_r) hash = nullptr;
    decltype(&crypt_gensalt_rn) makeSetting = nullptr;

    PasswordLibrary() {
        void* library = nullptr;
        for (const char* const name : {"libcrypt.so.1", "libcrypt.so.2"}) {
            if (library == nullptr) library = dlopen(name, RTLD_NOW | RTLD_LOCAL);
        }
        if (library == nullptr) return;
        hash = reinterpret_cast<decltype(hash)>(dlsym(library, "crypt_r"));
        makeSetting = reinterpret_cast<decltype(makeSetting)>(dlsym(library, "crypt_gensalt_rn"));
    }
    bool IsThere() const { return hash != nullptr && makeSetting != nullptr; }
};

const PasswordLibrary& ThePasswordLibrary() {
    static const PasswordLibrary library;
    return library;
}

// Empty without the library, and when the password is too long for the hash (CRYPT_MAX_PASSPHRASE_SIZE bytes).
std::string Hash(const char16_t* password, const char* setting) {
    if (!ThePasswordLibrary().IsThere()) return {};
    const PlainText plain(password);
    auto work = std::make_unique<crypt_data>();
    std::memset(work.get(), 0, sizeof *work);
    const char* const result = ThePasswordLibrary().hash(plain.Get(), setting, work.get());
    const std::string hash = result == nullptr || *result == '*' ? "" : result;
    explicit_bzero(work.get(), sizeof *work);
    return hash;
}

}  // namespace

bool SetPassword(Machine& machine, DWORD rid, const char16_t* password) {
    char setting[CRYPT_GENSALT_OUTPUT_SIZE] = "";
    const PasswordLibrary& library = ThePasswordLibrary();
    if (!library.IsThere()) return false;
    if (library.makeSetting(kMethod, kRounds, nullptr, 0, setting, sizeof setting) == nullptr) return false;
    const std::string hash = Hash(password, setting);
    return !hash.empty() && machine.Storage().WriteText(VerifierKey(rid), "Verifier", hash);
}

std::string PasswordHash(Machine& machine, DWORD rid) {
    return machine.Storage().ReadText(VerifierKey(rid), "Verifier");
}

std::string HashLike(Machine& machine, DWORD rid, const char16_t* password) {
    const std::string present = PasswordHash(machine, rid);
    return present.empty() ? "" : Hash(password, present.c_str());
}

bool PasswordMatches(Machine& machine, DWORD rid, const char16_t* password) {
    const std::string hash = HashLike(machine, rid, password);
    return !hash.empty() && hash == PasswordHash(machine, rid);
}

}  // namespace embedded::accounts
