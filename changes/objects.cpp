#include "changes/objects.h"

#include <algorithm>

namespace changes {
namespace {

DWORD ReadNothing(const Object&, State& state) {
    state.clear();
    return 0;
}
DWORD CannotWrite(const Object&, const State&, const State&) { return ERROR_NOT_SUPPORTED; }

const KindRow kOutsideRow = {"outside", ReadNothing, CannotWrite, SameState, true, nullptr};

}  // namespace

const KindRow& RowOf(Kind kind) {
    static const KindRow* const rows[] = {
        &kOutsideRow,   &kKeyRow,    &kValueRow,      &kKeySecurityRow,  &kServiceRow,      &kServiceStateRow,
        &kDirectoryRow, &kFileRow,   &kAttributesRow, &kFileSecurityRow, &kProfileEntryRow, &kAccountRow,
        &kMemberRow,    &kRightsRow, &kShareRow,      &kEnvironmentRow,  &kOutsideRow};
    static_assert(std::size(rows) == std::size_t(Kind::Count));
    return kind < Kind::Count ? *rows[std::size_t(kind)] : kOutsideRow;
}

bool SameState(const State& now, const State& after) { return now == after; }
bool SamePresence(const State& now, const State& after) { return now.empty() == after.empty(); }

bool NamesPassword(std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (EqualNoCase(text.substr(i, 8), "password") || EqualNoCase(text.substr(i, 3), "pwd")) return true;
    }
    return false;
}

bool EqualNoCase(std::string_view left, std::string_view right) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? char(c + 32) : c; };
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [lower](char a, char b) { return lower(a) == lower(b); });
}

}  // namespace changes
