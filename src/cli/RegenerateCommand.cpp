#include "RegenerateCommand.h"

#include "ArgumentParser.h"
#include "CliOutput.h"
#include "history/HistoryRecorder.h"
#include "run/RegenerateController.h"
#include "songs/SongFile.h"
#include "support/LocalizedStrings.h"
#include "tags/AudioInfoTag.h"
#include "tags/WriteBatch.h"

#include <QFileInfo>

#include <utility>

RegenerateCommand::RegenerateCommand(QStringList arguments, std::FILE* out, std::FILE* err)
    : mArguments(std::move(arguments)), mOut(out), mErr(err)
{}

int RegenerateCommand::run()
{
    int status = 0;
    const std::optional<ParsedArguments> parsed =
        ArgumentParser::parseFor(QStringLiteral("regenerate"), mArguments, mOut, mErr, &status);
    if (!parsed)
        return status;
    const QStringList& paths = parsed->positionals();
    RegenerateController controller;
    int missing = 0;
    for (const QString& argument : paths) {
        const QString path = QFileInfo(argument).absoluteFilePath();
        std::shared_ptr<SongFile> song = SongFile::songWithPath(path);
        if (!song) {
            CliOutput::print(mErr, LocalizedStrings::format(QStringLiteral("CliRegenerateNoSong"), argument) +
                                       QLatin1Char('\n'));
            ++missing;
            continue;
        }
        controller.addCorruptSong(song);
    }
    const QList<std::shared_ptr<SongFile>> songs = controller.songsArray();
    qint64 done = 0;
    HistoryRecorder history(OperationKind::Regenerate, HistoryRecorder::sourceOfFiles(paths));
    const auto report = [&](const std::shared_ptr<SongFile>& song, const TagSnapshot& before, bool written,
                            QString error) {
        if (!written) {
            if (error.isEmpty())
                error = LocalizedStrings::text(QStringLiteral("ErrorTagNotWritten"));
            CliOutput::print(
                mErr, LocalizedStrings::format(QStringLiteral("CliRegenerateFailed"), song->path(), error) +
                          QLatin1Char('\n'));
            return;
        }
        ++done;
        AudioInfoTag* tag = song->infotag();
        if (tag)
            history.record(FileChangeRecord::between(song->path(), before, TagSnapshot::of(*tag),
                                                     ChangeOrigin{ChangeOrigin::Kind::RebuiltTag, QString()}));
        CliOutput::print(mOut, LocalizedStrings::format(QStringLiteral("CliRegenerateDone"), song->path(),
                                                        LocalizedStrings::count(QStringLiteral("CountPictures"),
                                                                                tag ? tag->numberOfImages() : 0)) +
                                   QLatin1Char('\n'));
    };
    // The files' writes are made durable together, a batch at a time.
    WriteBatch batch;
    const WriteBatch::Scope writing(batch);
    for (const std::shared_ptr<SongFile>& song : songs) {
        // Nobody reads on: stop after the file whose line failed, as after Ctrl-C.
        if (CliOutput::hasFailed(mOut))
            break;
        QString error;
        const AudioInfoTag* damaged = song->infotag();
        const TagSnapshot before = damaged ? TagSnapshot::of(*damaged) : TagSnapshot();
        if (!RegenerateController::regenerateSong(*song, &error)) {
            report(song, before, false, error);
            continue;
        }
        WriteBatch::afterWrite(song->path(), [&report, song, before](bool written, const QString& reason) {
            report(song, before, written, reason);
        });
    }
    batch.commit();
    history.finish();
    if (!history.problem().isEmpty())
        CliOutput::print(mErr, history.problem() + QLatin1Char('\n'));
    if (CliOutput::hasFailed(mOut))
        return CliOutput::kClosedOutputStatus;
    CliOutput::print(mOut, LocalizedStrings::format(QStringLiteral("CliRegenerateSummary"), done,
                                                    LocalizedStrings::count(QStringLiteral("CountFiles"),
                                                                            songs.size() + missing)) +
                               QLatin1Char('\n'));
    return done == songs.size() + missing ? 0 : 1;
}
