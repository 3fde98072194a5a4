#include "MainWindow.h"

#include "AppActions.h"
#include "AppIcons.h"
#include "ArtworkPanel.h"
#include "ColumnLayout.h"
#include "DesktopActions.h"
#include "DrawerPanel.h"
#include "HistoryWindow.h"
#include "LogPane.h"
#include "LyricsPanel.h"
#include "MainMenus.h"
#include "MainToolBar.h"
#include "NoticeBar.h"
#include "PreferencesDialog.h"
#include "RunPresenter.h"
#include "SearchField.h"
#include "SongCommands.h"
#include "SongEditor.h"
#include "SongSourceSession.h"
#include "SongTableModel.h"
#include "SongTableView.h"
#include "SourceMenu.h"
#include "StatusLine.h"
#include "ToolbarCustomizeDialog.h"
#include "WelcomeSheet.h"
#include "WindowHistory.h"

#include "cli/SongSourceOptions.h"
#include "library/iTunesInterface.h"
#include "run/Delazifier.h"
#include "run/MainController.h"
#include "run/RegenerateController.h"
#include "run/WindowPrefs.h"
#include "songs/SongFile.h"
#include "songs/SongFileInfoCache.h"
#include "support/BundleInfo.h"
#include "support/LocalizedStrings.h"
#include "support/WMLog.h"
#include "web/WMHTTPQueue.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDir>
#include <QFileDialog>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QMenu>
#include <QMessageBox>
#include <QProgressDialog>
#include <QPushButton>
#include <QSettings>
#include <QSplitter>
#include <QStatusBar>
#include <QTimer>
#include <QVBoxLayout>

namespace {

// The panel of a short load never appears.
constexpr int kLoadingPanelDelayMs = 400;
// Requests still open at quit are given this long after they are purged.
constexpr int kQuitDelayMs = 1000;

QString text(const char* key)
{
    return LocalizedStrings::text(QLatin1String(key));
}

QAction* action(AppActions* actions, const char* identifier)
{
    return actions->action(QLatin1String(identifier));
}

} // namespace

MainWindow::MainWindow(QWidget* parent)
    : QMainWindow(parent), mController(std::make_unique<MainController>()),
      mSession(new SongSourceSession(this)), mDelazifier(new Delazifier(this)),
      mActions(new AppActions(this)), mModel(new SongTableModel(this)),
      mHistory(new WindowHistory(*mController, this)), mEditor(new SongEditor(*mHistory, this))
{
    setWindowTitle(BundleInfo::executableName());
    setWindowIcon(AppIcons::applicationIcon());
    setObjectName(QStringLiteral("MainWindow"));
    mModel->setEditor(mEditor);
    mModel->setNoiTunesArtwork(PrefsController::sharedInstance().noiTunesArtwork());
    mDelazifier->setRegenerateController(&mSession->regenerateController());
    buildWidgets();
    connectCommands();
    connectRun();
    connectSource();
    restoreWindowState();
    updateCommands();
    mSession->readLibraryForMenu();
    mHistory->tellStartNotices();
}

MainWindow::~MainWindow()
{
    shutDown();
    // Closing hides the docks while QWidget's destructor runs, when this is
    // no longer a MainWindow: their visibility is not followed any more.
    disconnect(mDrawer, nullptr, this, nullptr);
    disconnect(mLyrics, nullptr, this, nullptr);
}

