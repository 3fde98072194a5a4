#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QString>
#include <QTimer>
#include <QUrl>
#include <QVariantMap>

#include "web/HostPacer.h"

#include <algorithm>
#include <memory>

class HTTPAnswerStore;
class HTTPQueueModel;
class ProgressIndicator;
class QAbstractItemModel;
class QNetworkAccessManager;
class QNetworkDiskCache;
class QNetworkReply;

// The one queue through which all network traffic goes. Callers hand it a
// URL, an owner and the name of one of the owner's operations; the queue
// keeps at most a fixed number of connections open (8), starts waiting URLs
// as slots free, gathers each body in memory and calls the owner's
// operation, a `Q_INVOKABLE void name(const QVariantMap& answer)`, directly
// on the main thread with one answer dictionary:
//   "WMHTTPURLKey"      QUrl, after any redirect
//   "WMHTTPDataKey"     QByteArray, only when a non-empty body arrived
//   "WMHTTPMIMETypeKey" QString, the response's MIME type, if any
//   "WMHTTPHeadersKey"  QVariantMap of header name -> value
//   "WMHTTPErrorKey"    only on failure: {"domain": "NSURLErrorDomain" or
//                       "WMHTTPStatus", "code": int, "description": QString}
// An HTTP status of 400 or more is an error too (domain "WMHTTPStatus",
// code = status, "HTTP status code = %d"); its body is still delivered.
// Owners are held weakly: an answer for a destroyed owner is dropped.
//
// Beyond plain queueing: hosts that timed out, were not found or refused a
// connection are paused for 300 seconds (their URLs fail at once with the
// error that paused the host); redirects are followed by the queue itself (at most 10 hops, the
// owner is kept, "WMHTTPRedirectNotification" is emitted as
// redirectNotification()); a host may be given a minimum interval between
// request starts; a 429 or 503 answer with "Retry-After" pauses its host
// until then and re-queues the request (at most 3 times).
//
// Nothing a server does can hold the queue or fill the memory: every
// request has a deadline for its whole answer (the setting
// "httpDeadlineSeconds", 60 by default; passing it is a time-out, -1001);
// HTML is cut off at 8 MB and any other answer above 16 MB fails (-1103);
// a "Retry-After" longer than 60 seconds is not waited for: the host's URLs
// fail at once with its busy status until the time it named. A host paused
// after a time-out, a host given up on and a host whose answer was too
// large are told to the user with importantLogNotification(), once each.
//
// During a gathering run the run installs an HTTPAnswerStore: a GET that
// may come from the cache and was answered before in the run is answered
// from the store on the next turn of the event loop (with the redirect
// notification first when the answer came from elsewhere), and every answer
// without an error to such a GET is kept there.
//
// The queue can be shown in a table: tableModel() answers a model with the
// columns "url" and "status". Attaching it to a view (attachToTableView) is
// left to the window code, which the core does not link.
class WMHTTPQueue : public QObject
{
    Q_OBJECT
    friend class HTTPQueueModel;

public:
    // The shared queue, made on first use (on the main thread).
    static WMHTTPQueue* queue();

    explicit WMHTTPQueue(QObject* parent = nullptr);
    ~WMHTTPQueue() override;

    // Queues a GET at the front or the end of the list. With usingCache the
    // answer may come from the HTTP cache (once after removeURLFromCache it
    // comes from the network); without, always from the network.
    void addURL(const QUrl& url, QObject* owner, const QByteArray& returnMethod, bool atBeginning,
                bool usingCache);
    // Queues a GET at the end, cache allowed, whose download advances the bar.
    void addURL(const QUrl& url, QObject* owner, const QByteArray& returnMethod,
                ProgressIndicator* indicator);
    // A HEAD request from the network (time-out 45 s); the answer's headers
    // are in "WMHTTPHeadersKey".
    void getHeadersForURL(const QUrl& url, QObject* owner, const QByteArray& returnMethod);
    // A POST of `data` as "application/x-www-form-urlencoded" (time-out 30 s).
    void postURL(const QUrl& url, QObject* owner, const QByteArray& returnMethod, const QByteArray& data);

