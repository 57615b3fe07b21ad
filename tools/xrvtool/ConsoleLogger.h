// Prints the engine's warnings and errors on standard error (more with --verbose).
#pragma once

#include "CLog.h"

class ConsoleLogger : public PLK::ILogger<char> {
public:
    explicit ConsoleLogger(int minimumLevel) : m_minimumLevel(minimumLevel) {}
    void OnRegister() override {}
    void OnUnregister() override {}
    bool isLevelEnabled(const PLK::CLogContext*, int nLevel) override;
    void write(const PLK::CLogContext* pContext, int nLevel, const char* szText) override;

private:
    int m_minimumLevel;
};
