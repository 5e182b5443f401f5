// The room system/: environment, processes, mutexes, code pages, messages, the terminal.
//
// The machine's ANSI code page and conversions of any code page that the machine knows.
#ifndef INSTALIB_EMBEDDED_SYSTEM_CODE_PAGE_H
#define INSTALIB_EMBEDDED_SYSTEM_CODE_PAGE_H

#include <string>
#include <string_view>

#include "platform/embedded/api/base.h"

namespace embedded::code_page {

// The local machine's; read from its store once per process and machine.
unsigned Active();
bool IsKnown(unsigned codePage);
// `exact` becomes false when a character had no form in the other code and a replacement stands for it.
std::u16string Decode(unsigned codePage, std::string_view text, bool& exact);
std::string Encode(unsigned codePage, std::u16string_view wide, std::string_view replacement, bool& exact);
// While it lives, this thread converts in a fresh machine's code page: a machine is seeded before it is anyone's local
// one.
class FreshMachineScope {
  public:
    FreshMachineScope();
    ~FreshMachineScope();
    FreshMachineScope(const FreshMachineScope&) = delete;
    FreshMachineScope& operator=(const FreshMachineScope&) = delete;
};
// Forgets the active code page (the process changes its machine).
void Reset();

}  // namespace embedded::code_page

#endif