    // Cancelling is silent: the owner is not told.
    void cancelURL(const QUrl& url);
    void cancelAll();
    // The next GET of this URL (text beginning with "http") bypasses the cache.
    void removeURLFromCache(const QUrl& url);
    // Forgets the failure time of the URL's host, so it is contacted again.
    void removeFailureForHostOfURL(const QUrl& url);
    // The answers of the running gathering run (none: every GET goes to the
    // network or the HTTP cache). The caller keeps a share of the store and
    // takes it out again when the run ends.
    void setAnswerStore(std::shared_ptr<HTTPAnswerStore> store);
    const std::shared_ptr<HTTPAnswerStore>& answerStore() const { return mAnswerStore; }

    // A text/html body is cut off at this length (default 8 MB, at most
    // kMaxAnswerLength; 0: not cut off, only refused beyond kMaxAnswerLength
    // as any other answer).
    void setMaximumHTMLLength(int length);
    void setSimultaneousConnections(int count);
    int currentNumberOfConnections() const;
    // The number of URLs queued or loading.
    int count() const { return static_cast<int>(mURLs.size()); }

    QString agentString() const { return mAgentID; }
    void setAgentString(const QString& agent);
    // The setting "userAgent" when non-empty, else "Quillbeat/<version> (like Safari/Gecko)".
    static QString defaultAgentString();

    // Requests to this host start at least `seconds` apart (0 removes it).
    void setMinimumIntervalForHost(const QString& host, double seconds);

    // While paused no request is started.
    void setPaused(bool paused);
    bool isPaused() const { return mQueuePaused; }

    // Disk capacity of the HTTP cache in bytes (from "cacheSizeMB" at start).
    void setCacheCapacity(qint64 bytes);
    static qint64 cacheCapacityFromSettings();

    // Overrides every request's time-out (ms; 0 restores 10/45/30 seconds).
    // This is the longest silence between two pieces of an answer.
    void setTimeoutForTests(int ms) { mTimeoutOverrideMs = ms; }
    // The longest wait for a whole answer, from the request's start
    // (from "httpDeadlineSeconds" at start).
    void setAnswerDeadline(int ms) { mAnswerDeadlineMs = std::max(ms, 1); }
    static int answerDeadlineFromSettings();

    // The queue as a table (see HTTPQueueModel), made on first use.
    QAbstractItemModel* tableModel();

    // Helpers for owners testing an answer.
    static bool answerHasError(const QVariantMap& answer);
    static int errorCode(const QVariantMap& answer);

    static constexpr int kDefaultMaxConnections = 8;
    static constexpr int kMaxRedirects = 10;
    static constexpr int kMaxRetries = 3;
    // The longest "Retry-After" waited for; a longer one gives up on the host.
    static constexpr qint64 kMaxRetryWaitSeconds = 60;
    static constexpr int kDefaultAnswerDeadlineSeconds = 60;
    // The HTML cut-off unless set otherwise, and the limit of every answer
    // that is not cut off.
    static constexpr int kDefaultMaxHTMLLength = 8 * 1024 * 1024;
    static constexpr qint64 kMaxAnswerLength = 16 * 1024 * 1024;

signals:
    // The "WMHTTPRedirectNotification": {"old": QUrl, "new": QUrl}.
    void redirectNotification(const QVariantMap& userInfo);
    // The "QBImportantLogNotification": a message the user must see.
    void importantLogNotification(const QString& message);
    // The list or a connection's state changed (for the table model).
    void queueChanged();

private:
    enum class Verb
    {
        Get = 0,
        Head = 1,
        Post = 2
    };
    // What the queue keeps about one request beyond the tables below.
    struct RequestInfo
    {
        QUrl url;
        Verb verb = Verb::Get;
        QByteArray body;
        int redirectHops = 0;
        int retries = 0;
        bool failing = false; // a deferred failure is on its way ...
        QVariantMap failure;  // ... with this error (none: -1004)
        // The URL first asked for, before redirects, and whether its answer
        // may be kept in the answer store (a GET that may use the cache).
        QUrl askedURL;
        bool mayBeStored = false;
    };
    // An answer from the store on its way to its owner.
    struct StoredDelivery
    {
        QUrl url;
        QPointer<QObject> owner;
        QByteArray method;
        QVariantMap answer;
    };

