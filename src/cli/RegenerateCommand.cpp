#include "RegenerateCommand.h"

#include "CliOutput.h"
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
    if (mArguments.isEmpty() || mArguments.first().startsWith(QLatin1String("--"))) {
        CliOutput::print(mErr,
                         LocalizedStrings::text(QStringLiteral("CliRegenerateUsage")) + QLatin1Char('\n'));
        return 2;
    }
    RegenerateController controller;
    int missing = 0;
    for (const QString& argument : std::as_const(mArguments)) {
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
    const auto report = [this, &done](const std::shared_ptr<SongFile>& song, bool written,
                                      const QString& error) {
        if (written) {
            ++done;
            AudioInfoTag* tag = song->infotag();
            CliOutput::print(mOut,
                             LocalizedStrings::format(QStringLiteral("CliRegenerateDone"), song->path(),
                                                      static_cast<qint64>(tag ? tag->numberOfImages() : 0)) +
                                 QLatin1Char('\n'));
        } else {
            CliOutput::print(
                mErr, LocalizedStrings::format(QStringLiteral("CliRegenerateFailed"), song->path(), error) +
                          QLatin1Char('\n'));
        }
    };
    // The files' writes are made durable together, a batch at a time.
    WriteBatch batch;
    const WriteBatch::Scope writing(batch);
    for (const std::shared_ptr<SongFile>& song : songs) {
        QString error;
        if (!RegenerateController::regenerateSong(*song, &error)) {
            report(song, false, error);
            continue;
        }
        WriteBatch::afterWrite(song->path(), [&report, song](bool written, const QString& error) {
            report(song, written, error);
        });
    }
    batch.commit();
    CliOutput::print(mOut, LocalizedStrings::format(QStringLiteral("CliRegenerateSummary"), done,
                                                    static_cast<qint64>(songs.size() + missing)) +
                               QLatin1Char('\n'));
    return done == songs.size() + missing ? 0 : 1;
}
