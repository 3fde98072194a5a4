#include "LibraryCommand.h"

#include "ArgumentParser.h"
#include "CliOutput.h"
#include "library/iTunesInterface.h"
#include "support/LocalizedStrings.h"

#include <QJsonArray>
#include <QJsonObject>

#include <utility>

namespace {

QString kindName(const QVariantMap& playlist)
{
    const QVariant kind = playlist.value(QStringLiteral("Distinguished Kind"));
    if (kind.isValid())
        return iTunesInterface::playlistTypeForKind(kind.toString());
    if (playlist.value(QStringLiteral("Master")).toBool())
        return QStringLiteral("Library");
    if (playlist.value(QStringLiteral("Folder")).toBool())
        return QStringLiteral("Folder");
    if (playlist.contains(QStringLiteral("Smart Info")))
        return QStringLiteral("Smart");
    return QStringLiteral("Playlist");
}

} // namespace

LibraryCommand::LibraryCommand(QStringList arguments, std::FILE* out, std::FILE* err)
    : mArguments(std::move(arguments)), mOut(out), mErr(err)
{}

int LibraryCommand::run()
{
    int status = 0;
    const std::optional<ParsedArguments> parsed =
        ArgumentParser::parseFor(QStringLiteral("library"), mArguments, mOut, mErr, &status);
    if (!parsed)
        return status;
    QString xml = parsed->value(QStringLiteral("--xml"));
    const bool json = parsed->has(QStringLiteral("--json"));
    const bool playlists = parsed->has(QStringLiteral("--playlists"));

    if (xml.isEmpty())
        xml = iTunesInterface::mostRecentMusicLibraryPath(nullptr);
    if (xml.isEmpty()) {
        CliOutput::print(mErr, LocalizedStrings::text(QStringLiteral("CliNoLibrary")) + QLatin1Char('\n'));
        return 1;
    }
    QString error;
    const QVariantMap library = iTunesInterface::getMusicLibraryDictionaryAtPath(xml, &error);
    if (library.isEmpty()) {
        CliOutput::print(mErr, LocalizedStrings::format(QStringLiteral("CliLibraryUnreadable"), xml, error) +
                                   QLatin1Char('\n'));
        return 1;
    }
    if (!error.isEmpty())
        CliOutput::print(mErr, LocalizedStrings::format(QStringLiteral("CliLibraryDamaged"), xml, error) +
                                   QLatin1Char('\n'));

    const QString musicFolder = iTunesInterface::mediaFolderPathFromDictionary(library, QString());
    const QString persistentID = library.value(QStringLiteral("Library Persistent ID")).toString();
    const qsizetype trackCount = library.value(QStringLiteral("Tracks")).toMap().size();
    const QVariantList lists = library.value(QStringLiteral("Playlists")).toList();

    if (json) {
        QJsonObject object{
            {QStringLiteral("library"), xml},
            {QStringLiteral("musicFolder"), musicFolder.isEmpty() ? QJsonValue() : QJsonValue(musicFolder)},
            {QStringLiteral("persistentID"),
             persistentID.isEmpty() ? QJsonValue() : QJsonValue(persistentID)},
            {QStringLiteral("tracks"), trackCount},
            {QStringLiteral("playlists"), lists.size()}};
        object.insert(QStringLiteral("error"), error.isEmpty() ? QJsonValue() : QJsonValue(error));
        if (playlists) {
            QJsonArray array;
            for (const QVariant& entry : lists) {
                const QVariantMap playlist = entry.toMap();
                array.append(
                    QJsonObject{{QStringLiteral("name"), playlist.value(QStringLiteral("Name")).toString()},
                                {QStringLiteral("kind"), kindName(playlist)},
                                {QStringLiteral("tracks"),
                                 playlist.value(QStringLiteral("Playlist Items")).toList().size()}});
            }
            object.insert(QStringLiteral("playlistList"), array);
        }
        if (!playlists)
            object.insert(QStringLiteral("playlistList"), QJsonValue());
        CliOutput::printJsonLine(mOut, object);
        return error.isEmpty() ? 0 : 1;
    }

    QString text =
        LocalizedStrings::format(QStringLiteral("CliLibrarySummary"), xml, musicFolder, persistentID,
                                 static_cast<qint64>(trackCount), static_cast<qint64>(lists.size()));
    if (playlists) {
        for (const QVariant& entry : lists) {
            const QVariantMap playlist = entry.toMap();
            text += WMFormat::string(
                "\n  %@ [%@] %ld", playlist.value(QStringLiteral("Name")).toString(), kindName(playlist),
                static_cast<qint64>(playlist.value(QStringLiteral("Playlist Items")).toList().size()));
        }
    }
    CliOutput::print(mOut, text + QLatin1Char('\n'));
    // A damaged file is listed as far as it could be read, and still fails.
    return error.isEmpty() ? 0 : 1;
}
