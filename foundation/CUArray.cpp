#include "foundation/CUArray.h"

#include <algorithm>

#include "foundation/CUSortDescriptor.h"
#include "foundation/CUStringWin.h"

namespace {
// Appends an element's description, or "<NULL>" for a null slot or a failed description.
void AppendDescription(std::u16string& out, const CUSharedPtr<CUObject>& object) {
    CUSharedPtr<CUStringWin> text = object ? object->Description() : CUSharedPtr<CUStringWin>();
    out += text && text->HasText() ? text->View() : u"<NULL>";
}
}  // namespace

CUSharedPtr<CUStringWin> CUArray::Description() const {
    std::u16string text = u"{\r\n";
    for (const auto& slot : slots) {
        text += u'\t';
        AppendDescription(text, slot);
        text += u"\r\n";
    }
    text += u'}';
    return CUCreate<CUStringWin>(std::u16string_view(text));
}

CUSharedPtr<CUArray> CUArray::SortedArrayUsingDescriptor(
    const CUSharedPtr<CUSortDescriptor>& descriptor) const {
    if (!descriptor) return nullptr;
    CUSharedPtr<CUArray> sorted = CUCreate<CUArray>();
    if (!sorted) return nullptr;
    sorted->slots = slots;
    CUSortDescriptor* decider = descriptor->comparator ? descriptor->comparator : descriptor.Get();
    const bool descending = descriptor->order == 1;
    std::stable_sort(sorted->slots.begin(), sorted->slots.end(),
                     [decider, descending](const CUSharedPtr<CUObject>& left,
                                           const CUSharedPtr<CUObject>& right) {
                         const int32_t result = decider->Compare(left, right);
                         return descending ? result >= 1 : result < 0;
                     });
    return sorted;
}

void CUMutableArray::AddObject(const CUSharedPtr<CUObject>& object) {
    if (slots.size() == slots.capacity()) {
        const size_t capacity = slots.capacity();
        const size_t grown = capacity <= slots.max_size() - capacity / 2 ? capacity + capacity / 2
                                                                         : slots.max_size();
        slots.reserve(std::max(grown, slots.size() + 1));
    }
    slots.push_back(object);
}

void CUMutableArray::AddObjectsFromArray(const CUSharedPtr<CUArray>& array) {
    if (!array) return;
    // Counted first: appending an array to itself copies each original slot once.
    const uint64_t count = array->Count();
    for (uint64_t i = 0; i < count; ++i) AddObject(array->ObjectAtIndex(i));
}
