#include "iTunesBridge.h"

#include "iTunesScriptCatalogue.h"
#include "iTunesScriptRunner.h"
#include "support/WMLog.h"

#include <QVariantMap>

namespace {

using Catalogue = iTunesScriptCatalogue;
using Runner = iTunesScriptRunner;

// Separators of the multi-line answers: lines end with a carriage return
// (AppleScript's `return`), fields are joined by "|@".
constexpr QChar kLineBreak = u'\r';
const QString& fieldSeparator()
{
    static const QString separator = QStringLiteral("|@");
    return separator;
}

// Field names longer than this are no property names.
constexpr qsizetype kMaxPropertyNameLength = 64;

QString esc(const QString& text)
{
    return Catalogue::escaped(text);
}

int leadingInt(const QString& text)
{
    return Runner::Descriptor{text}.intValue();
}

// Runs a one-line inline script formatted with the arguments.
template <typename... Args> std::optional<QString> inlineString(const char* format, const Args&... args)
{
    if (!Runner::isiTunesInstalled())
        return std::nullopt;
    return Runner::stringFromScript(WMFormat::string(format, args...));
}

template <typename... Args> int inlineInt(const char* format, const Args&... args)
{
    if (!Runner::isiTunesInstalled())
        return 0;
    return Runner::intFromScript(WMFormat::string(format, args...));
}

bool checkedField(const QString& field)
{
    if (iTunesBridge::isPropertyName(field))
        return true;
    WMLog("!!! not a track property: '%@'", field);
    return false;
}

} // namespace

void iTunesBridge::pausePlaying()
{
    inlineString("tell app \"iTunes\"\rpause\rend tell");
}

void iTunesBridge::resumePlaying()
{
    inlineString("tell app \"iTunes\"\rplay\rend tell");
}

std::optional<QString> iTunesBridge::pathOfCurrentlyPlayingTrack()
{
    if (!Runner::isiTunesInstalled())
        return std::nullopt;
    const std::optional<QString> source =
        Catalogue::filledScriptNamed(QStringLiteral("iTunes_play_currently_playing"), {});
    if (!source)
        return std::nullopt;
    const std::optional<Runner::Descriptor> result = Runner::descFromScript(*source, 1.0f);
    if (!result)
        return std::nullopt;
    return result->stringValue;
}

std::optional<QVariantList> iTunesBridge::playlistsInfo()
{
    const std::optional<QString> answer =
        Catalogue::stringFromScriptNameAndFormat(QStringLiteral("iTunes_Playlist_Info"));
    if (!answer)
        return std::nullopt;
    return parsePlaylistsInfo(*answer);
}

int iTunesBridge::indexOfPlaylistPID(const QString& playlistPID)
{
    const std::optional<QString> answer = Catalogue::stringFromScriptNameAndFormat(
        QStringLiteral("iTunes_PlaylistPID_Index"), esc(playlistPID));
    return answer ? leadingInt(*answer) : 0;
}

std::optional<QVariantList> iTunesBridge::identifiersForPlaylistIndex(int playlistIndex)
{
    const std::optional<QString> answer =
        Catalogue::stringFromScriptNameAndFormat(QStringLiteral("iTunes_Playlist_Contents"), playlistIndex);
    if (!answer)
        return std::nullopt;
    return parsePlaylistContents(*answer);
}

std::optional<QList<int>> iTunesBridge::artworkCountsForPIDs(const QStringList& trackPIDs)
{
    if (!Runner::isiTunesInstalled())
        return std::nullopt;
    if (trackPIDs.isEmpty())
        return QList<int>();
    const std::optional<QString> answer = Catalogue::stringFromScriptNameAndFormat(
        QStringLiteral("iTunes_Get_Artwork_Counts"), appleScriptList(trackPIDs));
    if (!answer)
        return std::nullopt;
    std::optional<QList<int>> counts = parseArtworkCounts(*answer, trackPIDs.size());
    if (!counts)
        WMLog("!!! artworkCountsForPIDs: %ld IDs, answer '%@'", trackPIDs.size(), answer->left(200));
    return counts;
}

int iTunesBridge::artworkCountForDBID(int databaseID, const QString& title, const QString& path)
{
    const std::optional<QString> answer = Catalogue::stringFromScriptNameAndFormat(
        QStringLiteral("iTunes_Get_Artwork_Count"), databaseID, esc(title), esc(path));
    return answer ? leadingInt(*answer) : 0;
}

std::optional<QString> iTunesBridge::removeAllArtworkFromSongWithDBID(int databaseID, const QString& title,
                                                                      const QString& path)
{
    return Catalogue::stringFromScriptNameAndFormat(QStringLiteral("iTunes_Remove_Artwork"), databaseID,
                                                    esc(title), esc(path));
}

