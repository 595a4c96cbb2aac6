#pragma once

#include "ai/AIError.h"
#include "ai/AIProvider.h"
#include "platform/api/HttpClient.h"

#include <QStringList>
#include <chrono>
#include <variant>

// The settings one request is built from, read when the operation starts.
struct AIRequestSettings {
    AIProvider provider = AIProvider::openAI;
    QString model;
    QString baseURL;                // the effective base URL
    QString anthropicPublicBaseURL; // Anthropic's public API, for the non-enterprise case
    bool isAnthropicEnterprise = false;
    AnthropicEnterpriseAuthType authType = AnthropicEnterpriseAuthType::bearer;
    QString customHeader;
    AnthropicEnterpriseEndpointStyle endpointStyle = AnthropicEnterpriseEndpointStyle::standard;
    QString customEndpoint;
    QString systemPrompt;
    double temperature = 0.7;
    qint64 maxTokens = 1024;
    qint64 ollamaPort = 11434;
};

template <typename T> using AIResult = std::variant<T, AIFailure>;

// Building requests and reading replies; no state, no I/O.
namespace AIRequests {

// The text without any "/" at either end.
QString trimmedSlashes(const QString& s);

AIResult<HttpRequest> completionRequest(const AIRequestSettings& settings, const QString& apiKey,
                                        const QString& prompt, std::chrono::milliseconds limit);

// The credential headers of an Anthropic or Anthropic-compatible request.
void applyAnthropicAuth(HttpRequest& request, const AIRequestSettings& settings,
                        const QString& apiKey);

// The body of a 200 reply, or why there is none.
AIResult<QByteArray> performRequestResult(const HttpResponse& response);

// The reply text of a completion, by provider kind.
AIResult<QString> completionText(AIProvider provider, const QByteArray& body);

// OpenAI's reasoning models (o1, o3, o4-mini...) refuse "max_tokens" and "temperature".
bool isReasoningModel(AIProvider provider, const QString& model);

// `afterId`: the page after that model (Anthropic's list is paged).
AIResult<HttpRequest> modelListRequest(const AIRequestSettings& settings, const QString& apiKey,
                                       std::chrono::milliseconds limit,
                                       std::chrono::milliseconds ollamaLimit,
                                       const QString& afterId = {});

// The id to ask the next page after, when an Anthropic model-list reply says there is more.
std::optional<QString> nextModelPage(AIProvider provider, const HttpResponse& response);

// The model ids of a model-list reply: filtered and sorted as the provider needs.
AIResult<QStringList> modelList(AIProvider provider, const HttpResponse& response);

QStringList filteredModels(AIProvider provider, const QStringList& ids);
void sortModelIds(QStringList& ids);

} // namespace AIRequests
