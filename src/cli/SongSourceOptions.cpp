#include "SongSourceOptions.h"

#include "CliOutput.h"
#include "ParsedArguments.h"
#include "run/PrefsController.h"
#include "run/SongSourceLoader.h"
#include "support/LocalizedStrings.h"

#include <QFileInfo>

#include <unistd.h>

void SongSourceOptions::take(const ParsedArguments& arguments)
{
    if (arguments.has(QStringLiteral("--library"))) {
        mSource = Source::Library;
    } else if (arguments.has(QStringLiteral("--folder"))) {
        mSource = Source::Folder;
        mFolder = arguments.value(QStringLiteral("--folder"));
    } else if (arguments.has(QStringLiteral("--playlist"))) {
        mSource = Source::Playlist;
        mPlaylist = arguments.value(QStringLiteral("--playlist"));
    }
    mXml = arguments.value(QStringLiteral("--xml"));
}

void SongSourceOptions::useSavedSourceIfNone()
{
    if (mSource != Source::Saved)
        return;
    PrefsController& prefs = PrefsController::sharedInstance();
    const SongSourceKind kind = prefs.librarySource();
    mSource = kind == SongSourceKind::Library
                  ? Source::Library
                  : (kind == SongSourceKind::Playlist ? Source::Playlist : Source::Folder);
    mFolder = prefs.libraryDirectory();
    mPlaylist = prefs.libraryPlaylist();
}

bool SongSourceOptions::load(SongSourceLoader& loader, std::FILE* err) const
{
    if (mSource == Source::Folder && !QFileInfo(mFolder).isDir()) {
        CliOutput::print(err, LocalizedStrings::format(QStringLiteral("CliScanNoFolder"), mFolder) +
                                  QLatin1Char('\n'));
        return false;
    }
    QObject::connect(&loader, &SongSourceLoader::logLine, [err](const QString& text, const QColor&) {
        CliOutput::print(err, text + QLatin1Char('\n'));
    });
    if (::isatty(::fileno(err)) == 1) {
        QObject::connect(&loader, &SongSourceLoader::progress, [err](qint64 current, qint64 total) {
            CliOutput::print(err,
                             QLatin1Char('\r') +
                                 LocalizedStrings::format(QStringLiteral("CliScanProgress"), current, total) +
                                 (current >= total ? QStringLiteral("\n") : QString()));
        });
    }
    switch (mSource) {
    case Source::Folder:
        return loader.gatherSongsFromDirectory(mFolder);
    case Source::Playlist:
        return loader.gatherSongsFromPlaylistPID(QString(), mPlaylist, mXml);
    default:
        return loader.setiTunesLibrary(mXml);
    }
}

QString SongSourceOptions::description() const
{
    switch (mSource) {
    case Source::Folder:
        return QFileInfo(mFolder).absoluteFilePath();
    case Source::Library:
        return LocalizedStrings::text(QStringLiteral("iTunesLibrary"));
    case Source::Playlist:
        return mPlaylist;
    case Source::Saved:
        break;
    }
    return QString();
}
