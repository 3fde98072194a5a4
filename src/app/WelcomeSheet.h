#pragma once

#include <QDialog>

// Shown once, at the first start: what the program does and where the
// songs may come from. It offers the home folder's "Music" folder, another
// folder, or the music library when an export of it can be found.
class WelcomeSheet : public QDialog
{
    Q_OBJECT

public:
    enum class Choice : int
    {
        None = 0,
        MusicFolder = 1,
        OtherFolder = 2,
        Library = 3
    };

    WelcomeSheet(const QString& musicFolder, bool libraryAvailable, QWidget* parent = nullptr);

    Choice choice() const { return mChoice; }

    // The sheet was shown before ("_welcomed"); marking it so is kept at once.
    static bool wasShown();
    static void markShown();

private:
    void choose(Choice choice);

    Choice mChoice = Choice::None;
};
