#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QVariantMap>

// The music library as iTunes exports it, found on disk and read into one
// library dictionary ("Music Folder", "Library Persistent ID", "Tracks",
// "Playlists") that the rest of the program reads, whichever way it came.
// Class operations only; the process-wide state (guessed folder, last
// dictionary read) is guarded by one lock.
class iTunesInterface
{
public:
    // Folder of the library named in iTunes' preferences, or empty.
    static QString currentMusicLibraryPathFromPrefs();
    // The stored reference to the library folder (or the music folder only).
    static QByteArray musicFolderAliasData(bool musicFolderOnly);
    // A guessed library folder; cached unless bypassing.
    static QString guessedMusicLibraryPath(bool bypassCache);
    // The library export to use (the newest qualifying one), and its date.
    static QString mostRecentMusicLibraryPath(QDateTime* date = nullptr);
    static QString currentMusicLibraryXMLPath();
    static QDateTime currentMusicLibraryDate();
    static bool canGetMusicLibrary();

    // The library dictionary of that file (cached while its modification
    // date is unchanged), or an empty map with an error text. A damaged file
    // answers what could be read together with the error text, each time.
    static QVariantMap getMusicLibraryDictionaryAtPath(const QString& path, QString* error);
    static QVariantMap getMusicLibraryDictionary(QString* error);
    // Folder of the last file read, and its "Library Persistent ID".
    static QString musicLibraryPath();
    static QString musicLibraryPersistentID();

    // The media folder of a library; empty arguments mean the current ones.
    static QString mediaFolderPathFromDictionary(const QVariantMap& library, const QString& libraryPath);
    static QString fixedWindowsPath(const QString& path) { return path; }
    // A file URL string ("file://localhost/...", percent escapes) as a path.
    static QString pathFromLocation(const QString& location);

    // "Distinguished Kind" as a display name ("4" -> "Music").
    static QString playlistTypeForKind(const QString& kind);
    // A diagnostic text about a library file: size, dates, parse result, counts.
    static QString validateXMLAtPath(const QString& path);

    // Answers whether the file looks like a library export: the marker in its
    // first or last 1000 bytes, or anywhere in it.
    static bool isLibraryFile(const QString& path);

    // Forgets the cached guess and dictionary (tests, and a changed home).
    static void resetCaches();

private:
    static QVariantMap preferencesDomain(const QString& domain);
};
