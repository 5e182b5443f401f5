// Marks what the library exports.
#ifndef INSTALIB_EXPORT_H
#define INSTALIB_EXPORT_H

#if defined(_WIN32)
#if defined(INSTALIB_BUILDING)
#define INSTALIB_API __declspec(dllexport)
#else
#define INSTALIB_API __declspec(dllimport)
#endif
#else
#define INSTALIB_API __attribute__((visibility("default")))
#endif

#endif