    void enqueue(const QUrl& url, QObject* owner, const QByteArray& returnMethod, bool atBeginning,
                 int policy, const RequestInfo& info);
    void loadWaitingURLs();
    bool startRequest(const QUrl& url);
    void scheduleWakeUp(qint64 delayMs);
    void replyReadyRead(QNetworkReply* reply, const QString& key);
    void replyMetaData(QNetworkReply* reply, const QString& key);
    void replyFinished(QNetworkReply* reply, const QString& key);
    void answerDeadlinePassed(QNetworkReply* reply, const QString& key);
    // The most a body may hold before it is cut off (HTML) or refused.
    qint64 answerLimit(const QString& key) const;
    bool cutsOffAnswer(const QString& key) const;
    void refuseTooLargeAnswer(const QString& key);
    bool followRedirect(QNetworkReply* reply, const QString& key, int status);
    bool retryLater(QNetworkReply* reply, const QString& key, int status);
    // A host whose "Retry-After" is beyond the longest wait: its URLs fail
    // at once with this error until then.
    QVariantMap givenUpHostError(const QString& host) const;
    // `timeoutSeconds`: the wait that passed, for a time-out (0: the
    // request's own time-out).
    void connectionFailed(const QString& key, const QVariantMap& error, int timeoutSeconds = 0);
    void failLater(const QUrl& url, RequestInfo& info, const QVariantMap& error = {});
    void notifyConnectionFailureForURL(const QUrl& url);
    void notifyOwnerOfURL(const QUrl& url, const QByteArray& data, const QString& mime,
                          const QVariantMap& error);
    void invokeOwner(QObject* owner, const QByteArray& method, const QVariantMap& answer, const QUrl& url);
    // Answers a GET from the answer store, on the next turn of the event
    // loop, when the store holds its answer; false when not.
    bool answerFromStore(const QUrl& url, QObject* owner, const QByteArray& returnMethod);
    void deliverStoredAnswer(quint64 id);
    void dropStoredDeliveries(const QString& key);
    // Keeps a successful answer to a GET that may use the cache.
    void storeAnswer(const RequestInfo& info, const QVariantMap& answer);
    void dropConnection(const QString& key);
    void forget(const QString& key);
    void reloadTable();
    void logOwnerProblem() const;
    int timeoutFor(Verb verb) const;
    bool isUnrecordedHost(const QString& host) const;

    bool isIndicatorURL(const QString& key) const;
    void releaseIndicator(const QString& key);

    static QString keyFor(const QUrl& url);
    static bool acceptsRequest(const QUrl& url, const QObject* owner, const QByteArray& returnMethod);

    QList<QUrl> mURLs;
    QHash<QString, int> mCachePolicies;
    QHash<QString, QPointer<QObject>> mOwners;
    QHash<QString, QByteArray> mMethodNames;
    QHash<QString, QNetworkReply*> mConnections;
    QHash<QString, QByteArray> mData;
    QHash<QString, QString> mMIMETypes;
    QHash<QString, QVariantMap> mHeaderDicts;
    QSet<QString> mNoCacheURLs;
    QString mAgentID;
    QPointer<ProgressIndicator> mIndicator;
    QUrl mIndicatorURL;
    int mMaxConnections = kDefaultMaxConnections;
    int mMaxHTMLLength = kDefaultMaxHTMLLength;
    bool mQueuePaused = false;

    QHash<QString, RequestInfo> mRequests;
    HostPacer mPacer; // failed, paced and paused hosts
    QHash<QString, QVariantMap> mHostFailures; // host -> the error that paused it
    bool mNoInternetAnnounced = false;
    int mTimeoutOverrideMs = 0;
    int mAnswerDeadlineMs = kDefaultAnswerDeadlineSeconds * 1000;
    QHash<QString, int> mBusyStatuses; // host -> status of its long "Retry-After"
    QSet<QString> mTooLargeAnnounced;  // hosts whose answer was too large, told once
    QTimer mWakeTimer;
    std::unique_ptr<QNetworkAccessManager> mManager;
    QNetworkDiskCache* mCache = nullptr; // owned by mManager
    std::shared_ptr<HTTPAnswerStore> mAnswerStore;
    QHash<quint64, StoredDelivery> mStoredDeliveries;
    quint64 mLastStoredDelivery = 0;
    std::unique_ptr<HTTPQueueModel> mModel;
};
