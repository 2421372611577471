// CUDictionary: a sorted map from string keys to CUSharedPtr<CUObject>.
//
// Keys are ordered by UTF-16 code units (CUStringWin::IsLess), so the map is case-sensitive and
// capitals come before lower case. A key's text is copied into its entry. CUMutableDictionary may be
// changed; it adds no member. No lock of its own: a dictionary filled by one thread may be read by
// several once filling has ended.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "foundation/CUStringWin.h"

class CUDictionary : public CUObject {
public:
    // "{\r\n", then "\tKey:<key>,\tVal:<value>\r\n" for each entry in key order, then "}".
    CUSharedPtr<CUStringWin> Description() const override;

    // The value, or null for a null or absent key.
    CUSharedPtr<CUObject> ObjectForKey(const CUSharedPtr<CUStringWin>& key) const;
    uint64_t Count() const { return entries.size(); }
    // Visits the entries in key order.
    void ForEach(const std::function<void(const CUStringWin& key, const CUSharedPtr<CUObject>& value)>&
                     visit) const;

protected:
    struct Entry {
        CUStringWin key;
        CUSharedPtr<CUObject> value;
    };
    // std::u16string orders by unsigned code units, which is IsLess's order.
    std::map<std::u16string, Entry, std::less<>> entries;
};

class CUMutableDictionary : public CUDictionary {
public:
    // A null key, or one with no text, does nothing. An existing key takes the new value and the
    // old value loses its reference; a new key gets an entry holding a copy of the key text.
    void SetObjectForKey(const CUSharedPtr<CUObject>& object, const CUSharedPtr<CUStringWin>& key);
    void RemoveObjectForKey(const CUSharedPtr<CUStringWin>& key);
};
