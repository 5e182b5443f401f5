// Scrambled passwords of the response file. 1 on success; 0, with the output untouched, for an empty or null text and
// when the scrambling library refuses or is missing.
#ifndef INSTALIB_MACHINE_SCRAMBLING_H
#define INSTALIB_MACHINE_SCRAMBLING_H

#include "instalib/scrambling.h"

inline constexpr int kScrambledTextCapacity = 1560;  // characters of a scrambled password at most
inline constexpr int kPlainTextCapacity = 260;       // bytes of a plain password at most

// Writes the hexadecimal characters of the scrambled text, without a terminator: the caller's buffer is zero-filled and
// holds kScrambledTextCapacity characters and one more.
int ScramblePasswordText(const char* text, char* output);
// Zeroes the kPlainTextCapacity bytes of the output and writes the password into them; a password of exactly that size
// has no terminator.
int UnscramblePasswordText(const char* text, char* output);

#endif
