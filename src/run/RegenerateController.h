#pragma once

#include <QList>
#include <QObject>
#include <QString>

#include <atomic>
#include <memory>

class SongFile;

// The regenerate list: songs whose tag could not be decoded, collected while
// a source is loaded and while tags are read in the background, and the
// rebuilding of their tags. A tag is rebuilt by reading it again in the
// forgiving mode (unknown and malformed data thrown away), carrying the
// pictures over when that read lost them, and writing the clean tag back.
// The window that shows the list lives in the front end; it follows the
// signals. Main thread only.
class RegenerateController : public QObject
{
    Q_OBJECT

public:
    explicit RegenerateController(QObject* parent = nullptr);
    ~RegenerateController() override;

    // The songs waiting, in the order they were found.
    const QList<std::shared_ptr<SongFile>>& songsArray() const { return mSongsArray; }
    int numberOfRows() const { return static_cast<int>(mSongsArray.size()); }

    // Lists the song unless one with the same path is listed already, and
    // makes sure it has a file reference.
    void addCorruptSong(const std::shared_ptr<SongFile>& song);
    // Asks the front end to show the list.
    void reveal();

    // Regenerates the songs of the given rows and removes the successes from
    // the list; asks the front end to hide the list once it is empty.
    QList<std::shared_ptr<SongFile>> regenerateSelected(const QList<int>& rows);
    // Regenerates the songs in order and answers those that succeeded; a
    // cancel stops before the next song. Progress is signalled per song; the
    // rebuilt tags are recorded in the change history.
    QList<std::shared_ptr<SongFile>> regenerateSongsArray(const QList<std::shared_ptr<SongFile>>& songs);
    // Rebuilds one song's tag in the file; true when it was written (inside
    // a write batch: staged, see WriteBatch::afterWrite).
    static bool regenerateSong(SongFile& song, QString* errorText = nullptr);

    // "Title - Artist (Album)", each part only when present.
    static QString rowText(SongFile& song);
    QString textForRow(int row) const;

public slots:
    // Stops a regeneration before its next song. Safe from any thread.
    void cancel();

signals:
    void revealRequested();
    void hideRequested();
    void rowsChanged();
    // Song `current` of `total` is being regenerated (0 of total at the start).
    void progress(qint64 current, qint64 total);
    void songChangedAtPath(const QString& path, bool select);
    // A song's tag could not be rebuilt, with the reason; it stays listed.
    void songFailed(const std::shared_ptr<SongFile>& song, const QString& error);

private:
    QList<std::shared_ptr<SongFile>> mSongsArray;
    std::atomic<bool> mCancelled{false};
};
