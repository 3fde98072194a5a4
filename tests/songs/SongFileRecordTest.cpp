#include "SongTestFiles.h"
#include "TestSupport.h"

#include "library/iTunesScriptRunner.h"
#include "songs/CachedInfoTag.h"
#include "songs/FileAttributes.h"
#include "songs/SongFile.h"
#include "tags/AudioInfoTag.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

QVariantMap values(std::initializer_list<std::pair<const char*, const char*>> pairs)
{
    QVariantMap map;
    for (const auto& [key, value] : pairs)
        map.insert(QString::fromLatin1(key), QString::fromUtf8(value));
    return map;
}

bool setAttribute(const QString& path, const char* name, const QByteArray& value)
{
    return ::setxattr(QFile::encodeName(path).constData(), name, value.constData(), size_t(value.size()),
                      0) == 0;
}

QByteArray attribute(const QString& path, const char* name)
{
    char buffer[256];
    const ssize_t size = ::getxattr(QFile::encodeName(path).constData(), name, buffer, sizeof buffer);
    return size < 0 ? QByteArray() : QByteArray(buffer, size);
}

// A stand-in for osascript that logs every script it is given and answers
// the scripts the record sends around a write.
class FakeiTunes
{
public:
    FakeiTunes(const QString& folder, const QString& playingPath, const QString& refreshedPath)
        : mFolder(folder), mOldPath(qgetenv("PATH"))
    {
        const QByteArray script = QStringLiteral(R"(#!/bin/sh
src=$(cat)
printf '%s\n====\n' "$src" >> '%1/scripts.log'
case "$src" in
  *"current track"*) printf '%s\n' '%2' ;;
  *"refresh theTrack"*) printf '%s\n' '%3' ;;
esac
exit 0
)")
                                      .arg(mFolder, playingPath, refreshedPath)
                                      .toUtf8();
        const QString osascript = mFolder + QStringLiteral("/bin/osascript");
        TestSupport::writeFile(osascript, script);
        QFile::setPermissions(osascript, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        qputenv("PATH", QFile::encodeName(mFolder + QStringLiteral("/bin")) + ':' + mOldPath);
        iTunesScriptRunner::reset();
    }
    ~FakeiTunes()
    {
        qputenv("PATH", mOldPath);
        iTunesScriptRunner::reset();
    }

    // What the record asked, in order: "playing", "pause", "refresh", "play".
    QString requests() const
    {
        const std::pair<const char16_t*, const char16_t*> kinds[] = {{u"current track", u"playing"},
                                                                     {u"refresh theTrack", u"refresh"},
                                                                     {u"\rpause\r", u"pause"},
                                                                     {u"\rplay\r", u"play"}};
        QStringList result;
        const QString log =
            QString::fromUtf8(TestSupport::readFile(mFolder + QStringLiteral("/scripts.log")));
        for (const QString& script : log.split(QStringLiteral("\n====\n"), Qt::SkipEmptyParts)) {
            const auto kind = std::find_if(std::begin(kinds), std::end(kinds),
                                           [&](const auto& k) { return script.contains(str(k.first)); });
            result << (kind != std::end(kinds) ? str(kind->second) : script);
        }
        return result.join(QLatin1Char(' '));
    }

private:
    QString mFolder;
    QByteArray mOldPath;
};

} // namespace

