// ModuleRegistry: the registration manifest, a JSON file that lists the module's creatable classes
// (friendly name, the module that serves them, threading model) and the filter mapper's entries
// (merit, pins, media types), each keyed by its id in "{XXXXXXXX-...}" form. Several modules may
// share one manifest: a module only touches its own ids and keeps the rest.
//
// Where: $QVFLTS_REGISTRY if set and not empty, else ${XDG_DATA_HOME:-$HOME/.local/share}/qvflts/
// registry.json. Write creates the folder, writes a temporary file beside the manifest and renames
// it over the old one, so a reader sees the old manifest or the new one, never a torn one. The text
// is stable: ids sorted, two-space indentation, one value a line.
// Threads: no shared state. Update holds an exclusive flock on the manifest's folder for its
// read, change and write, so that updates of several threads or processes don't lose each other's
// entries; plain Write does not.
// Failures: 0x80070000 | errno for a file that can't be read or written; E_FAIL for a manifest
// that is not in this format (it is left as it is); a missing manifest reads as an empty one with
// S_FALSE.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/HResult.h"

struct RegistryMediaType {
    std::string major;  // GUID text
    std::string minor;
    bool operator==(const RegistryMediaType&) const = default;
};

struct RegistryPin {
    std::string name;
    bool output = false;
    bool rendered = false;
    bool zero = false;
    bool many = false;
    std::string connectsToFilter;  // GUID text
    std::string connectsToPin;
    std::vector<RegistryMediaType> mediaTypes;
    bool operator==(const RegistryPin&) const = default;
};

// A filter mapper entry.
struct RegistryFilter {
    std::string name;
    uint32_t merit = 0;
    std::vector<RegistryPin> pins;
    bool operator==(const RegistryFilter&) const = default;
};

// A class entry: what a host needs to create the class.
struct RegistryClass {
    std::string name;
    std::string inprocServer;  // the module's path
    std::string threadingModel;
    bool operator==(const RegistryClass&) const = default;
};

struct RegistryManifest {
    std::map<std::string, RegistryClass> classes;   // by class id text
    std::map<std::string, RegistryFilter> filters;  // by class id text
    bool operator==(const RegistryManifest&) const = default;
};

class ModuleRegistry {
public:
    // The manifest's path as the environment gives it now; empty when there is no home either.
    static std::string ManifestPath();

    // S_OK, or S_FALSE and an empty manifest when the file does not exist.
    static HRESULT Read(const std::string& path, RegistryManifest* manifest);
    static HRESULT Write(const std::string& path, const RegistryManifest& manifest);
    // Read, `change`, Write, under the folder's lock. A missing manifest is made (folder included)
    // when `create` is set; otherwise there is nothing to change and the answer is S_OK.
    static HRESULT Update(const std::string& path, bool create,
                          const std::function<void(RegistryManifest&)>& change);

    static std::string ToJson(const RegistryManifest& manifest);
    // E_FAIL when `text` is not a manifest; `manifest` is then left as it was.
    static HRESULT FromJson(std::string_view text, RegistryManifest* manifest);

    // The result for a failed system call.
    static HRESULT FromErrno(int error) {
        return static_cast<HRESULT>(0x80070000u | (static_cast<uint32_t>(error) & 0xFFFFu));
    }
};

// The manifest at ModuleRegistry::ManifestPath().
HRESULT ReadRegistry(RegistryManifest* manifest);