void MainWindow::buildWidgets()
{
    mTable = new SongTableView(mModel);
    mLog = new LogPane;
    mNotices = new NoticeBar;
    mSplitter = new QSplitter(Qt::Vertical);
    mSplitter->setObjectName(QStringLiteral("TableAndLog"));
    mSplitter->addWidget(mTable);
    mSplitter->addWidget(mLog);
    mSplitter->setStretchFactor(0, 4);
    mSplitter->setStretchFactor(1, 1);
    mSplitter->setChildrenCollapsible(false);
    auto* central = new QWidget;
    auto* layout = new QVBoxLayout(central);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(mNotices);
    layout->addWidget(mSplitter, 1);
    setCentralWidget(central);

    mSourceMenu = new SourceMenu;
    mSearch = new SearchField;
    mToolBar = new MainToolBar(*mActions, mSourceMenu, mSearch, this);
    addToolBar(Qt::TopToolBarArea, mToolBar);
    setUnifiedTitleAndToolBarOnMac(true);

    mDrawer = new DrawerPanel(this);
    mDrawer->setPrefs(WindowPrefs::readPrefs());
    mController->setWindowPrefs(mDrawer->prefs());
    addDockWidget(Qt::RightDockWidgetArea, mDrawer);
    mLyrics = new LyricsPanel(this);
    addDockWidget(Qt::RightDockWidgetArea, mLyrics);
    mArtwork = new ArtworkPanel(this);
    addDockWidget(Qt::RightDockWidgetArea, mArtwork);

    mStatus = new StatusLine;
    statusBar()->addWidget(mStatus, 1);
    statusBar()->setSizeGripEnabled(true);
    mStatus->followProgress(mController->overallProgress(), mController->songProgress());
    mStatus->setCounts(0, 0);

    auto* columns = new QMenu(this);
    connect(columns, &QMenu::aboutToShow, this,
            [this, columns] { mTable->columnLayout()->fillMenu(columns); });
    MainMenus::build(*this, *mActions, columns);
}

void MainWindow::restoreWindowState()
{
    QSettings settings;
    if (!restoreGeometry(settings.value(QStringLiteral("mainWindowGeometry")).toByteArray()))
        resize(1100, 680);
    if (!restoreState(settings.value(QStringLiteral("mainWindowState")).toByteArray())) {
        // The first arrangement, once laid out: the options get the height
        // they need, the artwork what is left.
        QTimer::singleShot(0, this, [this] {
            resizeDocks({mDrawer, mArtwork}, {height(), mArtwork->minimumSizeHint().height()}, Qt::Vertical);
        });
    }
    mSplitter->restoreState(settings.value(QStringLiteral("mainWindowSplitter")).toByteArray());
    mDrawer->setVisible(PrefsController::sharedInstance().drawerIsOpen());
    mLyrics->setVisible(WindowPrefs::readPrefs().lyricsWindow());
    mLog->setVisible(settings.value(QStringLiteral("logPaneShown"), true).toBool());
    action(mActions, "Drawer")->setChecked(mDrawer->isVisibleTo(this));
    action(mActions, "Lyrics")->setChecked(mLyrics->isVisibleTo(this));
    action(mActions, "Artwork")->setChecked(mArtwork->isVisibleTo(this));
    action(mActions, "ShowLog")->setChecked(mLog->isVisibleTo(this));
}

