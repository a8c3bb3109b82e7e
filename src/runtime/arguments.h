// arguments.h - the small helpers every argument check is written with.
//
// A check function takes the option letters by reference, upper-cases them in place (the routine
// then works with the upper-case letter), tests each argument in the routine's documented order
// and raises the argument error of the first bad one: zuliArgumentError with info = minus its
// 1-based position.
#pragma once

#include "runtime/status.h"

#include <cstring>

namespace zuli {

inline char upperOption(char c) {
    return (c >= 'a' && c <= 'z') ? char(c - 'a' + 'A') : c;
}

// True when c is one of `letters` (never for the terminating '\0').
inline bool isOneOf(char c, const char* letters) {
    return c != '\0' && std::strchr(letters, c) != nullptr;
}

// Raises the argument error of `position` when `bad`.
inline void failIf(bool bad, int position) {
    if (bad) raiseArgumentError(-position);
}

}  // namespace zuli
