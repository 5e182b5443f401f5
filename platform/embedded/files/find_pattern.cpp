#include "platform/embedded/files/find_pattern.h"

#include <vector>

#include "platform/embedded/files/path_text.h"

namespace embedded::find {
namespace {

// Windows rewrites a pattern before it matches, so that the rules of 8.3 names still hold for long ones.
constexpr char16_t kAny = u'*';           // any number of characters
constexpr char16_t kAnyToLastDot = u'<';  // the same, but never the name's last dot
constexpr char16_t kOneOrNone = u'>';     // one character; none before a dot and at the end
constexpr char16_t kDotOrEnd = u'"';      // a dot; nothing at the end

std::u16string Rewritten(std::u16string_view pattern) {
    if (pattern == u"*.*") return u"*";
    std::u16string rewritten;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        const char16_t next = i + 1 < pattern.size() ? pattern[i + 1] : u'\0';
        if (pattern[i] == u'?')
            rewritten += kOneOrNone;
        else if (pattern[i] == u'*' && next == u'.')
            rewritten += kAnyToLastDot;
        else if (pattern[i] == u'.' && (next == u'?' || next == u'*'))
            rewritten += kDotOrEnd;
        else
            rewritten += paths::Fold(pattern[i]);
    }
    // No name ends with a dot: what the dot says is said by the wildcard before it.
    while (rewritten.ends_with(u'.')) rewritten.pop_back();
    return rewritten;
}

}  // namespace

bool HasWildcard(std::u16string_view pattern) { return pattern.find_first_of(u"*?") != pattern.npos; }

bool Matches(std::u16string_view name, std::u16string_view pattern) {
    const std::u16string expression = Rewritten(pattern);
    const std::size_t lastDot = name.rfind(u'.');
    const std::size_t length = name.size();
    // match[j]: the rest of the expression matches the name from j on; filled from the expression's end.
    std::vector<bool> match(length + 1, false);
    match[length] = true;
    for (std::size_t i = expression.size(); i-- > 0;) {
        const char16_t token = expression[i];
        std::vector<bool> next = std::move(match);
        match.assign(length + 1, false);
        for (std::size_t j = length + 1; j-- > 0;) {
            const bool atEnd = j == length;
            const bool atDot = !atEnd && name[j] == u'.';
            if (token == kAny)
                match[j] = next[j] || (!atEnd && match[j + 1]);
            else if (token == kAnyToLastDot)
                match[j] = next[j] || (!atEnd && j != lastDot && match[j + 1]);
            else if (token == kOneOrNone)
                match[j] = atEnd || atDot ? next[j] : next[j + 1];
            else if (token == kDotOrEnd)
                match[j] = atEnd ? next[j] : atDot && next[j + 1];
            else
                match[j] = !atEnd && paths::Fold(name[j]) == token && next[j + 1];
        }
    }
    return match[0];
}

}  // namespace embedded::find
