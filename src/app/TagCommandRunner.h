#pragma once

#include "run/SongChangeBatch.h"

#include <QObject>
#include <QPointer>
#include <QString>

#include <functional>

#include <QMessageBox>
class QWidget;
class WindowHistory;

// Runs the window's commands over songs (artwork, lyrics, genres) through
// the core's SongChangeBatch, with what a user sees around them: for several
// songs a question first (the alert's texts are the localised ones under a
// key followed by "Title", "Message", "OK" and "Cancel"), then a panel with
// a bar and Cancel; songs refused are told in words; a line in the log says
// how the command ended; the songs written are one operation of the change
// history (Edit > Undo takes it back). Every batch of the window goes
// through here.
class TagCommandRunner : public QObject
{
    Q_OBJECT

public:
    TagCommandRunner(WindowHistory& history, QWidget* window);

    // Asks about `count` songs when there are several, then calls `proceed`
    // (at once for one song). The alert is window-modal; nothing waits for
    // it.
    void confirmThen(const QString& alertKey, qsizetype count, const std::function<void()>& proceed);
    // Changes the songs and writes them. `panelKey` is the localised text
    // of the panel shown for several songs, `logKey` names the command in
    // the log line.
    SongChangeBatch::Result run(OperationKind kind, const QString& panelKey, const QString& logKey,
                                const SongChangeBatch::SongList& songs,
                                const SongChangeBatch::Change& change);
    bool isRunning() const { return mRunning; }
    // The question on screen, if any (for tests and tools).
    QMessageBox* question() const { return mQuestion; }

signals:
    // A song was refused, in words.
    void problem(const QString& text);
    void logLine(const QString& text, const QColor& color);
    // Songs were written: the views show their new values.
    void songsWritten();

private:
    WindowHistory& mHistory;
    QWidget* mWindow;
    QPointer<QMessageBox> mQuestion;
    bool mRunning = false;
};
