// Conversions between UTF-16 and the byte encodings of the system: UTF-8 and Windows-1252 (the
// system code page). Pure functions, safe from any thread.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace cu_text {

// UTF-8 to UTF-16. Ill-formed sequences become U+FFFD, one for each maximal bad subpart.
std::u16string DecodeUTF8(std::string_view bytes);
// Wide text of the host (UTF-32 where wchar_t has 32 bits, as on this system) to UTF-16. A
// surrogate or a value above U+10FFFF becomes U+FFFD.
std::u16string DecodeWide(std::wstring_view text);
// UTF-16 to the host's wide text. An unpaired surrogate becomes U+FFFD.
std::wstring EncodeWide(std::u16string_view text);
// One code point (at most U+10FFFF, not a surrogate) as UTF-8, appended to `out`.
void AppendUTF8(std::string& out, char32_t codePoint);
// UTF-16 to UTF-8. An unpaired surrogate becomes U+FFFD.
std::string EncodeUTF8(std::u16string_view text);

// Windows-1252 to UTF-16. Every byte maps: the five bytes the code page leaves unassigned
// (0x81, 0x8D, 0x8F, 0x90, 0x9D) become the C1 controls of the same value.
std::u16string DecodeWindows1252(std::string_view bytes);
// UTF-16 to Windows-1252. A code point the code page lacks becomes one '?'.
std::string EncodeWindows1252(std::u16string_view text);

}  // namespace cu_text
