#include "web/WebDBInterface.h"

#include "support/ProgressIndicator.h"
#include "support/WMFormat.h"
#include "support/WMLog.h"
#include "web/WMUsage.h"
#include "text/WMStringExtensions.h"
#include "web/LyricsPageText.h"
#include "web/WMHTTPQueue.h"
#include "web/WebSourceRegistry.h"

#include <QHash>
#include <QMetaObject>
#include <QMutex>
#include <QMutexLocker>
#include <QTimer>

#include <mutex>

namespace {

struct Registry
{
    QMutex mutex;
    QHash<QString, WebDBInterface::Factory> factories;
    QStringList order;
};

Registry& registry()
{
    static Registry instance;
    return instance;
}

const QString URLKey = QStringLiteral("WMHTTPURLKey");

bool hasMethod(const QMetaObject* meta, const QByteArray& name, const char* arguments)
{
    QByteArray signature = name;
    signature.append(arguments);
    return meta->indexOfMethod(signature.constData()) >= 0;
}

} // namespace

std::unique_ptr<WebDBInterface> WebDBInterface::interfaceWithName(const QString& className,
                                                                  const QVariantMap& resources)
{
    if (className.isEmpty())
        return nullptr;
    registeredClassNames();

    Factory factory;
    {
        QMutexLocker locker(&registry().mutex);
        factory = registry().factories.value(className);
    }
    if (!factory) {
        WMLog("No web source named %@", className);
        return nullptr;
    }
    try {
        return factory(resources);
    } catch (const std::exception& e) {
        WMLog("Web source %@ could not be made: %@", className, e.what());
    } catch (...) {
        WMLog("Web source %@ could not be made", className);
    }
    return nullptr;
}

void WebDBInterface::registerInterfaceClass(const QString& className, Factory factory)
{
    QMutexLocker locker(&registry().mutex);
    if (!registry().factories.contains(className))
        registry().order.append(className);
    registry().factories.insert(className, std::move(factory));
}

QStringList WebDBInterface::registeredClassNames()
{
    static std::once_flag builtInsRegistered;
    std::call_once(builtInsRegistered, [] { registerBuiltInWebSources(); });
    QMutexLocker locker(&registry().mutex);
    return registry().order;
}

QString WebDBInterface::displayName(const QString& className)
{
    const QLatin1String suffix("Interface");
    return className.endsWith(suffix) && className.size() > suffix.size() ? className.chopped(suffix.size())
                                                                          : className;
}

WebDBInterface::WebDBInterface(const QVariantMap& resources, QObject* parent)
    : QObject(parent), mResources(resources)
{
    connect(WMHTTPQueue::queue(), &WMHTTPQueue::redirectNotification, this,
            &WebDBInterface::handleRedirectNotification);
}

WebDBInterface::~WebDBInterface() = default;

AlbumAssets WebDBInterface::resourcesPossiblyAvailable() const
{
    return AllAlbumAssets;
}

void WebDBInterface::setAlbumTitle(const QString& title)
{
    mAlbumTitle = WMStringExtensions::stringWithStrippedParenthesizedText(title);
}

void WebDBInterface::setProgessIndicator(ProgressIndicator* indicator)
{
    mProgress = indicator;
}

void WebDBInterface::setNotify(const QByteArray& method, QObject* object)
{
    mNotifySelector = method;
    mNotifyObject = object;
}

void WebDBInterface::beginSearch()
{
    const int simultaneous = mResources.value(QStringLiteral("simulConns")).toInt();
    mMaxSimulSearches = simultaneous > 0 ? simultaneous : DefaultSimultaneousSearches;
}

void WebDBInterface::cancelSearch()
{
    mWasCancelled = true;
    mWaitingURLs.clear();
    mWaitingMethods.clear();
    mWaitingPriorities.clear();
}

void WebDBInterface::addSearchURL(const QUrl& url, const QByteArray& returnMethod, bool atBeginning)
{
    if (url.isEmpty() || mAlreadyLoadedURLs.contains(url))
        return;
    if (mWasCancelled) {
        WMLog("%@ #%d: cancelled, not loading %@", metaObject()->className(), mLogNum++, url.toString());
        return;
    }
    mAlreadyLoadedURLs.append(url);
    if (atBeginning) {
        mWaitingURLs.prepend(url);
        mWaitingMethods.prepend(returnMethod);
        mWaitingPriorities.prepend(true);
    } else {
        mWaitingURLs.append(url);
        mWaitingMethods.append(returnMethod);
        mWaitingPriorities.append(false);
    }
    ++mTotalSearches;

    // The bar spins for the first few URLs and becomes a measured bar once
    // more than four are known.
    if (mProgress) {
        if (mProgress->maxValue() > 4.0 && mProgress->isIndeterminate()) {
            mProgress->stopAnimation();
            mProgress->setIndeterminate(false);
        }
        mProgress->setMaxValue(mProgress->maxValue() + 1.0);
    }

    const double interval = mResources.value(QStringLiteral("minIntervalSeconds")).toDouble();
    if (interval > 0.0)
        WMHTTPQueue::queue()->setMinimumIntervalForHost(url.host(), interval);

    maintainWaitingURLs();
}

void WebDBInterface::addPlaceholderSearch(const QVariant& token)
{
    mLoadingURLs.append(token);
    ++mTotalSearches;
    if (mProgress)
        mProgress->setMaxValue(mProgress->maxValue() + 1.0);
}

