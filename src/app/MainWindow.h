#pragma once

#include <QList>
#include <QMainWindow>
#include <QString>

#include <memory>

class AppActions;
class ArtworkPanel;
class Delazifier;
class DrawerPanel;
class HistoryWindow;
class LogPane;
class LyricsPanel;
class MainController;
class MainToolBar;
class NoticeBar;
class PreferencesDialog;
class QProgressDialog;
class QSplitter;
class RunPresenter;
class SearchField;
class SongCommands;
class SongEditor;
class SongFile;
class SongSourceOptions;
class SongSourceSession;
class SongTableModel;
class SongTableView;
class SourceMenu;
class StatusLine;
class WindowHistory;

// The main window: the song table under the toolbar, the drawer of the
// run's choices, the activity log, the lyrics, the status line and the
// menus. It shows and drives the core's objects (the run, the song source,
// the background reading of tags) and keeps the window's choices between
// sessions. Closing it while a run runs asks first.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

    // The source named on the command line, or the saved one; the very
    // first start shows the welcome sheet instead.
    void openStartSource(const SongSourceOptions& options);
    void openFolder(const QString& folder);
    void openLibrary(const QString& xmlPath = QString());
    void openPlaylist(const QString& persistentID, const QString& name, const QString& xmlPath = QString());
    void showWelcome();

    // Writes an edit still open, the window's choices and the song cache.
    void shutDown();

    // ---- the parts a user sees (for tests and tools)
    SongTableView* table() const { return mTable; }
    SongTableModel* model() const { return mModel; }
    LogPane* logPane() const { return mLog; }
    NoticeBar* noticeBar() const { return mNotices; }
    StatusLine* statusLine() const { return mStatus; }
    DrawerPanel* drawer() const { return mDrawer; }
    SearchField* searchField() const { return mSearch; }
    SourceMenu* sourceMenu() const { return mSourceMenu; }
    MainToolBar* toolBar() const { return mToolBar; }
    AppActions* actions() const { return mActions; }
    LyricsPanel* lyricsPanel() const { return mLyrics; }
    ArtworkPanel* artworkPanel() const { return mArtwork; }
    SongCommands* commands() const { return mCommands; }
    MainController& controller() const { return *mController; }
    SongSourceSession& session() const { return *mSession; }
    // Where the window's edits and commands are recorded and undone.
    WindowHistory& history() const { return *mHistory; }

signals:
    // The user chose to quit (after confirming, during a run); the
    // application ends its event loop when it receives this.
    void quitRequested();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void buildWidgets();
    void connectCommands();
    void connectRun();
    void connectSource();
    void songsLoaded(const QList<std::shared_ptr<SongFile>>& songs);
    void rowsReordered();
    void headerClicked(int column);
    void selectionChanged();
    void updateCommands();
    void showNotice(const QString& text);
    void chooseFolder();
    void revealSelection();
    void playSelection();
    void customizeToolbar();
    void showPreferences();
    void showAbout();
    void showHistory();
    void askToQuitDuringRun();
    void quitApplication();
    void restoreWindowState();

    std::unique_ptr<MainController> mController;
    SongSourceSession* mSession;
    Delazifier* mDelazifier;
    AppActions* mActions;
    SongTableModel* mModel;
    WindowHistory* mHistory;
    SongEditor* mEditor;
    SongTableView* mTable = nullptr;
    LogPane* mLog = nullptr;
    NoticeBar* mNotices = nullptr;
    StatusLine* mStatus = nullptr;
    DrawerPanel* mDrawer = nullptr;
    LyricsPanel* mLyrics = nullptr;
    ArtworkPanel* mArtwork = nullptr;
    SongCommands* mCommands = nullptr;
    SearchField* mSearch = nullptr;
    SourceMenu* mSourceMenu = nullptr;
    MainToolBar* mToolBar = nullptr;
    QSplitter* mSplitter = nullptr;
    RunPresenter* mRun = nullptr;
    PreferencesDialog* mPreferences = nullptr;
    HistoryWindow* mHistoryWindow = nullptr;
    QProgressDialog* mLoadingPanel = nullptr;
    bool mQuitConfirmed = false;
    bool mQuitting = false;
    bool mShutDown = false;
};
