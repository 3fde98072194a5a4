#include "Delazifier.h"

#include "RegenerateController.h"

#include "songs/CachedInfoTag.h"
#include "songs/SongFile.h"
#include "songs/SongFileInfoCache.h"
#include "support/WMLog.h"
#include "tags/AudioInfoTag.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QHash>
#include <QThread>
#include <QTimer>

#include <exception>
#include <vector>

// What the worker hands back: per song done, in order, the path and either
// the cache entry its tag now comes from, or the real tag when that failed
// to decode, or nothing when the tag could not be read at all.
struct Delazifier::BatchResults
{
    struct Song
    {
        QString path;
        QVariantMap info;
        std::unique_ptr<AudioInfoTag> corruptTag;
    };
    std::vector<Song> songs;
    quint64 generation = 0;
};

Delazifier::Delazifier(QObject* parent) : QObject(parent) {}

Delazifier::~Delazifier()
{
    mIsQuitting = true;
    if (mThread)
        mThread->wait();
}

void Delazifier::setAllSongs(const QList<std::shared_ptr<SongFile>>& songs)
{
    mAllSongs = songs;
    mAttempted.clear();
}

void Delazifier::setRows(const QList<std::shared_ptr<SongFile>>& rows)
{
    mRows = rows;
    mRowsSet = true;
}

void Delazifier::setVisibleRange(int firstRow, int count)
{
    mVisibleFirst = std::max(0, firstRow);
    mVisibleCount = std::max(0, count);
}

bool Delazifier::needsDelazifying(SongFile& song)
{
    if (!song.hasInfotagCached())
        return false;
    AudioInfoTag* tag = song.infotag();
    return tag && tag->isLazy() && !dynamic_cast<CachedInfoTag*>(tag);
}

QList<std::shared_ptr<SongFile>> Delazifier::orderedRows() const
{
    const QList<std::shared_ptr<SongFile>>& rows = mRowsSet ? mRows : mAllSongs;
    const auto total = static_cast<qint64>(rows.size());
    const qint64 first = std::min<qint64>(mVisibleFirst, total);
    const qint64 end = std::min<qint64>(first + mVisibleCount, total);
    const qint64 height = end - first;
    QList<std::shared_ptr<SongFile>> ordered;
    ordered.reserve(rows.size());
    for (qint64 row = first; row < end; ++row)
        ordered.append(rows.at(row));
    const qint64 belowEnd = std::min(end + height, total);
    for (qint64 row = end; row < belowEnd; ++row)
        ordered.append(rows.at(row));
    const qint64 aboveEnd = std::max<qint64>(first - height, 0);
    for (qint64 row = first - 1; row >= aboveEnd; --row)
        ordered.append(rows.at(row));
    for (qint64 row = 0; row < aboveEnd; ++row)
        ordered.append(rows.at(row));
    for (qint64 row = belowEnd; row < total; ++row)
        ordered.append(rows.at(row));
    return ordered;
}

QList<std::shared_ptr<SongFile>> Delazifier::nextBatchSongs() const
{
    QList<std::shared_ptr<SongFile>> batch;
    for (const std::shared_ptr<SongFile>& song : orderedRows()) {
        if (batch.size() >= kBatchSize)
            break;
        if (song && !mAttempted.count(song.get()) && needsDelazifying(*song))
            batch.append(song);
    }
    return batch;
}

void Delazifier::startDelazification()
{
    if (mIsDelazifying)
        return;
    mAttempted.clear();
    mActive = true;
    emit activeChanged(true);

    // The rows in view are read at once, on this thread.
    const QList<std::shared_ptr<SongFile>>& rows = mRowsSet ? mRows : mAllSongs;
    const qsizetype end = std::min<qsizetype>(qsizetype(mVisibleFirst) + mVisibleCount, rows.size());
    bool changed = false;
    bool corrupt = false;
    SongFileInfoCache& cache = SongFileInfoCache::sharedCache();
    for (qsizetype row = mVisibleFirst; row < end; ++row) {
        const std::shared_ptr<SongFile>& song = rows.at(row);
        if (!song || !needsDelazifying(*song))
            continue;
        changed = true;
        song->ensureInfotagIsReal();
        AudioInfoTag* tag = song->infotag();
        if (!tag) {
            mAttempted.insert(song.get());
            continue;
        }
        if (tag->encounteredProblemDecoding()) {
            corrupt = true;
            if (mRegenerateController)
                mRegenerateController->addCorruptSong(song);
        } else if (cache.infoForSongFileAtPath(song->path()).isEmpty()) {
            cache.storeInfo(CachedInfoTag::infoDictForTag(*tag, song->path()), song->path());
        }
    }
    if (changed)
        emit visibleRowsChanged();
    if (corrupt && mRegenerateController)
        mRegenerateController->reveal();
    processDelazifyQueue(nullptr);
}

