#pragma once

#include <QString>
#include <QStringList>

#include <cstdio>

class ParsedArguments;
class SongSourceLoader;

// The song source options that `scan` and `fix` share:
// `--folder DIR | --library [--xml FILE] | --playlist NAME [--xml FILE]`,
// the saved source when none is given, and the loading itself.
class SongSourceOptions
{
public:
    enum class Source
    {
        Saved,
        Folder,
        Library,
        Playlist
    };

    // Takes the source options of a parsed command line (the parser has
    // made sure that at most one source is named).
    void take(const ParsedArguments& arguments);
    // With no source given: the one the preferences keep.
    void useSavedSourceIfNone();
    // Loads the songs, reporting progress on `err` when it is a terminal
    // and unusable songs always. False when nothing could be listed (a
    // missing folder is explained on `err`).
    bool load(SongSourceLoader& loader, std::FILE* err) const;

    Source source() const { return mSource; }
    // What the source is, in words: the folder's path, "iTunes library" or
    // the playlist's name.
    QString description() const;
    QString folder() const { return mFolder; }
    QString playlist() const { return mPlaylist; }
    // The library export given with --xml; empty for the one the program finds.
    QString xml() const { return mXml; }

private:
    Source mSource = Source::Saved;
    QString mFolder;
    QString mPlaylist;
    QString mXml;
};
