#include "MainController.h"

#include "GatherFlags.h"
#include "PrefsController.h"
#include "library/iTunesBridge.h"
#include "library/iTunesScriptRunner.h"
#include "songs/CachedInfoTag.h"
#include "songs/SongFile.h"
#include "songs/SongFileInfoCache.h"
#include "support/LocalizedStrings.h"
#include "support/WMLog.h"
#include "tags/AudioInfoTag.h"
#include "tags/WriteBatch.h"
#include "web/AlbumChooser.h"
#include "web/AlbumInfo.h"
#include "web/HTTPAnswerStore.h"
#include "web/SiblingIndex.h"
#include "web/SongInfoTask.h"
#include "web/WMHTTPQueue.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QSet>
#include <QSettings>
#include <QTimer>

namespace {

const QColor kBlue(0, 0, 255);
const QColor kRed(255, 0, 0);
const QColor kOrange(255, 128, 0);
const QColor kDarkGreen = QColor::fromRgbF(0.0f, 0.5f, 0.0f, 1.0f);

// Seconds of work between two reports while file references are made.
constexpr qint64 kPreparingReportMilliseconds = 200;

} // namespace

MainController::MainController(QObject* parent) : QObject(parent)
{
    mClock.start();
    setResources(PrefsController::sharedInstance().liveResources());
}

MainController::~MainController()
{
    commitWrites();
    if (mCurrentInfoTask) {
        mCurrentInfoTask->cancel();
        delete mCurrentInfoTask.data();
    }
    if (mAnswerStore && WMHTTPQueue::queue()->answerStore() == mAnswerStore)
        WMHTTPQueue::queue()->setAnswerStore(nullptr);
}

void MainController::setAllSongs(const SongList& songs)
{
    mAllSongs = songs;
    if (mVisibleIsAll) {
        mVisibleSongs = songs;
        mVisibleCursor = 0;
    }
    if (mSiblings)
        fileSiblings();
}

void MainController::fileSiblings()
{
    mSiblings = std::make_shared<SiblingIndex>(mAllSongs);
    if (mSongWorkList) {
        for (const std::shared_ptr<SongFile>& song : std::as_const(*mSongWorkList))
            mSiblings->setWaiting(song->path(), true);
    }
    if (mCurrentInfoTask && mCurrentInfoTask->song())
        mSiblings->setWaiting(mCurrentInfoTask->song()->path(), true);
}

void MainController::setVisibleSongs(const SongList& songs)
{
    mVisibleSongs = songs;
    mVisibleIsAll = false;
    mVisibleCursor = 0;
}

QString MainController::sourceDescription() const
{
    if (!mSourceDescription.isEmpty())
        return mSourceDescription;
    QStringList paths;
    for (const std::shared_ptr<SongFile>& song : mAllSongs)
        paths.append(song->path());
    return HistoryRecorder::sourceOfFiles(paths);
}

void MainController::setResources(const QVariantMap& resources)
{
    mResources = resources;
    mAllSourceAssetsAvailable =
        SongInfoTask::assetsPossibleFromSources(resources.value(QStringLiteral("sourcelist")).toStringList());
}

void MainController::addLog(const QString& text, const QColor& color)
{
    WMLog("%@", text);
    emit logLine(text, color);
}

void MainController::setBeginAddToMode(const QString& mode)
{
    if (mBeginMode == mode)
        return;
    mBeginMode = mode;
    emit beginModeChanged(mode);
}

// ---- Begin

bool MainController::canBeginGathering(const SongList& selection) const
{
    const SongList& candidates = selection.isEmpty() ? mVisibleSongs : selection;
    for (const std::shared_ptr<SongFile>& song : candidates) {
        if (song->activityStatus() == SongActivityStatus::Idle)
            return true;
    }
    return false;
}

