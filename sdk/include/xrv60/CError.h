// Result of an engine call: code 0 is success, anything else carries a text for the user.
#pragma once

#include <string>

namespace PLK {

/// Error codes. The numbers are part of the interface: callers compare them.
enum ErrorCode : int {
    PLK_SUCCESS = 0,
    PLK_ERROR_INVALID_ARGUMENT = 1,
    PLK_ERROR_FILE_NOT_FOUND = 2,
    PLK_ERROR_FILE_OPEN = 3,
    PLK_ERROR_FILE_READ = 4,
    PLK_ERROR_NOT_SUPPORTED_FORMAT = 5,
    PLK_ERROR_UNSUPPORTED_FEATURE = 6,
    PLK_ERROR_CORRUPT_CODESTREAM = 7,
    PLK_ERROR_NO_FILE_OPEN = 8,
    PLK_ERROR_NO_VIEW_SET = 9,
    PLK_ERROR_OUT_OF_MEMORY = 10,
    PLK_ERROR_CANCELLED = 11,
    PLK_ERROR_NOT_AVAILABLE = 12,
    PLK_ERROR_INVALID_BAND = 13,
    PLK_ERROR_NOT_INITIALISED = 14,
    /// The connection to the image server was lost; Reconnect() may restore it.
    PLK_ERROR_CONNECTION_LOST = 76,
};

class CError {
public:
    CError() = default;
    CError(int code, std::string message) : m_code(code), m_message(std::move(message)) {}

    int GetErrorNumber() const { return m_code; }
    /// The message as UTF-8; empty on success.
    const char* GetErrorText() const { return m_message.c_str(); }
    const std::string& message() const { return m_message; }
    bool Success() const { return m_code == PLK_SUCCESS; }
    explicit operator bool() const { return m_code != PLK_SUCCESS; }  ///< true when it is an error

private:
    int m_code = PLK_SUCCESS;
    std::string m_message;
};

}  // namespace PLK