std::optional<QString> iTunesBridge::embedArtworkForTitle(const QString& title, const QString& path)
{
    return Catalogue::stringFromScriptNameAndFormat(QStringLiteral("iTunes_Embed_Artwork"), esc(title),
                                                    esc(path), esc(title));
}

std::optional<QString> iTunesBridge::playTrackAtPath(const QString& path)
{
    return Catalogue::stringFromScriptNameAndFormat(QStringLiteral("iTunes_play_path"), esc(path));
}

std::optional<QString> iTunesBridge::playTrackNamed(const QString& title, const QString& artist, int index,
                                                    const QString& playlist)
{
    const QString name = playlist.isEmpty() ? QStringLiteral("iTunes_play_title_artist")
                                            : QStringLiteral("iTunes_play_playlist");
    return Catalogue::stringFromScriptNameAndFormat(name, esc(title), esc(artist), index, esc(playlist));
}

std::optional<QString> iTunesBridge::changeValueInTrackWithPID(const QString& trackPID, const QString& field,
                                                               const QString& value)
{
    return Catalogue::stringFromScriptNameAndFormat(QStringLiteral("iTunes_Track_Rename"), esc(trackPID),
                                                    esc(field), esc(value), esc(value));
}

std::optional<QString> iTunesBridge::reunitePath(const QString& path, const QString& trackPID)
{
    return Catalogue::stringFromCompiledFunction(QStringLiteral("reunitePathWithPID"), {path, trackPID});
}

std::optional<QString> iTunesBridge::addToiTunesSongAtPath(const QString& path, const QString& playlistName)
{
    return Catalogue::stringFromCompiledFunction(
        QStringLiteral("addPathToiTunesPlaylist"),
        {path, playlistName.isNull() ? QStringLiteral("") : playlistName});
}

std::optional<QString> iTunesBridge::removeSongWithPID(const QString& trackPID)
{
    return Catalogue::stringFromCompiledFunction(QStringLiteral("removeTrackWithPID"), {trackPID});
}

std::optional<QString> iTunesBridge::removePlaylistsWithNamesStartingWith(const QString& prefix)
{
    return Catalogue::stringFromCompiledFunction(QStringLiteral("incrementalPlaylistDelete"), {prefix});
}

std::optional<QString> iTunesBridge::addTrackWithPID(const QString& trackPID, const QString& playlistPID)
{
    return Catalogue::stringFromCompiledFunction(QStringLiteral("addTrackPIDToiTunesPlaylistPID"),
                                                 {trackPID, playlistPID});
}

std::optional<QString> iTunesBridge::valueOfField(const QString& field, int trackIndex,
                                                  const QString& playlist)
{
    if (!checkedField(field))
        return std::nullopt;
    return inlineString("tell app \"iTunes\"\rreturn %@ of track %d of playlist \"%@\"\rend tell", field,
                        trackIndex, esc(playlist));
}

int iTunesBridge::intValueOfField(const QString& field, int trackIndex, const QString& playlist)
{
    if (!checkedField(field))
        return 0;
    return inlineInt("tell app \"iTunes\"\rreturn %@ of track %d of playlist \"%@\"\rend tell", field,
                     trackIndex, esc(playlist));
}

std::optional<QString> iTunesBridge::valueOfField(const QString& field, const QString& trackName)
{
    if (!checkedField(field))
        return std::nullopt;
    return inlineString("tell app \"iTunes\"\rreturn %@ of track \"%@\" of playlist \"Library\"\rend tell",
                        field, esc(trackName));
}

std::optional<QString> iTunesBridge::displayPlaylist(const QString& playlist)
{
    return inlineString(
        "tell app \"iTunes\"\rset view of item 1 of browser windows to playlist \"%@\"\rend tell",
        esc(playlist));
}

int iTunesBridge::indexOfPlaylist(const QString& playlist)
{
    return inlineInt(
        "tell app \"iTunes\"\ntry\nreturn index of playlist \"%@\"\non error\nreturn -1\nend try\nend tell",
        esc(playlist));
}

int iTunesBridge::numberOfTracksInPlaylistIndex(int playlistIndex)
{
    return inlineInt("tell app \"iTunes\"\rreturn count of tracks in playlist %d\rend tell", playlistIndex);
}

std::optional<QString> iTunesBridge::refreshAndGetPathOfSongWithPID(const QString& trackPID)
{
    return Catalogue::stringFromScriptNameAndFormat(QStringLiteral("iTunes_Refresh_PID"), esc(trackPID));
}