void MainWindow::connectCommands()
{
    mRun = new RunPresenter(*mController, *mTable, this);
    mCommands = new SongCommands({*mController, *mHistory, *mTable, *mActions, *mLyrics, *mArtwork, *mNotices, *mLog,
                                  mSession->regenerateController()},
                                 this);
    connect(mSearch, &SearchField::searchRequested, mCommands, &SongCommands::setSearch);
    connect(action(mActions, "BeginAdd"), &QAction::triggered, mRun, &RunPresenter::begin);
    connect(action(mActions, "Stop"), &QAction::triggered, mRun, &RunPresenter::stop);
    connect(action(mActions, "Play"), &QAction::triggered, this, &MainWindow::playSelection);
    connect(action(mActions, "Reveal"), &QAction::triggered, this, &MainWindow::revealSelection);
    connect(action(mActions, "Rescan"), &QAction::triggered, mSession, &SongSourceSession::rescan);
    connect(action(mActions, "SetLibrary"), &QAction::triggered, this, &MainWindow::chooseFolder);
    connect(action(mActions, "Drawer"), &QAction::toggled, mDrawer, &QWidget::setVisible);
    connect(mDrawer, &QDockWidget::visibilityChanged, this, [this] {
        if (!isMinimized())
            action(mActions, "Drawer")->setChecked(mDrawer->isVisibleTo(this));
    });
    connect(action(mActions, "Lyrics"), &QAction::toggled, mLyrics, &QWidget::setVisible);
    connect(mLyrics, &QDockWidget::visibilityChanged, this, [this] {
        if (!isMinimized())
            action(mActions, "Lyrics")->setChecked(mLyrics->isVisibleTo(this));
    });
    connect(action(mActions, "ShowLog"), &QAction::toggled, mLog, &QWidget::setVisible);
    connect(action(mActions, "Preferences"), &QAction::triggered, this, &MainWindow::showPreferences);
    connect(action(mActions, "About"), &QAction::triggered, this, &MainWindow::showAbout);
    connect(action(mActions, "CustomizeToolbar"), &QAction::triggered, this, &MainWindow::customizeToolbar);
    connect(action(mActions, "Quit"), &QAction::triggered, this, &QWidget::close);
    connect(action(mActions, "CloseWindow"), &QAction::triggered, this, &QWidget::close);
    connect(action(mActions, "SelectAll"), &QAction::triggered, mTable, &QAbstractItemView::selectAll);
    connect(action(mActions, "Find"), &QAction::triggered, this, [this] {
        mSearch->setFocus();
        mSearch->selectAll();
    });
    connect(action(mActions, "Minimize"), &QAction::triggered, this, &QWidget::showMinimized);
    connect(action(mActions, "Zoom"), &QAction::triggered, this,
            [this] { isMaximized() ? showNormal() : showMaximized(); });
    connect(action(mActions, "MainWindow"), &QAction::triggered, this, [this] {
        showNormal();
        raise();
        activateWindow();
    });
    connect(action(mActions, "ShowLogFile"), &QAction::triggered, this,
            [this] { showNotice(DesktopActions::reveal({WMLogLocation()})); });
    mHistory->setActions(action(mActions, "Undo"), action(mActions, "Redo"));
    connect(action(mActions, "History"), &QAction::triggered, this, &MainWindow::showHistory);
    connect(mHistory, &WindowHistory::notice, this, &MainWindow::showNotice);
    connect(mHistory, &WindowHistory::songsChanged, this, [this] {
        mModel->refreshAll();
        selectionChanged();
    });

    connect(mSearch, &SearchField::searchRequested, mModel, &SongTableModel::setSearch);
    connect(mTable, &SongTableView::headerClicked, this, &MainWindow::headerClicked);
    connect(mTable, &SongTableView::folderDropped, this, &MainWindow::openFolder);
    connect(mTable->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &MainWindow::selectionChanged);
    connect(mEditor, &SongEditor::problem, this, &MainWindow::showNotice);
    connect(mModel, &SongTableModel::rowsReordered, this, &MainWindow::rowsReordered);
    connect(mDrawer, &DrawerPanel::prefsChanged, this, [this](const WindowPrefs& prefs) {
        WindowPrefs choices = prefs;
        choices.setSort(mModel->sortColumn(), mModel->sortDescending());
        mController->setWindowPrefs(choices);
    });
}

void MainWindow::connectRun()
{
    MainController& run = *mController;
    connect(&run, &MainController::logLine, mLog, &LogPane::addLine);
    connect(&run, &MainController::statusTextChanged, mStatus, &StatusLine::setRunText);
    connect(&run, &MainController::beginModeChanged, mActions, &AppActions::setBeginAddMode);
    connect(&run, &MainController::controlsEnabledChanged, mDrawer, &DrawerPanel::setControlsEnabled);
    connect(&run, &MainController::tableReloadRequested, this, [this] {
        mModel->refreshAll();
        updateCommands();
    });
    connect(&run, &MainController::sortInvalidated, mModel, &SongTableModel::dropSort);
    connect(&run, &MainController::runStarted, this, &MainWindow::updateCommands);
    connect(&run, &MainController::runEnded, this, &MainWindow::updateCommands);
    connect(&run, &MainController::writeFailed, this,
            [this](const std::shared_ptr<SongFile>& song, const QString& error) {
                showNotice(
                    LocalizedStrings::format(QStringLiteral("WriteFailedNotice"), song->filename(), error));
            });
    connect(WMHTTPQueue::queue(), &WMHTTPQueue::importantLogNotification, this, &MainWindow::showNotice);
}

