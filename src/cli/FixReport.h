#pragma once

#include "ExitStatus.h"
#include "run/SongOutcome.h"

#include <QHash>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

#include <cstdio>
#include <functional>
#include <memory>

class SongFile;
class SongSourceLoader;

// What `fix` shows of a run: each song by its path below the source with its
// artist and title, what changed or why not, and at the end the counts of
// songs changed, with nothing found, failed and skipped, the same for a dry
// run. As text, or with --json one object per song and a summary object.
class FixReport
{
public:
    // `print(to, text)` writes above the progress line.
    FixReport(std::FILE* out, std::FILE* err, bool json, bool dryRun,
              std::function<void(std::FILE*, const QString&)> print);

    // The folder song paths are shown below: the source folder, or the
    // folder all songs share.
    void setRoot(const QString& root) { mRoot = root; }
    static QString commonFolder(const QList<std::shared_ptr<SongFile>>& songs);

    // Songs the run leaves alone from the start: damaged tags, read-only
    // files, files that could not be read at all.
    void reportSkippedAtLoad(const SongSourceLoader& loader);
    void reportSong(const std::shared_ptr<SongFile>& song, const SongOutcome& outcome);
    // The closing counts; `cancelled` when stopped, with the songs not done.
    void finish(bool cancelled, qint64 notDone, int status);

    qint64 failed() const { return mFailed; }
    // Songs of the run whose turn came to an end.
    qint64 reported() const { return mReported; }
    // Songs were looked up on the web and every source failed for each.
    bool allSourcesFailed() const { return mLookedUp > 0 && mLookedUp == mAllFailed; }

private:
    QString shownPath(const QString& path) const;
    static QString songName(const std::shared_ptr<SongFile>& song, const SongOutcome& outcome);
    void printSong(const QString& path, const QString& name, const QStringList& lines);
    void printSongJson(const QString& path, const QString& name, const SongOutcome& outcome);
    void printSkipped(const std::shared_ptr<SongFile>& song, const QString& path, const QString& reason,
                      int* counter);
    QString sourcesSummary() const;

    std::FILE* mOut;
    std::FILE* mErr;
    bool mJson;
    bool mDryRun;
    std::function<void(std::FILE*, const QString&)> mPrint;
    QString mRoot;
    qint64 mChanged = 0, mNothingFound = 0, mFailed = 0, mComplete = 0;
    int mDamaged = 0, mReadOnly = 0, mUnreadable = 0, mVanished = 0;
    qint64 mLookedUp = 0, mAllFailed = 0;
    qint64 mReported = 0;
    // "path: reason" of every song that could not be written.
    QStringList mFailures;
    // Each failing source once, with its first reason; sources not asked.
    QStringList mFailedSources;
    QHash<QString, QString> mSourceFailures;
    QSet<QString> mNotAsked;
};
