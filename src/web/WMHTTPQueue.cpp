#include "WMHTTPQueue.h"

#include "support/BundleInfo.h"
#include "support/LocalizedStrings.h"
#include "support/ProgressIndicator.h"
#include "support/WMLog.h"
#include "web/HTTPAnswerStore.h"
#include "web/HTTPQueueModel.h"
#include "web/HTTPReplyReader.h"

#include <QCoreApplication>
#include <QDir>
#include <QNetworkAccessManager>
#include <QNetworkDiskCache>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSettings>
#include <QStandardPaths>

#include <algorithm>
#include <exception>

namespace {

const QString kURLKey = QStringLiteral("WMHTTPURLKey");
const QString kDataKey = QStringLiteral("WMHTTPDataKey");
const QString kMIMETypeKey = QStringLiteral("WMHTTPMIMETypeKey");
const QString kHeadersKey = QStringLiteral("WMHTTPHeadersKey");
const QString kErrorKey = QStringLiteral("WMHTTPErrorKey");
const QString kURLErrorDomain = QStringLiteral("NSURLErrorDomain");

constexpr int kGetTimeoutMs = 10 * 1000;
constexpr int kHeadTimeoutMs = 45 * 1000;
constexpr int kPostTimeoutMs = 30 * 1000;
constexpr qint64 kReadBufferSize = 1024 * 1024;
constexpr int kDefaultCacheSizeMB = 10;

// The maker's own hosts: their failures never pause them.
const char* const kMakerHosts[] = {"wendmark.com", "www.wendmark.com", "update.wendmark.com"};

QString ownerDescription(const QObject* owner)
{
    if (!owner)
        return QStringLiteral("(null)");
    return QStringLiteral("<%1: 0x%2>")
        .arg(QLatin1String(owner->metaObject()->className()))
        .arg(reinterpret_cast<quintptr>(owner), 0, 16);
}

} // namespace

WMHTTPQueue* WMHTTPQueue::queue()
{
    static QPointer<WMHTTPQueue> shared;
    if (!shared)
        shared = new WMHTTPQueue(QCoreApplication::instance()); // owned by the application object
    return shared;
}

WMHTTPQueue::WMHTTPQueue(QObject* parent)
    : QObject(parent), mAgentID(defaultAgentString()), mAnswerDeadlineMs(answerDeadlineFromSettings() * 1000),
      mManager(std::make_unique<QNetworkAccessManager>())
{
    mWakeTimer.setSingleShot(true);
    connect(&mWakeTimer, &QTimer::timeout, this, &WMHTTPQueue::loadWaitingURLs);

    const QString cacheFolder =
        QStandardPaths::writableLocation(QStandardPaths::CacheLocation) + QStringLiteral("/http");
    QDir().mkpath(cacheFolder);
    auto cache = std::make_unique<QNetworkDiskCache>();
    cache->setCacheDirectory(cacheFolder);
    cache->setMaximumCacheSize(cacheCapacityFromSettings());
    mCache = cache.get();
    mManager->setCache(cache.release()); // the manager takes ownership
    mManager->setRedirectPolicy(QNetworkRequest::ManualRedirectPolicy);
}

WMHTTPQueue::~WMHTTPQueue()
{
    mModel.reset();
    cancelAll();
}

qint64 WMHTTPQueue::cacheCapacityFromSettings()
{
    const QVariant value = QSettings().value(QStringLiteral("cacheSizeMB"));
    bool ok = false;
    qint64 megabytes = value.toLongLong(&ok);
    if (!value.isValid() || !ok || megabytes < 0)
        megabytes = kDefaultCacheSizeMB;
    return std::min<qint64>(megabytes, 1024 * 1024) * 1048576;
}

int WMHTTPQueue::answerDeadlineFromSettings()
{
    bool ok = false;
    const int seconds =
        QSettings().value(QStringLiteral("httpDeadlineSeconds"), kDefaultAnswerDeadlineSeconds).toInt(&ok);
    return ok && seconds > 0 ? std::min(seconds, 3600) : kDefaultAnswerDeadlineSeconds;
}