void MainWindow::connectSource()
{
    connect(mSession, &SongSourceSession::logLine, mLog, &LogPane::addLine);
    connect(mSession, &SongSourceSession::problem, this, &MainWindow::showNotice);
    connect(mSession, &SongSourceSession::songsLoaded, this, &MainWindow::songsLoaded);
    connect(mSession, &SongSourceSession::libraryRead, this,
            [this](const QVariantList& playlists) { mSourceMenu->setLibrary(true, playlists); });
    // Songs of a run that runs keep their records (and statuses) when the
    // source is read again.
    mSession->setWorkListSource([this] {
        return mController->isRunning() ? mController->visibleSongs() : QList<std::shared_ptr<SongFile>>();
    });
    connect(mSession, &SongSourceSession::loadingStarted, this, [this](const QString& message) {
        mDelazifier->stopDelazification();
        delete mLoadingPanel;
        mLoadingPanel = new QProgressDialog(message, text("CancelButton"), 0, 0, this);
        mLoadingPanel->setWindowModality(Qt::WindowModal);
        mLoadingPanel->setMinimumDuration(kLoadingPanelDelayMs);
        mLoadingPanel->setAutoReset(false);
        mLoadingPanel->setAutoClose(false);
        connect(mLoadingPanel, &QProgressDialog::canceled, mSession, &SongSourceSession::cancel);
        mLoadingPanel->setValue(0);
        updateCommands();
    });
    connect(mSession, &SongSourceSession::progress, this, [this](qint64 current, qint64 total) {
        if (!mLoadingPanel)
            return;
        mLoadingPanel->setMaximum(int(std::min<qint64>(total, INT_MAX)));
        mLoadingPanel->setValue(int(std::min<qint64>(current, INT_MAX)));
    });
    connect(mSession, &SongSourceSession::loadingFinished, this, [this] {
        if (mLoadingPanel)
            mLoadingPanel->deleteLater();
        mLoadingPanel = nullptr;
        updateCommands();
    });
    connect(mSourceMenu, &SourceMenu::librarySelected, this, [this] { openLibrary(); });
    connect(mSourceMenu, &SourceMenu::playlistSelected, this,
            [this](const QString& pid, const QString& name) { openPlaylist(pid, name); });
    connect(mSourceMenu, &SourceMenu::folderSelected, this, &MainWindow::openFolder);
    connect(mSourceMenu, &SourceMenu::chooseFolderRequested, this, &MainWindow::chooseFolder);
    connect(&mSession->regenerateController(), &RegenerateController::revealRequested, this, [this] {
        mNotices->showNotice(
            LocalizedStrings::format(QStringLiteral("DamagedTagsNotice"),
                                     qint64(mSession->regenerateController().numberOfRows())),
            QStringLiteral("damaged"));
    });

    connect(mDelazifier, &Delazifier::activeChanged, mStatus, &StatusLine::setReadingTags);
    connect(mDelazifier, &Delazifier::visibleRowsChanged, mModel, &SongTableModel::refreshAll);
    connect(mTable, &SongTableView::visibleRowsChanged, this, [this] {
        const auto [first, count] = mTable->visibleRows();
        mDelazifier->setVisibleRange(first, count);
    });
}

// ---- the source

void MainWindow::openStartSource(const SongSourceOptions& options)
{
    SongSourceOptions chosen = options;
    if (chosen.source() == SongSourceOptions::Source::Saved && !WelcomeSheet::wasShown()) {
        showWelcome();
        return;
    }
    chosen.useSavedSourceIfNone();
    switch (chosen.source()) {
    case SongSourceOptions::Source::Library:
        openLibrary(chosen.xml());
        break;
    case SongSourceOptions::Source::Playlist:
        openPlaylist(QString(), chosen.playlist(), chosen.xml());
        break;
    default:
        openFolder(chosen.folder());
        break;
    }
}

void MainWindow::showWelcome()
{
    WelcomeSheet::markShown();
    const QString music = QDir::homePath() + QStringLiteral("/Music");
    auto* sheet = new WelcomeSheet(music, iTunesInterface::canGetMusicLibrary(), this);
    sheet->setAttribute(Qt::WA_DeleteOnClose);
    connect(sheet, &QDialog::finished, this, [this, sheet, music] {
        switch (sheet->choice()) {
        case WelcomeSheet::Choice::MusicFolder:
            openFolder(music);
            break;
        case WelcomeSheet::Choice::OtherFolder:
            chooseFolder();
            break;
        case WelcomeSheet::Choice::Library:
            openLibrary();
            break;
        default:
            break;
        }
    });
    sheet->open();
}

void MainWindow::openFolder(const QString& folder)
{
    mSession->loadFolder(folder);
}