std::optional<QString> iTunesBridge::refreshAndGetPathOfSongWithID(int databaseID, const QString& playlist)
{
    return Catalogue::stringFromScriptNameAndFormat(QStringLiteral("iTunes_Refresh_ID_In_Playlist"),
                                                    databaseID, esc(playlist));
}

std::optional<QString> iTunesBridge::refreshAndGetPathOfSongWithTitle(const QString& title,
                                                                      const QString& artist)
{
    return Catalogue::stringFromScriptNameAndFormat(QStringLiteral("iTunes_Refresh_Title_Artist"), esc(title),
                                                    esc(artist));
}

std::optional<QString> iTunesBridge::displayPlaylistPID(const QString& playlistPID)
{
    return Catalogue::stringFromScriptNameAndFormat(QStringLiteral("iTunes_Display_PlaylistPID"),
                                                    esc(playlistPID));
}

std::optional<QString> iTunesBridge::addTrackWithPID(const QString& trackPID, const QString& playlistName,
                                                     bool create)
{
    return Catalogue::stringFromScriptNameAndFormat(QStringLiteral("iTunes_Add_PID_To_Playlist_Named"),
                                                    esc(trackPID), esc(playlistName), create ? 1 : 0);
}

std::optional<QString> iTunesBridge::mergePlayedFromTrackWithPID(const QString& fromPID, const QString& toPID)
{
    return Catalogue::stringFromScriptNameAndFormat(QStringLiteral("iTunes_Merge_Played"), esc(fromPID),
                                                    esc(toPID));
}

std::optional<QString> iTunesBridge::doCopyInfoFromTrackPID(const QString& fromPID, const QString& toPID)
{
    return Catalogue::stringFromScriptNameAndFormat(QStringLiteral("iTunes_Copy_Info"), esc(fromPID),
                                                    esc(toPID));
}

QVariantList iTunesBridge::parsePlaylistsInfo(const QString& answer)
{
    QVariantList playlists;
    const QStringList lines = answer.split(kLineBreak);
    for (const QString& line : lines) {
        const QStringList fields = line.split(fieldSeparator());
        if (fields.size() < 5)
            continue;
        QVariantMap playlist;
        playlist.insert(QStringLiteral("Name"), fields.at(0));
        playlist.insert(QStringLiteral("Playlist Persistent ID"), fields.at(1));
        playlist.insert(QStringLiteral("Distinguished Kind"), fields.at(2));
        if (fields.at(3) == QLatin1String("true"))
            playlist.insert(QStringLiteral("Smart Info"), QStringLiteral("true"));
        playlist.insert(QStringLiteral("Parent Persistent ID"), fields.at(4));
        playlists.append(playlist);
    }
    return playlists;
}

QVariantList iTunesBridge::parsePlaylistContents(const QString& answer)
{
    QVariantList tracks;
    const QStringList lines = answer.split(kLineBreak);
    for (const QString& line : lines) {
        const QStringList fields = line.split(fieldSeparator());
        if (fields.size() < 3)
            continue;
        QVariantMap track;
        track.insert(QStringLiteral("Location"), fields.at(0));
        track.insert(QStringLiteral("DBID"), leadingInt(fields.at(1)));
        track.insert(QStringLiteral("Artwork Count"), leadingInt(fields.at(2)));
        tracks.append(track);
    }
    return tracks;
}

std::optional<QList<int>> iTunesBridge::parseArtworkCounts(const QString& answer, qsizetype idCount)
{
    const QStringList pieces = answer.split(kLineBreak);
    if (idCount < 0 || pieces.size() != idCount + 1)
        return std::nullopt;
    QList<int> counts;
    counts.reserve(idCount);
    for (qsizetype i = 0; i < idCount; ++i)
        counts.append(leadingInt(pieces.at(i)));
    return counts;
}

QString iTunesBridge::appleScriptList(const QStringList& items)
{
    QStringList literals;
    literals.reserve(items.size());
    for (const QString& item : items)
        literals << QLatin1Char('"') + esc(item) + QLatin1Char('"');
    return QLatin1Char('{') + literals.join(QStringLiteral(", ")) + QLatin1Char('}');
}

bool iTunesBridge::isPropertyName(const QString& field)
{
    if (field.trimmed().isEmpty() || field.size() > kMaxPropertyNameLength)
        return false;
    for (const QChar c : field) {
        const bool plain = (c >= QLatin1Char('a') && c <= QLatin1Char('z')) ||
                           (c >= QLatin1Char('A') && c <= QLatin1Char('Z')) ||
                           (c >= QLatin1Char('0') && c <= QLatin1Char('9')) || c == QLatin1Char(' ');
        if (!plain)
            return false;
    }
    return true;
}