TEST(SongFileRecord, TagsStandInAndAreMadeReal)
{
    const QString dir = SongTestFiles::folder(QStringLiteral("tags"));
    const QString path = SongTestFiles::writeMp3(dir + QStringLiteral("/b.mp3"), values({{"title", "Real"}}));
    const auto song = SongFile::songWithPath(path);
    ASSERT_TRUE(song);
    song->createInfotagUsingCachedInfoDict(values({{"tit", "Cached"}}));
    EXPECT_EQ(song->infotag()->title(), QStringLiteral("Cached"));
    EXPECT_TRUE(song->infotag()->isLazy());
    song->ensureInfotagIsReal();
    EXPECT_FALSE(song->hasInfotagCached());
    EXPECT_EQ(song->infotag()->title(), QStringLiteral("Real"));
    song->ensureInfotagIsReal(); // a real tag stays
    EXPECT_TRUE(song->hasInfotagCached());

    QVariantMap track = {{QStringLiteral("Name"), QStringLiteral("From iTunes")}};
    song->createLazyInfoTagFromDictionary(track, path);
    EXPECT_EQ(song->infotag()->title(), QStringLiteral("From iTunes"));
    song->rememberOriginalValuesForLaterRefresh();
    EXPECT_EQ(song->originalProperties(),
              (QVariantMap{{QStringLiteral("Title"), QStringLiteral("From iTunes")}}));

    // A file of no known type has no tag.
    TestSupport::writeFile(dir + QStringLiteral("/c.ogg"), QByteArray(5000, 'x'));
    const auto other = SongFile::songWithPath(dir + QStringLiteral("/c.ogg"));
    ASSERT_TRUE(other);
    EXPECT_EQ(other->infotag(), nullptr);
    EXPECT_FALSE(other->revertToCachedInfotag());
}

TEST(SongFileRecord, RefreshNoticesChangedAndVanishedFiles)
{
    const QString dir = SongTestFiles::folder(QStringLiteral("refresh"));
    const QString path = SongTestFiles::writeMp3(dir + QStringLiteral("/d.mp3"), values({{"title", "One"}}));
    const auto song = SongFile::songWithPath(path);
    ASSERT_TRUE(song);
    ASSERT_TRUE(song->infotag());
    song->setHasiTunesArtwork(1);
    EXPECT_FALSE(song->refresh());
    EXPECT_TRUE(song->hasInfotagCached());

    ASSERT_TRUE(SongTestFiles::shiftModificationTime(path, 5));
    EXPECT_TRUE(song->refresh());
    EXPECT_FALSE(song->hasInfotagCached());
    EXPECT_EQ(song->hasiTunesArtwork(), -1);
    EXPECT_EQ(song->modificationDate(), FileAttributes::modificationDate(path));
    EXPECT_FALSE(song->refresh());

    QFile::remove(path);
    EXPECT_FALSE(song->refresh());
    EXPECT_EQ(song->activityStatus(), SongActivityStatus::Problem);
}

TEST(SongFileRecord, FollowsARenamedFileAndGivesUpOnADeletedOne)
{
    const QString dir = SongTestFiles::folder(QStringLiteral("follow"));
    const QString path = SongTestFiles::writeMp3(dir + QStringLiteral("/Album/e.mp3"));
    const auto song = SongFile::songWithPath(path);
    ASSERT_TRUE(song);
    song->setAliasFromPath();
    EXPECT_TRUE(song->hasAlias());
    ASSERT_TRUE(QDir().rename(dir + QStringLiteral("/Album"), dir + QStringLiteral("/Album (2001)")));
    EXPECT_FALSE(song->refresh());
    EXPECT_EQ(song->path(), dir + QStringLiteral("/Album (2001)/e.mp3"));
    EXPECT_EQ(song->activityStatus(), SongActivityStatus::Idle);

    // A new path drops the reference.
    song->setPath(dir + QStringLiteral("/elsewhere.mp3"));
    EXPECT_FALSE(song->hasAlias());
    song->setPath(dir + QStringLiteral("/Album (2001)/e.mp3"));
    song->setAliasFromPath();
    QFile::remove(song->path());
    song->updatePathFromAlias();
    EXPECT_EQ(song->activityStatus(), SongActivityStatus::Problem);
}

