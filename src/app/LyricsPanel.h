#pragma once

#include <QDockWidget>

#include <memory>

class QPlainTextEdit;
class SongFile;

// The lyrics beside the table: the selected song's lyrics, or a word on why
// there are none to show.
class LyricsPanel : public QDockWidget
{
    Q_OBJECT

public:
    explicit LyricsPanel(QWidget* parent = nullptr);

    // The song selected alone; none for no or several songs.
    void showSong(const std::shared_ptr<SongFile>& song, int selectedCount);
    QString shownText() const;

private:
    QPlainTextEdit* mText;
};
