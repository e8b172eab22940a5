#pragma once

#include "core/base/Ascii.h"

namespace vesk {

inline bool isAsciiLetter(char c) { return ascii::lower(c) >= 'a' && ascii::lower(c) <= 'z'; }

// From 0 to 15; -1 for what is no hexadecimal digit.
inline int hexValue(char c) {
  if (ascii::isDigit(c)) return c - '0';
  const char lower = ascii::lower(c);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

}  // namespace vesk
