// The engine's log: messages go to whatever sinks the application registered.
//
// Levels: -1 critical, 0 verbose, 10000 debug, 20000 info, 30000 notice, 40000 warning,
// 50000 error, 60000 fatal. Before writing, the engine asks each sink whether it wants the
// level, so a silent sink costs no formatting.
#pragma once

namespace PLK {

enum LogLevel : int {
    LOG_CRITICAL = -1,
    LOG_VERBOSE = 0,
    LOG_DEBUG = 10000,
    LOG_INFO = 20000,
    LOG_NOTICE = 30000,
    LOG_WARNING = 40000,
    LOG_ERROR = 50000,
    LOG_FATAL = 60000,
};

/// Where a message comes from.
struct CLogContext {
    const char* szModule;  ///< engine part: "view", "jp2", "codec", "georef", "cache"
};

/// Common virtual base of the narrow and wide sink interfaces.
class ILoggerBase {
public:
    virtual ~ILoggerBase() = default;
};

/// A log sink for texts of character type T (char: UTF-8; wchar_t: wide).
template <typename T>
class ILogger : public virtual ILoggerBase {
public:
    /// Called when the sink is registered with the engine.
    virtual void OnRegister() = 0;
    /// Called when the sink is replaced or removed.
    virtual void OnUnregister() = 0;
    /// Whether messages of this level are wanted; asked before every write.
    virtual bool isLevelEnabled(const CLogContext* pContext, int nLevel) = 0;
    virtual void write(const CLogContext* pContext, int nLevel, const T* szText) = 0;
    ~ILogger() override = default;
};

class CLog {
public:
    /// Installs the narrow sink; null removes it. May be called from any thread.
    static void RegisterLogger(ILogger<char>* pLogger);
    /// Installs the wide sink; null removes it.
    static void RegisterLogger(ILogger<wchar_t>* pLogger);
    /// Writes a printf-style message to the narrow sink (to the wide one when there is no
    /// narrow sink) if the sink wants its level.
    static void Log(const char* szModule, int nLevel, const char* szFormat, ...)
#if defined(__GNUC__)
        __attribute__((format(printf, 3, 4)))
#endif
        ;
    /// Whether any registered sink wants this level.
    static bool IsEnabled(const char* szModule, int nLevel);
};

}  // namespace PLK