void MainWindow::openLibrary(const QString& xmlPath)
{
    mSession->loadLibrary(xmlPath);
}

void MainWindow::openPlaylist(const QString& persistentID, const QString& name, const QString& xmlPath)
{
    mSession->loadPlaylist(persistentID, name, xmlPath);
}

void MainWindow::chooseFolder()
{
    auto* dialog = new QFileDialog(this, text("ChooseFolderTitle"),
                                   PrefsController::sharedInstance().libraryDirectory());
    dialog->setFileMode(QFileDialog::Directory);
    dialog->setOption(QFileDialog::ShowDirsOnly);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QFileDialog::fileSelected, this, &MainWindow::openFolder);
    dialog->open();
}

void MainWindow::songsLoaded(const QList<std::shared_ptr<SongFile>>& songs)
{
    const SongSourceKind kind = mSession->kind();
    const QString name = mSession->sourceName();
    setWindowTitle(kind == SongSourceKind::Library
                       ? LocalizedStrings::text(QStringLiteral("WindowTitleLibrary"))
                       : LocalizedStrings::format(
                             QStringLiteral("WindowTitleDirectory"),
                             kind == SongSourceKind::Folder ? QDir::toNativeSeparators(name) : name));
    mSourceMenu->setCurrentSource(kind, name);
    if (kind == SongSourceKind::Folder)
        mSourceMenu->setFolder(name);
    {
        const QSignalBlocker quiet(mSearch);
        mSearch->clear();
    }
    mController->setAllSongs(songs);
    mController->setSourceDescription(
        kind == SongSourceKind::Library ? LocalizedStrings::text(QStringLiteral("iTunesLibrary")) : name);
    // A library is shown by artist; other sources keep the column sorted.
    const WindowPrefs saved = WindowPrefs::readPrefs();
    const QString column = kind == SongSourceKind::Library
                               ? QStringLiteral("artist")
                               : (mModel->sortColumn().isEmpty() ? saved.sortColumn() : mModel->sortColumn());
    const bool descending =
        kind == SongSourceKind::Library
            ? false
            : (mModel->sortColumn().isEmpty() ? saved.sortReverse() : mModel->sortDescending());
    mModel->setSongs(songs, column, descending);
    mDelazifier->setSourceKind(kind);
    mDelazifier->setAllSongs(songs);
    mTable->scrollToTop();
    const auto [first, count] = mTable->visibleRows();
    mDelazifier->setVisibleRange(first, count);
    mDelazifier->startDelazification();
}

void MainWindow::rowsReordered()
{
    mController->setVisibleSongs(mModel->visibleSongs());
    mDelazifier->setRows(mModel->visibleSongs());
    mStatus->setCounts(mModel->visibleSongs().size(), mModel->allSongs().size());
    selectionChanged();
}

// ---- the table

void MainWindow::headerClicked(int column)
{
    // Lyrics are not known for songs whose tags are still being read.
    if (SongColumns::at(column) == SongColumn::Lyrics && mDelazifier->isActive()) {
        QApplication::beep();
        return;
    }
    mModel->clickColumn(SongColumns::at(column));
    mTable->scrollToTop();
}

void MainWindow::selectionChanged()
{
    mCommands->selectionChanged();
    updateCommands();
}

void MainWindow::updateCommands()
{
    const bool loading = mSession->isLoading();
    const QList<std::shared_ptr<SongFile>> selected = mTable->selectedSongs();
    action(mActions, "BeginAdd")->setEnabled(!loading && mController->canBeginGathering(selected));
    action(mActions, "Stop")->setEnabled(mController->canStopGathering());
    action(mActions, "Play")->setEnabled(selected.size() == 1);
    action(mActions, "Reveal")->setEnabled(!selected.isEmpty());
    action(mActions, "Rescan")->setEnabled(!loading);
    action(mActions, "SetLibrary")->setEnabled(!loading);
    mSourceMenu->setEnabled(!loading);
}

void MainWindow::showNotice(const QString& message)
{
    mNotices->showNotice(message);
}

void MainWindow::revealSelection()
{
    QStringList paths;
    for (const std::shared_ptr<SongFile>& song : mTable->selectedSongs())
        paths.append(song->path());
    showNotice(DesktopActions::reveal(paths));
}

