#include "strarr/Generic_String_Arr.h"

Generic_String_Arr::Generic_String_Arr() : m_array_length(0), m_inserted(0) {}

Generic_String_Arr::Generic_String_Arr(int /*array_length*/) : m_array_length(0), m_inserted(0) {}

Generic_String_Arr::~Generic_String_Arr() = default;

void Generic_String_Arr::ClearWithoutDeleting() {
  m_inserted = 0;
}

void Generic_String_Arr::AddStr(const char* text, int length) {
  SetStr(GetInsertedNum(), text, length);
}

int Generic_String_Arr::GetInsertedNum() const {
  return m_inserted;
}
