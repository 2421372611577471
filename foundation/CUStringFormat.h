// The formatter behind StringWithFormat: printf rules of the wide-character functions of the
// platform the system was written for, producing UTF-16.
//
//   %s %ls %ws %lS   a UTF-16 string (const char16_t*)     %c %lc %wc %lC   a char16_t (as int)
//   %hs %S %hS       a UTF-8 string (const char*)          %hc %C %hC       a narrow char
//   %d %i %u %o %x %X  int; "hh" "h" as in C, "l" and "I32" 32 bits as on that platform,
//                      "ll" "I64" "L" 64 bits, "z" "I" size_t, "j" intmax_t, "t" ptrdiff_t
//   %e %E %f %F %g %G %a %A   double ("L" also takes a double: that platform's long double)
//   %p               a pointer as sixteen upper-case hex digits, no "0x"
//   %%               a percent sign
//
// Flags "-+ #0", width and precision (also "*"). Precision on a string counts UTF-16 units, and
// the argument is read no further than the characters it takes, so it need not be terminated. A
// null string argument prints "(null)". The "0" flag pads strings and characters with zeros too.
// Formatting stops at the first 0 unit of the format.
//
// Failures throw CUPlatformError: CU_E_FAIL for an unknown or unfinished conversion (including
// "%n"), for a width or precision out of range, for a result longer than 2^31 - 1 units, and when
// no buffer can be had. Pure function, safe from any thread.
#pragma once

#include <cstdarg>
#include <string>
#include <string_view>

namespace cu_format {

std::u16string FormatV(std::u16string_view format, va_list arguments);

}  // namespace cu_format
