#pragma once

#include "SongInfoArchive.h"

#include <QElapsedTimer>
#include <QHash>
#include <QMap>
#include <QMutex>
#include <QObject>
#include <QString>
#include <QTimer>
#include <QVariantMap>

#include <optional>

class QThread;

// What the program learnt about each audio file, kept so that a second scan
// of a large library need not open the files: one small dictionary of tag
// values per file (see CachedInfoTag), valid while the file's modification
// date equals the entry's "mod". Entries are grouped by a 32-bit key made
// from the last four characters of the file's folder, so that one small
// file on disk serves a whole album folder. Groups are read on first use and
// kept for the life of the process; changed groups are written one per tick
// of a 0.1-second timer on the main thread, once changes pause.
//
// Safe to use from the main thread and the delazification thread: one lock
// guards the groups in memory and the set of changed groups.
class SongFileInfoCache : public QObject
{
    Q_OBJECT

public:
    // A cache over the given base folder (made when missing). The timer
    // lives on the application's main thread.
    explicit SongFileInfoCache(const QString& basePath);
    ~SongFileInfoCache() override;

    // The one cache of the program, over appCacheFolder().
    static SongFileInfoCache& sharedCache();
    // The base folder under the user's caches folder: "<caches>/<identifier>.info".
    static QString appCacheFolder();

    // The entry of the file when there is one and its "mod" equals the
    // file's modification date now; an empty map otherwise.
    QVariantMap infoForSongFileAtPath(const QString& path);
    // The same, against a modification date the caller already read.
    QVariantMap infoForSongFileAtPath(const QString& path, const QDateTime& modificationDate);
    // Puts the entry into its group and schedules the group's writing.
    void storeInfo(const QVariantMap& info, const QString& path);

    // With disk reads off only the groups already in memory are consulted.
    void setAllowDiskReads(bool allow);
    bool allowDiskReads() const;

    bool isDirty() const;
    // Writes every changed group now, on the calling thread.
    void detach();
    // Writes one changed group. From the timer, first waits for a 0.1-second
    // pause in changes, and re-arms itself while groups remain.
    void writeSomeCacheToDisk(bool calledByTimer);
    // Notes a change and arms the write timer (forwarded to the main thread
    // when called elsewhere).
    void cacheMemoryDirtyWithResetTime(bool reset);
    Q_INVOKABLE void cacheMemoryDirtyFromThread();

    // The group key of a file: from the last four characters of its
    // folder's path; none for a folder path shorter than 5 characters.
    static std::optional<quint32> keyForPath(const QString& path);
    // "<base>/<bits 4-7>/<bits 0-3>/<key in hex>.cache".
    QString pathForKeyNumber(quint32 key) const;
    QString basePath() const { return mCacheBasePath; }

private:
    // The group of the path (loaded or started as needed), or null without a
    // key or, with disk reads off and not `forStoring`, when the group is
    // not in memory. The lock must be held.
    SongInfoGroup* hostDictionaryForPath(const QString& path, quint32* key, bool forStoring);
    SongInfoGroup loadGroup(quint32 key) const;
    void armTimer();
    void timerFired();

    QString mCacheBasePath;
    QHash<quint32, SongInfoGroup> mMemoryCache;
    QMap<quint32, bool> mDirtyDicts;
    mutable QMutex mDirtyDictsLock;
    QThread* mMainThread = nullptr;
    QElapsedTimer mClock;
    qint64 mLastDirtiedTime = 0;
    bool mAllowDiskReads = true;
    QTimer mMemoryCacheWriteTimer;
};
