#include "SongTestFiles.h"

#include "MpegTestFiles.h"
#include "TestSupport.h"

#include "tags/AudioInfoTag.h"

#include <QDir>
#include <QFile>

#include <fcntl.h>
#include <sys/stat.h>

QString SongTestFiles::folder(const QString& name)
{
    const QString path = TestSupport::scratchFolder() + QStringLiteral("/songs-") + name;
    QDir(path).removeRecursively();
    QDir().mkpath(path);
    return path;
}

QString SongTestFiles::writeMp3(const QString& path, const QVariantMap& values)
{
    if (!MpegTestFiles::writeSimpleMp3(path, 40))
        return QString();
    if (values.isEmpty())
        return path;
    std::unique_ptr<AudioInfoTag> tag = AudioInfoTag::tagFromFileAtPath(path, false);
    if (!tag)
        return QString();
    const auto text = [&values](const char* key) {
        return values.value(QString::fromLatin1(key)).toString();
    };
    if (values.contains(QStringLiteral("title")))
        tag->setTitle(text("title"));
    if (values.contains(QStringLiteral("artist")))
        tag->setArtist(text("artist"));
    if (values.contains(QStringLiteral("album")))
        tag->setAlbum(text("album"));
    if (values.contains(QStringLiteral("track")))
        tag->setTrack(text("track"));
    if (values.contains(QStringLiteral("year")))
        tag->setYear(text("year"));
    if (values.contains(QStringLiteral("genre")))
        tag->setGenres(text("genre"));
    if (values.contains(QStringLiteral("lyrics")))
        tag->setLyrics(text("lyrics"));
    if (values.contains(QStringLiteral("bpm")))
        tag->setBPM(text("bpm"));
    QString error;
    return tag->modifySongFileAtPath(path, &error) ? path : QString();
}

bool SongTestFiles::shiftModificationTime(const QString& path, int seconds)
{
    struct stat info = {};
    const QByteArray file = QFile::encodeName(path);
    if (::stat(file.constData(), &info) != 0)
        return false;
    struct timespec times[2] = {info.st_atim, info.st_mtim};
    times[1].tv_sec += seconds;
    return ::utimensat(AT_FDCWD, file.constData(), times, 0) == 0;
}
