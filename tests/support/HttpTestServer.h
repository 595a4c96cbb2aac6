#pragma once

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>
#include <QTcpServer>
#include <chrono>
#include <functional>
#include <optional>

// One request as it reached the server.
struct RecordedRequest {
    QByteArray method;
    QByteArray path; // the request target, query included
    QList<std::pair<QByteArray, QByteArray>> headers;
    QByteArray body;

    // The first header of that name (case-insensitive), if any.
    std::optional<QByteArray> header(const QByteArray& name) const;
};

// What the server answers.
struct CannedReply {
    int status = 200;
    QByteArray body;
    std::chrono::milliseconds delay{0};
    bool closeWithoutReply = false;                     // drop the connection instead of answering
    QList<std::pair<QByteArray, QByteArray>> headers{}; // sent after the usual ones
};

// A real HTTP/1.1 server on 127.0.0.1 for tests: records every request and answers each
// with the reply the test chose, after its delay, one connection per request.
class HttpTestServer final : public QObject {
    Q_OBJECT
public:
    using Handler = std::function<CannedReply(const RecordedRequest&)>;

    explicit HttpTestServer(QObject* parent = nullptr);

    bool listen();
    quint16 port() const { return m_server.serverPort(); }
    QString baseUrl() const; // "http://127.0.0.1:PORT"

    void setReply(const CannedReply& reply);
    void setHandler(Handler handler);
    const QList<RecordedRequest>& requests() const { return m_requests; }
    void clearRequests() { m_requests.clear(); }

    // A loopback port where nothing listens (bound once, then released).
    static quint16 unusedPort();

Q_SIGNALS:
    void requestReceived();

private:
    void serve(QTcpSocket* socket);
    static std::optional<RecordedRequest> parse(QByteArray& buffer);

    QTcpServer m_server;
    Handler m_handler;
    QList<RecordedRequest> m_requests;
};
