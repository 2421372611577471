// Failure codes of the foundation library.
//
// The stream and file classes throw _CUErrorContents values as plain uint32_t, except the copy of a
// stream into memory, which throws the enumeration type itself; a catcher handles both.
// Text buffer operations of CUStringWin throw CUPlatformError carrying a platform result code.
#pragma once

#include <cstdint>

enum _CUErrorContents : uint32_t {
    CUErrorInvalid = 1,        // empty path, operation on a closed stream, failed copy into memory
    CUErrorNullArgument = 2,   // null path, null buffer
    CUErrorIO = 4,             // a platform file call failed, or mode and file state do not fit
    CUErrorNotPermitted = 5,   // path is a directory, or the stream does not allow the operation
    CUErrorIsDirectory = 7,    // deletion of a directory; a file object could not be made
    CUErrorDeleteFailed = 8,   // the platform refused a deletion
    CUErrorNotFound = 9,       // the file does not exist, or its size cannot be read
};

// Status codes of operations that answer with a status instead of throwing.
inline constexpr uint32_t CUStatusOK = 0;
inline constexpr uint32_t CUStatusFailed = 0x10001;      // strings
inline constexpr uint32_t CUStatusCopyFailed = 0x10003;  // CUFileInfo copies
inline constexpr uint32_t CUStatusMoveFailed = 0x10004;  // CUFileInfo moves

// Platform result codes carried by CUPlatformError.
inline constexpr uint32_t CU_E_FAIL = 0x80004005;          // no buffer, format cannot be measured
inline constexpr uint32_t CU_E_INVALIDARG = 0x80070057;    // bad length
inline constexpr uint32_t CU_E_ARITHMETIC = 0x80070216;    // location + length overflows 31 bits

struct CUPlatformError {
    uint32_t code;
};
