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
    TestSupport::TagValues known;
    for (const char* name : {"title", "artist", "album", "track", "year", "genre", "lyrics", "bpm"}) {
        if (values.contains(QLatin1String(name)))
            known.append({name, values.value(QLatin1String(name)).toString()});
    }
    TestSupport::setTagValues(*tag, known);
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