void WMHTTPQueue::setCacheCapacity(qint64 bytes)
{
    if (mCache)
        mCache->setMaximumCacheSize(std::max<qint64>(bytes, 0));
}

QString WMHTTPQueue::defaultAgentString()
{
    const QString agent = QSettings().value(QStringLiteral("userAgent")).toString();
    if (!agent.isEmpty())
        return agent;
    const QString version = BundleInfo::shortVersion();
    const QString slashVersion = version.isEmpty() ? QString() : QStringLiteral("/") + version;
    return QStringLiteral("Quillbeat") + slashVersion + QStringLiteral(" (like Safari/Gecko)");
}

void WMHTTPQueue::setAgentString(const QString& agent)
{
    mAgentID = agent;
}

QString WMHTTPQueue::keyFor(const QUrl& url)
{
    return url.toString(QUrl::FullyEncoded);
}

bool WMHTTPQueue::answerHasError(const QVariantMap& answer)
{
    return answer.contains(kErrorKey);
}

int WMHTTPQueue::errorCode(const QVariantMap& answer)
{
    return answer.value(kErrorKey).toMap().value(QStringLiteral("code")).toInt();
}

// ---- queueing

bool WMHTTPQueue::acceptsRequest(const QUrl& url, const QObject* owner, const QByteArray& returnMethod)
{
    if (!url.isEmpty() && url.isValid() && owner && !returnMethod.isEmpty())
        return true;
    WMLog("!!! au url:<%p: %@> o:%p m:%@", static_cast<const void*>(&url), url.toString(),
          static_cast<const void*>(owner), returnMethod);
    return false;
}

bool WMHTTPQueue::isIndicatorURL(const QString& key) const
{
    return mIndicatorURL.isValid() && keyFor(mIndicatorURL) == key;
}

void WMHTTPQueue::releaseIndicator(const QString& key)
{
    if (isIndicatorURL(key)) {
        mIndicator = nullptr;
        mIndicatorURL = QUrl();
    }
}

void WMHTTPQueue::addURL(const QUrl& url, QObject* owner, const QByteArray& returnMethod, bool atBeginning,
                         bool usingCache)
{
    if (!acceptsRequest(url, owner, returnMethod))
        return;
    int policy = 1;
    RequestInfo info;
    if (usingCache) {
        // The bypass holds for one request only.
        policy = mNoCacheURLs.remove(keyFor(url)) ? 1 : 2;
        if (policy == 2 && answerFromStore(url, owner, returnMethod))
            return;
        info.mayBeStored = true;
    }
    enqueue(url, owner, returnMethod, atBeginning, policy, info);
}

void WMHTTPQueue::addURL(const QUrl& url, QObject* owner, const QByteArray& returnMethod,
                         ProgressIndicator* indicator)
{
    if (!acceptsRequest(url, owner, returnMethod))
        return;
    // An answer from the run's store is no download to show.
    if (!mNoCacheURLs.contains(keyFor(url)) && answerFromStore(url, owner, returnMethod))
        return;
    if (indicator) {
        mIndicator = indicator;
        mIndicatorURL = url;
        indicator->setIndeterminate(true);
        indicator->startAnimation();
    }
    addURL(url, owner, returnMethod, false, true);
}

void WMHTTPQueue::getHeadersForURL(const QUrl& url, QObject* owner, const QByteArray& returnMethod)
{
    if (!acceptsRequest(url, owner, returnMethod))
        return;
    RequestInfo info;
    info.verb = Verb::Head;
    enqueue(url, owner, returnMethod, false, 1, info);
}

void WMHTTPQueue::postURL(const QUrl& url, QObject* owner, const QByteArray& returnMethod,
                          const QByteArray& data)
{
    if (!acceptsRequest(url, owner, returnMethod))
        return;
    RequestInfo info;
    info.verb = Verb::Post;
    info.body = data;
    enqueue(url, owner, returnMethod, false, 1, info);
}

