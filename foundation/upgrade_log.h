// The trace of the upgrade decisions and platform probes: "Upgrade_Instalib.log" in the directory that the environment
// variable UPGRADE_INSTALIB names. Without the variable, or with an empty one, nothing is written.
#ifndef INSTALIB_FOUNDATION_UPGRADE_LOG_H
#define INSTALIB_FOUNDATION_UPGRADE_LOG_H

// Appends one line, formatted in the printf manner, without a time stamp. The line has at most 1,023 bytes with its CR
// LF; longer text is cut. A line that cannot be written is lost without a word; the last error stays as it was. A null
// text for %s is the caller's fault: pass an empty one.
#if defined(__GNUC__)
__attribute__((format(printf, 1, 2)))
#endif
void WriteUpgradeLog(const char* format, ...) noexcept;

#endif
