#include "ConsoleLogger.h"

#include <cstdio>

bool ConsoleLogger::isLevelEnabled(const PLK::CLogContext*, int nLevel)
{
    return nLevel == PLK::LOG_CRITICAL || nLevel >= m_minimumLevel;
}

void ConsoleLogger::write(const PLK::CLogContext* pContext, int nLevel, const char* szText)
{
    const char* kind = nLevel >= PLK::LOG_ERROR || nLevel == PLK::LOG_CRITICAL ? "error"
                       : nLevel >= PLK::LOG_WARNING                            ? "warning"
                                                                               : "info";
    std::fprintf(stderr, "xrvtool: %s [%s]: %s\n", kind, pContext && pContext->szModule ? pContext->szModule : "",
                 szText ? szText : "");
}
