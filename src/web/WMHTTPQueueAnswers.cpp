// The parts of the HTTP queue that read answers: header fields and MIME
// type, bodies within their limits (HTML cut off, anything else refused
// when too large), and the deadline of a whole answer.
#include "WMHTTPQueue.h"

#include "support/LocalizedStrings.h"
#include "support/ProgressIndicator.h"
#include "support/WMLog.h"
#include "web/HTTPReplyReader.h"

#include <QNetworkReply>
#include <QNetworkRequest>

#include <algorithm>

namespace {

const QString kURLErrorDomain = QStringLiteral("NSURLErrorDomain");

constexpr qsizetype kUnknownLengthReserve = 32000;
constexpr qsizetype kMaxReserve = 4 * 1024 * 1024;

bool isRedirectStatus(int status)
{
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

} // namespace

void WMHTTPQueue::replyMetaData(QNetworkReply* reply, const QString& key)
{
    if (mConnections.value(key) != reply)
        return;
    mHeaderDicts.insert(key, HTTPReplyReader::headerFields(reply));
    const QString mime = HTTPReplyReader::mimeType(reply);
    if (mime.isEmpty())
        mMIMETypes.remove(key);
    else
        mMIMETypes.insert(key, mime);

    const qint64 expected = reply->header(QNetworkRequest::ContentLengthHeader).toLongLong();
    QByteArray& buffer = mData[key];
    if (buffer.isEmpty())
        buffer.reserve(expected < 1 ? kUnknownLengthReserve : std::min<qint64>(expected, kMaxReserve));
    if (mIndicator && isIndicatorURL(key)) {
        mIndicator->setIndeterminate(false);
        mIndicator->setMaxValue(static_cast<double>(std::max<qint64>(expected, 0)));
        mIndicator->setDoubleValue(0.0);
    }
}

qint64 WMHTTPQueue::answerLimit(const QString& key) const
{
    return cutsOffAnswer(key) ? mMaxHTMLLength : kMaxAnswerLength;
}

bool WMHTTPQueue::cutsOffAnswer(const QString& key) const
{
    return mMaxHTMLLength > 0 && mMIMETypes.value(key) == QStringLiteral("text/html");
}

void WMHTTPQueue::replyReadyRead(QNetworkReply* reply, const QString& key)
{
    if (mConnections.value(key) != reply)
        return;
    QByteArray& buffer = mData[key];
    // Never more than one byte beyond the limit, however much has arrived.
    const qint64 limit = answerLimit(key);
    buffer.append(reply->read(std::max<qint64>(limit + 1 - buffer.size(), 0)));
    if (mIndicator && isIndicatorURL(key))
        mIndicator->setDoubleValue(static_cast<double>(buffer.size()));
    if (buffer.size() > limit && !cutsOffAnswer(key)) {
        refuseTooLargeAnswer(key);
        return;
    }
    if (buffer.size() >= limit && cutsOffAnswer(key)) {
        // Enough of the page: treat it as finished with what has arrived.
        buffer.truncate(limit);
        const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        const QUrl url = mRequests.value(key).url;
        releaseIndicator(key);
        const QByteArray data = mData.take(key);
        const QString mime = mMIMETypes.value(key);
        dropConnection(key);
        mNoInternetAnnounced = false;
        notifyOwnerOfURL(url, data, mime, HTTPReplyReader::statusError(status));
        return;
    }
    reloadTable();
}

void WMHTTPQueue::replyFinished(QNetworkReply* reply, const QString& key)
{
    if (mConnections.value(key) != reply) {
        reply->deleteLater();
        return;
    }
    const QUrl url = mRequests.value(key).url;
    if (!mHeaderDicts.contains(key))
        replyMetaData(reply, key);
    if (reply->isOpen()) {
        QByteArray& buffer = mData[key];
        const qint64 limit = answerLimit(key);
        buffer.append(reply->read(std::max<qint64>(limit + 1 - buffer.size(), 0)));
        if (buffer.size() > limit) {
            if (!cutsOffAnswer(key)) {
                refuseTooLargeAnswer(key);
                return;
            }
            buffer.truncate(limit);
        }
    }
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (isRedirectStatus(status) && followRedirect(reply, key, status))
        return;
    if ((status == 429 || status == 503) && retryLater(reply, key, status))
        return;

    QVariantMap error;
    if (status >= 400) {
        error = HTTPReplyReader::statusError(status);
    } else if (reply->error() != QNetworkReply::NoError) {
        connectionFailed(key, HTTPReplyReader::networkError(reply));
        return;
    }
    releaseIndicator(key);
    const QByteArray data = mData.take(key);
    const QString mime = mMIMETypes.value(key);
    dropConnection(key);
    mNoInternetAnnounced = false;
    notifyOwnerOfURL(url, data, mime, error);
}

void WMHTTPQueue::answerDeadlinePassed(QNetworkReply* reply, const QString& key)
{
    if (mConnections.value(key) != reply)
        return;
    const int seconds = std::max(1, (mAnswerDeadlineMs + 999) / 1000);
    WMLog("No whole answer within %d s for %@", seconds, mRequests.value(key).url.toString());
    connectionFailed(
        key, HTTPReplyReader::makeError(kURLErrorDomain, -1001, QStringLiteral("The request timed out.")),
        seconds);
}

void WMHTTPQueue::refuseTooLargeAnswer(const QString& key)
{
    const QUrl url = mRequests.value(key).url;
    WMLog("Answer larger than %ld bytes for %@: not read", static_cast<long>(kMaxAnswerLength),
          url.toString());
    const QString host = url.host().toLower();
    if (!mTooLargeAnnounced.contains(host)) {
        mTooLargeAnnounced.insert(host);
        emit importantLogNotification(LocalizedStrings::format(QStringLiteral("ErrorAnswerTooLarge"), host,
                                                               kMaxAnswerLength / (1024 * 1024)));
    }
    releaseIndicator(key);
    const QString mime = mMIMETypes.value(key);
    dropConnection(key);
    notifyOwnerOfURL(
        url, QByteArray(), mime,
        HTTPReplyReader::makeError(kURLErrorDomain, -1103,
                                   QStringLiteral("The answer is larger than the largest allowed.")));
}
