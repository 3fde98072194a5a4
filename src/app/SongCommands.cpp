#include "SongCommands.h"

#include "AppActions.h"
#include "ArtworkPanel.h"
#include "DesktopActions.h"
#include "GenrePanel.h"
#include "LogPane.h"
#include "LyricsPanel.h"
#include "NoticeBar.h"
#include "RegenerateWindow.h"
#include "RequestQueueWindow.h"
#include "SongCells.h"
#include "SongTableModel.h"
#include "SongTableView.h"
#include "TagCommandRunner.h"

#include "run/MainController.h"
#include "run/PrefsController.h"
#include "run/RegenerateController.h"
#include "run/TagChanges.h"
#include "songs/SongFile.h"
#include "support/LocalizedStrings.h"
#include "tags/AudioInfoTag.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QColor>
#include <QDockWidget>
#include <QImage>
#include <QMimeData>
#include <QTimer>

namespace {

constexpr int kBusyRetryMs = 200;

QString text(const char* key)
{
    return LocalizedStrings::text(QLatin1String(key));
}

} // namespace

SongCommands::SongCommands(const Parts& parts, QWidget* window)
    : QObject(window), mParts(parts), mWindow(window),
      mRunner(new TagCommandRunner(parts.history, window)),
      mRegenerateWindow(new RegenerateWindow(parts.regenerate, window))
{
    AppActions& actions = mParts.actions;
    connect(mRunner, &TagCommandRunner::problem, this, &SongCommands::problem);
    connect(mRunner, &TagCommandRunner::logLine, &mParts.log, &LogPane::addLine);
    connect(mRunner, &TagCommandRunner::songsWritten, this, &SongCommands::songsWritten);

    ArtworkPanel& artwork = mParts.artwork;
    connect(&artwork, &ArtworkPanel::pictureFileGiven, this, &SongCommands::givePictureFile);
    connect(&artwork, &ArtworkPanel::pictureImageGiven, this, &SongCommands::givePictureImage);
    connect(&artwork, &ArtworkPanel::unusablePicture, this, &SongCommands::problem);
    connect(&artwork, &ArtworkPanel::removeRequested, this, &SongCommands::removeArtwork);
    QAction* view = actions.action(QStringLiteral("Artwork"));
    connect(view, &QAction::toggled, &artwork, &QWidget::setVisible);
    connect(&artwork, &QDockWidget::visibilityChanged, this, [this, view] {
        if (!mWindow->isMinimized())
            view->setChecked(mParts.artwork.isVisibleTo(mWindow));
    });

    connect(&mParts.lyrics, &LyricsPanel::lyricsEdited, this, &SongCommands::editLyrics);
    connect(&mParts.lyrics, &LyricsPanel::removeRequested, this, &SongCommands::removeLyrics);

    connect(actions.action(QStringLiteral("PasteArtwork")), &QAction::triggered, this,
            &SongCommands::pasteArtwork);
    connect(actions.action(QStringLiteral("RemoveArtwork")), &QAction::triggered, this,
            &SongCommands::removeArtwork);
    connect(actions.action(QStringLiteral("RemoveLyrics")), &QAction::triggered, this,
            [this] { removeLyrics(mParts.table.selectedSongs()); });
    connect(actions.action(QStringLiteral("StandardizeGenres")), &QAction::triggered, this,
            &SongCommands::standardizeGenres);
    connect(actions.action(QStringLiteral("SearchArtwork")), &QAction::triggered, this,
            [this] { searchWeb(ManualSearch::Kind::Artwork); });
    connect(actions.action(QStringLiteral("SearchLyrics")), &QAction::triggered, this,
            [this] { searchWeb(ManualSearch::Kind::Lyrics); });
    connect(actions.action(QStringLiteral("Regenerate")), &QAction::triggered, this,
            [this] { showWindow(mRegenerateWindow); });
    connect(actions.action(QStringLiteral("Requests")), &QAction::triggered, this,
            [this] { showWindow(&requestWindow()); });

    connect(&mParts.controller, &MainController::songDone, this, &SongCommands::songDone);
    connect(&mParts.regenerate, &RegenerateController::songChangedAtPath, this,
            &SongCommands::songRegenerated);
    connect(&mParts.regenerate, &RegenerateController::songFailed, this,
            [this](const std::shared_ptr<SongFile>& song, const QString& error) {
                const QString line =
                    LocalizedStrings::format(QStringLiteral("RegenerateFailed"), song->filename(), error);
                mParts.log.addLine(line, QColor(Qt::red));
                problem(line);
            });
    setSearch(QString(), PrefsController::sharedInstance().filterLyrics());
    updateCommands();
}

