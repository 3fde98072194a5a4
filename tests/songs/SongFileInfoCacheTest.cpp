#include "Mp4TestFiles.h"
#include "SongTestFiles.h"
#include "TestSupport.h"

#include "songs/CachedInfoTag.h"
#include "songs/SongFile.h"
#include "songs/SongFileInfoCache.h"
#include "songs/SongInfoArchive.h"
#include "support/WMLog.h"
#include "tags/AudioInfoTag.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QThread>

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace {

QVariantMap entryFor(const QString& path, const QString& title)
{
    return {{QStringLiteral("mod"), QFileInfo(path).lastModified().toUTC()}, {QStringLiteral("tit"), title}};
}

QString logText()
{
    return QString::fromUtf8(TestSupport::readFile(WMLogLocation()));
}

// Runs the event loop until the cache has written everything (or a minute
// has passed, which only a broken timer takes).
bool waitUntilClean(SongFileInfoCache& cache)
{
    for (int i = 0; i < 6000 && cache.isDirty(); ++i) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return !cache.isDirty();
}

} // namespace

TEST(SongFileInfoCacheTest, EntriesAreValidWhileTheFileIsUnchanged)
{
    const QString dir = SongTestFiles::folder(QStringLiteral("cache-valid"));
    const QString path = SongTestFiles::writeMp3(dir + QStringLiteral("/Album/a.mp3"));
    SongFileInfoCache cache(dir + QStringLiteral("/cache"));
    EXPECT_TRUE(cache.infoForSongFileAtPath(path).isEmpty());
    cache.storeInfo(entryFor(path, QStringLiteral("A")), path);
    EXPECT_TRUE(cache.isDirty());
    EXPECT_EQ(cache.infoForSongFileAtPath(path).value(QStringLiteral("tit")), QStringLiteral("A"));

    // Touching the file makes the entry invalid; nothing is deleted.
    ASSERT_TRUE(SongTestFiles::shiftModificationTime(path, 3));
    EXPECT_TRUE(cache.infoForSongFileAtPath(path).isEmpty());
    ASSERT_TRUE(SongTestFiles::shiftModificationTime(path, -3));
    EXPECT_FALSE(cache.infoForSongFileAtPath(path).isEmpty());
    // An entry without "mod" is never valid; a vanished file has none.
    cache.storeInfo({{QStringLiteral("tit"), QStringLiteral("A")}}, path);
    EXPECT_TRUE(cache.infoForSongFileAtPath(path).isEmpty());
    cache.storeInfo(entryFor(path, QStringLiteral("A")), path);
    QFile::remove(path);
    EXPECT_TRUE(cache.infoForSongFileAtPath(path).isEmpty());

    cache.storeInfo(QVariantMap(), path);
    EXPECT_TRUE(logText().contains(QStringLiteral("nil storeInfo for ") + path));
    // Files in very short folders are never cached.
    cache.storeInfo(entryFor(path, QStringLiteral("A")), QStringLiteral("/abc/x.mp3"));
    cache.detach();
    EXPECT_FALSE(cache.isDirty());
}

TEST(SongFileInfoCacheTest, DamagedGroupFilesCountAsAbsent)
{
    const QString dir = SongTestFiles::folder(QStringLiteral("cache-damaged"));
    const QString path = SongTestFiles::writeMp3(dir + QStringLiteral("/Album/a.mp3"));
    const QString base = dir + QStringLiteral("/cache");
    QString file;
    {
        SongFileInfoCache cache(base);
        cache.storeInfo(entryFor(path, QStringLiteral("A")), path);
        cache.detach();
        file = cache.pathForKeyNumber(*SongFileInfoCache::keyForPath(path));
    }
    const QByteArray good = TestSupport::readFile(file);
    ASSERT_GT(good.size(), 20);

    QByteArray newer = good;
    newer[7] = char(SongInfoArchive::kFormatVersion + 1);
    for (const QByteArray& bad : {good.left(good.size() - 3), good.left(6), QByteArray("garbage"), newer}) {
        TestSupport::writeFile(file, bad);
        SongFileInfoCache cache(base);
        EXPECT_TRUE(cache.infoForSongFileAtPath(path).isEmpty());
        // The group starts afresh and is written again whole.
        cache.storeInfo(entryFor(path, QStringLiteral("again")), path);
        cache.detach();
        EXPECT_TRUE(SongInfoArchive::unarchivedGroup(TestSupport::readFile(file)).has_value());
    }
    EXPECT_TRUE(logText().contains(QStringLiteral("Couldn't unarchive ") + file));
    EXPECT_TRUE(logText().contains(QStringLiteral("newer")));
}