void WebDBInterface::maintainWaitingURLs()
{
    // The lists are updated before the queue is called, so an answer that
    // arrives from inside addURL finds them consistent.
    while (!mWaitingURLs.isEmpty() && mLoadingURLs.size() < mMaxSimulSearches) {
        const QUrl url = mWaitingURLs.takeFirst();
        const QByteArray method = mWaitingMethods.takeFirst();
        const bool atBeginning = mWaitingPriorities.takeFirst();
        mLoadingURLs.append(QVariant(url));
        WMHTTPQueue::queue()->addURL(url, this, method, atBeginning, true);
    }
}

void WebDBInterface::finishedSearch(const QVariantMap& answer)
{
    const auto found = answer.constFind(URLKey);
    if (found == answer.constEnd())
        return;
    mLoadingURLs.removeAll(found.value());
    if (!mFailure.isFailure() && mFailure.kind() != SourceFailure::Kind::NotConfigured)
        mFailure = SourceFailure::fromAnswer(answer);
    if (mProgress)
        mProgress->incrementBy(1.0);
    maintainWaitingURLs();
}

void WebDBInterface::handleRedirectNotification(const QVariantMap& userInfo)
{
    const QUrl oldURL = userInfo.value(QStringLiteral("old")).toUrl();
    const QUrl newURL = userInfo.value(QStringLiteral("new")).toUrl();
    if (oldURL.isEmpty() || newURL.isEmpty())
        return;
    const qsizetype index = mLoadingURLs.indexOf(QVariant(oldURL));
    if (index >= 0)
        mLoadingURLs[index] = QVariant(newURL);
}

void WebDBInterface::notifyIfCompleteOrTryAgainWithoutTitleParentheses(bool retry)
{
    if (!mLoadingURLs.isEmpty())
        return;
    if (retry && !mWithoutParentheses && !mWasCancelled && mAllowSubstrings &&
        mSongTitle.contains(QLatin1Char('('))) {
        mWithoutParentheses = true;
        WMLog("%@ #%d: searching again without the parentheses of '%@'", metaObject()->className(), mLogNum++,
              mSongTitle);
        beginSearch();
        return;
    }
    notifySearchComplete();
}

void WebDBInterface::notifySearchComplete()
{
    const QPointer<QObject> target = mNotifyObject;
    const QByteArray method = mNotifySelector;
    // Forgotten at once: a source reports completion at most once.
    mNotifyObject = nullptr;
    if (!target || method.isEmpty())
        return;
    // Delivered on a later turn of the event loop, in the target's context,
    // so the target may destroy this source in its answer.
    const QPointer<WebDBInterface> self(this);
    QTimer::singleShot(0, target.data(), [target, method, self] {
        if (!target || !self)
            return;
        const QMetaObject* meta = target->metaObject();
        bool called = false;
        if (hasMethod(meta, method, "(WebDBInterface*)"))
            called = QMetaObject::invokeMethod(target.data(), method.constData(), Qt::DirectConnection,
                                               Q_ARG(WebDBInterface*, self.data()));
        else if (hasMethod(meta, method, "(QObject*)"))
            called = QMetaObject::invokeMethod(target.data(), method.constData(), Qt::DirectConnection,
                                               Q_ARG(QObject*, self.data()));
        if (!called)
            WMLog("Could not tell %@ that %@ is complete", QString::fromLatin1(method),
                  self ? QString::fromLatin1(self->metaObject()->className()) : QString());
    });
}

void WebDBInterface::notifyUsageDesc(const QString& description, const QString& key, const QVariant& info)
{
    WMUsage::sharedInstance()->addUsageNoteForClass(QString::fromLatin1(metaObject()->className()),
                                                    description, key, info);
}

QString WebDBInterface::description() const
{
    return WMFormat::string("<%@ %p artist='%@' song='%@' album='%@' gathered=%ld>",
                            metaObject()->className(), static_cast<const void*>(this), mArtist, mSongTitle,
                            mAlbumTitle, static_cast<long>(mAlbums.size()));
}

void WebDBInterface::cancelSearchesInQueue()
{
    const QVariantList loading = mLoadingURLs;
    for (qsizetype i = loading.size() - 1; i >= 0; --i) {
        if (loading.at(i).typeId() != QMetaType::QUrl)
            continue;
        WMHTTPQueue::queue()->cancelURL(loading.at(i).toUrl());
        finishedSearch({{QStringLiteral("WMHTTPURLKey"), loading.at(i)}});
    }
    // Work of the source's own ends with the search.
    mLoadingURLs.clear();
    notifySearchComplete();
}

void WebDBInterface::endSearchWithAlbum(const AlbumInfo& album)
{
    mAlbums.append(album);
    mWaitingURLs.clear();
    mWaitingMethods.clear();
    mWaitingPriorities.clear();
    notifyIfCompleteOrTryAgainWithoutTitleParentheses(false);
}

QString WebDBInterface::searchedTitle() const
{
    return mWithoutParentheses ? WMStringExtensions::stringWithStrippedParenthesizedText(mSongTitle)
                               : mSongTitle;
}

void WebDBInterface::takeLyricsPage(const QVariantMap& answer,
                                    const std::function<QString(const QByteArray&)>& lyricsInPage)
{
    finishedSearch(answer);
    const std::optional<QByteArray> page = LyricsPageText::usablePage(answer);
    const QString lyrics = page ? lyricsInPage(*page) : QString();
    if (lyrics.isEmpty()) {
        if (page)
            WMLog("%@ #%d: no lyrics in %@", metaObject()->className(), mLogNum++,
                  answer.value(QStringLiteral("WMHTTPURLKey")).toUrl().toString());
        notifyIfCompleteOrTryAgainWithoutTitleParentheses(true);
        return;
    }
    // The first lyrics found end the search.
    endSearchWithAlbum(LyricsPageText::lyricsAlbum(mArtist, mAlbumTitle, mSongTitle, lyrics,
                                                   QString::fromLatin1(metaObject()->className())));
}
