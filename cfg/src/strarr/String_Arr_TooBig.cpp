#include "strarr/String_Arr_TooBig.h"

#include <new>

namespace string_arr {

void ThrowTooBig() {
  throw std::bad_array_new_length();
}

}  // namespace string_arr
