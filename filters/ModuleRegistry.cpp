#include "filters/ModuleRegistry.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include "foundation/CUTextCodec.h"

namespace {

// ---- Writing ----------------------------------------------------------------------------------

void AppendQuoted(std::string& out, std::string_view text) {
    static constexpr char kHex[] = "0123456789abcdef";
    out += '"';
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (byte < 0x20) {
            out += "\\u00";
            out += kHex[byte >> 4];
            out += kHex[byte & 0xF];
        } else {
            out += c;
        }
    }
    out += '"';
}

// Writes objects and arrays one member a line; the caller gives keys and values in order.
class JsonWriter {
public:
    void Open(char bracket) {
        out += bracket;
        first.push_back(true);
    }
    void Close(char bracket) {
        const bool empty = first.back();
        first.pop_back();
        if (!empty) NewLine();
        out += bracket;
    }
    void Key(std::string_view key) {
        Next();
        AppendQuoted(out, key);
        out += ": ";
    }
    // An array element's start.
    void Element() { Next(); }
    void String(std::string_view value) { AppendQuoted(out, value); }
    void Number(uint64_t value) { out += std::to_string(value); }
    void Bool(bool value) { out += value ? "true" : "false"; }
    void Member(std::string_view key, std::string_view value) {
        Key(key);
        String(value);
    }
    void Member(std::string_view key, bool value) {
        Key(key);
        Bool(value);
    }

    std::string out;

private:
    void Next() {
        if (!first.back()) out += ',';
        first.back() = false;
        NewLine();
    }
    void NewLine() {
        out += '\n';
        out.append(2 * first.size(), ' ');
    }
    std::vector<bool> first;
};

void WritePin(JsonWriter& json, const RegistryPin& pin) {
    json.Open('{');
    json.Member("name", pin.name);
    json.Member("direction", pin.output ? std::string_view("output") : "input");
    json.Member("rendered", pin.rendered);
    json.Member("zero", pin.zero);
    json.Member("many", pin.many);
    json.Member("connectsToFilter", pin.connectsToFilter);
    json.Member("connectsToPin", pin.connectsToPin);
    json.Key("mediaTypes");
    json.Open('[');
    for (const RegistryMediaType& type : pin.mediaTypes) {
        json.Element();
        json.Open('{');
        json.Member("major", type.major);
        json.Member("minor", type.minor);
        json.Close('}');
    }
    json.Close(']');
    json.Close('}');
}

// ---- Reading ----------------------------------------------------------------------------------

struct JsonValue {
    enum Kind { Null, Boolean, Number, Text, Array, Object } kind = Null;
    bool boolean = false;
    double number = 0;
    std::string text;
    std::vector<JsonValue> items;   // array elements, or object values
    std::vector<std::string> keys;  // object keys, beside `items`

    const JsonValue* Find(std::string_view key) const {
        for (size_t i = 0; i < keys.size(); ++i) {
            if (keys[i] == key) return &items[i];
        }
        return nullptr;
    }
};

class JsonParser {
public:
    explicit JsonParser(std::string_view source) : text(source) {}

    // The one value the text holds, with nothing but white space around it.
    bool ParseDocument(JsonValue* value) {
        if (!ParseValue(value, 0)) return false;
        SkipSpace();
        return at == text.size();
    }

private:
    static constexpr int kMaxDepth = 32;

    void SkipSpace() {
        while (at < text.size() &&
               (text[at] == ' ' || text[at] == '\n' || text[at] == '\r' || text[at] == '\t'))
            ++at;
    }
    bool Take(char c) {
        SkipSpace();
        if (at < text.size() && text[at] == c) {
            ++at;
            return true;
        }
        return false;
    }
    bool TakeWord(std::string_view word) {
        if (text.substr(at, word.size()) != word) return false;
        at += word.size();
        return true;
    }

    bool ParseValue(JsonValue* value, int depth) {
        if (depth > kMaxDepth) return false;
        SkipSpace();
        if (at >= text.size()) return false;
        const char c = text[at];
        if (c == '{') return ParseObject(value, depth);
        if (c == '[') return ParseArray(value, depth);
        if (c == '"') {
            value->kind = JsonValue::Text;
            return ParseString(&value->text);
        }
        if (TakeWord("true") || TakeWord("false")) {
            value->kind = JsonValue::Boolean;
            value->boolean = c == 't';
            return true;
        }
        if (TakeWord("null")) {
            value->kind = JsonValue::Null;
            return true;
        }
        return ParseNumber(value);
    }