void Delazifier::applyResults(BatchResults& results)
{
    QHash<QString, std::shared_ptr<SongFile>> byPath;
    byPath.reserve(mAllSongs.size());
    for (const std::shared_ptr<SongFile>& song : mAllSongs) {
        if (song)
            byPath.insert(song->path(), song);
    }
    const QList<std::shared_ptr<SongFile>>& rows = mRowsSet ? mRows : mAllSongs;
    const qsizetype end = std::min<qsizetype>(qsizetype(mVisibleFirst) + mVisibleCount, rows.size());
    bool visibleChanged = false;
    bool corrupt = false;
    QStringList paths;
    for (BatchResults::Song& done : results.songs) {
        paths.append(done.path);
        const std::shared_ptr<SongFile> song = byPath.value(done.path);
        if (!song)
            continue;
        // Songs of the batch that time left undone go into the next one.
        mAttempted.insert(song.get());
        if (!done.info.isEmpty()) {
            song->createInfotagUsingCachedInfoDict(done.info);
            song->setPlayList(song->playlist(), song->playlistIndex());
        } else if (done.corruptTag) {
            song->setInfotag(std::move(done.corruptTag));
            song->setDefaultActivityStatus();
            song->setPlayList(song->playlist(), song->playlistIndex());
            corrupt = true;
            if (mRegenerateController)
                mRegenerateController->addCorruptSong(song);
        } else {
            // Unreadable now: the lazy tag stays for display.
            song->setActivityStatus(SongActivityStatus::Problem);
        }
        for (qsizetype row = mVisibleFirst; row < end && !visibleChanged; ++row)
            visibleChanged = rows.at(row) == song;
    }
    if (visibleChanged)
        emit visibleRowsChanged();
    if (corrupt && mRegenerateController)
        mRegenerateController->reveal();
    emit batchFinished(paths);
}

void Delazifier::processDelazifyQueue(const std::shared_ptr<BatchResults>& results)
{
    if (results && results->generation != mGeneration)
        return; // stopped since this batch began
    if (mThread) {
        mThread->wait();
        mThread.reset();
    }
    const bool hadResults = results && !results->songs.empty();
    if (results)
        applyResults(*results);

    QList<std::shared_ptr<SongFile>> copies;
    for (const std::shared_ptr<SongFile>& song : orderedRows()) {
        if (copies.size() >= kBatchSize || mIsQuitting)
            break;
        if (!song || mAttempted.count(song.get()) || !needsDelazifying(*song))
            continue;
        std::shared_ptr<SongFile> copy = song->copy();
        if (!copy) {
            mAttempted.insert(song.get());
            WMLog("delazify: %@ is gone", song->path());
            song->setActivityStatus(SongActivityStatus::Problem);
            continue;
        }
        copies.append(copy);
    }
    if (copies.isEmpty() || mIsQuitting) {
        finish(hadResults);
        return;
    }
    mIsDelazifying = true;
    const double limit = mBatchTimeLimit;
    const quint64 generation = mGeneration;
    mThread.reset(
        QThread::create([this, copies, limit, generation] { delazifyThread(copies, limit, generation); }));
    mThread->start();
}

void Delazifier::delazifyThread(const QList<std::shared_ptr<SongFile>>& songs, double limit,
                                quint64 generation)
{
    auto results = std::make_shared<BatchResults>();
    results->generation = generation;
    SongFileInfoCache& cache = SongFileInfoCache::sharedCache();
    QElapsedTimer clock;
    clock.start();
    const auto limitMs = static_cast<qint64>(limit * 1000.0);
    for (const std::shared_ptr<SongFile>& song : songs) {
        if (mIsQuitting || (!results->songs.empty() && clock.elapsed() >= limitMs))
            break;
        BatchResults::Song done;
        done.path = song->path();
        try {
            done.info = cache.infoForSongFileAtPath(done.path, song->modificationDate());
            if (done.info.isEmpty()) {
                std::unique_ptr<AudioInfoTag> tag = AudioInfoTag::tagWithPath(done.path);
                if (tag && tag->encounteredProblemDecoding()) {
                    done.corruptTag = std::move(tag);
                } else if (tag) {
                    done.info = CachedInfoTag::infoDictForTag(*tag, done.path);
                    cache.storeInfo(done.info, done.path);
                }
            }
            if (!done.info.isEmpty())
                song->createInfotagUsingCachedInfoDict(done.info);
        } catch (const std::exception& e) {
            WMLog("delazify %@ exception %@", done.path, e.what());
        }
        results->songs.push_back(std::move(done));
    }
    const bool quitting = mIsQuitting;
    mIsDelazifying = false;
    if (!quitting)
        QMetaObject::invokeMethod(
            this, [this, results] { processDelazifyQueue(results); }, Qt::QueuedConnection);
}

void Delazifier::stopDelazification()
{
    if (mActive)
        emit activeChanged(false);
    ++mGeneration;
    if (mIsDelazifying) {
        mIsQuitting = true;
        while (mIsDelazifying) {
            QEventLoop loop;
            QTimer::singleShot(100, &loop, &QEventLoop::quit);
            loop.exec();
        }
    }
    if (mThread) {
        mThread->wait();
        mThread.reset();
    }
    mIsQuitting = false;
    mActive = false;
}

void Delazifier::finish(bool logFinished)
{
    if (logFinished && mSourceKind == SongSourceKind::Library)
        WMLog("Finished delazification.");
    const bool wasActive = mActive;
    mActive = false;
    if (wasActive)
        emit activeChanged(false);
    emit finished();
}
