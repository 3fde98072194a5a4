#pragma once

#include <QString>
#include <QVariantList>
#include <QVariantMap>

// The library as the platform's own music-library framework gives it, in
// the same shape as the XML export. The framework is loaded weakly: where it
// cannot be had (always on Linux) there is no library object, and every
// operation answers nothing.
class iTunesLibInterface
{
public:
    // Whether a library object could be made (loads the framework on first use).
    static bool libraryObject();
    static void uncache();
    static QString musicLibraryMediaPath();
    static bool canAccessLibrary();
    static QVariantMap getTracks();
    static QVariantList getPlaylists();
    static QVariantMap getMusicLibraryDictionary(QString* error);

    // A persistent identifier as the library writes it: upper-case
    // hexadecimal right-aligned in 16 places with blanks.
    static QString persistentIDString(quint64 identifier);
};
