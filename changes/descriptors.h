// Security descriptors of keys and files as bytes: owner, group and access list.
#ifndef INSTALIB_CHANGES_DESCRIPTORS_H
#define INSTALIB_CHANGES_DESCRIPTORS_H

#include <string>

#include "platform/platform.h"

namespace changes::descriptors {

DWORD OfKey(HKEY key, std::string& descriptor);
DWORD OfFile(const char* path, std::string& descriptor);
// Sets the access list of a kept descriptor where it is another one. What it inherited is inherited again.
DWORD RestoreKey(HKEY key, const std::string& wanted);
DWORD RestoreFile(const char* path, const std::string& wanted);
// Of a descriptor in memory, in self-relative form; empty for none.
std::string Copy(PSECURITY_DESCRIPTOR descriptor);
// The list that lets in administrators and the system alone, for new files. Null when memory runs out; the memory
// belongs to the process and stays.
PSECURITY_DESCRIPTOR ForAdministrators();

}  // namespace changes::descriptors

#endif
