#include "platform/qt/QtHttpClient.h"

#include <QNetworkReply>
#include <QPointer>
#include <QTimer>
#include <memory>

namespace {

int portOf(const QUrl& url)
{
    const QString scheme = url.scheme().toLower();
    return url.port(scheme == u"https" ? 443 : scheme == u"http" ? 80 : -1);
}

bool sameOrigin(const QUrl& a, const QUrl& b)
{
    return a.scheme().compare(b.scheme(), Qt::CaseInsensitive) == 0 &&
           a.host().compare(b.host(), Qt::CaseInsensitive) == 0 && portOf(a) == portOf(b);
}

// How one exchange ended, besides what the reply says.
struct Ending {
    bool timedOut = false;
    QUrl refusedRedirect;
};

HttpResponse responseOf(QNetworkReply& reply, const Ending& ending)
{
    HttpResponse response;
    const QVariant status = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (!ending.refusedRedirect.isEmpty()) {
        response.outcome = HttpResponse::Outcome::transportError;
        response.errorText =
            QStringLiteral("refused a redirect to another address (%1)")
                .arg(ending.refusedRedirect
                         .adjusted(QUrl::RemoveUserInfo | QUrl::RemoveQuery | QUrl::RemoveFragment)
                         .toString());
    } else if (ending.timedOut) {
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
    // Qt would carry every header, the API key's too, to wherever a redirect points.
    networkRequest.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                                QNetworkRequest::UserVerifiedRedirectPolicy);

    QNetworkReply* reply = nullptr;
    if (request.method == "GET" && request.body.isEmpty())
        reply = m_manager.get(networkRequest);
    else if (request.method == "POST")
        reply = m_manager.post(networkRequest, request.body);
    else
        reply = m_manager.sendCustomRequest(networkRequest, request.method, request.body);

    // Redirects are followed within the request's origin only (scheme, host and port).
    auto ending = std::make_shared<Ending>();
    QObject::connect(reply, &QNetworkReply::redirected, reply,
                     [reply, ending, origin = request.url](const QUrl& target) {
                         if (sameOrigin(origin, origin.resolved(target))) {
                             Q_EMIT reply->redirectAllowed();
                             return;
                         }
                         ending->refusedRedirect = origin.resolved(target);
                         reply->abort();
                     });

    // Qt's own transfer timeout restarts on every byte; this limit covers the whole exchange.
    auto* timer = new QTimer(reply);
    timer->setSingleShot(true);
    QObject::connect(timer, &QTimer::timeout, reply, [reply, ending] {
        ending->timedOut = true;
        reply->abort();
    });
    timer->start(request.timeLimit);

    QObject::connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
    const QMetaObject::Connection delivery = QObject::connect(
        reply, &QNetworkReply::finished, context,
        [reply, ending, done = std::move(done)] { done(responseOf(*reply, *ending)); });
    // Nobody waits for an abandoned request: stop it rather than let it run to its limit. The
    // delivery goes first, since `context` is half destroyed by now.
    QObject::connect(context, &QObject::destroyed, reply, [reply, delivery] {
        QObject::disconnect(delivery);
        reply->abort();
    });
}
