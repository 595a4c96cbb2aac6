#include "support/HttpTestServer.h"

#include <QPointer>
#include <QTcpSocket>
#include <QTimer>
#include <memory>

std::optional<QByteArray> RecordedRequest::header(const QByteArray& name) const
{
    for (const auto& [key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return std::nullopt;
}

HttpTestServer::HttpTestServer(QObject* parent) : QObject(parent)
{
    setReply({});
    connect(&m_server, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket* socket = m_server.nextPendingConnection())
            serve(socket);
    });
}

bool HttpTestServer::listen()
{
    return m_server.listen(QHostAddress::LocalHost, 0);
}

QString HttpTestServer::baseUrl() const
{
    return QStringLiteral("http://127.0.0.1:%1").arg(port());
}

void HttpTestServer::setReply(const CannedReply& reply)
{
    m_handler = [reply](const RecordedRequest&) { return reply; };
}

void HttpTestServer::setHandler(Handler handler)
{
    m_handler = std::move(handler);
}

quint16 HttpTestServer::unusedPort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

std::optional<RecordedRequest> HttpTestServer::parse(QByteArray& buffer)
{
    const qsizetype headEnd = buffer.indexOf("\r\n\r\n");
    if (headEnd < 0)
        return std::nullopt;
    const QList<QByteArray> lines = buffer.left(headEnd).split('\n');
    const QList<QByteArray> requestLine = lines.value(0).trimmed().split(' ');
    RecordedRequest request;
    request.method = requestLine.value(0);
    request.path = requestLine.value(1);
    qsizetype contentLength = 0;
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const qsizetype colon = lines[i].indexOf(':');
        if (colon < 0)
            continue;
        const QByteArray name = lines[i].left(colon).trimmed();
        const QByteArray value = lines[i].mid(colon + 1).trimmed();
        request.headers.append({name, value});
        if (name.compare("Content-Length", Qt::CaseInsensitive) == 0)
            contentLength = value.toLongLong();
    }
    if (buffer.size() < headEnd + 4 + contentLength)
        return std::nullopt;
    request.body = buffer.mid(headEnd + 4, contentLength);
    buffer.remove(0, headEnd + 4 + contentLength);
    return request;
}

void HttpTestServer::serve(QTcpSocket* socket)
{
    connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    auto buffer = std::make_shared<QByteArray>();
    connect(socket, &QTcpSocket::readyRead, this, [this, socket, buffer] {
        *buffer += socket->readAll();
        const std::optional<RecordedRequest> request = parse(*buffer);
        if (!request)
            return;
        m_requests.append(*request);
        const CannedReply reply = m_handler(*request);
        Q_EMIT requestReceived();
        QTimer::singleShot(reply.delay, socket, [socket, reply] {
            if (!reply.closeWithoutReply) {
                QByteArray response = "HTTP/1.1 " + QByteArray::number(reply.status) +
                                      (reply.status == 200 ? " OK" : " Status") +
                                      "\r\nContent-Type: application/json\r\nContent-Length: " +
                                      QByteArray::number(reply.body.size()) +
                                      "\r\nConnection: close\r\n";
                for (const auto& [name, value] : reply.headers)
                    response += name + ": " + value + "\r\n";
                response += "\r\n" + reply.body;
                socket->write(response);
            }
            socket->disconnectFromHost();
        });
    });
}
