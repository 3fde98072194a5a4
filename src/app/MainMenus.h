#pragma once

class AppActions;
class QMainWindow;
class QMenu;

// The menu bar of the main window: File, Edit, View, Song, Window and
// Help, made of the window's commands. Preferences, About and Quit carry
// their roles, so that macOS puts them in the application menu.
class MainMenus
{
public:
    static void build(QMainWindow& window, AppActions& actions, QMenu* columnsMenu);
};