bool MainController::beginGathering(const SongList& selection)
{
    const AlbumAssets checks = mWindowPrefs.checkFlags();
    if (checks.testFlag(AlbumAsset::SongTitle) &&
        mWindowPrefs.overwriteFlags().testFlag(AlbumAsset::SongTitle) && mConfirmOverwriteTitle &&
        !mConfirmOverwriteTitle())
        return false;

    const bool newRun = !mSongWorkList.has_value();
    if (newRun) {
        setBeginAddToMode(QStringLiteral("Add"));
        mSongWorkList.emplace();
        mSongWorkList->reserve(selection.isEmpty() ? mVisibleSongs.size() : selection.size());
        mSongsProcessed = 0;
        mSongsModified = 0;
        emit controlsEnabledChanged(false);
    }

    QSet<const SongFile*> selected;
    for (const std::shared_ptr<SongFile>& song : selection)
        selected.insert(song.get());
    SongList added;
    SongList needAlias;
    for (qsizetype i = mVisibleSongs.size() - 1; i >= 0; --i) {
        const std::shared_ptr<SongFile>& song = mVisibleSongs.at(i);
        if (!selected.isEmpty() && !selected.contains(song.get()))
            continue;
        if (song->activityStatus() != SongActivityStatus::Idle || mQueued.contains(song.get()))
            continue;
        added.append(song);
        if (!song->hasAlias())
            needAlias.append(song);
    }

    if (!prepareAliases(needAlias)) {
        if (newRun) {
            mSongWorkList.reset();
            setBeginAddToMode(QStringLiteral("Begin"));
            endRun();
        }
        return false;
    }
    if (added.isEmpty()) {
        // Nothing idle to do: a new run ends as it began.
        if (newRun) {
            mSongWorkList.reset();
            setBeginAddToMode(QStringLiteral("Begin"));
            endRun();
        }
        return false;
    }
    if (newRun) {
        fileSiblings();
        mAnswerStore = std::make_shared<HTTPAnswerStore>();
        WMHTTPQueue::queue()->setAnswerStore(mAnswerStore);
    }
    for (const std::shared_ptr<SongFile>& song : added) {
        song->setActivityStatus(SongActivityStatus::Queued);
        mSongWorkList->append(song);
        mQueued.insert(song.get());
        mSiblings->setWaiting(song->path(), true);
    }
    mVisibleCursor = 0;
    updateInfoGatheringStatusField();

    if (newRun) {
        if (!mDryRun)
            mHistory.emplace(OperationKind::Run, sourceDescription());
        emit runStarted();
        mOverallProgress.setIndeterminate(false);
        mOverallProgress.setMaxValue(static_cast<double>(added.size() + 1));
        mOverallProgress.setDoubleValue(1.0);
        processNextSongOnWorkList(nullptr);
    } else {
        // Counted as queued, so that the bar ends full.
        mOverallProgress.setMaxValue(mOverallProgress.maxValue() + static_cast<double>(added.size()));
    }
    emit tableReloadRequested();
    return true;
}

bool MainController::prepareAliases(const SongList& songs)
{
    mPreparingCancelled = false;
    const bool report = songs.size() > kPreparingProgressThreshold;
    QElapsedTimer sinceReport;
    sinceReport.start();
    const qint64 total = songs.size();
    for (qint64 i = 0; i < total; ++i) {
        songs.at(i)->setAliasFromPath();
        if (report && (sinceReport.elapsed() >= kPreparingReportMilliseconds || i + 1 == total)) {
            emit preparingProgress(i + 1, total);
            // The front end's Cancel arrives through the event loop.
            QCoreApplication::processEvents();
            sinceReport.restart();
            if (mPreparingCancelled)
                return false;
        }
    }
    return true;
}

// ---- Stop

void MainController::stopGathering()
{
    if (!mCurrentInfoTask)
        return;
    mCancelTaskTimeout = static_cast<double>(mClock.elapsed()) / 1000.0 + mCancelTimeoutSeconds;
    mCurrentInfoTask->cancel();
    checkIfFinishedCancelling();
}

