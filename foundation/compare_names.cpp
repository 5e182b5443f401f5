#include "foundation/compare_names.h"

#include <cstring>

#include "foundation/text.h"
#include "platform/platform.h"

namespace {

constexpr int kCapacity = 512;

// The text in the upper case that no language changes (LOCALE_INVARIANT), of the ANSI code page.
class Folded {
  public:
    explicit Folded(const char* text) noexcept {
        const DWORD error = GetLastError();
        if (LCMapStringA(LOCALE_INVARIANT, LCMAP_UPPERCASE | LOCALE_USE_CP_ACP, text, -1, m_text, kCapacity) == 0) {
            m_fits = false;
            SetLastError(error);  // a comparison is no operation that fails
        }
    }
    bool Fits() const { return m_fits; }
    const char* Text() const { return m_text; }

  private:
    char m_text[kCapacity] = "";
    bool m_fits = true;
};

bool ContainsLetters(const char* text, const char* part) noexcept {
    const std::size_t length = std::strlen(part);
    do {
        if (_strnicmp(text, part, length) == 0) return true;
    } while (*text++ != '\0');
    return false;
}

}  // namespace

bool SameName(const char* left, const char* right) noexcept {
    const Folded one(OrEmpty(left));
    const Folded other(OrEmpty(right));
    if (!one.Fits() || !other.Fits()) return _stricmp(OrEmpty(left), OrEmpty(right)) == 0;
    return std::strcmp(one.Text(), other.Text()) == 0;
}

bool ContainsName(const char* text, const char* part) noexcept {
    const Folded whole(OrEmpty(text));
    const Folded wanted(OrEmpty(part));
    if (!whole.Fits() || !wanted.Fits()) return ContainsLetters(OrEmpty(text), OrEmpty(part));
    return std::strstr(whole.Text(), wanted.Text()) != nullptr;
}
