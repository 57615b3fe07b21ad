#include "XRVJP2kLogSinks.h"

#include <QDateTime>
#include <QSettings>
#include <string>

#include "QDGui/Application.h"
#include "XRVJP2kSettings.h"

int hostLevelOfEngineLevel(int engineLevel)
{
    switch (engineLevel) {
        case -1:
        case 60000:
            return 5;
        case 0:
        case 10000:
            return 0;
        case 30000:
            return 2;
        case 40000:
            return 3;
        case 50000:
            return 4;
        default:
            return 1;
    }
}

int engineThresholdOfHostLevel(int hostLevel)
{
    switch (hostLevel) {
        case 0:
            return 10000;
        case 2:
            return 30000;
        case 3:
            return 40000;
        case 4:
            return 50000;
        case 5:
            return 60000;
        default:
            return 20000;
    }
}

namespace {

bool wantedByHost(bool enabled, int level)
{
    return enabled && level >= engineThresholdOfHostLevel(Korvane::Application::getLogLevel());
}

void toHostLog(const QString& text, int engineLevel)
{
    Korvane::Application::logMessage(text, hostLevelOfEngineLevel(engineLevel), QDateTime::currentDateTime());
}

// Read once when the library is loaded, before any plug-in object exists.
bool enabledAtLoad()
{
    QSettings* settings = Korvane::Application::settings();
    return settings ? XRVJP2kSettings::LogXrvEvents.in(*settings).toBool() : true;
}

CTANNISViewerCharLogger s_narrow;
CTANNISViewerWCharLogger s_wide;
const bool s_flagsRead = [] {
    const bool on = enabledAtLoad();
    s_narrow.enabled = on;
    s_wide.enabled = on;
    return true;
}();

}  // namespace

bool CTANNISViewerCharLogger::isLevelEnabled(const PLK::CLogContext*, int level)
{
    return wantedByHost(enabled, level);
}

void CTANNISViewerCharLogger::write(const PLK::CLogContext*, int level, const char* text)
{
    toHostLog(QString::fromUtf8(text ? text : ""), level);
}

bool CTANNISViewerWCharLogger::isLevelEnabled(const PLK::CLogContext*, int level)
{
    return wantedByHost(enabled, level);
}

void CTANNISViewerWCharLogger::write(const PLK::CLogContext*, int level, const wchar_t* text)
{
    toHostLog(QString::fromStdWString(std::wstring(text)), level);
}

namespace XRVJP2kLogSinks {

CTANNISViewerCharLogger& narrow()
{
    return s_narrow;
}

CTANNISViewerWCharLogger& wide()
{
    return s_wide;
}

void setEnabled(bool enabled)
{
    s_narrow.enabled = enabled;
    s_wide.enabled = enabled;
}

}  // namespace XRVJP2kLogSinks
