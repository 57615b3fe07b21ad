// The engine's log messages, delivered to the host's log at the host's levels. One narrow and
// one wide sink exist for the life of the library; their enabled flag comes from
// "XRVJP2kLayer/LogXrvEvents" when the library is loaded and can be switched at any time.
#pragma once

#include <atomic>

#include "CLog.h"

/// Engine level to host level: -1 and 60000 are 5; 0 and 10000 are 0; 30000 is 2; 40000 is 3;
/// 50000 is 4; everything else (20000 included) is 1.
int hostLevelOfEngineLevel(int engineLevel);
/// The least engine level the host wants at its current level: host 0 wants 10000 and up,
/// 2 wants 30000, 3 wants 40000, 4 wants 50000, 5 wants 60000, 1 and anything else 20000.
int engineThresholdOfHostLevel(int hostLevel);

class CTANNISViewerCharLogger : public PLK::ILogger<char> {
public:
    void OnRegister() override {}
    void OnUnregister() override {}
    bool isLevelEnabled(const PLK::CLogContext* context, int level) override;
    /// Does not test the flag: the engine asks isLevelEnabled first.
    void write(const PLK::CLogContext* context, int level, const char* text) override;

    /// Written on the user-interface thread, read on whatever thread the engine logs from.
    std::atomic<bool> enabled{true};
};

class CTANNISViewerWCharLogger : public PLK::ILogger<wchar_t> {
public:
    void OnRegister() override {}
    void OnUnregister() override {}
    bool isLevelEnabled(const PLK::CLogContext* context, int level) override;
    void write(const PLK::CLogContext* context, int level, const wchar_t* text) override;

    std::atomic<bool> enabled{true};
};

namespace XRVJP2kLogSinks {
CTANNISViewerCharLogger& narrow();
CTANNISViewerWCharLogger& wide();
/// Sets both sinks' flag; the preferences page calls it after every save.
void setEnabled(bool enabled);
}  // namespace XRVJP2kLogSinks
