#pragma once

#include <QString>
#include <QStringList>

class QUrl;

// Showing songs to the desktop: revealing their files in the file manager
// and playing a song in the user's player. Each answers an empty text when
// it worked, or why it didn't, in words for the user.
class DesktopActions
{
public:
    static constexpr int kFileManagerTimeoutMs = 2000;

    // The file manager shows the files selected (over the session bus); when
    // none answers, the folder of the first file is opened instead.
    static QString reveal(const QStringList& paths);
    // Plays the file: through iTunes where it runs the library, otherwise in
    // the program the desktop opens such files with.
    static QString play(const QString& path);
    // Opens a web page in the user's browser.
    static QString openWebPage(const QUrl& url);
};
