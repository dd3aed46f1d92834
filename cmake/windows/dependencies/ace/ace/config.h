// How ACE is built here: as a static library, for one source file.

#ifndef TREE_WINDOWS_ACE_CONFIG_H
#define TREE_WINDOWS_ACE_CONFIG_H

#define ACE_AS_STATIC_LIBS
// Nothing of ACE that would need its start-up and shut-down is in.
#define ACE_DOESNT_INSTANTIATE_NONSTATIC_OBJECT_MANAGER 1
// time_t has 64 bits, long 32.
#define ACE_HAS_TIME_T_LONG_MISMATCH 1
#include "ace/config-win32.h"

#endif  // TREE_WINDOWS_ACE_CONFIG_H
