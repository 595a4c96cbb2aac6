#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QUrl>
#include <chrono>
#include <functional>
#include <utility>

class QObject;

struct HttpRequest {
    QByteArray method = QByteArrayLiteral("GET");
    QUrl url;
    QList<std::pair<QByteArray, QByteArray>> headers; // sent in this order
    QByteArray body;
    std::chrono::milliseconds timeLimit{60000}; // for the whole exchange
};

struct HttpResponse {
    enum class Outcome {
        reply,          // an HTTP reply arrived, whatever its status
        timedOut,       // the time limit ran out first
        transportError, // refused, reset, unknown host, bad scheme...
        notHttp,        // something answered, but not with an HTTP reply
    };
    Outcome outcome = Outcome::transportError;
    int status = 0;
    QByteArray body;
    QString errorText; // transportError: the transport's own description
};

// Sends HTTP requests without blocking the calling thread; several may be in flight. Requests
// carry credentials, so a redirect is followed only within the request's origin (scheme, host
// and port); one to anywhere else ends the request as a transport error.
class HttpClient {
public:
    using Done = std::function<void(const HttpResponse&)>;
    virtual ~HttpClient() = default;
    // `done` runs exactly once, later, on the calling thread, unless `context` is destroyed
    // first; then the request is abandoned.
    virtual void send(const HttpRequest& request, QObject* context, Done done) = 0;
};
