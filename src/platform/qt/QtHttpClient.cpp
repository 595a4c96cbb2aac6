#include "platform/qt/QtHttpClient.h"

#include <QNetworkReply>
#include <QPointer>
#include <QTimer>
#include <memory>

namespace {

HttpResponse responseOf(QNetworkReply& reply, bool timedOut)
{
    HttpResponse response;
    const QVariant status = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (timedOut) {
        response.outcome = HttpResponse::Outcome::timedOut;
    } else if (status.isValid()) {
        // Error statuses set reply.error() too; they are still replies.
        response.outcome = HttpResponse::Outcome::reply;
        response.status = status.toInt();
        response.body = reply.readAll();
    } else if (reply.error() != QNetworkReply::NoError) {
        response.outcome = HttpResponse::Outcome::transportError;
        response.errorText = reply.errorString();
    } else {
        response.outcome = HttpResponse::Outcome::notHttp;
    }
    return response;
}

} // namespace

void QtHttpClient::send(const HttpRequest& request, QObject* context, Done done)
{
    QNetworkRequest networkRequest(request.url);
    for (const auto& [name, value] : request.headers)
        networkRequest.setRawHeader(name, value);

    QNetworkReply* reply = nullptr;
    if (request.method == "GET" && request.body.isEmpty())
        reply = m_manager.get(networkRequest);
    else if (request.method == "POST")
        reply = m_manager.post(networkRequest, request.body);
    else
        reply = m_manager.sendCustomRequest(networkRequest, request.method, request.body);

    // Qt's own transfer timeout restarts on every byte; this limit covers the whole exchange.
    auto timedOut = std::make_shared<bool>(false);
    auto* timer = new QTimer(reply);
    timer->setSingleShot(true);
    QObject::connect(timer, &QTimer::timeout, reply, [reply, timedOut] {
        *timedOut = true;
        reply->abort();
    });
    timer->start(request.timeLimit);

    QObject::connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
    const QMetaObject::Connection delivery = QObject::connect(
        reply, &QNetworkReply::finished, context,
        [reply, timedOut, done = std::move(done)] { done(responseOf(*reply, *timedOut)); });
    // Nobody waits for an abandoned request: stop it rather than let it run to its limit. The
    // delivery goes first, since `context` is half destroyed by now.
    QObject::connect(context, &QObject::destroyed, reply, [reply, delivery] {
        QObject::disconnect(delivery);
        reply->abort();
    });
}