void WMHTTPQueue::enqueue(const QUrl& url, QObject* owner, const QByteArray& returnMethod, bool atBeginning,
                          int policy, const RequestInfo& info)
{
    const QString key = keyFor(url);
    if (mRequests.contains(key)) {
        WMLog("%@ Adding URL already in queue! %@", ownerDescription(owner), url.toString());
        cancelURL(url);
    }
    if (atBeginning)
        mURLs.prepend(url);
    else
        mURLs.append(url);
    RequestInfo stored = info;
    stored.url = url;
    if (stored.askedURL.isEmpty())
        stored.askedURL = url;
    mRequests.insert(key, stored);
    mOwners.insert(key, owner);
    mCachePolicies.insert(key, policy);
    mMethodNames.insert(key, returnMethod);
    loadWaitingURLs();
}

void WMHTTPQueue::cancelURL(const QUrl& url)
{
    const QString key = keyFor(url);
    dropStoredDeliveries(key);
    if (!mRequests.contains(key))
        return;
    releaseIndicator(key);
    dropConnection(key);
    forget(key);
    loadWaitingURLs();
}

void WMHTTPQueue::cancelAll()
{
    const QStringList keys = mConnections.keys();
    for (const QString& key : keys)
        dropConnection(key);
    mURLs.clear();
    mCachePolicies.clear();
    mOwners.clear();
    mMethodNames.clear();
    mData.clear();
    mMIMETypes.clear();
    mHeaderDicts.clear();
    mRequests.clear();
    mStoredDeliveries.clear();
    mIndicator = nullptr;
    mIndicatorURL = QUrl();
    mWakeTimer.stop();
    reloadTable();
}

void WMHTTPQueue::removeURLFromCache(const QUrl& url)
{
    if (mAnswerStore)
        mAnswerStore->forget(url);
    if (url.toString().startsWith(QStringLiteral("http")))
        mNoCacheURLs.insert(keyFor(url));
}

void WMHTTPQueue::removeFailureForHostOfURL(const QUrl& url)
{
    mPacer.forgetFailure(url.host());
}

void WMHTTPQueue::setMaximumHTMLLength(int length)
{
    mMaxHTMLLength = std::clamp(length, 0, int(kMaxAnswerLength));
}

void WMHTTPQueue::setSimultaneousConnections(int count)
{
    mMaxConnections = std::max(count, 1);
    loadWaitingURLs();
}

int WMHTTPQueue::currentNumberOfConnections() const
{
    return static_cast<int>(mConnections.size());
}

void WMHTTPQueue::setMinimumIntervalForHost(const QString& host, double seconds)
{
    mPacer.setMinimumInterval(host, seconds);
}

void WMHTTPQueue::setPaused(bool paused)
{
    mQueuePaused = paused;
    if (!paused)
        loadWaitingURLs();
}

int WMHTTPQueue::timeoutFor(Verb verb) const
{
    if (mTimeoutOverrideMs > 0)
        return mTimeoutOverrideMs;
    switch (verb) {
    case Verb::Head:
        return kHeadTimeoutMs;
    case Verb::Post:
        return kPostTimeoutMs;
    case Verb::Get:
        break;
    }
    return kGetTimeoutMs;
}

bool WMHTTPQueue::isUnrecordedHost(const QString& host) const
{
    return std::any_of(std::begin(kMakerHosts), std::end(kMakerHosts),
                       [&](const char* maker) { return host == QLatin1String(maker); });
}

// ---- starting

void WMHTTPQueue::loadWaitingURLs()
{
    if (mQueuePaused)
        return;
    qint64 wakeIn = -1;
    for (qsizetype i = 0; i < mURLs.size() && mConnections.size() < mMaxConnections; ++i) {
        const QUrl url = mURLs.at(i);
        const QString key = keyFor(url);
        if (mConnections.contains(key))
            continue;
        RequestInfo& info = mRequests[key];
        if (info.failing)
            continue;
        const QString host = url.host();
        if (!host.isEmpty()) {
            if (mPacer.hasRecentFailure(host)) {
                // With the reason the host is avoided: a server that went
                // quiet did not refuse anything.
                failLater(url, info, mHostFailures.value(host.toLower()));
                break;
            }
            if (mPacer.pauseRemaining(host) > kMaxRetryWaitSeconds * 1000) {
                failLater(url, info, givenUpHostError(host));
                continue;
            }
            const qint64 delay = mPacer.delayBeforeStart(host);
            if (delay > 0) {
                wakeIn = wakeIn < 0 ? delay : std::min(wakeIn, delay);
                continue;
            }
        }
        if (!startRequest(url))
            failLater(url, info);
    }
    if (wakeIn >= 0)
        scheduleWakeUp(std::max<qint64>(wakeIn, 1));
    reloadTable();
}

