#include "MpegTestFiles.h"
#include "TestSupport.h"

#include "songs/SongFile.h"
#include "support/WMLog.h"
#include "tags/FileIdentity.h"
#include "tags/SafeFileRewriter.h"

#include <QFile>

#include <gtest/gtest.h>

namespace {

using Spec = MpegTestFiles::FrameSpec;

QString songPath(const QString& name)
{
    return TestSupport::scratchFolder() + QStringLiteral("/songs/") + name;
}

QString writeSong(const QString& name, const QByteArray& bytes)
{
    const QString path = songPath(name);
    EXPECT_TRUE(TestSupport::writeFile(path, bytes));
    return path;
}

SongDataType sniff(const QString& name, const QByteArray& bytes)
{
    return SongFile::songDataTypeAtPath(writeSong(name, bytes));
}

QString logTail()
{
    return QString::fromUtf8(TestSupport::readFile(WMLogLocation()).right(1000));
}

} // namespace

TEST(SongFileSniffing, WhatDoesNotCountAsMpegAudio)
{
    // Too short, whatever it holds.
    EXPECT_EQ(sniff(QStringLiteral("short.mp3"), MpegTestFiles::frames(Spec(), 100).left(4095)),
              SongDataType::Unknown);
    // Frames that appear only after 500,000 bytes.
    EXPECT_EQ(
        sniff(QStringLiteral("late.bin"), QByteArray(510000, '\0') + MpegTestFiles::frames(Spec(), 300)),
        SongDataType::Unknown);
    // MPEG 2 frames are not counted; neither are sparse headers (1440-byte
    // frames of 320 kbit/s at 32 kHz never bring the ratio below 800).
    EXPECT_EQ(sniff(QStringLiteral("mpeg2.bin"),
                    MpegTestFiles::frames(Spec{MpegTestFiles::Version::Mpeg2, 3, 64, 22050}, 1000)),
              SongDataType::Unknown);
    EXPECT_EQ(sniff(QStringLiteral("sparse.bin"),
                    MpegTestFiles::frames(Spec{MpegTestFiles::Version::Mpeg1, 3, 320, 32000}, 300)),
              SongDataType::Unknown);
    EXPECT_EQ(SongFile::songDataTypeAtPath(songPath(QStringLiteral("missing.mp3"))), SongDataType::Unknown);
    EXPECT_TRUE(logTail().contains(QStringLiteral("songDataTypeAtPath ")));
}

TEST(SongFileSniffing, DamagedTagHeadersScanFromTheStart)
{
    // Frames right behind the header, silence after them. Read as a size
    // (masking the bad byte), the header would send the scan into the silence.
    QByteArray frames = MpegTestFiles::frames(Spec(), 40);
    QByteArray bad = "ID3" +
                     QByteArray::fromHex("0300"
                                         "00"
                                         "00018000") +
                     frames + QByteArray(30000, '\0');
    EXPECT_EQ(sniff(QStringLiteral("badsize.bin"), bad), SongDataType::MPEGAudio);
    // A size of 0 to 6 also scans from the start; a size past the end as well.
    QByteArray tiny = MpegTestFiles::id3v2Header(3, 6) + frames;
    EXPECT_EQ(sniff(QStringLiteral("tiny.bin"), tiny), SongDataType::MPEGAudio);
    QByteArray past = MpegTestFiles::id3v2Header(3, 1000000) + frames;
    EXPECT_EQ(sniff(QStringLiteral("past.bin"), past), SongDataType::MPEGAudio);
}

TEST(SongFileNames, ClaimsByExtension)
{
    EXPECT_TRUE(SongFile::claimsToBeMP3(QStringLiteral("/music/a.MP3")));
    EXPECT_TRUE(SongFile::claimsToBeMP3(QStringLiteral("/music/a.mp2")));
    EXPECT_FALSE(SongFile::claimsToBeMP3(QStringLiteral("/music/mp3/a")));
    EXPECT_FALSE(SongFile::claimsToBeMP3(QStringLiteral("/music/a.mp3.part")));
    EXPECT_TRUE(SongFile::claimsToBeAAC(QStringLiteral("/music/a.m4a")));
    EXPECT_TRUE(SongFile::claimsToBeAAC(QStringLiteral("/music/a.M4P")));
    EXPECT_FALSE(SongFile::claimsToBeAAC(QStringLiteral("/music/a.mp4")));
    EXPECT_TRUE(SongFile::claimsToBeOGG(QStringLiteral("a.Ogg")));
    EXPECT_TRUE(SongFile::claimsToBeAIFF(QStringLiteral("a.aif")));
    EXPECT_TRUE(SongFile::claimsToBeAIFF(QStringLiteral("a.AIFF")));
    EXPECT_FALSE(SongFile::claimsToBeAIFF(QStringLiteral("a.aifc")));
}

TEST(SongFileTagRemoval, RemovesOnlyAVersion4Tag)
{
    SafeFileRewriter::setJournalFolder(TestSupport::scratchFolder() + QStringLiteral("/songs-journal"));
    const QByteArray audio = MpegTestFiles::frames(Spec(), 50);
    const QByteArray v4 = MpegTestFiles::id3v2Header(4, 3000) + QByteArray(3000, 'T');
    const QString path = writeSong(QStringLiteral("v4.mp3"), v4 + audio);
    const FileIdentity before = FileIdentity::of(path);
    ASSERT_TRUE(SongFile::removeID3v2TagFromFileAtPath(path));
    EXPECT_EQ(TestSupport::readFile(path), audio);
    EXPECT_EQ(FileIdentity::of(path).inode, before.inode);
    EXPECT_TRUE(SafeFileRewriter::pendingJournals().isEmpty());

    const QByteArray v3 = MpegTestFiles::id3v2Header(3, 3000) + QByteArray(3000, 'T') + audio;
    const QString v3Path = writeSong(QStringLiteral("v3.mp3"), v3);
    EXPECT_FALSE(SongFile::removeID3v2TagFromFileAtPath(v3Path));
    EXPECT_EQ(TestSupport::readFile(v3Path), v3);

    // A tag that reaches the end of the file, and a tiny file.
    const QByteArray whole = MpegTestFiles::id3v2Header(4, 500) + QByteArray(500, 'T');
    const QString wholePath = writeSong(QStringLiteral("whole.mp3"), whole);
    EXPECT_FALSE(SongFile::removeID3v2TagFromFileAtPath(wholePath));
    EXPECT_TRUE(logTail().contains(QStringLiteral("removeID3 invalid tag size: ")));
    EXPECT_EQ(TestSupport::readFile(wholePath), whole);
    const QString tinyPath = writeSong(QStringLiteral("tiny.mp3"), "ID3\x04");
    EXPECT_FALSE(SongFile::removeID3v2TagFromFileAtPath(tinyPath));
    EXPECT_TRUE(logTail().contains(QStringLiteral("removeID3 file only 4 bytes: ")));
    EXPECT_FALSE(SongFile::removeID3v2TagFromFileAtPath(songPath(QStringLiteral("none.mp3"))));
}
