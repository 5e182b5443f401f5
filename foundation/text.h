// Texts that callers hand in.
#ifndef INSTALIB_FOUNDATION_TEXT_H
#define INSTALIB_FOUNDATION_TEXT_H

// A null text counts as an empty one.
inline const char* OrEmpty(const char* text) noexcept { return text == nullptr ? "" : text; }

#endif
