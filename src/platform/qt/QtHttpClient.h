#pragma once

#include "platform/api/HttpClient.h"

#include <QNetworkAccessManager>

// HttpClient over one QNetworkAccessManager; lives on the thread that sends.
class QtHttpClient final : public HttpClient {
public:
    void send(const HttpRequest& request, QObject* context, Done done) override;

private:
    QNetworkAccessManager m_manager;
};
