#pragma once

#include "SongChangeReport.h"
#include "SongOutcome.h"
#include "WindowPrefs.h"
#include "history/HistoryRecorder.h"
#include "support/ProgressIndicator.h"
#include "web/AlbumAsset.h"
#include "web/SongInfoTask.h"

#include <QColor>
#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <functional>
#include <memory>
#include <optional>

class AudioInfoTag;
class HTTPAnswerStore;
class SiblingIndex;
class SongFile;
class WriteBatch;

// The gathering run: the songs chosen are put on a work list and done one
// at a time, in the order the table shows them. For each, a lookup task is
// made that knows what to look for and what it may overwrite; when it
// reports back, the changed tag is written into the file (or, in a dry run,
// only reported), the song information cache is renewed, the outcome is
// logged, and the next song is taken. Stop cancels the running task and
// gives up waiting for it after four seconds.
//
// What the tasks of one run share: the songs filed by album and artist (the
// siblings a song borrows from, filed again as each song ends), and the
// answers of the web sources by URL, so that the songs of an album ask each
// source once, whichever order they come in.
//
// Without a window: the front end (the window, the command line) gives the
// songs, the choices and the selection, and shows what the signals report.
// Everything runs on the main thread; the next song is always taken on a
// later turn of the event loop, never by recursion.
class MainController : public QObject
{
    Q_OBJECT

public:
    using SongList = QList<std::shared_ptr<SongFile>>;

    // Seconds to wait for a cancelled task, and between looks at it.
    static constexpr double kCancelTaskTimeoutSeconds = 4.0;
    static constexpr int kCancelPollMilliseconds = 200;
    // More songs than this without a file reference get a progress report
    // while their references are made.
    static constexpr qsizetype kPreparingProgressThreshold = 40;

    explicit MainController(QObject* parent = nullptr);
    ~MainController() override;

    // ---- the songs: all of the source, and those shown in table order
    // (all of them unless set otherwise).
    void setAllSongs(const SongList& songs);
    // The table's order; a run goes on in the new order.
    void setVisibleSongs(const SongList& songs);
    const SongList& allSongs() const { return mAllSongs; }
    const SongList& visibleSongs() const { return mVisibleSongs; }

    // ---- the choices
    void setWindowPrefs(const WindowPrefs& prefs) { mWindowPrefs = prefs; }
    const WindowPrefs& windowPrefs() const { return mWindowPrefs; }
    // Tasks run and their changes are reported, but no file is written.
    void setDryRun(bool dryRun) { mDryRun = dryRun; }
    // What the run works on, as the change history names it ("the library",
    // a playlist's name, a folder); the folder holding all songs when unset.
    void setSourceDescription(const QString& description) { mSourceDescription = description; }
    QString sourceDescription() const;
    bool isDryRun() const { return mDryRun; }
    // The resources handed to the tasks ("sourcelist" and each source's
    // section); the live resources of the preferences unless set.
    void setResources(const QVariantMap& resources);
    const QVariantMap& resources() const { return mResources; }
    // Asked before titles are looked up with overwriting on; false ends the
    // Begin. Without one the run proceeds.
    void setConfirmOverwriteTitle(std::function<bool()> confirm)
    {
        mConfirmOverwriteTitle = std::move(confirm);
    }
    // For tests: how long a cancelled task is waited for.
    void setCancelTaskTimeoutSeconds(double seconds) { mCancelTimeoutSeconds = seconds; }

    // ---- the run
    // Starts a run over the idle songs of `selection` (every visible song
    // when empty), or adds them to the run that runs. False when nothing
    // was started or added.
    bool beginGathering(const SongList& selection = {});
    // Cancels the running task; the run ends when the task has ended, or
    // after the time-out.
    void stopGathering();
    // The task's report at its end, and the step that takes the next song.
    Q_INVOKABLE void processNextSongOnWorkList(SongInfoTask* task);
    void checkIfFinishedCancelling();
    // Stops making file references before a run (the front end's Cancel).
    void cancelPreparing() { mPreparingCancelled = true; }

