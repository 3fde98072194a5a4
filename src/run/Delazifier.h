#pragma once

#include "PrefsController.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

#include <atomic>
#include <memory>
#include <unordered_set>

class QThread;
class RegenerateController;
class SongFile;

// Reads the real tags of songs that only have a lazy tag (built from the
// library's track dictionary), in the background, a batch at a time, the
// rows the user sees first. Each batch holds copies of at most 50 songs; a
// worker thread (one at a time) spends at most 0.25 seconds on it (the first
// song is always done), taking each tag from the song information cache or
// reading and caching it; the main thread then moves the results over to the
// songs of the same path and builds the next batch: the visible rows top to
// bottom, as many rows below them, as many above them going upwards, then the
// rest. The table's own records are never touched by the worker.
class Delazifier : public QObject
{
    Q_OBJECT

public:
    static constexpr int kBatchSize = 50;
    static constexpr double kBatchSeconds = 0.25;

    explicit Delazifier(QObject* parent = nullptr);
    // Stops the worker, waiting for the song it is on.
    ~Delazifier() override;

    // All songs of the source: results are matched to them by path.
    void setAllSongs(const QList<std::shared_ptr<SongFile>>& songs);
    // The table's rows in their order (all songs when never set), and the
    // range of rows in view (none: count 0).
    void setRows(const QList<std::shared_ptr<SongFile>>& rows);
    void setVisibleRange(int firstRow, int count);
    void setSourceKind(SongSourceKind kind) { mSourceKind = kind; }
    void setRegenerateController(RegenerateController* controller) { mRegenerateController = controller; }
    // The worker's time per batch; tests shorten it to 0 (one song a batch).
    void setBatchTimeLimit(double seconds) { mBatchTimeLimit = seconds; }

    // Reads the visible rows' tags now, then starts the batches.
    void startDelazification();
    // Stops after the worker's current song, turning the event loop in
    // 0.1-second steps until the worker has ended. Songs not done stay lazy.
    void stopDelazification();
    // Between start and the end of the last batch.
    bool isActive() const { return mActive; }
    // A worker thread is running.
    bool isDelazifying() const { return mIsDelazifying; }

    // A song whose tag is lazy and does not come from the cache.
    static bool needsDelazifying(SongFile& song);
    // The songs of the next batch, in order (at most kBatchSize).
    QList<std::shared_ptr<SongFile>> nextBatchSongs() const;

signals:
    // The indicator beside the overall progress is shown or hidden.
    void activeChanged(bool active);
    // Songs in the visible rows got their tags: the table should redraw.
    void visibleRowsChanged();
    // The paths a finished batch covered, in the order they were done.
    void batchFinished(const QStringList& paths);
    // No lazy song is left (or the source changed).
    void finished();

private:
    struct BatchResults;

    void processDelazifyQueue(const std::shared_ptr<BatchResults>& results);
    void applyResults(BatchResults& results);
    // The worker's body: runs on the batch thread over copies.
    void delazifyThread(const QList<std::shared_ptr<SongFile>>& songs, double limit, quint64 generation);
    QList<std::shared_ptr<SongFile>> orderedRows() const;
    void finish(bool logFinished);

    QList<std::shared_ptr<SongFile>> mAllSongs;
    QList<std::shared_ptr<SongFile>> mRows;
    bool mRowsSet = false;
    int mVisibleFirst = 0;
    int mVisibleCount = 0;
    SongSourceKind mSourceKind = SongSourceKind::Folder;
    RegenerateController* mRegenerateController = nullptr;
    double mBatchTimeLimit = kBatchSeconds;

    std::unique_ptr<QThread> mThread;
    std::atomic<bool> mIsDelazifying{false};
    std::atomic<bool> mIsQuitting{false};
    bool mActive = false;
    // Raised by every stop, so that results still on their way are dropped.
    std::atomic<quint64> mGeneration{0};
    // Songs a batch has covered (or whose file is gone) since the start;
    // never batched again.
    std::unordered_set<const SongFile*> mAttempted;
};
