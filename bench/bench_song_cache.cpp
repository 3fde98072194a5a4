// The song information cache at library scale: a generated folder of 20,000
// songs in 2,000 album folders is read through SongFile twice, each pass in
// a fresh process. The first pass reads every tag from its file and stores
// the cache entries (written out at the end with detach); the second pass
// takes every tag from the cache. Each pass reports its time and peak
// resident memory.
//
//   bench_song_cache [CORPUS_FOLDER]   (default: song-corpus beside the program)
//
// The corpus is generated once (MP3 files of about 6 KB with an ID3v2.3 tag,
// one in ten with a small picture) and reused; the cache folder is emptied
// before the first pass.
#include "PeakMemory.h"

#include "songs/CachedInfoTag.h"
#include "songs/SongFile.h"
#include "songs/SongFileInfoCache.h"
#include "tags/AudioInfoTag.h"
#include "text/DirectoryWalker.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QProcess>

#include <cstdio>
#include <vector>

namespace {

constexpr int kAlbums = 2000;
constexpr int kSongsPerAlbum = 10;
constexpr int kFramesPerSong = 12;
constexpr int kFrameLength = 417;

QByteArray synchSafe(quint32 value)
{
    QByteArray bytes(4, '\0');
    for (int i = 3; i >= 0; --i) {
        bytes[i] = char(value & 0x7F);
        value >>= 7;
    }
    return bytes;
}

QByteArray frame(const char* id, const QByteArray& body)
{
    QByteArray size(4, '\0');
    for (int i = 0; i < 4; ++i)
        size[i] = char((body.size() >> (24 - 8 * i)) & 0xFF);
    return QByteArray(id) + size + QByteArray(2, '\0') + body;
}

QByteArray textFrame(const char* id, const QString& text)
{
    return frame(id, QByteArray(1, '\0') + text.toLatin1());
}

QByteArray audioFrames()
{
    QByteArray audio;
    quint32 state = 0x2545F491u;
    for (int f = 0; f < kFramesPerSong; ++f) {
        QByteArray one(kFrameLength, '\0');
        one[0] = char(0xFF);
        one[1] = char(0xFB);
        one[2] = char(0x90);
        one[3] = char(0x40);
        for (int i = 36; i < kFrameLength; ++i) {
            state = state * 1103515245u + 12345u;
            one[i] = char((state >> 16) % 255);
        }
        audio += one;
    }
    return audio;
}

QByteArray smallPng()
{
    QImage image(40, 40, QImage::Format_RGB32);
    image.fill(qRgb(200, 80, 20));
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return png;
}

bool generateCorpus(const QString& folder)
{
    const QString marker = folder + QStringLiteral("/.complete");
    if (QFile::exists(marker))
        return true;
    std::printf("generating %d songs in %s ...\n", kAlbums * kSongsPerAlbum, qPrintable(folder));
    std::fflush(stdout);
    const QByteArray audio = audioFrames();
    const QByteArray picture = frame("APIC", QByteArray("\0image/png\0\x03\0", 13) + smallPng());
    for (int album = 0; album < kAlbums; ++album) {
        const QString dir = folder + QStringLiteral("/Artist %1/Album %2").arg(album / 10).arg(album);
        if (!QDir().mkpath(dir))
            return false;
        for (int song = 0; song < kSongsPerAlbum; ++song) {
            QByteArray frames =
                textFrame("TIT2", QStringLiteral("Song %1 of album %2").arg(song).arg(album)) +
                textFrame("TPE1", QStringLiteral("Artist %1").arg(album / 10)) +
                textFrame("TALB", QStringLiteral("Album %1").arg(album)) +
                textFrame("TRCK", QStringLiteral("%1/%2").arg(song + 1).arg(kSongsPerAlbum)) +
                textFrame("TYER", QString::number(1960 + album % 60)) +
                textFrame("TCON", QStringLiteral("Rock"));
            if ((album * kSongsPerAlbum + song) % 10 == 0)
                frames += picture;
            const QByteArray bytes =
                "ID3" + QByteArray("\x03\0\0", 3) + synchSafe(quint32(frames.size())) + frames + audio;
            QFile file(dir + QStringLiteral("/%1 Song.mp3").arg(song + 1, 2, 10, QLatin1Char('0')));
            if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
                return false;
        }
    }
    QFile done(marker);
    return done.open(QIODevice::WriteOnly);
}

// One pass in this process; prints "count hits listMs passMs peakKB".
int runPass(int pass, const QString& corpus, const QString& cacheFolder)
{
    QElapsedTimer clock;
    clock.start();
    const QStringList paths = DirectoryWalker::recursiveFilePathsInDirectory(corpus, false, 1000000);
    const qint64 listMs = clock.elapsed();
    clock.restart();
    SongFileInfoCache cache(cacheFolder);
    std::vector<std::shared_ptr<SongFile>> songs;
    songs.reserve(size_t(paths.size()));
    int hits = 0;
    for (const QString& path : paths) {
        std::shared_ptr<SongFile> song = SongFile::songWithPath(path);
        if (!song)
            continue;
        if (pass == 1) {
            if (AudioInfoTag* tag = song->infotag()) {
                cache.storeInfo(CachedInfoTag::infoDictForTag(*tag, path), path);
                ++hits;
            }
        } else {
            const QVariantMap info = cache.infoForSongFileAtPath(path, song->modificationDate());
            if (!info.isEmpty()) {
                song->createInfotagUsingCachedInfoDict(info);
                hits += song->infotag()->title().isEmpty() ? 0 : 1;
            }
        }
        songs.push_back(std::move(song));
    }
    cache.detach();
    const qint64 passMs = clock.elapsed();
    std::printf("%lld %d %lld %lld %ld\n", qlonglong(songs.size()), hits, listMs, passMs, peakResidentKB());
    return 0;
}

struct PassResult
{
    long long songs = 0;
    long long hits = 0;
    long long listMs = 0;
    long long passMs = 0;
    long peakKB = 0;
    bool ok = false;
};

PassResult spawnPass(int pass, const QString& corpus, const QString& cacheFolder)
{
    QProcess child;
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    child.start(QCoreApplication::applicationFilePath(),
                {QStringLiteral("--pass%1").arg(pass), corpus, cacheFolder});
    PassResult result;
    if (!child.waitForFinished(-1) || child.exitCode() != 0)
        return result;
    const QList<QByteArray> fields = child.readAllStandardOutput().trimmed().split(' ');
    if (fields.size() != 5)
        return result;
    result = {fields[0].toLongLong(), fields[1].toLongLong(), fields[2].toLongLong(),
              fields[3].toLongLong(), fields[4].toLong(),     true};
    return result;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() == 4 && args[1].startsWith(QStringLiteral("--pass")))
        return runPass(args[1] == QStringLiteral("--pass1") ? 1 : 2, args[2], args[3]);

