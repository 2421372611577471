#include "foundation/CUDictionary.h"

CUSharedPtr<CUStringWin> CUDictionary::Description() const {
    std::u16string text = u"{\r\n";
    for (const auto& [units, entry] : entries) {
        text += u"\tKey:";
        text += units;
        text += u",\tVal:";
        CUSharedPtr<CUStringWin> value =
            entry.value ? entry.value->Description() : CUSharedPtr<CUStringWin>();
        text += value && value->HasText() ? value->View() : u"<NULL>";
        text += u"\r\n";
    }
    text += u'}';
    return CUCreate<CUStringWin>(std::u16string_view(text));
}

CUSharedPtr<CUObject> CUDictionary::ObjectForKey(const CUSharedPtr<CUStringWin>& key) const {
    if (!key || !key->HasText()) return nullptr;
    auto found = entries.find(key->View());
    return found == entries.end() ? CUSharedPtr<CUObject>() : found->second.value;
}

void CUDictionary::ForEach(
    const std::function<void(const CUStringWin&, const CUSharedPtr<CUObject>&)>& visit) const {
    for (const auto& [units, entry] : entries) visit(entry.key, entry.value);
}

void CUMutableDictionary::SetObjectForKey(const CUSharedPtr<CUObject>& object,
                                          const CUSharedPtr<CUStringWin>& key) {
    if (!key || !key->HasText()) return;
    auto found = entries.find(key->View());
    if (found != entries.end()) {
        found->second.value = object;
        return;
    }
    std::u16string units(key->View());
    CUStringWin copy(std::u16string_view{units});
    entries.emplace(std::move(units), Entry{std::move(copy), object});
}

void CUMutableDictionary::RemoveObjectForKey(const CUSharedPtr<CUStringWin>& key) {
    if (!key || !key->HasText()) return;
    auto found = entries.find(key->View());
    if (found != entries.end()) entries.erase(found);
}
