#include "MainMenus.h"

#include "AppActions.h"

#include "support/LocalizedStrings.h"

#include <QAction>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>

namespace {

QMenu* addMenu(QMainWindow& window, const char* key)
{
    return window.menuBar()->addMenu(LocalizedStrings::text(QLatin1String(key)));
}

void add(QMenu* menu, AppActions& actions, const char* identifier)
{
    menu->addAction(actions.action(QLatin1String(identifier)));
}

} // namespace

void MainMenus::build(QMainWindow& window, AppActions& actions, QMenu* columnsMenu)
{
    actions.action(QStringLiteral("Preferences"))->setMenuRole(QAction::PreferencesRole);
    actions.action(QStringLiteral("About"))->setMenuRole(QAction::AboutRole);
    actions.action(QStringLiteral("Quit"))->setMenuRole(QAction::QuitRole);

    QMenu* file = addMenu(window, "MenuFile");
    add(file, actions, "SetLibrary");
    add(file, actions, "Rescan");
    file->addSeparator();
    add(file, actions, "CloseWindow");
    add(file, actions, "Quit");

    QMenu* edit = addMenu(window, "MenuEdit");
    add(edit, actions, "Undo");
    add(edit, actions, "Redo");
    edit->addSeparator();
    add(edit, actions, "SelectAll");
    add(edit, actions, "Find");
    edit->addSeparator();
    add(edit, actions, "PasteArtwork");
    edit->addSeparator();
    add(edit, actions, "Preferences");

    QMenu* view = addMenu(window, "MenuView");
    add(view, actions, "Drawer");
    add(view, actions, "Lyrics");
    add(view, actions, "Artwork");
    add(view, actions, "ShowLog");
    view->addSeparator();
    columnsMenu->setTitle(LocalizedStrings::text(QStringLiteral("MenuColumns")));
    view->addMenu(columnsMenu);
    add(view, actions, "CustomizeToolbar");

    QMenu* song = addMenu(window, "MenuSong");
    add(song, actions, "BeginAdd");
    add(song, actions, "Stop");
    song->addSeparator();
    add(song, actions, "Play");
    add(song, actions, "Reveal");
    song->addSeparator();
    add(song, actions, "RemoveArtwork");
    add(song, actions, "RemoveLyrics");
    add(song, actions, "StandardizeGenres");
    song->addSeparator();
    add(song, actions, "SearchArtwork");
    add(song, actions, "SearchLyrics");

    QMenu* windows = addMenu(window, "MenuWindow");
    add(windows, actions, "Minimize");
    add(windows, actions, "Zoom");
    windows->addSeparator();
    add(windows, actions, "MainWindow");
    add(windows, actions, "History");
    add(windows, actions, "Regenerate");
    add(windows, actions, "Requests");

    QMenu* help = addMenu(window, "MenuHelp");
    add(help, actions, "ShowLogFile");
    add(help, actions, "About");
}