TEST(SongInfoArchiveTest, RoundTripAndEveryTruncation)
{
    QImage icon(28, 14, QImage::Format_ARGB32);
    icon.fill(qRgba(10, 20, 30, 255));
    SongInfoGroup group;
    group.insert(QStringLiteral("/m/a.mp3"),
                 {{QStringLiteral("mod"), QDateTime::fromMSecsSinceEpoch(1234567890123, Qt::UTC)},
                  {QStringLiteral("tit"), QStringLiteral("Tïtle")},
                  {QStringLiteral("nart"), 2},
                  {QStringLiteral("sart"), quint64(5000)},
                  {QStringLiteral("dat"), QVariantMap{{QStringLiteral("kMDItemDurationSeconds"), 61.5}}},
                  {QStringLiteral("icon"), icon},
                  {QStringLiteral("tiff"), QByteArray("II*\0", 4)},
                  {QStringLiteral("list"), QVariantList{1, QStringLiteral("two")}}});
    group.insert(QStringLiteral("/m/b.mp3"), {{QStringLiteral("comp"), QStringLiteral("y")}});
    const QByteArray bytes = SongInfoArchive::archivedGroup(group);
    const std::optional<SongInfoGroup> back = SongInfoArchive::unarchivedGroup(bytes);
    ASSERT_TRUE(back);
    const QVariantMap a = back->value(QStringLiteral("/m/a.mp3"));
    EXPECT_EQ(a.value(QStringLiteral("mod")).toDateTime().toMSecsSinceEpoch(), 1234567890123);
    EXPECT_EQ(a.value(QStringLiteral("tit")), QStringLiteral("Tïtle"));
    EXPECT_EQ(a.value(QStringLiteral("nart")).toInt(), 2);
    EXPECT_EQ(a.value(QStringLiteral("sart")).toULongLong(), 5000u);
    EXPECT_EQ(
        a.value(QStringLiteral("dat")).toMap().value(QStringLiteral("kMDItemDurationSeconds")).toDouble(),
        61.5);
    EXPECT_EQ(a.value(QStringLiteral("icon")).value<QImage>(), icon);
    EXPECT_EQ(a.value(QStringLiteral("list")).toList().size(), 2);
    EXPECT_EQ(back->value(QStringLiteral("/m/b.mp3")), group.value(QStringLiteral("/m/b.mp3")));

    for (qsizetype length = 0; length < bytes.size(); ++length)
        EXPECT_FALSE(SongInfoArchive::unarchivedGroup(bytes.left(length))) << length;
    // A count claiming far more elements than the bytes hold is refused
    // before anything is made for them.
    QByteArray huge = bytes;
    huge[8] = char(0x7F);
    EXPECT_FALSE(SongInfoArchive::unarchivedGroup(huge));
}

TEST(SongFileInfoCacheTest, WritesAreCoalescedByTheTimer)
{
    const QString dir = SongTestFiles::folder(QStringLiteral("cache-timer"));
    SongFileInfoCache cache(dir + QStringLiteral("/cache"));
    QStringList paths;
    for (int i = 0; i < 3; ++i)
        paths << SongTestFiles::writeMp3(dir + QStringLiteral("/Folder%1/s.mp3").arg(i));
    for (const QString& path : paths)
        cache.storeInfo(entryFor(path, QStringLiteral("T")), path);
    // Nothing is written inside the caller's call.
    EXPECT_FALSE(QFileInfo::exists(cache.pathForKeyNumber(*SongFileInfoCache::keyForPath(paths[0]))));

    // An entry stored on another thread arms the timer on the main thread.
    const QString other = SongTestFiles::writeMp3(dir + QStringLiteral("/Thread/s.mp3"));
    std::thread worker([&] { cache.storeInfo(entryFor(other, QStringLiteral("W")), other); });
    worker.join();
    ASSERT_TRUE(waitUntilClean(cache));
    for (const QString& path : paths + QStringList{other})
        EXPECT_TRUE(QFileInfo::exists(cache.pathForKeyNumber(*SongFileInfoCache::keyForPath(path))))
            << path.toStdString();
}

