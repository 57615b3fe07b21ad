#include "CLog.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#include "CString.h"

namespace PLK {
namespace {

// The sinks are held under one lock that is also held while they write, so that a sink being
// unregistered (the application shutting down) is never called afterwards from a worker.
struct Sinks {
    std::recursive_mutex mutex;
    ILogger<char>* narrow = nullptr;
    ILogger<wchar_t>* wide = nullptr;
};

Sinks& sinks()
{
    static Sinks s;
    return s;
}

template <typename T>
void swapSink(ILogger<T>*& slot, ILogger<T>* next)
{
    if (slot == next) return;
    if (slot) slot->OnUnregister();
    slot = next;
    if (slot) slot->OnRegister();
}

std::string format(const char* szFormat, va_list args)
{
    va_list copy;
    va_copy(copy, args);
    const int n = std::vsnprintf(nullptr, 0, szFormat, copy);
    va_end(copy);
    if (n <= 0) return std::string();
    std::vector<char> buffer(static_cast<size_t>(n) + 1);
    std::vsnprintf(buffer.data(), buffer.size(), szFormat, args);
    return std::string(buffer.data(), static_cast<size_t>(n));
}

}  // namespace

void CLog::RegisterLogger(ILogger<char>* pLogger)
{
    std::lock_guard<std::recursive_mutex> lock(sinks().mutex);
    swapSink(sinks().narrow, pLogger);
}

void CLog::RegisterLogger(ILogger<wchar_t>* pLogger)
{
    std::lock_guard<std::recursive_mutex> lock(sinks().mutex);
    swapSink(sinks().wide, pLogger);
}

bool CLog::IsEnabled(const char* szModule, int nLevel)
{
    Sinks& s = sinks();
    std::lock_guard<std::recursive_mutex> lock(s.mutex);
    const CLogContext context{szModule};
    if (s.narrow) return s.narrow->isLevelEnabled(&context, nLevel);
    return s.wide && s.wide->isLevelEnabled(&context, nLevel);
}

void CLog::Log(const char* szModule, int nLevel, const char* szFormat, ...)
{
    Sinks& s = sinks();
    std::lock_guard<std::recursive_mutex> lock(s.mutex);
    const CLogContext context{szModule};
    // The engine's messages are narrow texts: they go to the narrow sink, and to the wide one
    // only when no narrow sink is registered, so an application with both sees each once.
    const bool toNarrow = s.narrow && s.narrow->isLevelEnabled(&context, nLevel);
    const bool toWide = !s.narrow && s.wide && s.wide->isLevelEnabled(&context, nLevel);
    if (!toNarrow && !toWide) return;

    va_list args;
    va_start(args, szFormat);
    const std::string text = format(szFormat, args);
    va_end(args);

    if (toNarrow) s.narrow->write(&context, nLevel, text.c_str());
    if (toWide) s.wide->write(&context, nLevel, CString(text).w().c_str());
}

}  // namespace PLK
