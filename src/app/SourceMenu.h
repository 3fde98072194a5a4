#pragma once

#include "run/PrefsController.h"

#include <QToolButton>
#include <QVariantList>
#include <QVariantMap>

class QMenu;

// The source pop-up of the toolbar: the music library and its playlists
// (when a library export can be reached), the folder in use and "Choose
// Folder…". The button shows the source in use.
class SourceMenu : public QToolButton
{
    Q_OBJECT

public:
    explicit SourceMenu(QWidget* parent = nullptr);

    // Rebuilds the menu: the library's entry when it can be reached, and the
    // playlists of its "Playlists" array that are listed.
    void setLibrary(bool available, const QVariantList& playlists);
    void setFolder(const QString& folder);
    // Shows the source in use on the button.
    void setCurrentSource(SongSourceKind kind, const QString& name);

    // A playlist is listed unless it is hidden or of a kind the library
    // keeps for itself (only kinds 6, 10, 19, 26 and 58 are shown).
    static bool isListedPlaylist(const QVariantMap& playlist);
    // The picture of a playlist's item: its kind's, a folder's, a smart
    // playlist's or an ordinary one's.
    static QString playlistIconName(const QVariantMap& playlist);

signals:
    void librarySelected();
    void playlistSelected(const QString& persistentID, const QString& name);
    void folderSelected(const QString& path);
    void chooseFolderRequested();

private:
    void rebuild();

    QMenu* mMenu;
    bool mLibraryAvailable = false;
    QVariantList mPlaylists;
    QString mFolder;
};
