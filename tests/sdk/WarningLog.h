// Keeps the warnings and errors the engine logs, for tests that check what it reported.
#pragma once

#include <QStringList>
#include <mutex>

#include "xrv60.h"

class WarningLog : public PLK::ILogger<char> {
public:
    void OnRegister() override {}
    void OnUnregister() override {}
    bool isLevelEnabled(const PLK::CLogContext*, int level) override { return level >= PLK::LOG_WARNING; }
    void write(const PLK::CLogContext*, int, const char* text) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_texts << QString::fromUtf8(text);
    }
    /// The texts logged since the last call.
    QStringList take()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return std::exchange(m_texts, {});
    }

private:
    std::mutex m_mutex;
    QStringList m_texts;
};
