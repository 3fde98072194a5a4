#include "HTTPReplyReader.h"

#include "support/WMFormat.h"

#include <QLocale>
#include <QNetworkReply>

#include <algorithm>

QVariantMap HTTPReplyReader::makeError(const QString& domain, int code, const QString& description)
{
    return {{QStringLiteral("domain"), domain},
            {QStringLiteral("code"), code},
            {QStringLiteral("description"), description}};
}

QVariantMap HTTPReplyReader::statusError(int status)
{
    if (status < 400)
        return {};
    return makeError(QStringLiteral("WMHTTPStatus"), status,
                     WMFormat::string("HTTP status code = %d", status));
}

QVariantMap HTTPReplyReader::networkError(const QNetworkReply* reply)
{
    int code = -1;
    switch (reply->error()) {
    case QNetworkReply::TimeoutError:
    case QNetworkReply::OperationCanceledError: // the queue cancels only after letting go; this is the
                                                // time-out
        code = -1001;
        break;
    case QNetworkReply::HostNotFoundError:
        code = -1003;
        break;
    case QNetworkReply::ConnectionRefusedError:
        code = -1004;
        break;
    case QNetworkReply::RemoteHostClosedError:
        code = -1005;
        break;
    case QNetworkReply::NetworkSessionFailedError:
    case QNetworkReply::TemporaryNetworkFailureError:
        code = -1009;
        break;
    case QNetworkReply::UnknownNetworkError:
        code = reply->errorString().contains(QStringLiteral("unreachable"), Qt::CaseInsensitive) ? -1009 : -1;
        break;
    case QNetworkReply::ProtocolUnknownError:
        code = -1002;
        break;
    case QNetworkReply::SslHandshakeFailedError:
        code = -1200;
        break;
    case QNetworkReply::ContentNotFoundError:
        code = -1100;
        break;
    case QNetworkReply::ProtocolFailure:
        code = -1011;
        break;
    default:
        break;
    }
    return makeError(QStringLiteral("NSURLErrorDomain"), code, reply->errorString());
}

QVariantMap HTTPReplyReader::headerFields(const QNetworkReply* reply)
{
    QVariantMap headers;
    for (const auto& [name, value] : reply->rawHeaderPairs()) {
        const QString field = QString::fromLatin1(name);
        const QString text = QString::fromUtf8(value);
        const QString existing = headers.value(field).toString();
        headers.insert(field, existing.isEmpty() ? text : existing + QStringLiteral(", ") + text);
    }
    return headers;
}

QString HTTPReplyReader::mimeType(const QNetworkReply* reply)
{
    const QString contentType = QString::fromLatin1(reply->rawHeader("Content-Type"));
    return contentType.section(QLatin1Char(';'), 0, 0).trimmed().toLower();
}

std::optional<qint64> HTTPReplyReader::retryAfterSeconds(const QByteArray& value, const QDateTime& now)
{
    const QByteArray text = value.trimmed();
    if (text.isEmpty() || text.size() > 64)
        return std::nullopt;
    if (std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; })) {
        qint64 seconds = 0;
        for (char c : text) {
            seconds = seconds * 10 + (c - '0');
            if (seconds > kMaxRetryAfterSeconds)
                return kMaxRetryAfterSeconds;
        }
        return seconds;
    }
    if (!now.isValid())
        return std::nullopt;
    // An HTTP date: the preferred form, the obsolete RFC 850 form, or asctime.
    // The weekday is dropped: a wrong one should not cost the date.
    QString date = QString::fromLatin1(text).simplified();
    const qsizetype comma = date.indexOf(QLatin1Char(','));
    date = comma >= 0 ? date.mid(comma + 1).trimmed() : date.section(QLatin1Char(' '), 1);
    static const QString formats[] = {QStringLiteral("d MMM yyyy HH:mm:ss 'GMT'"),
                                      QStringLiteral("d-MMM-yy HH:mm:ss 'GMT'"),
                                      QStringLiteral("MMM d HH:mm:ss yyyy")};
    const QLocale c = QLocale::c();
    for (const QString& format : formats) {
        QDateTime when = c.toDateTime(date, format);
        if (!when.isValid())
            continue;
        when.setTimeSpec(Qt::UTC);
        if (when.date().year() < 1970)
            when = when.addYears(100); // two-digit years of the RFC 850 form
        return std::clamp<qint64>(now.secsTo(when), 0, kMaxRetryAfterSeconds);
    }
    return std::nullopt;
}
