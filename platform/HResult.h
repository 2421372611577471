// HRESULT: the result code of every filter and platform operation. Negative values are failures;
// S_FALSE is a success that means "skip this sample" in a sample path and "end of stream" in
// FillBuffer. The values are those of the platform the filters were written for, so that a code
// read in a log means the same thing there.
#pragma once

#include <cstdint>

using HRESULT = int32_t;

inline constexpr bool SUCCEEDED(HRESULT hr) {
    return hr >= 0;
}
inline constexpr bool FAILED(HRESULT hr) {
    return hr < 0;
}

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT NOERROR = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001);
inline constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002);
inline constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003);
inline constexpr HRESULT E_ABORT = static_cast<HRESULT>(0x80004004);
inline constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005);
inline constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFF);
inline constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000E);
inline constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057);
inline constexpr HRESULT CLASS_E_NOAGGREGATION = static_cast<HRESULT>(0x80040110);
inline constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = static_cast<HRESULT>(0x80040111);

// The media framework's own codes.
inline constexpr HRESULT VFW_S_NO_MORE_ITEMS = 0x00040103;
inline constexpr HRESULT VFW_E_INVALIDMEDIATYPE = static_cast<HRESULT>(0x80040200);
inline constexpr HRESULT VFW_E_NOT_CONNECTED = static_cast<HRESULT>(0x80040209);
inline constexpr HRESULT VFW_E_NO_ALLOCATOR = static_cast<HRESULT>(0x8004020A);
inline constexpr HRESULT VFW_E_ALREADY_CONNECTED = static_cast<HRESULT>(0x80040204);
inline constexpr HRESULT VFW_E_BADALIGN = static_cast<HRESULT>(0x8004020E);
inline constexpr HRESULT VFW_E_ALREADY_COMMITTED = static_cast<HRESULT>(0x80040210);
inline constexpr HRESULT VFW_E_NOT_COMMITTED = static_cast<HRESULT>(0x80040211);
inline constexpr HRESULT VFW_E_SIZENOTSET = static_cast<HRESULT>(0x80040212);
inline constexpr HRESULT VFW_E_BUFFERS_OUTSTANDING = static_cast<HRESULT>(0x80040215);
inline constexpr HRESULT VFW_E_SAMPLE_TIME_NOT_SET = static_cast<HRESULT>(0x80040249);
inline constexpr HRESULT VFW_E_MEDIA_TIME_NOT_SET = static_cast<HRESULT>(0x80040251);
inline constexpr HRESULT VFW_E_TIMEOUT = static_cast<HRESULT>(0x8004022E);
inline constexpr HRESULT VFW_S_NO_STOP_TIME = 0x00040270;
inline constexpr HRESULT VFW_E_TYPE_NOT_ACCEPTED = static_cast<HRESULT>(0x8004022A);
inline constexpr HRESULT VFW_E_SAMPLE_REJECTED = static_cast<HRESULT>(0x8004022B);
inline constexpr HRESULT VFW_E_WRONG_STATE = static_cast<HRESULT>(0x80040227);
inline constexpr HRESULT VFW_E_RUNTIME_ERROR = static_cast<HRESULT>(0x8004020B);