    bool canBeginGathering(const SongList& selection = {}) const;
    bool canStopGathering() const { return mSongWorkList.has_value(); }
    bool isRunning() const { return mSongWorkList.has_value(); }
    qsizetype numberOfSongsRemaining() const { return mSongWorkList ? mSongWorkList->size() : 0; }
    SongInfoTask* currentInfoTask() const { return mCurrentInfoTask; }
    quint32 songsProcessed() const { return mSongsProcessed; }
    quint32 songsModified() const { return mSongsModified; }
    QString infoGatheringStatusText() const { return mStatusText; }
    // "Begin", or "Add" while a run runs.
    QString beginMode() const { return mBeginMode; }
    AlbumAssets allSourceAssetsAvailable() const { return mAllSourceAssetsAvailable; }
    ProgressIndicator* overallProgress() { return &mOverallProgress; }
    ProgressIndicator* songProgress() { return &mSongProgress; }

    // ---- warnings
    // The compilation warning's don't-show box.
    void compWarningDontShow(bool dontShow);
    // The front end tells whether its iTunes warning panel is showing.
    void setiTunesWarningVisible(bool visible) { miTunesWarningVisible = visible; }
    // Shows the warning that iTunes must run for artwork when it applies;
    // true when it was shown.
    bool warnAboutNoiTunesArtworkIdentify();

    // Writes a song whose tag was changed (by the run or by hand) through
    // the crash-safe rewrite. On success the cache learns the new values and
    // the song keeps only their summary; on failure the reason is logged in
    // red, writeFailed() is signalled, the tag is dropped (to be read again)
    // and the song's status becomes 4. Answers whether it was written; the
    // write is durable when it answers.
    bool writeSong(const std::shared_ptr<SongFile>& song);
    // Writes a song whose tag was changed outside a run (an edit, a command
    // of the window) as above, and records in `history` what changed since
    // `before`, every new value coming from `origin`.
    bool writeSong(const std::shared_ptr<SongFile>& song, const TagSnapshot& before, HistoryRecorder& history,
                   const ChangeOrigin& origin = {});
    // A song whose file another write of ours changed (an undo, a redo):
    // its tag is read from the file again, the cache learns the values and
    // the song keeps their summary.
    static void takeValuesFromFile(SongFile& song);

