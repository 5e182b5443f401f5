// Names of agents, machines and the like, compared as Windows compares them: without regard to case, of any alphabet.
#ifndef INSTALIB_FOUNDATION_COMPARE_NAMES_H
#define INSTALIB_FOUNDATION_COMPARE_NAMES_H

// Null texts are empty ones. Names beyond 511 bytes compare without regard to the case of ASCII letters alone.
bool SameName(const char* left, const char* right) noexcept;
// Every text contains an empty part.
bool ContainsName(const char* text, const char* part) noexcept;

#endif