void MainController::checkIfFinishedCancelling()
{
    if (!mCurrentInfoTask) {
        setBeginAddToMode(QStringLiteral("Begin"));
        return;
    }
    if (static_cast<double>(mClock.elapsed()) / 1000.0 < mCancelTaskTimeout) {
        QTimer::singleShot(kCancelPollMilliseconds, this, &MainController::checkIfFinishedCancelling);
        return;
    }
    setBeginAddToMode(QStringLiteral("Begin"));
    WMLog("Gave up [mCurrentInfoTask cancel]!");
    processNextSongOnWorkList(mCurrentInfoTask);
    mSongProgress.stopAnimation();
    mSongProgress.setIndeterminate(false);
    mSongProgress.setMaxValue(1.0);
    mSongProgress.setDoubleValue(0.0);
}

// ---- the next song

void MainController::processNextSongOnWorkList(SongInfoTask* task)
{
    // A report from a task given up on, or a second one, is ignored.
    if (task && task != mCurrentInfoTask)
        return;
    if (mCurrentInfoTask)
        finishCurrentTask(mCurrentInfoTask);

    if (mSongWorkList && mSongWorkList->isEmpty()) {
        commitWrites();
        setBeginAddToMode(QStringLiteral("Begin"));
        mSongWorkList.reset();
        updateInfoGatheringStatusField();
        addLog(LocalizedStrings::format(
                   mDryRun ? QStringLiteral("LogFinishedDryRun") : QStringLiteral("LogFinished"),
                   mSongsModified, LocalizedStrings::count(QStringLiteral("CountSongs"), mSongsProcessed)),
               kDarkGreen);
        emit runEnded(false);
    } else if (mSongWorkList) {
        startTask(nextSong());
    }
    if (!mSongWorkList)
        endRun();
    emit tableReloadRequested();
}

void MainController::finishCurrentTask(SongInfoTask* task)
{
    const std::shared_ptr<SongFile> song = task->song();
    ++mSongsProcessed;
    mOverallProgress.incrementBy(1.0);
    song->setDefaultActivityStatus();
    if (mCurrentSongUnreadable)
        song->setActivityStatus(SongActivityStatus::Problem);

    mCurrentOutcome.sources = task->sourceReports();
    mCurrentOutcome.note = task->errorMessage();
    if (mCurrentSongUnreadable) {
        const bool gone = !QFileInfo::exists(song->path());
        mCurrentOutcome.kind = gone ? SongOutcome::Kind::Vanished : SongOutcome::Kind::Unreadable;
        mCurrentOutcome.reason = LocalizedStrings::text(gone ? QStringLiteral("ReasonVanished")
                                                             : QStringLiteral("ReasonTagUnreadable"));
    } else if (task->wasCancelled()) {
        mCurrentOutcome.kind = SongOutcome::Kind::Cancelled;
    } else if (task->desiredAssetFlags()) {
        mCurrentOutcome.kind = SongOutcome::Kind::NothingFound;
    }

    AudioInfoTag* tag = nullptr;
    // The cache's summary already stands in for an unchanged song's tag.
    bool reverted = false;
    // What the path gave counts as changed whatever the task did.
    const AlbumAssets changed =
        (task->wasCancelled() ? AlbumAssets() : task->changedAssetFlags()) | mCurrentPathAssets;
    if (task->wasCancelled()) {
        commitWrites();
        for (const std::shared_ptr<SongFile>& queued : *mSongWorkList)
            queued->setDefaultActivityStatus();
        mSongWorkList.reset();
        mQueued.clear();
        updateInfoGatheringStatusField();
        addLog(
            LocalizedStrings::format(QStringLiteral("LogCancelled"), mSongsModified,
                                     LocalizedStrings::count(QStringLiteral("CountSongs"), mSongsProcessed)),
            kOrange);
        emit runEnded(true);
    } else if (changed) {
        const QHash<TagAttribute, ChangeOrigin>& found = task->valueOrigins();
        for (auto it = found.constBegin(); it != found.constEnd(); ++it)
            mCurrentOrigins.insert(it.key(), it.value());
        emit sortInvalidated();
    } else {
        reverted = song->revertToCachedInfotag();
        tag = song->hasInfotagCached() ? song->infotag() : nullptr;
        if (tag && tag->isPartOfCompilation() && (task->desiredAssetFlags() & mAllSourceAssetsAvailable))
            warnAboutCompilationForTrack(tag->title(), tag->artist());
    }

    SongResult result{song, changed, std::move(mCurrentReport), mCurrentOrigins, mCurrentOutcome};
    bool writing = false;
    tag = song->hasInfotagCached() ? song->infotag() : nullptr;
    if (tag && tag->tagHasBeenModified()) {
        if (mDryRun) {
            // Shown, not written: the file's own values come back. A file
            // the real run could not write is named with the reason.
            QString error;
            if (rehearseWrite(*song, *tag, &error)) {
                reportChanges(result, tag);
            } else {
                if (result.report)
                    result.outcome.changes = changeRecordOf(result, *tag);
                result.outcome.kind = SongOutcome::Kind::WriteFailed;
                result.outcome.reason = error;
                addLog(LocalizedStrings::format(QStringLiteral("ErrorWouldNotModify"), tag->artist(),
                                                tag->title(), error),
                       kRed);
                WMLog("    %@", song->path());
            }
            song->uncacheInfotag();
            keepCachedSummary(*song);
        } else {
            // Told only once the file holds them.
            writing = true;
        }
    } else {
        reportChanges(result, tag);
        if (!task->wasCancelled() && !reverted)
            keepCachedSummary(*song);
    }
    if (!task->errorMessage().isEmpty())
        addLog(WMFormat::string("-- %@", task->errorMessage()), kRed);
    // The songs after it see the song as its file now is.
    if (mSiblings) {
        mSiblings->refile(*song);
        mSiblings->setWaiting(song->path(), false);
    }
    if (writing)
        writeRunSong(std::move(result));
    else
        emit songDone(song, result.outcome);
    mCurrentReport.reset();
    mCurrentOrigins.clear();
    mCurrentSongUnreadable = false;
    mCurrentOutcome = SongOutcome();
    mCurrentPathAssets = {};
    releaseTask();
}

