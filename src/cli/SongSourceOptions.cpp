#include "SongSourceOptions.h"

#include "CliOutput.h"
#include "run/PrefsController.h"
#include "run/SongSourceLoader.h"
#include "support/LocalizedStrings.h"

#include <QFileInfo>

#include <unistd.h>

bool SongSourceOptions::take(const QStringList& arguments, qsizetype& index)
{
    const QString& arg = arguments.at(index);
    const bool hasValue = index + 1 < arguments.size();
    if (arg == QStringLiteral("--library") && mSource == Source::Saved) {
        mSource = Source::Library;
    } else if (arg == QStringLiteral("--folder") && hasValue && mSource == Source::Saved) {
        mSource = Source::Folder;
        mFolder = arguments.at(++index);
    } else if (arg == QStringLiteral("--playlist") && hasValue && mSource == Source::Saved) {
        mSource = Source::Playlist;
        mPlaylist = arguments.at(++index);
    } else if (arg == QStringLiteral("--xml") && hasValue) {
        mXml = arguments.at(++index);
    } else {
        return false;
    }
    return true;
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
