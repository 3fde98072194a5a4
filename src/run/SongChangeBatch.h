#pragma once

#include "history/HistoryOperation.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

class AudioInfoTag;
class HistoryRecorder;
class MainController;
class SongFile;

// Changes the tags of songs a user chose (one edit, or a command over the
// selection: artwork, lyrics, genres) one song at a time and writes each
// through the run's own write (MainController::writeSong: the crash-safe
// rewrite, the cache renewed, a failure logged in red). A song that is being
// looked up, read-only, damaged, gone, or changed by another program since
// it was shown is left alone, and why is told in words. The changes written
// are recorded in the change history as one operation. Between two songs of
// several the event loop turns, so that a Cancel can arrive. Main thread
// only.
class SongChangeBatch : public QObject
{
    Q_OBJECT

public:
    // Changes the song's real tag; true when it changed anything.
    using Change = std::function<bool(SongFile& song, AudioInfoTag& tag)>;
    using SongList = QList<std::shared_ptr<SongFile>>;

    struct Result
    {
        int written = 0;
        // Songs the change left as they were.
        int unchanged = 0;
        // Songs refused or not written, each with its reason in words.
        QStringList problems;
        bool cancelled = false;
    };

    SongChangeBatch(MainController& controller, OperationKind kind, QObject* parent = nullptr);

    // Records the songs written in `history` when given (the caller's
    // operation, which the caller finishes), else as an operation of its
    // own.
    Result apply(const SongList& songs, const Change& change, HistoryRecorder* history = nullptr);

    // Why the song can't be changed now, in words; empty when it can. Finds
    // a moved file and notices one changed since it was read (its tag is then
    // dropped, so that what it holds now is shown).
    static QString refusal(SongFile& song);

public slots:
    // Stops before the next song.
    void cancel() { mCancelled = true; }

signals:
    // Song `done` of `total` is next (0 of total at the start).
    void progress(qint64 done, qint64 total);
    // A song was refused, or the change history could not record the
    // changes. (A failed write is told by the controller's writeFailed.)
    void problem(const QString& text);

private:
    // Changes and writes one song; why it was not, in `why`.
    bool applyTo(const std::shared_ptr<SongFile>& song, const Change& change, QString* why,
                 HistoryRecorder& history);

    MainController& mController;
    OperationKind mKind;
    bool mCancelled = false;
};
