// The parts of the HTTP queue that handle answers other than a plain
// success: redirects followed with the owner kept, busy hosts asked again
// after their Retry-After (or given up on when that is too far off), and
// connection failures and time-outs that pause a host.
#include "WMHTTPQueue.h"

#include "support/LocalizedStrings.h"
#include "support/WMLog.h"
#include "web/HTTPReplyReader.h"

#include <QNetworkReply>
#include <QNetworkRequest>

namespace {

const QString kURLErrorDomain = QStringLiteral("NSURLErrorDomain");

} // namespace

bool WMHTTPQueue::followRedirect(QNetworkReply* reply, const QString& key, int status)
{
    const QByteArray location = reply->rawHeader("Location").trimmed();
    if (location.isEmpty())
        return false;
    const RequestInfo old = mRequests.value(key);
    const QUrl target = old.url.resolved(QUrl::fromEncoded(location));
    if (!target.isValid() || target.isEmpty())
        return false;
    if (!mOwners.contains(key) || mMethodNames.value(key).isEmpty()) {
        logOwnerProblem();
        return false;
    }
    if (old.redirectHops >= kMaxRedirects) {
        WMLog("Too many redirects for %@", old.url.toString());
        releaseIndicator(key);
        dropConnection(key);
        notifyOwnerOfURL(
            old.url, QByteArray(), QString(),
            HTTPReplyReader::makeError(kURLErrorDomain, -1007, QStringLiteral("too many HTTP redirects")));
        return true;
    }

    const QPointer<QObject> owner = mOwners.value(key);
    const QByteArray method = mMethodNames.value(key);
    const bool carriesIndicator = isIndicatorURL(key);
    dropConnection(key);
    forget(key);
    emit redirectNotification({{QStringLiteral("old"), old.url}, {QStringLiteral("new"), target}});
    if (!owner) {
        loadWaitingURLs(); // nobody left to tell
        return true;
    }

    RequestInfo next;
    next.redirectHops = old.redirectHops + 1;
    next.verb = old.verb;
    if (old.verb == Verb::Post && status != 307 && status != 308)
        next.verb = Verb::Get;
    next.askedURL = old.askedURL;
    next.mayBeStored = old.mayBeStored && next.verb == Verb::Get;
    if (next.verb == Verb::Post)
        next.body = old.body;
    int policy = 1;
    if (next.verb == Verb::Get)
        policy = mNoCacheURLs.remove(keyFor(target)) ? 1 : 2;
    if (carriesIndicator)
        mIndicatorURL = target;
    enqueue(target, owner, method, true, policy, next);
    return true;
}

bool WMHTTPQueue::retryLater(QNetworkReply* reply, const QString& key, int status)
{
    const auto seconds =
        HTTPReplyReader::retryAfterSeconds(reply->rawHeader("Retry-After"), QDateTime::currentDateTimeUtc());
    RequestInfo& info = mRequests[key];
    if (!seconds)
        return false;
    if (*seconds > kMaxRetryWaitSeconds) {
        // Waiting that long would hold the whole run: the host is left alone
        // until then, and this answer is the owner's now.
        const QString host = info.url.host().toLower();
        WMLog("HTTP status %d for %@: asked to wait %d s, giving up on %@", status, info.url.toString(),
              *seconds, host);
        if (mPacer.pauseRemaining(host) <= kMaxRetryWaitSeconds * 1000)
            emit importantLogNotification(
                LocalizedStrings::format(QStringLiteral("ErrorHostAsksToWait"), host, *seconds));
        mPacer.pauseFor(host, *seconds);
        mBusyStatuses.insert(host, status);
        return false;
    }
    if (info.retries >= kMaxRetries)
        return false;
    ++info.retries;
    mPacer.pauseFor(info.url.host(), *seconds);
    WMLog("HTTP status %d for %@: trying again in %d s", status, info.url.toString(), *seconds);
    dropConnection(key);
    mMIMETypes.remove(key);
    mHeaderDicts.remove(key);
    loadWaitingURLs();
    return true;
}

QVariantMap WMHTTPQueue::givenUpHostError(const QString& host) const
{
    return HTTPReplyReader::statusError(mBusyStatuses.value(host.toLower(), 503));
}

// ---- failing and notifying

void WMHTTPQueue::connectionFailed(const QString& key, const QVariantMap& error, int timeoutSeconds)
{
    const RequestInfo info = mRequests.value(key);
    const QUrl url = info.url;
    const int code = error.value(QStringLiteral("code")).toInt();
    const QString host = url.host().toLower();
    if ((code == -1001 || code == -1003 || code == -1004) && !host.isEmpty() && !isUnrecordedHost(host)) {
        if (code == -1001 && !mPacer.hasRecentFailure(host)) {
            // Once per pause of the host.
            if (timeoutSeconds <= 0)
                timeoutSeconds = std::max(1, (timeoutFor(info.verb) + 999) / 1000);
            emit importantLogNotification(
                LocalizedStrings::format(QStringLiteral("ErrorHostTimedOut"), host, qint64(timeoutSeconds)));
        }
        mPacer.recordFailure(host);
        mHostFailures.insert(host, error);
    }
    releaseIndicator(key);
    dropConnection(key);
    if (code == -1009 && !mNoInternetAnnounced) {
        mNoInternetAnnounced = true;
        emit importantLogNotification(LocalizedStrings::text(QStringLiteral("GeneralErrorPrefix")) +
                                      QLatin1Char(' ') +
                                      error.value(QStringLiteral("description")).toString());
    }
    notifyOwnerOfURL(url, QByteArray(), QString(), error);
}