void WMHTTPQueue::failLater(const QUrl& url, RequestInfo& info, const QVariantMap& error)
{
    info.failing = true;
    info.failure = error;
    QTimer::singleShot(0, this, [this, url] { notifyConnectionFailureForURL(url); });
}

void WMHTTPQueue::scheduleWakeUp(qint64 delayMs)
{
    const int delay = static_cast<int>(std::min<qint64>(delayMs, 24LL * 3600 * 1000));
    if (!mWakeTimer.isActive() || mWakeTimer.remainingTime() > delay)
        mWakeTimer.start(delay);
}

bool WMHTTPQueue::startRequest(const QUrl& url)
{
    const QString key = keyFor(url);
    const RequestInfo info = mRequests.value(key);
    QNetworkRequest request(url);
    const int policy = mCachePolicies.value(key, 2);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute,
                         policy == 1 ? QNetworkRequest::AlwaysNetwork : QNetworkRequest::PreferCache);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    request.setTransferTimeout(timeoutFor(info.verb));
    request.setRawHeader("User-Agent", mAgentID.toUtf8());

    QNetworkReply* reply = nullptr;
    switch (info.verb) {
    case Verb::Get:
        reply = mManager->get(request);
        break;
    case Verb::Head:
        reply = mManager->head(request);
        break;
    case Verb::Post:
        request.setHeader(QNetworkRequest::ContentTypeHeader,
                          QByteArrayLiteral("application/x-www-form-urlencoded"));
        reply = mManager->post(request, info.body);
        break;
    }
    if (!reply)
        return false;
    // Without a read buffer the network thread passes on everything it
    // receives, however fast, and a server sending without end fills the
    // event queue faster than the limits below are looked at.
    reply->setReadBufferSize(kReadBufferSize);
    mConnections.insert(key, reply);
    mPacer.recordStart(url.host());
    connect(reply, &QNetworkReply::metaDataChanged, this, [this, reply, key] {
        replyMetaData(reply, key);
        // An answer announced too large is not waited for.
        if (mConnections.value(key) == reply && !cutsOffAnswer(key) &&
            reply->header(QNetworkRequest::ContentLengthHeader).toLongLong() > answerLimit(key))
            refuseTooLargeAnswer(key);
    });
    connect(reply, &QNetworkReply::readyRead, this, [this, reply, key] { replyReadyRead(reply, key); });
    connect(reply, &QNetworkReply::finished, this, [this, reply, key] { replyFinished(reply, key); });
    // The time-out above is the longest silence; this is the longest answer.
    auto* deadline = new QTimer(reply);
    deadline->setSingleShot(true);
    connect(deadline, &QTimer::timeout, this, [this, reply, key] { answerDeadlinePassed(reply, key); });
    deadline->start(mAnswerDeadlineMs);
    return true;
}

// ---- notifying

void WMHTTPQueue::notifyConnectionFailureForURL(const QUrl& url)
{
    const QString key = keyFor(url);
    const auto info = mRequests.constFind(key);
    if (info == mRequests.constEnd() || !info->failing || mConnections.contains(key))
        return; // cancelled or queued again meanwhile
    const QVariantMap error =
        !info->failure.isEmpty()
            ? info->failure
            : HTTPReplyReader::makeError(kURLErrorDomain, -1004,
                                         QStringLiteral("Could not connect to the server."));
    notifyOwnerOfURL(url, QByteArray(), QString(), error);
}

