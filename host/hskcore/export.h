// Visibility of the host libraries' symbols. Each library is built with its own <LIBRARY>_BUILD
// macro; everybody else imports.
#ifndef HOST_HSKCORE_EXPORT_H_
#define HOST_HSKCORE_EXPORT_H_

#if defined(_WIN32)
#define HOST_EXPORT __declspec(dllexport)
#define HOST_IMPORT __declspec(dllimport)
#else
#define HOST_EXPORT __attribute__((visibility("default")))
#define HOST_IMPORT __attribute__((visibility("default")))
#endif

// For classes whose every member is inline or pure: their type information must be one across
// libraries on ELF; on Windows it compares by name and needs no import.
#if defined(_WIN32)
#define HOST_INTERFACE
#else
#define HOST_INTERFACE __attribute__((visibility("default")))
#endif

#if defined(HSKCORE_BUILD)
#define HSKCORE_API HOST_EXPORT
#else
#define HSKCORE_API HOST_IMPORT
#endif

#if defined(PLUGIN_NSP_BUILD)
#define PLUGIN_NSP_API HOST_EXPORT
#else
#define PLUGIN_NSP_API HOST_IMPORT
#endif

#if defined(XMLPARSER_BUILD)
#define XMLPARSER_API HOST_EXPORT
#else
#define XMLPARSER_API HOST_IMPORT
#endif

#if defined(ACQUIRE_BUILD)
#define ACQUIRE_API HOST_EXPORT
#else
#define ACQUIRE_API HOST_IMPORT
#endif

#endif  // HOST_HSKCORE_EXPORT_H_
