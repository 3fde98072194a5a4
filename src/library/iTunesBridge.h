#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantList>

#include <optional>

// What the program asks of and tells iTunes: each operation builds its
// script (inline, from the script catalogue, or a call of the handler
// library), runs it through iTunesScriptRunner and reads the answer. Where
// there is no script runner every operation answers none (or 0) at once.
// Texts that go into string literals are escaped; field names go in bare and
// must be plain property names (letters, digits and blanks).
// Persistent IDs are iTunes' 16-digit hexadecimal texts.
class iTunesBridge
{
public:
    static void pausePlaying();
    static void resumePlaying();
    // Path of the file iTunes is playing (asked with a 1 second time-out).
    static std::optional<QString> pathOfCurrentlyPlayingTrack();

    // One dictionary per playlist: "Name", "Playlist Persistent ID",
    // "Distinguished Kind", "Smart Info" ("true" or absent) and
    // "Parent Persistent ID".
    static std::optional<QVariantList> playlistsInfo();
    static int indexOfPlaylistPID(const QString& playlistPID);
    // One dictionary per track of the playlist: "Location" (a path),
    // "DBID" and "Artwork Count" (numbers).
    static std::optional<QVariantList> identifiersForPlaylistIndex(int playlistIndex);
    // One artwork count per persistent ID, in their order.
    static std::optional<QList<int>> artworkCountsForPIDs(const QStringList& trackPIDs);
    static int artworkCountForDBID(int databaseID, const QString& title, const QString& path);
    static std::optional<QString> removeAllArtworkFromSongWithDBID(int databaseID, const QString& title,
                                                                   const QString& path);
    static std::optional<QString> embedArtworkForTitle(const QString& title, const QString& path);

    static std::optional<QString> playTrackAtPath(const QString& path);
    // Plays by index in the named playlist, or by title and artist in the
    // library when no playlist is named.
    static std::optional<QString> playTrackNamed(const QString& title, const QString& artist, int index,
                                                 const QString& playlist);
    static std::optional<QString> changeValueInTrackWithPID(const QString& trackPID, const QString& field,
                                                            const QString& value);

    // Calls of the handler library; a failing handler answers a text that
    // begins with "error: ".
    static std::optional<QString> reunitePath(const QString& path, const QString& trackPID);
    static std::optional<QString> addToiTunesSongAtPath(const QString& path, const QString& playlistName);
    static std::optional<QString> removeSongWithPID(const QString& trackPID);
    static std::optional<QString> removePlaylistsWithNamesStartingWith(const QString& prefix);
    static std::optional<QString> addTrackWithPID(const QString& trackPID, const QString& playlistPID);

    // One field of a track, by index in a playlist or by name in the library.
    static std::optional<QString> valueOfField(const QString& field, int trackIndex, const QString& playlist);
    static int intValueOfField(const QString& field, int trackIndex, const QString& playlist);
    static std::optional<QString> valueOfField(const QString& field, const QString& trackName);
    static std::optional<QString> displayPlaylist(const QString& playlist);
    // Index of the named playlist; -1 when there is none, 0 on failure.
    static int indexOfPlaylist(const QString& playlist);
    static int numberOfTracksInPlaylistIndex(int playlistIndex);

    // iTunes re-reads the track's file; the answer is the file's path.
    static std::optional<QString> refreshAndGetPathOfSongWithPID(const QString& trackPID);
    static std::optional<QString> refreshAndGetPathOfSongWithID(int databaseID, const QString& playlist);
    static std::optional<QString> refreshAndGetPathOfSongWithTitle(const QString& title,
                                                                   const QString& artist);
    static std::optional<QString> displayPlaylistPID(const QString& playlistPID);
    // Adds the track to the named user playlist, making it when `create`.
    static std::optional<QString> addTrackWithPID(const QString& trackPID, const QString& playlistName,
                                                  bool create);
    // Adds play and skip counts of one track to another, keeping the later
    // play date.
    static std::optional<QString> mergePlayedFromTrackWithPID(const QString& fromPID, const QString& toPID);
    // Copies the descriptive fields of one track to another.
    static std::optional<QString> doCopyInfoFromTrackPID(const QString& fromPID, const QString& toPID);

    // Readers of the answers, which come from outside the program and may be
    // anything.
    static QVariantList parsePlaylistsInfo(const QString& answer);
    static QVariantList parsePlaylistContents(const QString& answer);
    // None unless the answer holds exactly one line per ID, each ended by a
    // line break.
    static std::optional<QList<int>> parseArtworkCounts(const QString& answer, qsizetype idCount);
    // The IDs as one AppleScript list of quoted texts: {"A", "B"}.
    static QString appleScriptList(const QStringList& items);
    // Letters, digits and blanks only, so that the name can stand bare in a
    // script.
    static bool isPropertyName(const QString& field);
};