TEST(SongFileRecord, WritingKeepsTheFilesAttributes)
{
    const QString dir = SongTestFiles::folder(QStringLiteral("write"));
    const QString path =
        SongTestFiles::writeMp3(dir + QStringLiteral("/f.mp3"), values({{"title", "Before"}}));
    const QByteArray file = QFile::encodeName(path);
    ASSERT_EQ(::chmod(file.constData(), 0640), 0);
    const bool withAttributes = setAttribute(path, "user.quillbeat.test", "kept");
    const bool mayChown = ::geteuid() == 0 && ::chown(file.constData(), 65534, 65534) == 0;

    // An older time, so that the date after the write differs from it.
    SongTestFiles::shiftModificationTime(path, -10);
    const auto song = SongFile::songWithPath(path);
    ASSERT_TRUE(song);
    song->infotag()->setTitle(QStringLiteral("After"));
    QString error;
    ASSERT_TRUE(song->writeToOriginalPath(&error, true)) << error.toStdString();
    EXPECT_TRUE(song->hasAlias());
    EXPECT_EQ(AudioInfoTag::tagWithPath(path)->title(), QStringLiteral("After"));
    EXPECT_EQ(song->modificationDate(), FileAttributes::modificationDate(path));

    struct stat info = {};
    ASSERT_EQ(::stat(file.constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0640u);
    if (withAttributes) {
        EXPECT_EQ(attribute(path, "user.quillbeat.test"), QByteArray("kept"));
    }
    if (mayChown) {
        EXPECT_EQ(info.st_uid, 65534u);
        EXPECT_EQ(info.st_gid, 65534u);
    }

    // Without a tag nothing is written and the song has a problem; without a
    // path there is nothing to do.
    song->uncacheInfotag();
    EXPECT_FALSE(song->writeToOriginalPath(&error, false));
    EXPECT_EQ(song->activityStatus(), SongActivityStatus::Problem);
    song->setPath(QString());
    EXPECT_TRUE(song->writeToOriginalPath(&error, false));
}

TEST(SongFileRecord, WritingThePlayingSongPausesAndResumesiTunes)
{
    const QString dir = SongTestFiles::folder(QStringLiteral("playing"));
    const QString path = SongTestFiles::writeMp3(dir + QStringLiteral("/g.mp3"), values({{"title", "Now"}}));
    const QString moved = dir + QStringLiteral("/moved.mp3");
    FakeiTunes iTunes(dir + QStringLiteral("/fake"), path, moved);

    const auto song = SongFile::songWithPath(path);
    ASSERT_TRUE(song);
    song->setPersistentID(QStringLiteral("00AB"));
    song->infotag()->setTitle(QStringLiteral("Later"));
    QFile::copy(path, moved); // iTunes answers that the track lives here now
    QString error;
    ASSERT_TRUE(song->writeToOriginalPath(&error, true));
    EXPECT_EQ(iTunes.requests(), QStringLiteral("playing pause refresh play"));
    EXPECT_EQ(song->path(), moved);

    // Also when the write fails; and a song that isn't playing is written
    // without pausing.
    const QString other = SongTestFiles::writeMp3(dir + QStringLiteral("/h.mp3"));
    FakeiTunes second(dir + QStringLiteral("/fake2"), other, QStringLiteral("error: no track"));
    const auto failing = SongFile::songWithPath(other);
    failing->createInfotagUsingCachedInfoDict(values({{"tit", "read-only"}}));
    EXPECT_FALSE(failing->writeToOriginalPath(&error, true));
    EXPECT_EQ(failing->activityStatus(), SongActivityStatus::Problem);
    EXPECT_EQ(second.requests(), QStringLiteral("playing pause play"));

    FakeiTunes third(dir + QStringLiteral("/fake3"), path, QStringLiteral("error: no track"));
    const auto quiet = SongFile::songWithPath(other);
    quiet->setPersistentID(QStringLiteral("00CD"));
    quiet->infotag()->setTitle(QStringLiteral("Quiet"));
    ASSERT_TRUE(quiet->writeToOriginalPath(&error, true));
    EXPECT_EQ(third.requests(), QStringLiteral("playing refresh"));
    EXPECT_EQ(quiet->path(), other); // an error answer keeps the path
}
