#include "SongFileInfoCache.h"

#include "FileAttributes.h"

#include "support/BundleInfo.h"
#include "support/WMLog.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <QStandardPaths>
#include <QThread>
#include <QTimer>

#include <memory>

namespace {

constexpr int kWriteDelayMs = 100;

std::unique_ptr<SongFileInfoCache>& sharedInstance()
{
    static std::unique_ptr<SongFileInfoCache> instance;
    return instance;
}

QString keyText(quint32 key)
{
    return QString::number(key, 16);
}

} // namespace

SongFileInfoCache::SongFileInfoCache(const QString& basePath)
    : mCacheBasePath(basePath), mMemoryCacheWriteTimer(this)
{
    QDir().mkpath(mCacheBasePath);
    mClock.start();
    QCoreApplication* app = QCoreApplication::instance();
    mMainThread = app ? app->thread() : QThread::currentThread();
    if (thread() != mMainThread)
        moveToThread(mMainThread);
    mMemoryCacheWriteTimer.setSingleShot(true);
    mMemoryCacheWriteTimer.setInterval(kWriteDelayMs);
    connect(&mMemoryCacheWriteTimer, &QTimer::timeout, this, &SongFileInfoCache::timerFired);
}

SongFileInfoCache::~SongFileInfoCache()
{
    // Nothing changed is lost, even when nobody detached the cache.
    detach();
}

SongFileInfoCache& SongFileInfoCache::sharedCache()
{
    static QMutex creation;
    QMutexLocker locker(&creation);
    std::unique_ptr<SongFileInfoCache>& instance = sharedInstance();
    if (!instance) {
        instance = std::make_unique<SongFileInfoCache>(appCacheFolder());
        // Written at quit, before the application object goes.
        if (QCoreApplication* app = QCoreApplication::instance()) {
            QObject::connect(app, &QCoreApplication::aboutToQuit, instance.get(),
                             [] { sharedInstance()->detach(); });
        }
    }
    return *instance;
}

QString SongFileInfoCache::appCacheFolder()
{
    QString caches = QStandardPaths::writableLocation(QStandardPaths::CacheLocation);
    if (caches.isEmpty())
        caches = QDir::homePath() + QStringLiteral("/.cache");
    return caches + QLatin1Char('/') + BundleInfo::identifier() + QStringLiteral(".info");
}

std::optional<quint32> SongFileInfoCache::keyForPath(const QString& path)
{
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    if (slash < 5)
        return std::nullopt;
    const QChar* c = path.constData() + slash - 4;
    return (quint32(c[0].unicode()) << 21) + (quint32(c[1].unicode()) << 14) +
           (quint32(c[2].unicode()) << 7) + quint32(c[3].unicode());
}

QString SongFileInfoCache::pathForKeyNumber(quint32 key) const
{
    return QString::asprintf("%02u/%02u/", (key >> 4) & 0xF, key & 0xF)
               .prepend(mCacheBasePath + QLatin1Char('/')) +
           keyText(key) + QStringLiteral(".cache");
}

SongInfoGroup SongFileInfoCache::loadGroup(quint32 key) const
{
    const QString file = pathForKeyNumber(key);
    QFile in(file);
    if (!in.open(QIODevice::ReadOnly))
        return SongInfoGroup();
    QString why;
    std::optional<SongInfoGroup> group;
    if (in.size() > SongInfoArchive::kMaxFileBytes)
        why = QStringLiteral("larger than %1 bytes").arg(SongInfoArchive::kMaxFileBytes);
    else
        group = SongInfoArchive::unarchivedGroup(in.readAll(), &why);
    if (!group) {
        WMLog("Couldn't unarchive %@", file);
        WMLog("  (%@)", why);
        return SongInfoGroup();
    }
    return *group;
}

SongInfoGroup* SongFileInfoCache::hostDictionaryForPath(const QString& path, quint32* key, bool forStoring)
{
    const std::optional<quint32> number = keyForPath(path);
    if (!number)
        return nullptr;
    if (key)
        *key = *number;
    auto found = mMemoryCache.find(*number);
    if (found != mMemoryCache.end())
        return &found.value();
    if (!mAllowDiskReads && !forStoring)
        return nullptr;
    return &mMemoryCache.insert(*number, loadGroup(*number)).value();
}

QVariantMap SongFileInfoCache::infoForSongFileAtPath(const QString& path)
{
    return infoForSongFileAtPath(path, FileAttributes::modificationDate(path));
}