    bool ParseObject(JsonValue* value, int depth) {
        value->kind = JsonValue::Object;
        ++at;
        if (Take('}')) return true;
        do {
            SkipSpace();
            std::string key;
            if (at >= text.size() || text[at] != '"' || !ParseString(&key) || !Take(':'))
                return false;
            value->keys.push_back(std::move(key));
            value->items.emplace_back();
            if (!ParseValue(&value->items.back(), depth + 1)) return false;
        } while (Take(','));
        return Take('}');
    }

    bool ParseArray(JsonValue* value, int depth) {
        value->kind = JsonValue::Array;
        ++at;
        if (Take(']')) return true;
        do {
            value->items.emplace_back();
            if (!ParseValue(&value->items.back(), depth + 1)) return false;
        } while (Take(','));
        return Take(']');
    }

    bool ParseNumber(JsonValue* value) {
        const size_t start = at;
        if (at < text.size() && text[at] == '-') ++at;
        while (at < text.size() &&
               ((text[at] >= '0' && text[at] <= '9') || text[at] == '.' || text[at] == 'e' ||
                text[at] == 'E' || text[at] == '+' || text[at] == '-'))
            ++at;
        const char* first = text.data() + start;
        const char* last = text.data() + at;
        if (first == last) return false;
        const auto [end, error] = std::from_chars(first, last, value->number);
        value->kind = JsonValue::Number;
        return error == std::errc() && end == last;
    }

    bool ParseHex4(uint32_t* unit) {
        if (at + 4 > text.size()) return false;
        *unit = 0;
        for (int i = 0; i < 4; ++i) {
            const char c = text[at++];
            uint32_t digit;
            if (c >= '0' && c <= '9')
                digit = static_cast<uint32_t>(c - '0');
            else if (c >= 'a' && c <= 'f')
                digit = static_cast<uint32_t>(c - 'a' + 10);
            else if (c >= 'A' && c <= 'F')
                digit = static_cast<uint32_t>(c - 'A' + 10);
            else
                return false;
            *unit = *unit << 4 | digit;
        }
        return true;
    }

    bool ParseString(std::string* out) {
        ++at;  // the opening quote
        while (at < text.size()) {
            const char c = text[at++];
            if (c == '"') return true;
            if (static_cast<unsigned char>(c) < 0x20) return false;
            if (c != '\\') {
                *out += c;
                continue;
            }
            if (at >= text.size()) return false;
            const char escaped = text[at++];
            switch (escaped) {
                case '"':
                    *out += '"';
                    break;
                case '\\':
                    *out += '\\';
                    break;
                case '/':
                    *out += '/';
                    break;
                case 'b':
                    *out += '\b';
                    break;
                case 'f':
                    *out += '\f';
                    break;
                case 'n':
                    *out += '\n';
                    break;
                case 'r':
                    *out += '\r';
                    break;
                case 't':
                    *out += '\t';
                    break;
                case 'u': {
                    uint32_t code;
                    if (!ParseHex4(&code)) return false;
                    if (code >= 0xD800 && code < 0xDC00) {
                        uint32_t low;
                        if (!TakeWord("\\u") || !ParseHex4(&low) || low < 0xDC00 || low > 0xDFFF)
                            return false;
                        code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
                    } else if (code >= 0xDC00 && code <= 0xDFFF) {
                        return false;
                    }
                    cu_text::AppendUTF8(*out, code);
                    break;
                }
                default:
                    return false;
            }
        }
        return false;
    }

    std::string_view text;
    size_t at = 0;
};

// Field readers: a missing field keeps the default, a field of the wrong kind fails.
bool GetString(const JsonValue& object, std::string_view key, std::string* out) {
    const JsonValue* field = object.Find(key);
    if (!field) return true;
    if (field->kind != JsonValue::Text) return false;
    *out = field->text;
    return true;
}

bool GetBool(const JsonValue& object, std::string_view key, bool* out) {
    const JsonValue* field = object.Find(key);
    if (!field) return true;
    if (field->kind != JsonValue::Boolean) return false;
    *out = field->boolean;
    return true;
}

