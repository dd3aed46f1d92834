#ifndef TREE_PLATFORM_EXPORT_H
#define TREE_PLATFORM_EXPORT_H

// TREE_PLATFORM_API marks what the platform library shows to its clients.
// Everything else is hidden (the library is built with hidden visibility).
//
// TREE_PLATFORM_BUILD is set by the build of the library itself, and
// TREE_PLATFORM_STATIC by whoever compiles the sources into a program of his own.
#if defined(TREE_PLATFORM_STATIC)
#define TREE_PLATFORM_API
#elif defined(_WIN32)
#if defined(TREE_PLATFORM_BUILD)
#define TREE_PLATFORM_API __declspec(dllexport)
#else
#define TREE_PLATFORM_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define TREE_PLATFORM_API __attribute__((visibility("default")))
#else
#define TREE_PLATFORM_API
#endif

#endif  // TREE_PLATFORM_EXPORT_H
