// What the front end itself remembers of an installation below the family's root, so that a removal takes back what the
// installation made and nothing else: the key "Setup".
#ifndef INSTALIB_KVSETUP_SETUP_MARKS_H
#define INSTALIB_KVSETUP_SETUP_MARKS_H

#include <string>

namespace marks {

bool Set(const char* name, const std::string& text);
// Empty when it was never set.
std::string Get(const char* name);
void RemoveAll();

inline constexpr char kProductDirectory[] =
    "ProductDirectory";  // as the installation made them, final backslash included
inline constexpr char kAlertDirectory[] = "AlertDirectory";
inline constexpr char kCreatedAccount[] = "CreatedAccount";  // the user that the installation created

}  // namespace marks

#endif
