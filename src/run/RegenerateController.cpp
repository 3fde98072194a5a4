#include "RegenerateController.h"

#include "history/HistoryRecorder.h"
#include "songs/SongFile.h"
#include "support/LocalizedStrings.h"
#include "support/WMLog.h"
#include "tags/AudioInfoTag.h"
#include "tags/FileWriteLock.h"
#include "tags/WriteBatch.h"

#include <QCoreApplication>

#include <algorithm>
#include <exception>

namespace {

// Turns both forgiving-read switches on for one read and puts back what was
// there before, also when the read fails.
class ForgivingReadScope
{
public:
    ForgivingReadScope()
        : mMalformed(AudioInfoTag::shouldDiscardMalformedInfo()),
          mUnrecognized(AudioInfoTag::shouldDiscardUnrecognizedInfo())
    {
        AudioInfoTag::setShouldDiscardUnrecognizedInfo(true);
        AudioInfoTag::setShouldDiscardMalformedInfo(true);
    }
    ~ForgivingReadScope()
    {
        AudioInfoTag::setShouldDiscardUnrecognizedInfo(mUnrecognized);
        AudioInfoTag::setShouldDiscardMalformedInfo(mMalformed);
    }
    ForgivingReadScope(const ForgivingReadScope&) = delete;
    ForgivingReadScope& operator=(const ForgivingReadScope&) = delete;

private:
    bool mMalformed;
    bool mUnrecognized;
};

} // namespace

RegenerateController::RegenerateController(QObject* parent) : QObject(parent) {}

RegenerateController::~RegenerateController() = default;

void RegenerateController::addCorruptSong(const std::shared_ptr<SongFile>& song)
{
    if (!song || SongFile::songWithPath(song->path(), mSongsArray))
        return;
    song->setAliasFromPath();
    mSongsArray.append(song);
    emit rowsChanged();
}

void RegenerateController::reveal()
{
    emit revealRequested();
}

void RegenerateController::cancel()
{
    mCancelled = true;
}

bool RegenerateController::regenerateSong(SongFile& song, QString* errorText)
{
    try {
        song.ensureInfotagIsReal();
        song.refresh();
        // Held from the forgiving read to the end of the write.
        const FileWriteLock lock = FileWriteLock::acquire(song.path(), errorText);
        if (!lock.isLocked())
            return false;
        QList<ID3Image> oldPictures;
        if (AudioInfoTag* old = song.infotag())
            oldPictures = old->images();
        song.uncacheInfotag();

        AudioInfoTag* tag = nullptr;
        {
            const ForgivingReadScope forgiving;
            tag = song.infotag();
        }
        if (!tag) {
            if (errorText)
                *errorText = LocalizedStrings::format(QStringLiteral("ErrorSongUnreadable"), song.path());
            return false;
        }
        if (tag->numberOfImages() == 0) {
            for (const ID3Image& picture : oldPictures)
                tag->addImage(picture);
        }
        if (!tag->modifySongFileAtPath(song.path(), errorText))
            return false;
        // The file holds the clean tag (at once, or once the write batch
        // holding the write has made it durable): read it again on next need.
        WriteBatch::afterWrite(song.path(), [weak = song.weak_from_this()](bool written, const QString&) {
            const std::shared_ptr<SongFile> self = weak.lock();
            if (!self)
                return;
            self->uncacheInfotag();
            self->adoptCurrentModificationDate();
            if (written)
                self->setDefaultActivityStatus();
            else
                self->setActivityStatus(SongActivityStatus::Problem);
        });
        return true;
    } catch (const std::exception& e) {
        WMLog("regenerate %@ exception %@", song.path(), e.what());
        if (errorText)
            *errorText = QString::fromUtf8(e.what());
        return false;
    }
}

QList<std::shared_ptr<SongFile>>
RegenerateController::regenerateSongsArray(const QList<std::shared_ptr<SongFile>>& songs)
{
    mCancelled = false;
    QList<std::shared_ptr<SongFile>> done;
    const auto total = static_cast<qint64>(songs.size());
    QStringList paths;
    for (const std::shared_ptr<SongFile>& song : songs)
        paths.append(song ? song->path() : QString());
    HistoryRecorder history(OperationKind::Regenerate, HistoryRecorder::sourceOfFiles(paths));
    emit progress(0, total);
    qint64 current = 0;
    for (const std::shared_ptr<SongFile>& song : songs) {
        emit progress(++current, total);
        QCoreApplication::processEvents();
        if (mCancelled)
            break;
        if (!song)
            continue;
        const AudioInfoTag* damaged = song->infotag();
        const TagSnapshot before = damaged ? TagSnapshot::of(*damaged) : TagSnapshot();
        QString error;
        if (!regenerateSong(*song, &error)) {
            emit songFailed(
                song, error.isEmpty() ? LocalizedStrings::text(QStringLiteral("ErrorTagNotWritten")) : error);
            continue;
        }
        if (const AudioInfoTag* tag = song->infotag())
            history.record(
                FileChangeRecord::between(song->path(), before, TagSnapshot::of(*tag),
                                          ChangeOrigin{ChangeOrigin::Kind::RebuiltTag, QString()}));
        emit songChangedAtPath(song->path(), true);
        done.append(song);
    }
    mCancelled = false;
    return done;
}

QList<std::shared_ptr<SongFile>> RegenerateController::regenerateSelected(const QList<int>& rows)
{
    QList<std::shared_ptr<SongFile>> selected;
    for (int row : rows) {
        if (row >= 0 && row < mSongsArray.size() && !selected.contains(mSongsArray.at(row)))
            selected.append(mSongsArray.at(row));
    }
    const QList<std::shared_ptr<SongFile>> done = regenerateSongsArray(selected);
    if (!done.isEmpty()) {
        mSongsArray.removeIf([&done](const std::shared_ptr<SongFile>& song) { return done.contains(song); });
        emit rowsChanged();
    }
    if (mSongsArray.isEmpty())
        emit hideRequested();
    return done;
}

QString RegenerateController::rowText(SongFile& song)
{
    AudioInfoTag* tag = song.infotag();
    if (!tag)
        return QString();
    const QString title = tag->title();
    const QString artist = tag->artist();
    const QString album = tag->album();
    QString text = title;
    if (!artist.isEmpty())
        text = title.isEmpty() ? artist : title + QStringLiteral(" - ") + artist;
    if (!album.isEmpty()) {
        if (!text.isEmpty())
            text += QLatin1Char(' ');
        text += QLatin1Char('(') + album + QLatin1Char(')');
    }
    return text;
}

QString RegenerateController::textForRow(int row) const
{
    if (row < 0 || row >= mSongsArray.size() || !mSongsArray.at(row))
        return QString();
    return rowText(*mSongsArray.at(row));
}
