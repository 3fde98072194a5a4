#pragma once

#include "web/AlbumAsset.h"

#include <QStringList>

#include <cstdio>

class AudioInfoTag;
class SongFile;
class SongPathTags;

// `quillbeat-cli scan [--folder DIR | --library | --playlist NAME] [--xml
// FILE] [--read-tags] [--json]`: loads the songs of a source through the
// song information cache (the saved source when none is given), lists each
// song with what it lacks among the checked attributes and what its path
// would give it, and a summary; with --json one object per song and line,
// then a summary object. Library songs are listed from the library's own values unless
// --read-tags has their files read (and cached) first. Progress goes to
// standard error when that is a terminal; the cache is written at the end.
// A closed standard output (`scan | head`) ends the command at once, with
// status 141.
class ScanCommand
{
public:
    ScanCommand(QStringList arguments, std::FILE* out, std::FILE* err);
    int run();

    // The names ("album", "artwork" ...) of the checked attributes the song
    // lacks; reads the tag when none is loaded.
    static QStringList lackingAttributes(SongFile& song, AlbumAssets checked);
    // What `fix` would take from the song's path: the artist when the tag
    // has none, the album, title and track when checked and missing.
    static SongPathTags pathValuesFor(const SongFile& song, AudioInfoTag& tag, AlbumAssets checked,
                                      const QString& root);

private:
    QStringList mArguments;
    std::FILE* mOut;
    std::FILE* mErr;
};