    // Works out whether iTunes keeps artwork for the song outside its file:
    // a song iTunes doesn't know, or no iTunes at all, means none.
    static void identifyiTunesArtworkForSong(SongFile& song);
    // The same for many songs, with one question to iTunes.
    static void identifyiTunesArtworkForSongs(const QList<SongFile*>& songs);

signals:
    // A line for the activity log view; it is also written to the log.
    void logLine(const QString& text, const QColor& color);
    // What a song's task changed (or, in a dry run, would change).
    void songChanges(const std::shared_ptr<SongFile>& song, const QStringList& changes);
    // A song's file could not be written; the reason is in the log line.
    void writeFailed(const std::shared_ptr<SongFile>& song, const QString& error);
    // A song's turn ended: how, what changed and what each source said.
    void songDone(const std::shared_ptr<SongFile>& song, const SongOutcome& outcome);
    // The change history could not record the run (also in a log line).
    void historyProblem(const QString& text);
    // The run's operation in the change history, once the run ended (not
    // for a run that changed no file, nor for a dry run).
    void historyRecorded(qint64 operation);
    void statusTextChanged(const QString& text);
    // "Begin" or "Add": the Begin command's texts are the localised ones
    // under that word followed by "Label", "PaletteLabel" and "ToolTip".
    void beginModeChanged(const QString& mode);
    // The choices that can't change during a run are enabled or not.
    void controlsEnabledChanged(bool enabled);
    void runStarted();
    void runEnded(bool cancelled);
    // The table shows statuses or values that changed.
    void tableReloadRequested();
    // The table's order is no longer true.
    void sortInvalidated();
    // File references are made for `done` of `total` songs before the run.
    void preparingProgress(qint64 done, qint64 total);
    // The front end shows the localised text with a don't-show box.
    void compilationWarning(const QString& text);
    void iTunesArtworkWarning();

private:
    void addLog(const QString& text, const QColor& color);
    void setBeginAddToMode(const QString& mode);
    void updateInfoGatheringStatusField();
    void warnAboutCompilationForTrack(const QString& title, const QString& artist);
    // Makes file references for the songs; false when cancelled.
    bool prepareAliases(const SongList& songs);
    void finishCurrentTask(SongInfoTask* task);
    // What the run knows of a song from the end of its lookup until its
    // file holds the changes (its write may wait in the run's write batch).
    struct SongResult
    {
        std::shared_ptr<SongFile> song;
        AlbumAssets changed;
        std::optional<SongChangeReport> report;
        QHash<TagAttribute, ChangeOrigin> origins;
        SongOutcome outcome;
    };
    static FileChangeRecord changeRecordOf(const SongResult& result, const AudioInfoTag& tag);
    // Counts and logs a song's changes (as would-be changes in a dry run).
    void reportChanges(SongResult& result, AudioInfoTag* tag);
    // Writes a run's song through the run's write batch: songs that finish
    // faster than a disk flush share one. songDone() follows once the file
    // holds the values (or the write failed).
    void writeRunSong(SongResult result);
    void commitWrites();
    // After a write: a failure is logged and signalled; a success teaches
    // the cache the new values. A run's song is also told and recorded.
    bool songWritten(const std::shared_ptr<SongFile>& song, bool written, const QString& error,
                     SongResult* run);
    // The values the song's path gives for those its tag lacks and the run
    // looks for (the artist always: a lookup needs it).
    void takeValuesFromPath(const SongFile& song, AudioInfoTag& tag);
    // In a dry run: whether the song's changed tag could be written, with
    // every check of a real write made and nothing written.
    static bool rehearseWrite(const SongFile& song, AudioInfoTag& tag, QString* error);
    static void keepCachedSummary(SongFile& song);
    std::shared_ptr<SongFile> nextSong();
    void startTask(const std::shared_ptr<SongFile>& song);
    void scheduleNextSong();
    void endRun();
    void releaseTask();
    // The songs by album for the tasks, with those still queued (and the
    // current one) waiting.
    void fileSiblings();

    SongList mAllSongs;
    SongList mVisibleSongs;
    bool mVisibleIsAll = true;
    std::optional<SongList> mSongWorkList;
    // The songs of the work list, for quick look-ups, and where in the
    // visible list the search for the next one starts.
    QSet<const SongFile*> mQueued;
    qsizetype mVisibleCursor = 0;
    QPointer<SongInfoTask> mCurrentInfoTask;
    quint32 mSongsProcessed = 0;
    quint32 mSongsModified = 0;
    QElapsedTimer mClock;
    double mCancelTaskTimeout = 0.0;
    double mCancelTimeoutSeconds = kCancelTaskTimeoutSeconds;
    AlbumAssets mAllSourceAssetsAvailable;
    QVariantMap mResources;
    WindowPrefs mWindowPrefs;
    bool mDryRun = false;
    bool mPreparingCancelled = false;
    bool miTunesWarningVisible = false;
    std::function<bool()> mConfirmOverwriteTitle;
    QString mStatusText;
    QString mBeginMode = QStringLiteral("Begin");
    ProgressIndicator mOverallProgress;
    ProgressIndicator mSongProgress;

    // The current song's values before its task, and whether it could be
    // read at all.
    std::optional<SongChangeReport> mCurrentReport;
    // Where the current song's new values came from.
    QHash<TagAttribute, ChangeOrigin> mCurrentOrigins;
    // The run's operation in the change history (none in a dry run).
    std::optional<HistoryRecorder> mHistory;
    // Shared by the tasks of the run (none between runs).
    std::shared_ptr<SiblingIndex> mSiblings;
    std::shared_ptr<HTTPAnswerStore> mAnswerStore;
    QString mSourceDescription;
    bool mCurrentSongUnreadable = false;
    // How the current song ends, and what its path gave it.
    SongOutcome mCurrentOutcome;
    AlbumAssets mCurrentPathAssets;
    // The run's writes not yet made durable.
    std::unique_ptr<WriteBatch> mWriteBatch;
};
