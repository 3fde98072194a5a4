#include "FixCommand.h"

#include "ArgumentParser.h"
#include "CliOutput.h"
#include "ClosedOutputNotifier.h"
#include "FixReport.h"
#include "InterruptNotifier.h"
#include "SongSourceOptions.h"
#include "run/GatherFlags.h"
#include "run/MainController.h"
#include "run/RegenerateController.h"
#include "run/SongSourceLoader.h"
#include "run/WindowPrefs.h"
#include "songs/SongFile.h"
#include "songs/SongFileInfoCache.h"
#include "support/LocalizedStrings.h"
#include "web/WMHTTPQueue.h"

#include <QEventLoop>
#include <QFileInfo>
#include <QTextStream>

#include <algorithm>
#include <unistd.h>
#include <utility>

FixCommand::FixCommand(QStringList arguments, std::FILE* out, std::FILE* err)
    : mArguments(std::move(arguments)), mOut(out), mErr(err)
{}

FixCommand::~FixCommand() = default;

int FixCommand::run()
{
    int status = 0;
    const std::optional<ParsedArguments> parsed =
        ArgumentParser::parseFor(QStringLiteral("fix"), mArguments, mOut, mErr, &status);
    if (!parsed)
        return status;
    SongSourceOptions sourceOptions;
    sourceOptions.take(*parsed);
    WindowPrefs choices = WindowPrefs::readPrefs();
    const bool dryRun = parsed->has(QStringLiteral("--dry-run"));
    const bool json = parsed->has(QStringLiteral("--json"));
    mAssumeYes = parsed->has(QStringLiteral("--yes"));
    // Names checked by the parser.
    if (parsed->has(QStringLiteral("--check")))
        choices.setCheckFlags(*WindowPrefs::assetsFromNames(parsed->value(QStringLiteral("--check"))));
    if (parsed->has(QStringLiteral("--overwrite")))
        choices.setOverwriteFlags(
            *WindowPrefs::assetsFromNames(parsed->value(QStringLiteral("--overwrite"))));
    if (parsed->has(QStringLiteral("--method")))
        choices.setAlbumPickingMethod(
            parsed->value(QStringLiteral("--method"))
                        .compare(QStringLiteral("duplicates"), Qt::CaseInsensitive) == 0
                ? 1
                : 0);
    if (GatherFlags::overwritesConflict(choices.overwriteFlags())) {
        CliOutput::print(mErr, LocalizedStrings::text(QStringLiteral("CliFixOverwriteConflict")) +
                                   QLatin1Char('\n'));
        return exitCode(ExitStatus::Usage);
    }
    // Parallel lookups unless asked otherwise: a terminal run has no button.
    choices.setParallelSearch(parsed->has(QStringLiteral("--serial")) ? 0 : 1);
    sourceOptions.useSavedSourceIfNone();
    mTerminal = ::isatty(::fileno(mErr)) == 1;

    RegenerateController regenerate;
    SongSourceLoader loader;
    loader.setRegenerateController(&regenerate);
    // Nobody reads what a run would print any more: no run.
    mOutputWatch = std::make_unique<ClosedOutputNotifier>(mOut);
    ClosedOutputNotifier& outputWatch = *mOutputWatch;
    QObject::connect(&outputWatch, &ClosedOutputNotifier::closed, &loader, &SongSourceLoader::cancel);
    const bool loaded = sourceOptions.load(loader, mErr);
    if (outputWatch.isClosed() || (!loaded && loader.allSongs().isEmpty())) {
        SongFileInfoCache::sharedCache().detach();
        return outputWatch.isClosed() ? CliOutput::kClosedOutputStatus : exitCode(ExitStatus::Failed);
    }

    FixReport report(mOut, mErr, json, dryRun,
                     [this](std::FILE* to, const QString& text) { printAboveProgress(to, text); });
    report.setRoot(sourceOptions.source() == SongSourceOptions::Source::Folder
                       ? QFileInfo(sourceOptions.folder()).absoluteFilePath()
                       : FixReport::commonFolder(loader.allSongs()));
    report.reportSkippedAtLoad(loader);

    MainController controller;
    controller.setSourceDescription(sourceOptions.description());
    controller.setWindowPrefs(choices);
    controller.setDryRun(dryRun);
    controller.setAllSongs(loader.allSongs());
    // A dry run writes nothing, so it asks nothing.
    if (!dryRun)
        controller.setConfirmOverwriteTitle([this] { return confirmOverwriteTitle(); });
    connectOutput(controller, report);

    QEventLoop loop;
    bool cancelled = false;
    QObject::connect(&controller, &MainController::runEnded, &loop, [&](bool wasCancelled) {
        cancelled = wasCancelled;
        loop.exit(0);
    });
    InterruptNotifier interrupts;
    QObject::connect(&interrupts, &InterruptNotifier::interrupted, &loop, [&](int count) {
        if (count == 1 && controller.isRunning()) {
            printAboveProgress(mErr, LocalizedStrings::text(QStringLiteral("CliFixStopping")));
            controller.stopGathering();
            return;
        }
        // Never inside a write: those run to their end before events are seen.
        cancelled = true;
        loop.exit(exitCode(ExitStatus::Interrupted));
    });
    // A closed output stops the run as the first Ctrl-C does. Queued: it may
    // be noticed while the controller reports a song.
    QObject::connect(
        &outputWatch, &ClosedOutputNotifier::closed, &loop,
        [&] {
            if (controller.isRunning())
                controller.stopGathering();
        },
        Qt::QueuedConnection);

    // What the run takes on, for the songs left when it is stopped.
    const qint64 idle = std::count_if(loader.allSongs().cbegin(), loader.allSongs().cend(),
                                      [](const std::shared_ptr<SongFile>& song) {
                                          return song->activityStatus() == SongActivityStatus::Idle;
                                      });
    bool declined = false;
    int loopStatus = 0;
    if (controller.beginGathering()) {
        if (controller.isRunning())
            loopStatus = loop.exec();
    } else if (controller.canBeginGathering()) {
        declined = true;
    }
    if (mTerminal && !mProgressLine.isEmpty())
        CliOutput::print(mErr, QStringLiteral("\r\x1b[K"));
    SongFileInfoCache::sharedCache().detach();

    int result = exitCode(ExitStatus::Ok);
    if (outputWatch.check())
        result = CliOutput::kClosedOutputStatus;
    else if (loopStatus == exitCode(ExitStatus::Interrupted) || cancelled)
        result = exitCode(ExitStatus::Interrupted);
    else if (declined)
        result = exitCode(ExitStatus::Declined);
    else if (report.failed() > 0)
        result = exitCode(ExitStatus::Failed);
    else if (report.allSourcesFailed())
        result = exitCode(ExitStatus::SourcesFailed);
    if (declined) {
        CliOutput::print(mErr, LocalizedStrings::text(QStringLiteral("CliFixDeclined")) + QLatin1Char('\n'));
        return result;
    }
    if (result != CliOutput::kClosedOutputStatus)
        report.finish(cancelled, std::max<qint64>(0, idle - report.reported()), result);
    return result;
}

