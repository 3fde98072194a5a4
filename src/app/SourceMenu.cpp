#include "SourceMenu.h"

#include "AppIcons.h"

#include "library/iTunesInterface.h"
#include "support/LocalizedStrings.h"

#include <QDir>
#include <QFileInfo>
#include <QMenu>

namespace {

QString localized(const char* key)
{
    return LocalizedStrings::text(QLatin1String(key));
}

QIcon iconOr(const QString& name, const QString& fallback)
{
    return AppIcons::exists(name) ? AppIcons::icon(name) : AppIcons::icon(fallback);
}

} // namespace

SourceMenu::SourceMenu(QWidget* parent) : QToolButton(parent), mMenu(new QMenu(this))
{
    setPopupMode(QToolButton::InstantPopup);
    setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    setMenu(mMenu);
    setAccessibleName(localized("SourceLabel"));
    setToolTip(localized("SourceToolTip"));
    setMaximumWidth(260);
    rebuild();
}

void SourceMenu::setLibrary(bool available, const QVariantList& playlists)
{
    mLibraryAvailable = available;
    mPlaylists = playlists;
    rebuild();
}

void SourceMenu::setFolder(const QString& folder)
{
    mFolder = folder;
    rebuild();
}

void SourceMenu::setCurrentSource(SongSourceKind kind, const QString& name)
{
    switch (kind) {
    case SongSourceKind::Library:
        setIcon(AppIcons::icon(QStringLiteral("Menu-Library")));
        setText(localized("iTunesLibrary"));
        break;
    case SongSourceKind::Playlist:
        setIcon(AppIcons::icon(QStringLiteral("Menu-Playlist")));
        setText(name);
        break;
    default:
        setIcon(AppIcons::icon(QStringLiteral("Menu-Directory")));
        setText(QFileInfo(name).fileName().isEmpty() ? QDir::toNativeSeparators(name)
                                                     : QFileInfo(name).fileName());
        break;
    }
    setToolTip(
        LocalizedStrings::format(QStringLiteral("SourceCurrentToolTip"),
                                 kind == SongSourceKind::Folder ? QDir::toNativeSeparators(name) : text()));
}

bool SourceMenu::isListedPlaylist(const QVariantMap& playlist)
{
    if (playlist.contains(QStringLiteral("Visible")) && !playlist.value(QStringLiteral("Visible")).toBool())
        return false;
    const QVariant kind = playlist.value(QStringLiteral("Distinguished Kind"));
    if (!kind.isValid())
        return true;
    static const QStringList listed = QStringLiteral("6,10,19,26,58").split(QLatin1Char(','));
    return listed.contains(kind.toString());
}

QString SourceMenu::playlistIconName(const QVariantMap& playlist)
{
    if (playlist.value(QStringLiteral("Folder")).toBool())
        return QStringLiteral("Menu-folder");
    const QVariant kind = playlist.value(QStringLiteral("Distinguished Kind"));
    const QString typeImage =
        kind.isValid() ? QStringLiteral("Menu-") + iTunesInterface::playlistTypeForKind(kind.toString())
                       : QString();
    if (playlist.contains(QStringLiteral("Smart Info"))) {
        if (playlist.value(QStringLiteral("Name")).toString() == localized("iTunesGeniusName"))
            return QStringLiteral("Menu-Genius");
        return !typeImage.isEmpty() && AppIcons::exists(typeImage) ? typeImage
                                                                   : QStringLiteral("Menu-SmartPlaylist");
    }
    return !typeImage.isEmpty() && AppIcons::exists(typeImage) ? typeImage : QStringLiteral("Menu-Playlist");
}

void SourceMenu::rebuild()
{
    mMenu->clear();
    if (mLibraryAvailable) {
        QAction* library =
            mMenu->addAction(AppIcons::icon(QStringLiteral("Menu-Library")), localized("iTunesLibrary"));
        connect(library, &QAction::triggered, this, &SourceMenu::librarySelected);
        int listed = 0;
        for (const QVariant& entry : std::as_const(mPlaylists)) {
            const QVariantMap playlist = entry.toMap();
            if (!isListedPlaylist(playlist))
                continue;
            if (listed++ == 0)
                mMenu->addSeparator();
            const QString name = playlist.value(QStringLiteral("Name")).toString();
            const QString pid = playlist.value(QStringLiteral("Playlist Persistent ID")).toString();
            QAction* item =
                mMenu->addAction(iconOr(playlistIconName(playlist), QStringLiteral("Menu-Playlist")), name);
            connect(item, &QAction::triggered, this, [this, pid, name] { emit playlistSelected(pid, name); });
        }
        mMenu->addSeparator();
    }
    if (!mFolder.isEmpty()) {
        const QString name =
            QFileInfo(mFolder).fileName().isEmpty() ? mFolder : QFileInfo(mFolder).fileName();
        QAction* folder = mMenu->addAction(AppIcons::icon(QStringLiteral("Menu-Directory")), name);
        folder->setToolTip(QDir::toNativeSeparators(mFolder));
        const QString path = mFolder;
        connect(folder, &QAction::triggered, this, [this, path] { emit folderSelected(path); });
    }
    QAction* choose = mMenu->addAction(localized("ChooseFolder"));
    connect(choose, &QAction::triggered, this, &SourceMenu::chooseFolderRequested);
}