FileChangeRecord MainController::changeRecordOf(const SongResult& result, const AudioInfoTag& tag)
{
    return FileChangeRecord::between(result.song->path(), result.report->before(), TagSnapshot::of(tag),
                                     ChangeOrigin{ChangeOrigin::Kind::WebSource, {}}, result.origins);
}

void MainController::reportChanges(SongResult& result, AudioInfoTag* tag)
{
    if (!result.changed)
        return;
    ++mSongsModified;
    const QString title = tag ? tag->title() : result.song->filename();
    addLog(
        LocalizedStrings::format(mDryRun ? QStringLiteral("LogWouldSetInfo") : QStringLiteral("LogSetInfo"),
                                 title, AlbumInfo::summaryOfAssets(result.changed)),
        kBlue);
    result.outcome.kind = SongOutcome::Kind::Changed;
    if (tag && result.report) {
        const QStringList changes = result.report->changesTo(*tag, result.origins);
        // The log keeps which file it was and what it held before.
        WMLog("    %@", result.song->path());
        for (const QString& change : changes)
            WMLog("    %@", change);
        result.outcome.changes = changeRecordOf(result, *tag);
        emit songChanges(result.song, changes);
    }
}

std::shared_ptr<SongFile> MainController::nextSong()
{
    // The run follows what the user sees. Songs before the cursor were
    // taken already (adding songs or a new order moves it back).
    for (; mVisibleCursor < mVisibleSongs.size(); ++mVisibleCursor) {
        const std::shared_ptr<SongFile>& song = mVisibleSongs.at(mVisibleCursor);
        if (mQueued.contains(song.get()))
            return song;
    }
    return mSongWorkList->first();
}

