#pragma once

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTcpServer>
#include <QTcpSocket>

namespace mosaro::test {

// A tiny HTTP/1.1 server on 127.0.0.1 for tests of network clients: every GET gets the one
// response the test set, or waits for the test to release it.
class LocalHttpServer : public QObject {
    Q_OBJECT
public:
    struct Response {
        int status = 200;
        QByteArray body;
        QByteArray contentType = "application/rss+xml";
    };

    LocalHttpServer();
    ~LocalHttpServer() override;

    // Listens on a free loopback port.
    bool listen();
    // http://127.0.0.1:<port><path>
    QString url(const QString& path) const;
    // Stops listening and drops every connection: later requests are refused.
    void close();

    void setResponse(Response response) { m_response = std::move(response); }
    // While holding, requests are read but left unanswered until release().
    void setHolding(bool holding) { m_holding = holding; }
    void release();

    // The paths requested so far, in order.
    const QList<QByteArray>& requests() const { return m_requests; }
    // The value of a header of the last request, or empty.
    QByteArray lastHeader(const QByteArray& name) const;

private:
    void onReadyRead(QTcpSocket* socket);
    void respond(QTcpSocket* socket);

    QTcpServer m_server;
    quint16 m_port = 0;
    Response m_response;
    bool m_holding = false;
    QList<QByteArray> m_requests;
    QList<QByteArray> m_lastHeaders;
    QList<QPointer<QTcpSocket>> m_held;
};

} // namespace mosaro::test
