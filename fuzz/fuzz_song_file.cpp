// Feeds arbitrary bytes to the read path of a song file as the program runs
// it: written to a file, opened once, sniffed and read as an MP3 and as an
// MPEG-4 file. Then reads driven by the input's first bytes check that the
// device always serves the file's own bytes, whatever it kept before.
#include "support/WMLog.h"
#include "tags/AudioInfoTag.h"
#include "tags/SongFileDevice.h"
#include "tags/SongFileType.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const QString folder = [] {
        WMLogSetLocation(QStringLiteral("/dev/null"));
        const QString path =
            QDir::tempPath() + QStringLiteral("/fuzz_song_file-%1").arg(QCoreApplication::applicationPid());
        QDir().mkpath(path);
        return path;
    }();
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    for (const char* name : {"/song.mp3", "/song.m4a", "/song"}) {
        const QString path = folder + QLatin1String(name);
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(bytes) != bytes.size())
            return 0;
        file.close();
        SongFileDevice device(path);
        SongDataType type = SongDataType::Unknown;
        if (auto tag = AudioInfoTag::tagFromFile(device, true, &type)) {
            (void)tag->title();
            (void)tag->images();
        }
    }

    // The same bytes followed by up to 4 MB of zeros (a sparse file, cheap
    // to make), so that reads reach past what the device keeps of the head
    // and into its tail, its blocks and its direct reads. Reads at offsets
    // and lengths taken from the input, once through QIODevice and once as
    // views.
    const QString path = folder + QStringLiteral("/song");
    const qint64 zeros = size > 0 ? qint64(data[0]) * 16384 : 0;
    if (!QFile::resize(path, bytes.size() + zeros))
        return 0;
    const QByteArray expected = bytes + QByteArray(zeros, '\0');
    SongFileDevice device(path);
    if (!device.open(QIODevice::ReadOnly))
        return 0;
    const qint64 length = expected.size();
    for (size_t i = 0; i + 4 <= size && i < 64; i += 4) {
        const qint64 offset = (qint64(data[i]) << 8 | data[i + 1]) * (length + 1) / 65536;
        const qint64 count = (qint64(data[i + 2]) << 8 | data[i + 3]) * 8;
        if (!device.seek(offset) || device.read(count) != expected.mid(offset, count))
            std::abort();
        const QByteArrayView view = device.bytesAt(offset, count);
        if (offset + count <= length && count > 0 ? view != QByteArrayView(expected).sliced(offset, count)
                                                  : !view.isEmpty())
            std::abort();
    }
    return 0;
}