void MainController::startTask(const std::shared_ptr<SongFile>& song)
{
    const QStringList sourcelist = mResources.value(QStringLiteral("sourcelist")).toStringList();
    auto* task = new SongInfoTask(song, mSiblings, sourcelist, mResources, this);
    mCurrentInfoTask = task;

    // A file changed since it was loaded is read again before anything is
    // judged from its tag: what to gather, what iTunes may keep, and the
    // state the values to be written are based on.
    song->refresh();
    song->ensureInfotagIsReal();
    AudioInfoTag* tag = song->infotag();
    mCurrentSongUnreadable = tag == nullptr;
    mCurrentOutcome = SongOutcome();
    mCurrentOutcome.dryRun = mDryRun;
    mCurrentPathAssets = {};
    mCurrentOrigins.clear();
    if (tag) {
        mCurrentReport.emplace(*tag);
        // Before anything is judged from the tag: a song without artist,
        // album or title is looked up by what its path says.
        takeValuesFromPath(*song, *tag);
    }
    if (tag && tag->numberOfImages() == 0 && song->hasiTunesArtwork() < 0)
        identifyiTunesArtworkForSong(*song);
    GatherFlags::Song state;
    if (tag) {
        state.hasEmbeddedImages = tag->numberOfImages() > 0;
        state.largestEmbeddedWidth =
            state.hasEmbeddedImages ? GatherFlags::largestImageWidth(tag->images()) : 0;
    }
    state.hasiTunesArtwork = song->hasiTunesArtwork();

    PrefsController& prefs = PrefsController::sharedInstance();
    task->setParallelMode(mWindowPrefs.parallelSearch() > 0);
    task->setMinimumAcceptableImageSize(prefs.minimumImageSize());
    task->setOverwriteImageSize(prefs.overwriteImageThreshold());
    task->setMaximumImageSize(prefs.maximumImageSize());
    task->setIgnoreNonSquareArt(prefs.ignoreNonSquareArtwork());
    task->setNoiTunesArtwork(prefs.noiTunesArtwork());
    // Taken in table order from a list filled from the table's end: it is
    // usually the last one.
    if (const qsizetype at = mSongWorkList->lastIndexOf(song); at >= 0)
        mSongWorkList->removeAt(at);
    mQueued.remove(song.get());

    const GatherFlags flags =
        GatherFlags::forSong(mWindowPrefs.checkFlags(), mWindowPrefs.overwriteFlags(),
                             prefs.overwriteImageThreshold(), prefs.noiTunesArtwork(), state);
    task->setGatherFlags(flags.gather());
    task->setOverwriteFlags(flags.overwrite());
    if (!tag) {
        task->setErrorMessage(LocalizedStrings::format(QStringLiteral("ErrorSongUnreadable"), song->path()));
        scheduleNextSong();
        return;
    }
    if (!(task->desiredAssetFlags() & mAllSourceAssetsAvailable)) {
        // Nothing wanted can be found: the song is done unchanged.
        scheduleNextSong();
        return;
    }

    song->rememberOriginalValuesForLaterRefresh();
    updateInfoGatheringStatusField();
    song->setActivityStatus(SongActivityStatus::Gathering);
    task->setProgessIndicator(&mSongProgress);
    task->setAlbumSelectionMethod(
        AlbumChooser::methodForPickingPreference(mWindowPrefs.albumPickingMethod()));
    task->setAllowSubstringTrackMatches(mWindowPrefs.allowSubstrings() > 0);
    if (!song->hasAlias())
        song->setAliasFromPath();
    task->gatherNotifyingObject(this, "processNextSongOnWorkList");
    // Art iTunes may keep for a song without embedded art can only be told
    // with iTunes running. Judged from the state the flags were made from.
    if (flags.gather().testFlag(AlbumAsset::Artwork) && !state.hasEmbeddedImages &&
        state.hasiTunesArtwork < 0 && warnAboutNoiTunesArtworkIdentify())
        stopGathering();
}

void MainController::scheduleNextSong()
{
    QPointer<SongInfoTask> task = mCurrentInfoTask;
    QTimer::singleShot(0, this, [this, task] {
        if (task)
            processNextSongOnWorkList(task);
    });
}

void MainController::releaseTask()
{
    if (SongInfoTask* task = mCurrentInfoTask) {
        mCurrentInfoTask = nullptr;
        // A task given up on may still be inside one of its sources.
        task->cancel();
        task->deleteLater();
    }
    updateInfoGatheringStatusField();
}

