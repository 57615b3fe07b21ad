// Text handed across the engine's interface: UTF-8 inside, with narrow and wide views.
#pragma once

#include <string>

namespace PLK {

class CString {
public:
    CString() = default;
    CString(const char* szUtf8);        // NOLINT(google-explicit-constructor): texts convert freely
    CString(const wchar_t* wsz);        // NOLINT(google-explicit-constructor)
    CString(const std::string& utf8);   // NOLINT(google-explicit-constructor)
    CString(const std::wstring& wide);  // NOLINT(google-explicit-constructor)

    /// The text as zero-terminated UTF-8.
    const char* a() const { return m_utf8.c_str(); }
    const char* c_str() const { return m_utf8.c_str(); }
    /// The text widened (UTF-32 where wchar_t is 32 bits, UTF-16 where it is 16).
    std::wstring w() const;
    const std::string& utf8() const { return m_utf8; }
    bool empty() const { return m_utf8.empty(); }
    size_t size() const { return m_utf8.size(); }

    bool operator==(const CString& o) const { return m_utf8 == o.m_utf8; }
    bool operator!=(const CString& o) const { return m_utf8 != o.m_utf8; }

private:
    std::string m_utf8;
};

}  // namespace PLK