void WMHTTPQueue::notifyOwnerOfURL(const QUrl& url, const QByteArray& data, const QString& mime,
                                   const QVariantMap& error)
{
    const QString key = keyFor(url);
    if (key.isEmpty()) {
        WMLog("!!! notifyOwnerOfURL absoluteString nil for %@", url.toString());
        return;
    }
    QVariantMap answer;
    answer.insert(kURLKey, url);
    mURLs.removeIf([&](const QUrl& queued) { return keyFor(queued) == key; });
    mCachePolicies.remove(key);
    if (!mime.isEmpty())
        answer.insert(kMIMETypeKey, mime);
    mMIMETypes.remove(key);
    if (!error.isEmpty())
        answer.insert(kErrorKey, error);
    if (!data.isEmpty())
        answer.insert(kDataKey, data);
    const auto headers = mHeaderDicts.constFind(key);
    if (headers != mHeaderDicts.constEnd())
        answer.insert(kHeadersKey, *headers);
    mHeaderDicts.remove(key);
    const bool hadOwner = mOwners.contains(key);
    const QPointer<QObject> owner = mOwners.take(key);
    const QByteArray method = mMethodNames.take(key);
    dropConnection(key);
    // Kept before the owner sees it, so that an owner finding it unusable
    // can take it out again.
    storeAnswer(mRequests.take(key), answer);

    if (method.isEmpty()) {
        WMLog("!!! notifyOwnerOfURL: null methodName for URL %@", url.toString());
    } else if (owner) {
        invokeOwner(owner.data(), method, answer, url);
    } else if (!hadOwner) {
        logOwnerProblem();
    }
    // A destroyed owner's answer is dropped silently.
    loadWaitingURLs();
}

void WMHTTPQueue::invokeOwner(QObject* owner, const QByteArray& method, const QVariantMap& answer,
                              const QUrl& url)
{
    const QByteArray signature =
        QMetaObject::normalizedSignature(QByteArray(method + "(QVariantMap)").constData());
    if (owner->metaObject()->indexOfMethod(signature.constData()) < 0) {
        WMLog("!!! notifyOwnerOfURL: Invalid methodName <%@ %p> '%@' for URL %@",
              QLatin1String(owner->metaObject()->className()), static_cast<const void*>(owner), method,
              url.toString());
        return;
    }
    try {
        QMetaObject::invokeMethod(owner, method.constData(), Qt::DirectConnection,
                                  Q_ARG(QVariantMap, answer));
    } catch (const std::exception& e) {
        WMLog("!!! notifyOwnerOfURL: %@ raised %@ for URL %@", method, e.what(), url.toString());
    } catch (...) {
        WMLog("!!! notifyOwnerOfURL: %@ raised for URL %@", method, url.toString());
    }
}

void WMHTTPQueue::dropConnection(const QString& key)
{
    mData.remove(key);
    QNetworkReply* reply = mConnections.take(key);
    if (!reply)
        return;
    disconnect(reply, nullptr, this, nullptr);
    if (reply->isRunning())
        reply->abort();
    reply->deleteLater();
}

void WMHTTPQueue::forget(const QString& key)
{
    mURLs.removeIf([&](const QUrl& queued) { return keyFor(queued) == key; });
    mCachePolicies.remove(key);
    mOwners.remove(key);
    mMethodNames.remove(key);
    mData.remove(key);
    mMIMETypes.remove(key);
    mHeaderDicts.remove(key);
    mRequests.remove(key);
    reloadTable();
}

// ---- table display

void WMHTTPQueue::logOwnerProblem() const
{
    WMLog("[!] problem finding owner or method name.\r\nOwners: %@\r\nMethods: %@",
          QStringList(mOwners.keys()).join(QStringLiteral(", ")),
          QStringList(mMethodNames.keys()).join(QStringLiteral(", ")));
}

void WMHTTPQueue::reloadTable()
{
    emit queueChanged();
}

QAbstractItemModel* WMHTTPQueue::tableModel()
{
    if (!mModel)
        mModel = std::make_unique<HTTPQueueModel>(this);
    return mModel.get();
}
