// Interface ids of the graph runtime, all in one place so that no two interfaces share a value.
//
// These values are our own: every id below has the fixed tail 7176-4600-A5C3-51564600 and differs
// only in its first field, which counts up from 0x71760001. IID_IUnknown is in Unknown.h and keeps
// the platform's value. Add new interfaces at the end with the next number; never reuse one.
#pragma once

#include "platform/Guid.h"

namespace qv_iid_detail {
constexpr IID Make(uint32_t number) {
    return IID{number, 0x7176, 0x4600, {0xA5, 0xC3, 0x51, 0x56, 0x46, 0x00, 0x00, 0x00}};
}
}  // namespace qv_iid_detail

// {71760001-7176-4600-A5C3-515646000000}
inline constexpr IID IID_IMediaSample = qv_iid_detail::Make(0x71760001);
// {71760002-7176-4600-A5C3-515646000000}
inline constexpr IID IID_IMediaSample2 = qv_iid_detail::Make(0x71760002);
// {71760003-7176-4600-A5C3-515646000000}
inline constexpr IID IID_IMemAllocator = qv_iid_detail::Make(0x71760003);
// {71760004-7176-4600-A5C3-515646000000}
inline constexpr IID IID_IMemInputPin = qv_iid_detail::Make(0x71760004);
// {71760005-7176-4600-A5C3-515646000000}
inline constexpr IID IID_IPin = qv_iid_detail::Make(0x71760005);
// {71760006-7176-4600-A5C3-515646000000}
inline constexpr IID IID_IBaseFilter = qv_iid_detail::Make(0x71760006);
// {71760007-7176-4600-A5C3-515646000000}
inline constexpr IID IID_IQualityControl = qv_iid_detail::Make(0x71760007);
