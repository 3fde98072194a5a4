#pragma once

#include "web/AlbumAsset.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <optional>

// One album as a web source found it: artist, name, year, genre, the track
// names in album order, the cover's address and lyrics found with it. A
// plain value; lists of candidates are QList<AlbumInfo> and the pruning
// operations below work on them in place. Every constructor cleans the
// texts it is given (case, "Name, The" order, surrounding blanks).
class AlbumInfo
{
public:
    AlbumInfo() = default;
    AlbumInfo(const QString& artist, const QString& name);

    static AlbumInfo albumWithArtist(const QString& artist, const QString& name);
    // From a disc entry in the xmcd text layout; nothing for an empty buffer.
    // Without a usable "DTITLE=" line artist and name stay null.
    static std::optional<AlbumInfo> albumWithFreeDBData(const QByteArray& data);

    // A fresh record with the same values, built as a new one is: the texts
    // are cleaned again and the duplicate count starts at 0. (Copying the
    // value keeps everything, including the count.)
    AlbumInfo copy() const;

    const QString& name() const { return mName; }
    const QString& artist() const { return mArtist; }
    const QString& year() const { return mYear; }
    const QString& genre() const { return mGenre; }
    const QStringList& trackNames() const { return mTracks; }
    const QString& artURLString() const { return mArtURLString; }
    int duplicates() const { return mDuplicates; }
    const QString& sourceInterfaceName() const { return mSourceInterface; }
    // Where the source found the album: the page's or the release's
    // address; empty when the source keeps none.
    const QString& sourceReference() const { return mSourceReference; }
    // Lyrics found with this album: simplified song title -> lyrics text.
    const QVariantMap& lyrics() const { return mLyrics; }
    QVariantMap& lyrics() { return mLyrics; }

    // Track names are taken as they are (not cleaned).
    void setTracks(const QStringList& tracks) { mTracks = tracks; }
    void setGenres(const QString& genre) { mGenre = genre; }
    // Several genres joined by ", ".
    void setGenres(const QStringList& genres);
    void setYear(const QString& year) { mYear = year; }
    // "//host/x.jpg" is stored as "http://host/x.jpg"; an empty value clears.
    void setArtURLString(const QString& url);
    void setSourceInterfaceName(const QString& name) { mSourceInterface = name; }
    void setSourceReference(const QString& reference) { mSourceReference = reference; }
    void setLyrics(const QVariantMap& lyrics) { mLyrics = lyrics; }
    void incDuplicates() { ++mDuplicates; }

    // The 1-based number of the track called `title`, or 0. Names are
    // compared simplified, from the last track to the first, so of two equal
    // names the later track wins. With `allowSubstrings`, when nothing is
    // equal, a track whose simplified name contains the title or is
    // contained in it matches.
    int numberOfTrackNamed(const QString& title, bool allowSubstrings) const;

    // "1:Intro, 2:Song" ...; empty without tracks.
    QString trackSummary() const;

    // What this album can give a song. The track bit is always set, the song
    // title bit never.
    AlbumAssets assets() const;
    // Share of the desired assets this album has, 0.0 to 1.0; -1.0 when
    // nothing is desired. Tempo is never had.
    float matchToDesiredAssets(AlbumAssets desired) const;
    // The localised names of the assets, in a fixed order, joined by ", ".
    static QString summaryOfAssets(AlbumAssets assets);

    // Prunes the candidates for one song: albums of the same simplified name
    // share their earliest plausible year (after 1600), lend each other genre
    // and cover, are cut to those holding `title` when any does, and collapse
    // into the first of each name, which counts the others as duplicates.
    static void simplifyAlbumArray(QList<AlbumInfo>& albums, const QString& title);
    // When some album has exactly `count` tracks, drops all the others.
    static void eliminateAlbumsFromArray(QList<AlbumInfo>& albums, int count);

    // "<0x... AlbumInfo 'Name' by Artist year=1999 (1:Intro, 2:Song)>": the
    // form in which candidates appear in the log.
    QString description() const;

private:
    void cleanUpStrings();

    QString mName;
    QString mArtist;
    QString mGenre;
    QString mYear;
    QStringList mTracks;
    QVariantMap mLyrics;
    QString mArtURLString;
    QString mSourceInterface;
    QString mSourceReference;
    int mDuplicates = 0;
};
