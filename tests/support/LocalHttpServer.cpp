#include "support/LocalHttpServer.h"

#include <QHostAddress>

namespace mosaro::test {

namespace {
QByteArray reason(int status)
{
    switch (status) {
    case 200:
        return "OK";
    case 404:
        return "Not Found";
    case 500:
        return "Internal Server Error";
    default:
        return "Status";
    }
}
} // namespace

LocalHttpServer::LocalHttpServer()
{
    connect(&m_server, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket* socket = m_server.nextPendingConnection()) {
            socket->setParent(this);
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { onReadyRead(socket); });
            connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        }
    });
}

LocalHttpServer::~LocalHttpServer()
{
    close();
}

bool LocalHttpServer::listen()
{
    if (!m_server.listen(QHostAddress::LocalHost, 0))
        return false;
    m_port = m_server.serverPort();
    return true;
}

QString LocalHttpServer::url(const QString& path) const
{
    return QStringLiteral("http://127.0.0.1:%1%2").arg(m_port).arg(path);
}

void LocalHttpServer::close()
{
    m_server.close();
    for (QTcpSocket* socket : findChildren<QTcpSocket*>())
        socket->abort();
    m_held.clear();
}

void LocalHttpServer::release()
{
    m_holding = false;
    const auto held = m_held;
    m_held.clear();
    for (const auto& socket : held)
        if (socket)
            respond(socket);
}

QByteArray LocalHttpServer::lastHeader(const QByteArray& name) const
{
    for (const QByteArray& line : m_lastHeaders) {
        const qsizetype colon = line.indexOf(':');
        if (colon > 0 && line.left(colon).trimmed().compare(name, Qt::CaseInsensitive) == 0)
            return line.mid(colon + 1).trimmed();
    }
    return {};
}

void LocalHttpServer::onReadyRead(QTcpSocket* socket)
{
    QByteArray buffer = socket->property("buffer").toByteArray() + socket->readAll();
    socket->setProperty("buffer", buffer);
    const qsizetype end = buffer.indexOf("\r\n\r\n");
    if (end < 0 || socket->property("answered").toBool())
        return;
    socket->setProperty("answered", true);
    QList<QByteArray> lines = buffer.left(end).split('\n');
    const QList<QByteArray> requestLine = lines.value(0).trimmed().split(' ');
    m_requests.push_back(requestLine.value(1));
    lines.removeFirst();
    m_lastHeaders = lines;
    if (m_holding)
        m_held.push_back(socket);
    else
        respond(socket);
}

void LocalHttpServer::respond(QTcpSocket* socket)
{
    QByteArray out = "HTTP/1.1 " + QByteArray::number(m_response.status) + ' ' + reason(m_response.status) + "\r\n";
    out += "Content-Type: " + m_response.contentType + "\r\n";
    out += "Content-Length: " + QByteArray::number(m_response.body.size()) + "\r\n";
    out += "Connection: close\r\n\r\n";
    out += m_response.body;
    socket->write(out);
    socket->disconnectFromHost();
}

} // namespace mosaro::test