TEST(CachedInfoTagTest, EntriesFromRealTagsAndImmutability)
{
    const QString dir = SongTestFiles::folder(QStringLiteral("cached-tag"));
    QImage cover(64, 64, QImage::Format_RGB32);
    cover.fill(Qt::red);
    QByteArray png;
    {
        QBuffer buffer(&png);
        buffer.open(QIODevice::WriteOnly);
        cover.save(&buffer, "PNG");
    }
    Mp4TestFiles::Options options;
    options.items = {Mp4TestFiles::textItem(QStringLiteral("\u00A9nam"), QStringLiteral("Cover Song")),
                     Mp4TestFiles::compilationItem(true), Mp4TestFiles::coverItem({png}, 14)};
    const QString path = dir + QStringLiteral("/Album/c.m4a");
    ASSERT_TRUE(TestSupport::writeFile(path, Mp4TestFiles::m4a(options)));
    std::unique_ptr<AudioInfoTag> real = AudioInfoTag::tagWithPath(path);
    ASSERT_TRUE(real);
    const QVariantMap info = CachedInfoTag::infoDictForTag(*real, path);
    EXPECT_EQ(info.value(QStringLiteral("mod")).toDateTime(), QFileInfo(path).lastModified().toUTC());
    EXPECT_EQ(info.value(QStringLiteral("tit")), QStringLiteral("Cover Song"));
    EXPECT_EQ(info.value(QStringLiteral("comp")), QStringLiteral("y"));
    EXPECT_EQ(info.value(QStringLiteral("nart")).toInt(), 1);
    EXPECT_EQ(info.value(QStringLiteral("sart")).toLongLong(), png.size());
    EXPECT_FALSE(info.contains(QStringLiteral("perf")));
    const QImage icon = info.value(QStringLiteral("icon")).value<QImage>();
    EXPECT_TRUE(icon.width() <= 28 && icon.height() <= 14 && !icon.isNull());

    std::unique_ptr<AudioInfoTag> cached = CachedInfoTag::tagWithCachedInfo(info);
    ASSERT_TRUE(cached);
    EXPECT_TRUE(cached->isLazy());
    EXPECT_EQ(cached->title(), QStringLiteral("Cover Song"));
    EXPECT_TRUE(cached->isPartOfCompilation());
    EXPECT_EQ(cached->numberOfImages(), 1);
    EXPECT_EQ(cached->numberOfArtworkBytes(), png.size());
    EXPECT_EQ(cached->duration(), real->duration());
    EXPECT_FALSE(cached->imageIconNoLargerThan(QSize(28, 14)).isNull());

    cached->setTitle(QStringLiteral("Changed"));
    cached->removeAllImages();
    EXPECT_FALSE(cached->addImage(ID3Image(png, QStringLiteral("image/png"))));
    EXPECT_EQ(cached->title(), QStringLiteral("Cover Song"));
    EXPECT_EQ(cached->numberOfImages(), 1);
    EXPECT_FALSE(cached->tagHasBeenModified());
    EXPECT_TRUE(logText().contains(QStringLiteral("setTitle ignored: a cached tag is read-only")));
    EXPECT_FALSE(CachedInfoTag::tagWithCachedInfo(QVariantMap()));

    // A missing file gives an entry without a date, which never counts.
    const QVariantMap dateless = CachedInfoTag::infoDictForTag(*real, dir + QStringLiteral("/none.m4a"));
    EXPECT_FALSE(dateless.contains(QStringLiteral("mod")));
    EXPECT_TRUE(logText().contains(QStringLiteral("mod date nil for ")));
}
