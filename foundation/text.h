// Texts that callers hand in.
#ifndef INSTALIB_FOUNDATION_TEXT_H
#define INSTALIB_FOUNDATION_TEXT_H

// A null text counts as an empty one.
inline const char* OrEmpty(const char* text) noexcept { return text == nullptr ? "" : text; }

// The text's first or last backslash, null without one. The second byte of a character of the ANSI code page is none.
const char* FirstBackslash(const char* text) noexcept;
const char* LastBackslash(const char* text) noexcept;

#endif