void MainWindow::playSelection()
{
    const QList<std::shared_ptr<SongFile>> selected = mTable->selectedSongs();
    if (selected.size() == 1)
        showNotice(DesktopActions::play(selected.first()->path()));
}

void MainWindow::customizeToolbar()
{
    ToolbarCustomizeDialog dialog(mToolBar->items(), this);
    if (dialog.exec() == QDialog::Accepted)
        mToolBar->setItems(dialog.items());
}

void MainWindow::showPreferences()
{
    if (!mPreferences) {
        mPreferences = new PreferencesDialog(this);
        connect(mPreferences, &PreferencesDialog::valuesStored, this,
                [this] { mModel->setNoiTunesArtwork(PrefsController::sharedInstance().noiTunesArtwork()); });
    }
    if (!mPreferences->isVisible())
        mPreferences->putValuesInInterface();
    mPreferences->show();
    mPreferences->raise();
    mPreferences->activateWindow();
}

void MainWindow::showAbout()
{
    QMessageBox::about(this,
                       LocalizedStrings::format(QStringLiteral("AboutTitle"), BundleInfo::executableName()),
                       LocalizedStrings::format(QStringLiteral("AboutText"), BundleInfo::executableName(),
                                                BundleInfo::shortVersion(), BundleInfo::version()));
}

void MainWindow::showHistory()
{
    if (!mHistoryWindow)
        mHistoryWindow = new HistoryWindow(*mHistory, this);
    else
        mHistoryWindow->reload();
    mHistoryWindow->show();
    mHistoryWindow->raise();
    mHistoryWindow->activateWindow();
}

// ---- closing and quitting

void MainWindow::closeEvent(QCloseEvent* event)
{
    // An edit still open is written before anything else.
    mTable->commitOpenEditor();
    mCommands->flushEdits();
    if (mController->isRunning() && !mQuitConfirmed) {
        event->ignore();
        askToQuitDuringRun();
        return;
    }
    event->accept();
    quitApplication();
}

void MainWindow::askToQuitDuringRun()
{
    auto* box = new QMessageBox(QMessageBox::Critical, text("WindowCloseActivityTitle"),
                                text("WindowCloseActivityMessage"), QMessageBox::NoButton, this);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(Qt::WindowModal);
    QPushButton* cancel = box->addButton(text("WindowCloseActivityCancel"), QMessageBox::RejectRole);
    QPushButton* quit = box->addButton(text("WindowCloseActivityQuit"), QMessageBox::DestructiveRole);
    box->setDefaultButton(cancel);
    box->setEscapeButton(cancel);
    connect(box, &QMessageBox::finished, this, [this, box, quit] {
        if (box->clickedButton() != quit)
            return;
        mQuitConfirmed = true;
        close();
    });
    box->open();
}

void MainWindow::quitApplication()
{
    if (mQuitting)
        return;
    mQuitting = true;
    mController->stopGathering();
    mDelazifier->stopDelazification();
    WMHTTPQueue* queue = WMHTTPQueue::queue();
    if (queue->count() > 0) {
        // Answers still on their way are not waited for.
        queue->cancelAll();
        QTimer::singleShot(kQuitDelayMs, this, &MainWindow::quitRequested);
        return;
    }
    emit quitRequested();
}

void MainWindow::shutDown()
{
    if (mShutDown)
        return;
    mShutDown = true;
    mTable->commitOpenEditor();
    mCommands->flushEdits();
    mDelazifier->stopDelazification();
    WindowPrefs prefs = mDrawer->prefs();
    prefs.setSort(mModel->sortColumn(), mModel->sortDescending());
    prefs.setLyricsWindow(mLyrics->isVisibleTo(this));
    prefs.writePrefs();
    PrefsController::sharedInstance().setDrawerOpen(mDrawer->isVisibleTo(this));
    QSettings settings;
    settings.setValue(QStringLiteral("mainWindowGeometry"), saveGeometry());
    settings.setValue(QStringLiteral("mainWindowState"), saveState());
    settings.setValue(QStringLiteral("mainWindowSplitter"), mSplitter->saveState());
    settings.setValue(QStringLiteral("logPaneShown"), mLog->isVisibleTo(this));
    mTable->columnLayout()->save();
    settings.sync();
    SongFileInfoCache::sharedCache().detach();
}
