// Path rules of the Windows shell on UTF-16 text, for drive-letter paths and POSIX paths alike.
//
// Both '\' and '/' separate components. Where a rule adds a separator it uses the one the path
// already uses (the last one in it), '/' when it has none, and '\' for a path that starts with a
// drive ("C:"), so that Windows-style text stays Windows-style.
//
// Pure functions, safe from any thread. Views returned point into the argument.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cu_path {

// The platform's path limit in UTF-16 units, terminator included: a path holds at most 259.
inline constexpr size_t kMaxPath = 260;

bool IsSeparator(char16_t unit);
// The separator that rules adding one to `path` use.
char16_t SeparatorOf(std::u16string_view path);

// "\", "C:\" and a network root ("\\server" or "\\server\share").
bool IsRoot(std::u16string_view path);

// Drops one trailing separator unless the path is a root.
std::u16string_view RemoveTrailingSeparator(std::u16string_view path);

// Removes the last component and the separator before it ("C:\a\b" -> "C:\a", "C:\a" -> "C:\",
// "a" -> ""). A root and a bare drive stay as they are.
std::u16string_view RemoveLastComponent(std::u16string_view path);

// Resolves "." and ".." components; ".." never climbs above a root. An empty result becomes a
// lone separator, and a bare drive gains one ("C:" -> "C:\").
std::u16string Canonicalize(std::u16string_view path);

// Appends `more` with one separator between, drops leading separators of `more` (unless it is a
// network path), takes `more` alone when it is absolute, and canonicalizes. Nothing when `path`,
// `more` or the joined text before canonicalizing does not fit kMaxPath.
std::optional<std::u16string> Append(std::u16string_view path, std::u16string_view more);

// A path taken apart: drive ("C:" or empty), folder up to and including the last separator, file
// name, and extension from the last point of the file name on.
struct Parts {
    std::u16string_view drive;
    std::u16string_view folder;
    std::u16string_view name;
    std::u16string_view extension;
};
Parts Split(std::u16string_view path);

// The last component of a path that may end in a separator; a drive root gives the drive
// ("C:\" -> "C:"). Nothing for other roots and empty text.
std::optional<std::u16string_view> LastFolder(std::u16string_view path);

// The stretches between separators after one trailing separator is dropped; empty stretches are
// kept, and text without a separator gives itself.
std::vector<std::u16string_view> Components(std::u16string_view path);

}  // namespace cu_path