void FixCommand::connectOutput(MainController& controller, FixReport& report)
{
    QObject::connect(&controller, &MainController::songDone,
                     [&report](const std::shared_ptr<SongFile>& song, const SongOutcome& outcome) {
                         report.reportSong(song, outcome);
                     });
    QObject::connect(&controller, &MainController::historyProblem,
                     [this](const QString& text) { printAboveProgress(mErr, text); });
    QObject::connect(&controller, &MainController::compilationWarning,
                     [this](const QString& text) { printAboveProgress(mErr, text); });
    QObject::connect(&controller, &MainController::iTunesArtworkWarning, [this] {
        printAboveProgress(mErr, LocalizedStrings::text(QStringLiteral("iTunesArtworkWarning")));
    });
    // Servers that time out, ask for too long a wait or answer too much.
    QObject::connect(WMHTTPQueue::queue(), &WMHTTPQueue::importantLogNotification, &controller,
                     [this](const QString& message) { printAboveProgress(mErr, message); });
    if (!mTerminal)
        return;
    QObject::connect(&controller, &MainController::statusTextChanged,
                     [this, &controller] { showProgress(controller); });
    QObject::connect(controller.songProgress(), &ProgressIndicator::changed,
                     [this, &controller] { showProgress(controller); });
}

void FixCommand::showProgress(MainController& controller)
{
    if (controller.infoGatheringStatusText().isEmpty())
        return;
    const qint64 total = static_cast<qint64>(controller.overallProgress()->maxValue()) - 1;
    QString line = LocalizedStrings::format(QStringLiteral("CliFixProgress"),
                                            static_cast<qint64>(controller.songsProcessed()) + 1, total,
                                            controller.infoGatheringStatusText());
    // One line, cut to an ordinary terminal's width.
    if (line.size() > 79)
        line = line.left(78) + QStringLiteral("…");
    if (line == mProgressLine)
        return;
    mProgressLine = line;
    CliOutput::print(mErr, QStringLiteral("\r\x1b[K") + line);
}

void FixCommand::printAboveProgress(std::FILE* to, const QString& text)
{
    if (mTerminal && !mProgressLine.isEmpty()) {
        CliOutput::print(mErr, QStringLiteral("\r\x1b[K"));
        mProgressLine.clear();
    }
    CliOutput::print(to, text + QLatin1Char('\n'));
    if (to == mOut && mOutputWatch)
        mOutputWatch->check();
}

bool FixCommand::confirmOverwriteTitle() const
{
    if (mAssumeYes)
        return true;
    CliOutput::print(mErr,
                     LocalizedStrings::text(QStringLiteral("OverwriteTitleMessage")) + QLatin1Char(' '));
    if (::isatty(STDIN_FILENO) != 1) {
        CliOutput::print(mErr, QLatin1Char('\n') + LocalizedStrings::text(QStringLiteral("CliFixNeedsYes")) +
                                   QLatin1Char('\n'));
        return false;
    }
    CliOutput::print(mErr, LocalizedStrings::text(QStringLiteral("CliYesNo")));
    QTextStream in(stdin);
    const QString answer = in.readLine().trimmed().toLower();
    return answer == QStringLiteral("y") || answer == QStringLiteral("yes");
}