RequestQueueWindow& SongCommands::requestWindow()
{
    if (!mRequestWindow)
        mRequestWindow = new RequestQueueWindow(mWindow);
    return *mRequestWindow;
}

void SongCommands::showWindow(QWidget* window)
{
    window->show();
    window->raise();
    window->activateWindow();
}

void SongCommands::problem(const QString& text)
{
    mParts.notices.showNotice(text);
}

// ---- the views

void SongCommands::selectionChanged()
{
    const QList<std::shared_ptr<SongFile>> selected = mParts.table.selectedSongs();
    mParts.lyrics.showSongs(selected);
    mParts.artwork.showSongs(selected);
    updateCommands();
}

void SongCommands::flushEdits()
{
    mParts.lyrics.flushEdits();
}

void SongCommands::setSearch(const QString& text, bool lyrics)
{
    const QString words = text.trimmed();
    mParts.lyrics.setHighlightWords(
        lyrics && !words.isEmpty() ? words.split(QLatin1Char(' '), Qt::SkipEmptyParts) : QStringList());
}

void SongCommands::updateCommands()
{
    const qsizetype selected = mParts.table.selectedSongs().size();
    AppActions& actions = mParts.actions;
    for (const char* identifier : {"PasteArtwork", "RemoveLyrics", "StandardizeGenres"})
        actions.action(QLatin1String(identifier))->setEnabled(selected > 0);
    for (const char* identifier : {"SearchArtwork", "SearchLyrics"})
        actions.action(QLatin1String(identifier))->setEnabled(selected == 1);
    actions.action(QStringLiteral("RemoveArtwork"))
        ->setEnabled(selected > 1 || (selected == 1 && mParts.artwork.pictureCount() > 0));
}

void SongCommands::songsWritten()
{
    mParts.table.songModel()->refreshAll();
    mParts.lyrics.showSongs(mParts.table.selectedSongs());
    updateCommands();
}

void SongCommands::songDone(const std::shared_ptr<SongFile>& song)
{
    // A lookup may have given the song shown new artwork or lyrics.
    const QList<std::shared_ptr<SongFile>> selected = mParts.table.selectedSongs();
    if (selected.size() == 1 && selected.first() == song) {
        mParts.artwork.reload(mParts.artwork.currentIndex());
        mParts.lyrics.showSongs(selected);
        updateCommands();
    }
}

void SongCommands::songRegenerated(const QString& path)
{
    mParts.log.addLine(LocalizedStrings::format(QStringLiteral("RegenerateDone"), path), QColor(Qt::blue));
    SongTableModel* model = mParts.table.songModel();
    model->refreshAll();
    const QList<std::shared_ptr<SongFile>>& shown = model->visibleSongs();
    for (int row = 0; row < shown.size(); ++row) {
        if (shown.at(row)->path() == path) {
            mParts.table.selectRow(row);
            break;
        }
    }
}

// ---- artwork

void SongCommands::givePictureFile(const QString& path)
{
    addPicture(ArtworkImport::fromFile(path));
}

void SongCommands::givePictureImage(const QImage& image, const QString& name)
{
    addPicture(ArtworkImport::fromImage(image, name.isEmpty() ? text("ArtworkDropped") : name));
}

void SongCommands::addPicture(const ArtworkImport::Result& given)
{
    if (!given.picture) {
        problem(given.error);
        return;
    }
    const QList<std::shared_ptr<SongFile>> songs = mParts.table.selectedSongs();
    if (songs.isEmpty()) {
        problem(text("ArtworkNoSongs"));
        return;
    }
    const ID3Image picture = *given.picture;
    mRunner->confirmThen(QStringLiteral("AddMultiArt"), songs.size(), [this, songs, picture] {
        mRunner->run(OperationKind::Artwork, QStringLiteral("AddingArtwork"),
                     QStringLiteral("BatchLogArtwork"), songs, TagChanges::addPicture(picture));
        // The new picture is shown: it is the last one.
        mParts.artwork.reload(-1);
        updateCommands();
    });
}

