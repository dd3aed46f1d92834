// What the arrays throw when something does not fit.

#ifndef STRARR_STRING_ARR_TOOBIG_H
#define STRARR_STRING_ARR_TOOBIG_H

namespace string_arr {

// Throws std::bad_array_new_length.
//
// It has a source file to itself: where gcc compiles an exported class with virtual
// functions for Windows, it exports the type information of what is thrown there, too.
[[noreturn]] void ThrowTooBig();

}  // namespace string_arr

#endif  // STRARR_STRING_ARR_TOOBIG_H
