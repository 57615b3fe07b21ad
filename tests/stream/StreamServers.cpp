#include "StreamServers.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QDeadlineTimer>
#include <QFile>
#include <QTextStream>
#include <QThread>

namespace StreamTest {

namespace {

sockaddr_in loopback(int port)
{
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(static_cast<uint16_t>(port));
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return a;
}

bool runTool(const QString& program, const QStringList& arguments, QString* error)
{
    QProcess p;
    p.setProcessChannelMode(QProcess::MergedChannels);
    p.start(program, arguments);
    if (!p.waitForFinished(60000) || p.exitCode() != 0) {
        if (error) *error = program + " failed: " + QString::fromLocal8Bit(p.readAll());
        return false;
    }
    return true;
}

void stop(QProcess& process)
{
    if (process.state() == QProcess::NotRunning) return;
    process.terminate();
    if (!process.waitForFinished(3000)) {
        process.kill();
        process.waitForFinished(3000);
    }
}

}  // namespace

int freePort()
{
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a = loopback(0);
    socklen_t length = sizeof a;
    int port = 0;
    if (::bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0 &&
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&a), &length) == 0)
        port = ntohs(a.sin_port);
    ::close(fd);
    return port;
}

bool waitForPort(int port, int timeoutMs)
{
    QDeadlineTimer deadline(timeoutMs);
    while (!deadline.hasExpired()) {
        const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in a = loopback(port);
        const bool up = ::connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0;
        ::close(fd);
        if (up) return true;
        QThread::msleep(50);
    }
    return false;
}

Nginx::~Nginx()
{
    stop(m_process);
}

bool Nginx::makeCertificates(QString* error)
{
    const QString d = m_dir.path();
    const QStringList ec = {"-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes"};
    QFile ext(d + "/server.ext");
    if (!ext.open(QIODevice::WriteOnly)) return false;
    ext.write("subjectAltName=IP:127.0.0.1,DNS:localhost\nbasicConstraints=CA:FALSE\n");
    ext.close();
    return runTool("openssl",
                   QStringList{"req", "-x509"} + ec +
                       QStringList{"-keyout", d + "/ca.key", "-out", d + "/ca.pem", "-days", "2", "-subj",
                                   "/CN=Stream test authority", "-addext", "basicConstraints=critical,CA:TRUE",
                                   "-addext", "keyUsage=critical,keyCertSign,cRLSign"},
                   error) &&
           runTool("openssl",
                   QStringList{"req"} + ec +
                       QStringList{"-keyout", d + "/server.key", "-out", d + "/server.csr", "-subj", "/CN=127.0.0.1"},
                   error) &&
           runTool("openssl",
                   {"x509", "-req", "-in", d + "/server.csr", "-CA", d + "/ca.pem", "-CAkey", d + "/ca.key",
                    "-CAcreateserial", "-out", d + "/server.pem", "-days", "2", "-extfile", d + "/server.ext"},
                   error);
}

bool Nginx::start(const QString& root, QString* error)
{
    if (!m_dir.isValid() || !makeCertificates(error)) return false;
    m_httpPort = freePort();
    m_httpsPort = freePort();
    const QString d = m_dir.path();
    QFile config(d + "/nginx.conf");
    if (!config.open(QIODevice::WriteOnly)) return false;
    QTextStream(&config) << "daemon off;\nmaster_process off;\nworker_processes 1;\n"
                         << "error_log " << d << "/error.log;\npid " << d << "/nginx.pid;\n"
                         << "events { worker_connections 256; }\n"
                         << "http {\n  log_format xrv '$status $body_bytes_sent \"$http_range\"';\n"
                         << "  access_log " << d << "/access.log xrv;\n"
                         << "  client_body_temp_path " << d << "; proxy_temp_path " << d << ";\n"
                         << "  fastcgi_temp_path " << d << "; uwsgi_temp_path " << d << "; scgi_temp_path " << d
                         << ";\n"
                         << "  keepalive_requests 10000;\n"
                         << "  server { listen 127.0.0.1:" << m_httpPort << "; root " << root << "; }\n"
                         << "  server { listen 127.0.0.1:" << m_httpsPort << " ssl http2; root " << root << ";\n"
                         << "    ssl_certificate " << d << "/server.pem; ssl_certificate_key " << d
                         << "/server.key; }\n}\n";
    config.close();
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    m_process.start("/usr/sbin/nginx", {"-e", d + "/error.log", "-p", d, "-c", d + "/nginx.conf"});
    if (!m_process.waitForStarted(5000) || !waitForPort(m_httpPort) || !waitForPort(m_httpsPort)) {
        if (error) *error = "nginx did not start: " + QString::fromLocal8Bit(m_process.readAll());
        return false;
    }
    return true;
}

QStringList Nginx::accessLog() const
{
    QFile f(m_dir.filePath("access.log"));
    if (!f.open(QIODevice::ReadOnly)) return {};
    return QString::fromLatin1(f.readAll()).split('\n', Qt::SkipEmptyParts);
}

void Nginx::clearAccessLog() const
{
    QFile f(m_dir.filePath("access.log"));
    if (f.open(QIODevice::ReadWrite)) f.resize(0);  // nginx appends (O_APPEND): it goes on at 0
}

FaultServer::~FaultServer()
{
    stop(m_process);
}

bool FaultServer::start(const QStringList& arguments, QString* error)
{
    m_process.start("python3", QStringList{QStringLiteral(XRV_FAULT_SERVER)} + arguments);
    if (!m_process.waitForStarted(5000) || !m_process.waitForReadyRead(10000)) {
        if (error)
            *error = "the fault server did not start: " + QString::fromLocal8Bit(m_process.readAllStandardError());
        return false;
    }
    const QString line = QString::fromLatin1(m_process.readLine()).trimmed();
    m_port = line.startsWith("PORT ") ? line.mid(5).toInt() : 0;
    return m_port > 0 && waitForPort(m_port);
}

}  // namespace StreamTest
