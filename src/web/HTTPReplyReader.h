#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QVariantMap>

#include <optional>

class QNetworkReply;

// What the HTTP queue reads out of a network reply: its header fields and
// MIME type, the error dictionary it stands for, and the wait a
// "Retry-After" field asks for. Error dictionaries are {"domain", "code",
// "description"} with the domain "NSURLErrorDomain" (codes -1001 timed out,
// -1003 host not found, -1004 cannot connect, -1009 offline, -1103 answer
// too large, ...) or "WMHTTPStatus" (code = the HTTP status).
class HTTPReplyReader
{
public:
    static QVariantMap makeError(const QString& domain, int code, const QString& description);
    // The "WMHTTPStatus" error for a status of 400 or more, else empty.
    static QVariantMap statusError(int status);
    // The "NSURLErrorDomain" error for a reply that failed on the network.
    static QVariantMap networkError(const QNetworkReply* reply);
    // Header name -> value (repeated fields joined with ", ").
    static QVariantMap headerFields(const QNetworkReply* reply);
    // The Content-Type without parameters, in lower case; empty when absent.
    static QString mimeType(const QNetworkReply* reply);

    // Seconds to wait from a "Retry-After" value (delta seconds or an HTTP
    // date relative to `now`), clamped to [0, kMaxRetryAfterSeconds]; none
    // when the value is neither.
    static std::optional<qint64> retryAfterSeconds(const QByteArray& value, const QDateTime& now);

    // Far beyond any wait the queue honours, so that the wait asked for can
    // still be named.
    static constexpr qint64 kMaxRetryAfterSeconds = 366LL * 24 * 3600;
};
