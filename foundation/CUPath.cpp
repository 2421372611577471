#include "foundation/CUPath.h"

namespace cu_path {
namespace {
constexpr std::u16string_view kSeparators = u"\\/";
constexpr auto npos = std::u16string_view::npos;

bool IsAsciiLetter(char16_t unit) {
    return (unit >= u'A' && unit <= u'Z') || (unit >= u'a' && unit <= u'z');
}

bool StartsWithDrive(std::u16string_view path) {
    return path.size() >= 2 && IsAsciiLetter(path[0]) && path[1] == u':';
}

// "\\server\share": two leading separators.
bool IsNetworkPath(std::u16string_view path) {
    return path.size() >= 2 && IsSeparator(path[0]) && IsSeparator(path[1]);
}

// Neither rooted at a separator nor on a drive: such text is joined below a folder.
bool IsRelative(std::u16string_view path) {
    return !path.empty() && !IsSeparator(path[0]) && !(path.size() >= 2 && path[1] == u':');
}
}  // namespace

bool IsSeparator(char16_t unit) {
    return unit == u'\\' || unit == u'/';
}

char16_t SeparatorOf(std::u16string_view path) {
    const size_t last = path.find_last_of(kSeparators);
    if (last != npos) return path[last];
    return StartsWithDrive(path) ? u'\\' : u'/';
}

bool IsRoot(std::u16string_view path) {
    if (path.size() == 1) return IsSeparator(path[0]);
    if (path.size() == 3 && path[1] == u':' && IsSeparator(path[2])) return true;
    if (IsNetworkPath(path)) {
        // The server, and the share behind it, are part of the root.
        size_t separators = 0;
        for (const char16_t unit : path.substr(2)) separators += IsSeparator(unit) ? 1 : 0;
        return separators <= 1;
    }
    return false;
}

std::u16string_view RemoveTrailingSeparator(std::u16string_view path) {
    if (!path.empty() && IsSeparator(path.back()) && !IsRoot(path)) path.remove_suffix(1);
    return path;
}

std::u16string_view RemoveLastComponent(std::u16string_view path) {
    // `cut` ends up at the separator before the last component, or behind a drive's ":" (and
    // its separator), so that "C:\a" keeps "C:\".
    size_t cut = 0;
    for (size_t i = 0; i < path.size(); ++i) {
        if (IsSeparator(path[i])) {
            cut = i;
        } else if (path[i] == u':') {
            if (i + 1 < path.size() && IsSeparator(path[i + 1])) ++i;
            cut = i + 1;
        }
    }
    if (cut >= path.size()) return path;
    const bool leadingSeparator = (cut == 0 && IsSeparator(path[0])) ||
                                  (cut == 1 && IsSeparator(path[0]) && IsSeparator(path[1]));
    if (leadingSeparator) {
        // "\a" keeps "\" and "\\server" keeps "\\"; a lone root stays whole.
        return cut + 1 < path.size() ? path.substr(0, cut + 1) : path;
    }
    return path.substr(0, cut);
}

std::u16string Canonicalize(std::u16string_view path) {
    std::u16string out;
    out.reserve(path.size() + 2);
    size_t i = 0;
    while (i < path.size()) {
        if (IsSeparator(path[i])) {
            out.push_back(path[i++]);
            continue;
        }
        size_t end = path.find_first_of(kSeparators, i);
        if (end == npos) end = path.size();
        const std::u16string_view component = path.substr(i, end - i);
        const bool last = end == path.size();
        if (component == u".") {
            // ".\" vanishes; a final "." takes the separator before it along, but never
            // the one of a root.
            if (last && !out.empty() && IsSeparator(out.back()) && !IsRoot(out)) out.pop_back();
            i = last ? end : end + 1;
        } else if (component == u"..") {
            if (!IsRoot(out)) {
                // Back to the separator in front of the previous component, which goes too.
                const size_t cut =
                    out.size() >= 2 ? out.find_last_of(kSeparators, out.size() - 2) : npos;
                out.resize(cut == npos ? 0 : cut);
            } else if (!last) {
                ++end;  // at a root the separator behind ".." goes, or "C:\..\a" gives "C:\\a"
            }
            i = end;
        } else {
            out.append(component);
            i = end;
        }
    }
    if (out.empty()) {
        out.push_back(SeparatorOf(path));
    } else if (out.size() == 2 && out[1] == u':') {
        out.push_back(SeparatorOf(path));
    } else if (out.size() == 1 && IsSeparator(out[0]) && IsNetworkPath(path)) {
        out.push_back(out[0]);  // ".." out of a server keeps the network prefix
    }
    return out;
}

std::optional<std::u16string> Append(std::u16string_view path, std::u16string_view more) {
    if (path.size() >= kMaxPath || more.size() >= kMaxPath) return std::nullopt;
    if (!IsNetworkPath(more)) {
        while (!more.empty() && IsSeparator(more.front())) more.remove_prefix(1);
    }
    std::u16string joined;
    if (more.empty()) {
        joined = path;
    } else if (IsRelative(more)) {
        joined = path;
        if (!joined.empty() && !IsSeparator(joined.back())) joined.push_back(SeparatorOf(path));
        if (joined.size() + more.size() >= kMaxPath) return std::nullopt;
        joined += more;
    } else {
        joined = more;  // a drive or a network path stands on its own
    }
    return Canonicalize(joined);
}

Parts Split(std::u16string_view path) {
    Parts parts;
    if (path.size() >= 2 && path[1] == u':') {
        parts.drive = path.substr(0, 2);
        path.remove_prefix(2);
    }
    const size_t lastSeparator = path.find_last_of(kSeparators);
    const size_t nameStart = lastSeparator == npos ? 0 : lastSeparator + 1;
    parts.folder = path.substr(0, nameStart);
    const std::u16string_view file = path.substr(nameStart);
    const size_t point = file.rfind(u'.');
    parts.name = file.substr(0, point);
    if (point != npos) parts.extension = file.substr(point);
    return parts;
}

std::optional<std::u16string_view> LastFolder(std::u16string_view path) {
    const std::u16string_view trimmed = RemoveTrailingSeparator(path);
    const std::u16string_view parent = RemoveLastComponent(trimmed);
    if (parent.size() != trimmed.size()) {
        // The parent with a separator added marks where the last component starts.
        size_t start = parent.size();
        if (!parent.empty() && !IsSeparator(parent.back())) ++start;
        return trimmed.substr(start);
    }
    const bool driveRoot = trimmed.size() == 3 && IsSeparator(trimmed[2]);
    if ((driveRoot || trimmed.size() == 2) && StartsWithDrive(trimmed)) return trimmed.substr(0, 2);
    return std::nullopt;
}

std::vector<std::u16string_view> Components(std::u16string_view path) {
    if (!path.empty() && IsSeparator(path.back())) path.remove_suffix(1);
    std::vector<std::u16string_view> components;
    size_t start = 0;
    for (;;) {
        const size_t end = path.find_first_of(kSeparators, start);
        if (end == npos) break;
        components.push_back(path.substr(start, end - start));
        start = end + 1;
    }
    components.push_back(path.substr(start));
    return components;
}

}  // namespace cu_path
