// TREE_API marks what the library exports; everything else stays hidden.

#ifndef TREE_TREE_API_H
#define TREE_TREE_API_H

#if defined(_WIN32)
#if defined(TREE_BUILDING)
#define TREE_API __declspec(dllexport)
#else
#define TREE_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define TREE_API __attribute__((visibility("default")))
#else
#define TREE_API
#endif

#endif  // TREE_TREE_API_H
