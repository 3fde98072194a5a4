#pragma once

#include "run/ArtworkImport.h"
#include "run/ManualSearch.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QStringList>

#include <memory>

class AppActions;
class ArtworkPanel;
class LogPane;
class LyricsPanel;
class MainController;
class WindowHistory;
class NoticeBar;
class QImage;
class RegenerateController;
class RegenerateWindow;
class RequestQueueWindow;
class SongFile;
class SongTableView;
class TagCommandRunner;

// The window's commands over the selected songs beyond editing a cell, and
// the windows beside the table: the artwork view (pictures dropped, pasted
// or removed), the lyrics window (edits, removal, highlighted search words),
// the genre standardising panel, the manual artwork and lyrics searches, the
// damaged tags (regenerate) window and the web requests window. Every change
// of tags goes through one TagCommandRunner.
class SongCommands : public QObject
{
    Q_OBJECT

public:
    struct Parts
    {
        MainController& controller;
        WindowHistory& history;
        SongTableView& table;
        AppActions& actions;
        LyricsPanel& lyrics;
        ArtworkPanel& artwork;
        NoticeBar& notices;
        LogPane& log;
        RegenerateController& regenerate;
    };

    SongCommands(const Parts& parts, QWidget* window);

    // The views show the new selection (an edit still waiting is handed on
    // first, for the song it was typed for).
    void selectionChanged();
    // Hands an edit still waiting on now (before quitting).
    void flushEdits();
    // The search field's words are highlighted in the lyrics when it
    // searches lyrics.
    void setSearch(const QString& text, bool lyrics);

    // A JPEG or PNG file is embedded as it is, any other picture as JPEG.
    void givePictureFile(const QString& path);
    void givePictureImage(const QImage& image, const QString& name);
    // The picture shown for one song; all pictures of several (asked first).
    void removeArtwork();

    TagCommandRunner& runner() const { return *mRunner; }
    RegenerateWindow& regenerateWindow() const { return *mRegenerateWindow; }
    // Made on first use.
    RequestQueueWindow& requestWindow();

private:
    void addPicture(const ArtworkImport::Result& given);
    void pasteArtwork();
    void editLyrics(const std::shared_ptr<SongFile>& song, const QString& text);
    void removeLyrics(const QList<std::shared_ptr<SongFile>>& songs);
    void standardizeGenres();
    void searchWeb(ManualSearch::Kind kind);
    void songsWritten();
    void songDone(const std::shared_ptr<SongFile>& song);
    void songRegenerated(const QString& path);
    void updateCommands();
    void showWindow(QWidget* window);
    void problem(const QString& text);

    Parts mParts;
    QWidget* mWindow;
    TagCommandRunner* mRunner;
    RegenerateWindow* mRegenerateWindow;
    QPointer<RequestQueueWindow> mRequestWindow;
    QStringList mSearchWords;
};
