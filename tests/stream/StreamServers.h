// Real servers on 127.0.0.1 for the stream tests: nginx over HTTP and HTTPS (with a
// certificate authority made for the test and trusted by it alone) and the scripted fault
// server. Each listens on a free port, lives in a temporary folder and is stopped when its
// object goes.
#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace StreamTest {

/// A port nobody listens on now.
int freePort();
/// Waits until something accepts connections on 127.0.0.1:`port` (at most `timeoutMs`).
bool waitForPort(int port, int timeoutMs = 10000);

class Nginx {
public:
    ~Nginx();
    /// Serves `root` over http and https; false (with `error`) when nginx or openssl fails.
    bool start(const QString& root, QString* error);
    int httpPort() const { return m_httpPort; }
    int httpsPort() const { return m_httpsPort; }
    /// The certificate authority that signed the server's certificate (PEM).
    QString caFile() const { return m_dir.filePath("ca.pem"); }
    /// Lines of the access log: "<status> <body bytes> <range>".
    QStringList accessLog() const;
    void clearAccessLog() const;

private:
    bool makeCertificates(QString* error);
    QTemporaryDir m_dir;
    QProcess m_process;
    int m_httpPort = 0;
    int m_httpsPort = 0;
};

class FaultServer {
public:
    ~FaultServer();
    /// Runs faultserver.py with `arguments`; false when it does not come up.
    bool start(const QStringList& arguments, QString* error);
    int port() const { return m_port; }

private:
    QProcess m_process;
    int m_port = 0;
};

}  // namespace StreamTest
