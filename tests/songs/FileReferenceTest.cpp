#include "SongTestFiles.h"
#include "TestSupport.h"

#include "songs/FileReference.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

TEST(FileReferenceTest, FindsTheFileAfterARenameOrMove)
{
    const QString root = SongTestFiles::folder(QStringLiteral("reference"));
    const QString path = root + QStringLiteral("/Artist/Album/01 Song.mp3");
    ASSERT_TRUE(TestSupport::writeFile(path, "song"));
    TestSupport::writeFile(root + QStringLiteral("/Artist/Album/02 Other.mp3"), "other");
    std::optional<FileReference> reference = FileReference::fromPath(path);
    ASSERT_TRUE(reference);
    EXPECT_EQ(reference->resolve(), path);

    // Renamed in its folder.
    const QString renamed = root + QStringLiteral("/Artist/Album/01 Song (live).mp3");
    ASSERT_TRUE(QFile::rename(path, renamed));
    EXPECT_EQ(reference->resolve(), renamed);
    EXPECT_EQ(reference->lastPath(), renamed);

    // Moved to a folder beside its own: found from the parent.
    QDir().mkpath(root + QStringLiteral("/Artist/Singles"));
    const QString moved = root + QStringLiteral("/Artist/Singles/song.mp3");
    ASSERT_TRUE(QFile::rename(renamed, moved));
    EXPECT_EQ(reference->resolve(), moved);

    // Its whole folder renamed: the search starts at the nearest folder that
    // still exists.
    ASSERT_TRUE(QDir().rename(root + QStringLiteral("/Artist"), root + QStringLiteral("/The Artist")));
    EXPECT_EQ(reference->resolve(root), root + QStringLiteral("/The Artist/Singles/song.mp3"));

    // Another file put at the old path is not the file referred to.
    QFile::rename(root + QStringLiteral("/The Artist/Singles/song.mp3"), root + QStringLiteral("/gone.tmp"));
    QFile::remove(root + QStringLiteral("/gone.tmp"));
    EXPECT_EQ(reference->resolve(root), QString());
    TestSupport::writeFile(root + QStringLiteral("/The Artist/Singles/song.mp3"), "replaced by a save");
    // ... unless nothing else is found: a save that wrote a new file.
    EXPECT_EQ(reference->resolve(root), root + QStringLiteral("/The Artist/Singles/song.mp3"));

    EXPECT_FALSE(FileReference::fromPath(root));
    EXPECT_FALSE(FileReference::fromPath(root + QStringLiteral("/none")));
}

TEST(FileReferenceTest, TheSearchStaysWithinItsRoot)
{
    const QString top = SongTestFiles::folder(QStringLiteral("reference-root"));
    const QString path = top + QStringLiteral("/Music/A/B/song.mp3");
    ASSERT_TRUE(TestSupport::writeFile(path, "song"));
    std::optional<FileReference> reference = FileReference::fromPath(path);
    ASSERT_TRUE(reference);
    QDir().mkpath(top + QStringLiteral("/Elsewhere"));
    ASSERT_TRUE(QFile::rename(path, top + QStringLiteral("/Elsewhere/song.mp3")));
    // Outside the song source: not found, with or without a root.
    EXPECT_EQ(reference->resolve(top + QStringLiteral("/Music")), QString());
    EXPECT_EQ(reference->resolve(), QString());
    // The root covers it.
    EXPECT_EQ(reference->resolve(top), top + QStringLiteral("/Elsewhere/song.mp3"));
}
