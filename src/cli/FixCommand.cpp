#include "FixCommand.h"

#include "CliOutput.h"
#include "ClosedOutputNotifier.h"
#include "InterruptNotifier.h"
#include "SongSourceOptions.h"
#include "run/GatherFlags.h"
#include "run/MainController.h"
#include "run/RegenerateController.h"
#include "run/SongSourceLoader.h"
#include "run/WindowPrefs.h"
#include "songs/SongFileInfoCache.h"
#include "support/LocalizedStrings.h"
#include "web/WMHTTPQueue.h"

#include <QEventLoop>
#include <QTextStream>

#include <unistd.h>
#include <utility>

namespace {

// Exit status of a run stopped with Ctrl-C, as shells report SIGINT.
constexpr int kInterruptedStatus = 130;

} // namespace

FixCommand::FixCommand(QStringList arguments, std::FILE* out, std::FILE* err)
    : mArguments(std::move(arguments)), mOut(out), mErr(err)
{}

FixCommand::~FixCommand() = default;

int FixCommand::usage(const QString& badArgument)
{
    CliOutput::print(mErr, LocalizedStrings::format(QStringLiteral("CliBadArgument"), badArgument) +
                               QLatin1Char('\n') + LocalizedStrings::text(QStringLiteral("CliFixUsage")) +
                               QLatin1Char('\n'));
    return 2;
}

int FixCommand::run()
{
    SongSourceOptions sourceOptions;
    WindowPrefs choices = WindowPrefs::readPrefs();
    bool dryRun = false;
    bool serial = false;
    for (qsizetype i = 0; i < mArguments.size(); ++i) {
        const QString& arg = mArguments.at(i);
        const bool hasValue = i + 1 < mArguments.size();
        if (arg == QStringLiteral("--dry-run")) {
            dryRun = true;
        } else if (arg == QStringLiteral("--serial")) {
            serial = true;
        } else if (arg == QStringLiteral("--yes")) {
            mAssumeYes = true;
        } else if ((arg == QStringLiteral("--check") || arg == QStringLiteral("--overwrite")) && hasValue) {
            const std::optional<AlbumAssets> assets = WindowPrefs::assetsFromNames(mArguments.at(++i));
            if (!assets)
                return usage(mArguments.at(i));
            if (arg == QStringLiteral("--check"))
                choices.setCheckFlags(*assets);
            else
                choices.setOverwriteFlags(*assets);
        } else if (arg == QStringLiteral("--method") && hasValue) {
            const QString method = mArguments.at(++i);
            if (method == QStringLiteral("earliest"))
                choices.setAlbumPickingMethod(0);
            else if (method == QStringLiteral("duplicates"))
                choices.setAlbumPickingMethod(1);
            else
                return usage(method);
        } else if (!sourceOptions.take(mArguments, i)) {
            return usage(arg);
        }
    }
    if (GatherFlags::overwritesConflict(choices.overwriteFlags())) {
        CliOutput::print(mErr, LocalizedStrings::text(QStringLiteral("CliFixOverwriteConflict")) +
                                   QLatin1Char('\n'));
        return 2;
    }
    // Parallel lookups unless asked otherwise: a terminal run has no button.
    choices.setParallelSearch(serial ? 0 : 1);
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
        return outputWatch.isClosed() ? CliOutput::kClosedOutputStatus : 1;
    }

    MainController controller;
    controller.setSourceDescription(sourceOptions.description());
    controller.setWindowPrefs(choices);
    controller.setDryRun(dryRun);
    controller.setAllSongs(loader.allSongs());
    controller.setConfirmOverwriteTitle([this] { return confirmOverwriteTitle(); });
    connectOutput(controller);

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
        loop.exit(kInterruptedStatus);
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

    int status = 0;
    if (controller.beginGathering()) {
        if (controller.isRunning())
            status = loop.exec();
    } else if (!controller.canBeginGathering()) {
        const QString key = loader.allSongs().isEmpty() ? QStringLiteral("CliFixNoSongs")
                                                        : QStringLiteral("CliFixNothingToDo");
        CliOutput::print(mOut, LocalizedStrings::text(key) + QLatin1Char('\n'));
    } else {
        status = 1;
    }
    if (mTerminal && !mProgressLine.isEmpty())
        CliOutput::print(mErr, QStringLiteral("\r\x1b[K"));
    if (dryRun)
        CliOutput::print(mOut,
                         LocalizedStrings::text(QStringLiteral("CliFixDryRunNote")) + QLatin1Char('\n'));
    SongFileInfoCache::sharedCache().detach();
    if (outputWatch.check())
        return CliOutput::kClosedOutputStatus;
    if (status == kInterruptedStatus || cancelled)
        return kInterruptedStatus;
    return status != 0 || mWriteFailures > 0 ? 1 : 0;
}

void FixCommand::connectOutput(MainController& controller)
{
    QObject::connect(&controller, &MainController::logLine,
                     [this](const QString& text, const QColor&) { printAboveProgress(mOut, text); });
    QObject::connect(&controller, &MainController::songChanges,
                     [this](const std::shared_ptr<SongFile>&, const QStringList& changes) {
                         for (const QString& change : changes)
                             printAboveProgress(mOut, QStringLiteral("    ") + change);
                     });
    QObject::connect(&controller, &MainController::writeFailed, [this] { ++mWriteFailures; });
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