QVariantMap SongFileInfoCache::infoForSongFileAtPath(const QString& path, const QDateTime& modificationDate)
{
    if (!modificationDate.isValid())
        return QVariantMap();
    QMutexLocker locker(&mDirtyDictsLock);
    const SongInfoGroup* group = hostDictionaryForPath(path, nullptr, false);
    if (!group)
        return QVariantMap();
    const auto entry = group->constFind(path);
    if (entry == group->cend())
        return QVariantMap();
    const QDateTime stored = entry->value(QStringLiteral("mod")).toDateTime();
    if (!stored.isValid() || stored.toMSecsSinceEpoch() != modificationDate.toMSecsSinceEpoch())
        return QVariantMap();
    return *entry;
}

void SongFileInfoCache::storeInfo(const QVariantMap& info, const QString& path)
{
    if (info.isEmpty() || path.isEmpty()) {
        WMLog("nil storeInfo for %@", path);
        return;
    }
    {
        QMutexLocker locker(&mDirtyDictsLock);
        quint32 key = 0;
        // A group is read for storing even with disk reads off: it is written
        // back whole, so what its file holds must not be lost.
        SongInfoGroup* group = hostDictionaryForPath(path, &key, true);
        if (!group)
            return;
        group->insert(path, info);
        mDirtyDicts.insert(key, true);
    }
    cacheMemoryDirtyWithResetTime(true);
}

void SongFileInfoCache::setAllowDiskReads(bool allow)
{
    QMutexLocker locker(&mDirtyDictsLock);
    mAllowDiskReads = allow;
}

bool SongFileInfoCache::allowDiskReads() const
{
    QMutexLocker locker(&mDirtyDictsLock);
    return mAllowDiskReads;
}

bool SongFileInfoCache::isDirty() const
{
    QMutexLocker locker(&mDirtyDictsLock);
    return !mDirtyDicts.isEmpty();
}

void SongFileInfoCache::cacheMemoryDirtyWithResetTime(bool reset)
{
    if (reset) {
        QMutexLocker locker(&mDirtyDictsLock);
        mLastDirtiedTime = mClock.elapsed();
    }
    if (QThread::currentThread() != mMainThread) {
        QMetaObject::invokeMethod(this, "cacheMemoryDirtyFromThread", Qt::QueuedConnection);
        return;
    }
    armTimer();
}

void SongFileInfoCache::cacheMemoryDirtyFromThread()
{
    armTimer();
}

void SongFileInfoCache::armTimer()
{
    if (!mMemoryCacheWriteTimer.isActive())
        mMemoryCacheWriteTimer.start();
}

void SongFileInfoCache::timerFired()
{
    writeSomeCacheToDisk(true);
}

void SongFileInfoCache::writeSomeCacheToDisk(bool calledByTimer)
{
    if (calledByTimer) {
        qint64 last = 0;
        {
            QMutexLocker locker(&mDirtyDictsLock);
            last = mLastDirtiedTime;
        }
        if (mClock.elapsed() - last < kWriteDelayMs) {
            cacheMemoryDirtyWithResetTime(true);
            return;
        }
    }
    bool more = false;
    {
        QMutexLocker locker(&mDirtyDictsLock);
        if (mDirtyDicts.isEmpty())
            return;
        const quint32 key = mDirtyDicts.lastKey();
        const QString file = pathForKeyNumber(key);
        const QByteArray bytes = SongInfoArchive::archivedGroup(mMemoryCache.value(key));
        QDir().mkpath(QFileInfo(file).absolutePath());
        QSaveFile out(file);
        if (!out.open(QIODevice::WriteOnly) || out.write(bytes) != bytes.size() || !out.commit()) {
            WMLog("writeSomeCacheToDisk couldn't serialize <%@ %p> to %@:\r\nerr:%@ Exception: %@",
                  QStringLiteral("SongInfoGroup"), static_cast<const void*>(&mMemoryCache[key]), file,
                  out.errorString(), QStringLiteral("none"));
        }
        mDirtyDicts.remove(key);
        more = !mDirtyDicts.isEmpty();
    }
    if (calledByTimer && more)
        cacheMemoryDirtyWithResetTime(false);
}

void SongFileInfoCache::detach()
{
    if (QThread::currentThread() == mMainThread)
        mMemoryCacheWriteTimer.stop();
    while (isDirty())
        writeSomeCacheToDisk(false);
}