bool GetMerit(const JsonValue& object, uint32_t* out) {
    const JsonValue* field = object.Find("merit");
    if (!field) return true;
    if (field->kind != JsonValue::Number || field->number < 0 || field->number > 0xFFFFFFFF ||
        field->number != static_cast<double>(static_cast<uint32_t>(field->number)))
        return false;
    *out = static_cast<uint32_t>(field->number);
    return true;
}

bool ReadPin(const JsonValue& value, RegistryPin* pin) {
    if (value.kind != JsonValue::Object) return false;
    std::string direction = "input";
    if (!GetString(value, "name", &pin->name) || !GetString(value, "direction", &direction) ||
        !GetBool(value, "rendered", &pin->rendered) || !GetBool(value, "zero", &pin->zero) ||
        !GetBool(value, "many", &pin->many) ||
        !GetString(value, "connectsToFilter", &pin->connectsToFilter) ||
        !GetString(value, "connectsToPin", &pin->connectsToPin))
        return false;
    if (direction != "input" && direction != "output") return false;
    pin->output = direction == "output";
    if (const JsonValue* types = value.Find("mediaTypes")) {
        if (types->kind != JsonValue::Array) return false;
        for (const JsonValue& item : types->items) {
            RegistryMediaType type;
            if (item.kind != JsonValue::Object || !GetString(item, "major", &type.major) ||
                !GetString(item, "minor", &type.minor))
                return false;
            pin->mediaTypes.push_back(std::move(type));
        }
    }
    return true;
}

bool ReadFilter(const JsonValue& value, RegistryFilter* filter) {
    if (value.kind != JsonValue::Object || !GetString(value, "name", &filter->name) ||
        !GetMerit(value, &filter->merit))
        return false;
    if (const JsonValue* pins = value.Find("pins")) {
        if (pins->kind != JsonValue::Array) return false;
        for (const JsonValue& item : pins->items) {
            RegistryPin pin;
            if (!ReadPin(item, &pin)) return false;
            filter->pins.push_back(std::move(pin));
        }
    }
    return true;
}

bool ReadClass(const JsonValue& value, RegistryClass* entry) {
    return value.kind == JsonValue::Object && GetString(value, "name", &entry->name) &&
           GetString(value, "InprocServer32", &entry->inprocServer) &&
           GetString(value, "ThreadingModel", &entry->threadingModel);
}

// ---- Files ------------------------------------------------------------------------------------

std::string HomeFolder() {
    if (const char* home = std::getenv("HOME"); home && *home) return home;
    // A service started without HOME still has an account.
    struct passwd entry;
    struct passwd* found = nullptr;
    std::vector<char> buffer(16384);
    if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found &&
        found->pw_dir)
        return found->pw_dir;
    return std::string();
}

HRESULT WriteAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(fd, bytes.data(), bytes.size());
        if (written < 0) {
            if (errno == EINTR) continue;
            return ModuleRegistry::FromErrno(errno);
        }
        bytes.remove_prefix(static_cast<size_t>(written));
    }
    return S_OK;
}

}  // namespace

std::string ModuleRegistry::ManifestPath() {
    if (const char* path = std::getenv("QVFLTS_REGISTRY"); path && *path) return path;
    std::string dataHome;
    if (const char* xdg = std::getenv("XDG_DATA_HOME"); xdg && *xdg) {
        dataHome = xdg;
    } else {
        const std::string home = HomeFolder();
        if (home.empty()) return std::string();
        dataHome = home + "/.local/share";
    }
    return dataHome + "/qvflts/registry.json";
}

std::string ModuleRegistry::ToJson(const RegistryManifest& manifest) {
    JsonWriter json;
    json.Open('{');
    json.Key("classes");
    json.Open('{');
    for (const auto& [id, entry] : manifest.classes) {
        json.Key(id);
        json.Open('{');
        json.Member("name", entry.name);
        json.Member("InprocServer32", entry.inprocServer);
        json.Member("ThreadingModel", entry.threadingModel);
        json.Close('}');
    }
    json.Close('}');
    json.Key("filters");
    json.Open('{');
    for (const auto& [id, filter] : manifest.filters) {
        json.Key(id);
        json.Open('{');
        json.Member("name", filter.name);
        json.Key("merit");
        json.Number(filter.merit);
        json.Key("pins");
        json.Open('[');
        for (const RegistryPin& pin : filter.pins) {
            json.Element();
            WritePin(json, pin);
        }
        json.Close(']');
        json.Close('}');
    }
    json.Close('}');
    json.Close('}');
    json.out += '\n';
    return std::move(json.out);
}