void SongCommands::pasteArtwork()
{
    if (!mParts.artwork.takePicture(QApplication::clipboard()->mimeData(), text("ArtworkPasted")))
        problem(text("ArtworkPasteNothing"));
}

void SongCommands::removeArtwork()
{
    const QList<std::shared_ptr<SongFile>> songs = mParts.table.selectedSongs();
    if (songs.size() == 1) {
        const ID3Image shown = mParts.artwork.currentPicture();
        if (shown.isNull())
            return;
        const int index = mParts.artwork.currentIndex();
        mRunner->run(OperationKind::Artwork, QString(), QStringLiteral("BatchLogArtwork"), songs,
                     TagChanges::removePicture(shown.imageData()));
        mParts.artwork.reload(index);
        updateCommands();
        return;
    }
    mRunner->confirmThen(QStringLiteral("RemoveMultiArt"), songs.size(), [this, songs] {
        mRunner->run(OperationKind::Artwork, QStringLiteral("RemovingArtwork"),
                     QStringLiteral("BatchLogArtwork"), songs, TagChanges::removeAllPictures());
        mParts.artwork.reload();
        updateCommands();
    });
}

// ---- lyrics

void SongCommands::editLyrics(const std::shared_ptr<SongFile>& song, const QString& lyrics)
{
    if (lyrics.size() > TagChanges::kMaxLyricsLength) {
        problem(LocalizedStrings::format(QStringLiteral("LyricsTooLong"), qint64(lyrics.size()),
                                         qint64(TagChanges::kMaxLyricsLength)));
        return;
    }
    // Typed while another command writes: written when it has ended.
    if (mRunner->isRunning()) {
        QTimer::singleShot(kBusyRetryMs, this, [this, song, lyrics] { editLyrics(song, lyrics); });
        return;
    }
    mRunner->run(OperationKind::Lyrics, QString(), QStringLiteral("BatchLogLyrics"), {song},
                 TagChanges::setLyrics(lyrics));
}

void SongCommands::removeLyrics(const QList<std::shared_ptr<SongFile>>& songs)
{
    mRunner->confirmThen(QStringLiteral("RemoveMultiLyrics"), songs.size(), [this, songs] {
        mRunner->run(OperationKind::Lyrics, QStringLiteral("RemovingLyrics"),
                     QStringLiteral("BatchLogLyrics"), songs, TagChanges::setLyrics(QString()));
    });
}

// ---- genres and the manual searches

void SongCommands::standardizeGenres()
{
    const QList<std::shared_ptr<SongFile>> songs = mParts.table.selectedSongs();
    if (songs.isEmpty())
        return;
    auto* panel = new GenrePanel(TagChanges::genreMappings(songs), mWindow);
    panel->setAttribute(Qt::WA_DeleteOnClose);
    panel->setWindowModality(Qt::WindowModal);
    connect(panel, &QDialog::accepted, this, [this, panel, songs] {
        const QHash<QString, QString> chosen = panel->chosen();
        if (!chosen.isEmpty())
            mRunner->run(OperationKind::Edit, QStringLiteral("StandardizingGenres"),
                         QStringLiteral("BatchLogGenres"), songs, TagChanges::standardizeGenres(chosen));
    });
    panel->open();
}

void SongCommands::searchWeb(ManualSearch::Kind kind)
{
    const QList<std::shared_ptr<SongFile>> songs = mParts.table.selectedSongs();
    if (songs.size() != 1)
        return;
    AudioInfoTag* tag = SongCells::tagForDisplay(*songs.first());
    const QUrl url =
        tag ? ManualSearch::url(kind, *tag, PrefsController::sharedInstance().liveResources()) : QUrl();
    if (url.isEmpty()) {
        problem(LocalizedStrings::format(QStringLiteral("ManualSearchNoWords"), songs.first()->filename()));
        return;
    }
    const QString failure = DesktopActions::openWebPage(url);
    if (!failure.isEmpty())
        problem(failure);
}
