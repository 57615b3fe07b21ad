#include "CString.h"

#include <cstdint>

namespace PLK {
namespace {

void appendUtf8(std::string& out, uint32_t cp)
{
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (cp >> 18));
        out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

std::string toUtf8(const std::wstring& wide)
{
    std::string out;
    out.reserve(wide.size());
    for (size_t i = 0; i < wide.size(); ++i) {
        uint32_t cp = static_cast<uint32_t>(wide[i]);
        // 16-bit wchar_t carries surrogate pairs.
        if (sizeof(wchar_t) == 2 && cp >= 0xD800 && cp < 0xDC00 && i + 1 < wide.size()) {
            const uint32_t low = static_cast<uint32_t>(wide[i + 1]);
            if (low >= 0xDC00 && low < 0xE000) {
                cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
                ++i;
            }
        }
        if (cp > 0x10FFFF) cp = 0xFFFD;
        appendUtf8(out, cp);
    }
    return out;
}

// Decodes one UTF-8 sequence at `i`; malformed bytes are taken as Latin-1 so that names
// written in a legacy code page still come through readable.
uint32_t nextCodePoint(const std::string& s, size_t& i)
{
    const auto b0 = static_cast<unsigned char>(s[i]);
    const size_t extra = b0 >= 0xF0 && b0 < 0xF8 ? 3 : b0 >= 0xE0 ? 2 : b0 >= 0xC0 ? 1 : 0;
    if (extra == 0 || i + extra >= s.size()) {
        ++i;
        return b0;
    }
    uint32_t cp = b0 & (0x3F >> extra);
    for (size_t k = 1; k <= extra; ++k) {
        const auto b = static_cast<unsigned char>(s[i + k]);
        if ((b & 0xC0) != 0x80) {
            ++i;
            return b0;
        }
        cp = (cp << 6) | (b & 0x3F);
    }
    i += extra + 1;
    return cp;
}

}  // namespace

CString::CString(const char* szUtf8) : m_utf8(szUtf8 ? szUtf8 : "") {}
CString::CString(const wchar_t* wsz) : m_utf8(wsz ? toUtf8(wsz) : std::string()) {}
CString::CString(const std::string& utf8) : m_utf8(utf8) {}
CString::CString(const std::wstring& wide) : m_utf8(toUtf8(wide)) {}

std::wstring CString::w() const
{
    std::wstring out;
    out.reserve(m_utf8.size());
    for (size_t i = 0; i < m_utf8.size();) {
        const uint32_t cp = nextCodePoint(m_utf8, i);
        if (sizeof(wchar_t) == 2 && cp >= 0x10000) {
            out += static_cast<wchar_t>(0xD800 + ((cp - 0x10000) >> 10));
            out += static_cast<wchar_t>(0xDC00 + ((cp - 0x10000) & 0x3FF));
        } else {
            out += static_cast<wchar_t>(cp);
        }
    }
    return out;
}

}  // namespace PLK