void MainController::endRun()
{
    commitWrites();
    mSiblings.reset();
    if (mAnswerStore && WMHTTPQueue::queue()->answerStore() == mAnswerStore)
        WMHTTPQueue::queue()->setAnswerStore(nullptr);
    mAnswerStore.reset();
    if (mHistory) {
        mHistory->finish();
        if (!mHistory->problem().isEmpty()) {
            addLog(mHistory->problem(), kRed);
            emit historyProblem(mHistory->problem());
        }
        const qint64 operation = mHistory->recordedFiles() > 0 ? mHistory->operationID() : 0;
        mHistory.reset();
        if (operation > 0)
            emit historyRecorded(operation);
    }
    mOverallProgress.setDoubleValue(0.0);
    emit controlsEnabledChanged(true);
}

// ---- status and warnings

void MainController::updateInfoGatheringStatusField()
{
    QString text;
    if (mCurrentInfoTask && mCurrentInfoTask->song()) {
        AudioInfoTag* tag =
            mCurrentInfoTask->song()->hasInfotagCached() ? mCurrentInfoTask->song()->infotag() : nullptr;
        text = WMFormat::string("%@ - %@", tag ? tag->artist() : QString(),
                                tag ? tag->title() : mCurrentInfoTask->song()->filename());
        if (numberOfSongsRemaining() > 0)
            text =
                LocalizedStrings::format(QStringLiteral("NumberRemaining"), text, numberOfSongsRemaining());
    }
    if (text == mStatusText)
        return;
    mStatusText = text;
    emit statusTextChanged(text);
}

void MainController::warnAboutCompilationForTrack(const QString& title, const QString& artist)
{
    if (QSettings().value(QStringLiteral("dontWarnCompilation")).toInt() == 1)
        return;
    const QString shownTitle =
        title.isEmpty() ? LocalizedStrings::text(QStringLiteral("NoTrackTitle")) : title;
    const QString shownArtist =
        artist.isEmpty() ? LocalizedStrings::text(QStringLiteral("NoArtist")) : artist;
    emit compilationWarning(
        LocalizedStrings::format(QStringLiteral("CompilationWarning"), shownTitle, shownArtist));
}

void MainController::compWarningDontShow(bool dontShow)
{
    QSettings().setValue(QStringLiteral("dontWarnCompilation"), dontShow ? 1 : 0);
}

bool MainController::warnAboutNoiTunesArtworkIdentify()
{
    // Without iTunes no artwork is kept outside the files: nothing to warn of.
    if (miTunesWarningVisible || !iTunesScriptRunner::isiTunesInstalled() ||
        iTunesScriptRunner::isiTunesRunning() || PrefsController::sharedInstance().noiTunesArtwork() ||
        QSettings().value(QStringLiteral("noShowiTunesWarning")).toBool())
        return false;
    emit iTunesArtworkWarning();
    return true;
}

void MainController::identifyiTunesArtworkForSong(SongFile& song)
{
    identifyiTunesArtworkForSongs({&song});
}

void MainController::identifyiTunesArtworkForSongs(const QList<SongFile*>& songs)
{
    // Whether iTunes is there is asked once, and iTunes once for all songs.
    const bool installed = iTunesScriptRunner::isiTunesInstalled();
    QStringList persistentIDs;
    QList<SongFile*> asked;
    for (SongFile* song : songs) {
        if (song->persistentID().isEmpty() || !installed) {
            song->setHasiTunesArtwork(0);
            continue;
        }
        asked.append(song);
        persistentIDs.append(song->persistentID());
    }
    if (asked.isEmpty() || !iTunesScriptRunner::isiTunesRunning())
        return;
    const std::optional<QList<int>> counts = iTunesBridge::artworkCountsForPIDs(persistentIDs);
    if (!counts || counts->size() != asked.size())
        return;
    for (qsizetype i = 0; i < asked.size(); ++i)
        asked.at(i)->setHasiTunesArtwork(counts->at(i) > 0 ? 1 : 0);
}