    const QString corpus =
        args.size() > 1 ? args[1] : QCoreApplication::applicationDirPath() + QStringLiteral("/song-corpus");
    if (!generateCorpus(corpus)) {
        std::fprintf(stderr, "could not generate the corpus in %s\n", qPrintable(corpus));
        return 1;
    }
    const QString cacheFolder = corpus + QStringLiteral(".cache");
    QDir(cacheFolder).removeRecursively();

    const PassResult first = spawnPass(1, corpus, cacheFolder);
    const PassResult second = spawnPass(2, corpus, cacheFolder);
    if (!first.ok || !second.ok) {
        std::fprintf(stderr, "a pass failed\n");
        return 1;
    }
    std::printf("song cache, %lld songs in %d folders (listing the folder: %lld ms / %lld ms)\n", first.songs,
                kAlbums, first.listMs, second.listMs);
    std::printf("  pass 1, tags from the files: %6lld ms  peak RSS %6ld KB  entries stored %lld\n",
                first.passMs, first.peakKB, first.hits);
    std::printf("  pass 2, tags from the cache: %6lld ms  peak RSS %6ld KB  entries found  %lld\n",
                second.passMs, second.peakKB, second.hits);
    std::printf("  cached pass %.1fx faster\n",
                second.passMs > 0 ? double(first.passMs) / double(second.passMs) : 0.0);
    return second.hits == first.hits ? 0 : 1;
}
