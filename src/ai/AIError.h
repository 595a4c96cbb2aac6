#pragma once

#include <QString>
#include <variant>

// Why a request to the model failed, with the text the user sees.
class AIError {
public:
    enum class Kind {
        networkError,
        apiError,
        notConfigured,
        noAPIKey,
        timeout,
        ollamaNotRunning,
        emptyResponse
    };

    static AIError networkError(const QString& message) { return {Kind::networkError, message}; }
    static AIError apiError(int status, const QString& body)
    {
        return {Kind::apiError, body, status};
    }
    static AIError notConfigured() { return {Kind::notConfigured}; }
    static AIError noAPIKey() { return {Kind::noAPIKey}; }
    static AIError timeout() { return {Kind::timeout}; }
    static AIError ollamaNotRunning() { return {Kind::ollamaNotRunning}; }
    static AIError emptyResponse() { return {Kind::emptyResponse}; }

    Kind kind() const { return m_kind; }
    int status() const { return m_status; }
    // networkError: the message; apiError: the reply's body.
    const QString& payload() const { return m_payload; }

    QString errorDescription() const;

    bool operator==(const AIError&) const = default;

private:
    AIError(Kind kind, QString payload = {}, int status = 0)
        : m_kind(kind), m_payload(std::move(payload)), m_status(status)
    {}

    Kind m_kind;
    QString m_payload;
    int m_status;
};

// A failure outside AIError (a reply that does not decode, a body that cannot be encoded),
// shown by its own description.
struct ForeignError {
    QString description;
    bool operator==(const ForeignError&) const = default;
};

using AIFailure = std::variant<AIError, ForeignError>;

QString failureDescription(const AIFailure& failure);
