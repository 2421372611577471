// Failure codes of the MXF reader and of its block cache.
//
// Operations answer 0 for success or one of these codes. Constructors that run out of memory
// throw narrow strings instead ("MXFStream init error", "HeaderMetadata init error",
// "STTrack Init Error", "MDValue Init Error", "LocalSets Init Error"), and "MDValue Cast Error"
// marks a value read as the wrong kind.
#pragma once

#include <cstdint>

inline constexpr uint32_t MXFErrorNone = 0;
inline constexpr uint32_t MXFErrorArgument = 0x130001;  // a required argument null or wrongly sized
inline constexpr uint32_t MXFErrorMemory = 0x130002;    // an object could not be allocated
inline constexpr uint32_t MXFErrorParse = 0x131001;     // the file could not be read as expected
inline constexpr uint32_t MBXCacheErrorMemory = 0x140002;  // the block cache's memory could not be had

// A short name for a code, for messages to people ("parse error"); "unknown error" otherwise.
const char* MXFErrorText(uint32_t code);