HRESULT ModuleRegistry::FromJson(std::string_view text, RegistryManifest* manifest) {
    if (!manifest) return E_POINTER;
    JsonValue root;
    if (!JsonParser(text).ParseDocument(&root) || root.kind != JsonValue::Object) return E_FAIL;
    RegistryManifest read;
    if (const JsonValue* classes = root.Find("classes")) {
        if (classes->kind != JsonValue::Object) return E_FAIL;
        for (size_t i = 0; i < classes->keys.size(); ++i) {
            RegistryClass entry;
            if (!ReadClass(classes->items[i], &entry)) return E_FAIL;
            read.classes[classes->keys[i]] = std::move(entry);
        }
    }
    if (const JsonValue* filters = root.Find("filters")) {
        if (filters->kind != JsonValue::Object) return E_FAIL;
        for (size_t i = 0; i < filters->keys.size(); ++i) {
            RegistryFilter filter;
            if (!ReadFilter(filters->items[i], &filter)) return E_FAIL;
            read.filters[filters->keys[i]] = std::move(filter);
        }
    }
    *manifest = std::move(read);
    return S_OK;
}

HRESULT ModuleRegistry::Read(const std::string& path, RegistryManifest* manifest) {
    if (!manifest) return E_POINTER;
    if (path.empty()) return FromErrno(ENOENT);
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        if (errno != ENOENT) return FromErrno(errno);
        *manifest = RegistryManifest();
        return S_FALSE;
    }
    std::string text;
    char buffer[8192];
    for (;;) {
        const ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got < 0) {
            if (errno == EINTR) continue;
            const int error = errno;
            ::close(fd);
            return FromErrno(error);
        }
        if (got == 0) break;
        text.append(buffer, static_cast<size_t>(got));
    }
    ::close(fd);
    return FromJson(text, manifest);
}

HRESULT ModuleRegistry::Write(const std::string& path, const RegistryManifest& manifest) {
    if (path.empty()) return FromErrno(ENOENT);
    const std::filesystem::path target(path);
    if (target.has_parent_path()) {
        std::error_code error;
        std::filesystem::create_directories(target.parent_path(), error);
        if (error) return FromErrno(error.value());
    }
    const std::string temporary = path + ".tmp-" + std::to_string(::getpid());
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) return FromErrno(errno);
    HRESULT hr = WriteAll(fd, ToJson(manifest));
    if (SUCCEEDED(hr) && ::fsync(fd) != 0) hr = FromErrno(errno);
    if (::close(fd) != 0 && SUCCEEDED(hr)) hr = FromErrno(errno);
    if (SUCCEEDED(hr) && ::rename(temporary.c_str(), path.c_str()) != 0) hr = FromErrno(errno);
    if (FAILED(hr)) ::unlink(temporary.c_str());
    return hr;
}

HRESULT ModuleRegistry::Update(const std::string& path, bool create,
                               const std::function<void(RegistryManifest&)>& change) {
    if (path.empty()) return FromErrno(ENOENT);
    const std::filesystem::path target(path);
    const std::filesystem::path folder = target.has_parent_path() ? target.parent_path() : ".";
    if (create) {
        std::error_code error;
        std::filesystem::create_directories(folder, error);
        if (error) return FromErrno(error.value());
    }
    const int lockFd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (lockFd < 0) return !create && errno == ENOENT ? S_OK : FromErrno(errno);
    int locked;
    while ((locked = ::flock(lockFd, LOCK_EX)) != 0 && errno == EINTR) {
    }
    HRESULT hr = locked == 0 ? S_OK : FromErrno(errno);
    RegistryManifest manifest;
    if (SUCCEEDED(hr)) hr = Read(path, &manifest);
    if (hr == S_FALSE && !create) {
        hr = S_OK;
    } else if (SUCCEEDED(hr)) {
        change(manifest);
        hr = Write(path, manifest);
    }
    ::close(lockFd);  // lets the lock go
    return hr;
}

HRESULT ReadRegistry(RegistryManifest* manifest) {
    return ModuleRegistry::Read(ModuleRegistry::ManifestPath(), manifest);
}
