#pragma once

#include <QDockWidget>
#include <QList>
#include <QStringList>
#include <QTimer>

#include <memory>

class LyricsTextEdit;
class QLabel;
class QPushButton;
class SongFile;

// The lyrics window beside the table. One selected song: its lyrics, which
// the user may edit (the edit is handed on 3 seconds after the last key) or
// remove; the words of a lyrics search are highlighted. Several songs: a
// line, and Remove when any of them has lyrics. An edit still waiting is
// handed on before another song is shown, and at quit (flushEdits), always
// for the song it was typed for.
class LyricsPanel : public QDockWidget
{
    Q_OBJECT

public:
    static constexpr int kPauseMs = 3000;
    // More occurrences of the search words than this are not highlighted.
    static constexpr int kMostHighlights = 2000;

    explicit LyricsPanel(QWidget* parent = nullptr);

    void showSongs(const QList<std::shared_ptr<SongFile>>& songs);
    // The words to highlight (none: no highlighting).
    void setHighlightWords(const QStringList& words);
    // Hands an edit still waiting for its pause on now.
    void flushEdits();

    QString shownText() const;
    QString heading() const;
    // The stretches of text highlighted, in order.
    QStringList highlightedText() const;

signals:
    // The user typed `text` for the song and paused.
    void lyricsEdited(const std::shared_ptr<SongFile>& song, const QString& text);
    void removeRequested(const QList<std::shared_ptr<SongFile>>& songs);

private:
    void textEdited();
    void notifyNow();
    void highlight();
    void setEditable(bool editable);

    QLabel* mHeading;
    QLabel* mNote;
    LyricsTextEdit* mText;
    QPushButton* mRemove;
    QTimer mPause;
    QList<std::shared_ptr<SongFile>> mSongs;
    QStringList mWords;
    bool mModified = false;
    bool mFilling = false;
};
