// Writing ID3 tags back into files: every version round-trips, raw frames
// and audio bytes survive unchanged, and files that must not be written stay
// untouched.
#include "ID3TestData.h"
#include "MpegTestFiles.h"
#include "TestSupport.h"

#include "tags/MP3InfoTag.h"

#include <gtest/gtest.h>

namespace {

using T = ID3TestData;

QByteArray text(const char* id, const QString& value, int encoding = 0)
{
    return T::frame(id, T::textBody(value, encoding));
}

// The file's bytes between its ID3v2 tag and its ID3v1 block.
QByteArray audioOf(const QString& path)
{
    const auto tag = MP3InfoTag::tagAtPath(path);
    if (!tag)
        return QByteArray();
    const QByteArray bytes = TestSupport::readFile(path);
    const qint64 start = tag->id3v2Range().length;
    return bytes.mid(start, bytes.size() - start - tag->id3v1Range().length);
}

std::unique_ptr<MP3InfoTag> writeAndReread(MP3InfoTag& tag, const QString& path)
{
    TestSupport::save(tag, path);
    return MP3InfoTag::tagAtPath(path);
}

} // namespace

TEST(MP3Write, V23RoundTripKeepsRawFramesAndAudio)
{
    const QByteArray tcom = T::frame("TCOM", T::textBody(QStringLiteral("Composer")), false, 0x40);
    const QByteArray comm = T::frame("COMM", QByteArray("\0eng\0A comment", 14));
    const QByteArray priv = T::frame("PRIV", QByteArray("owner\0\x01\x02\xff", 9));
    const QByteArray png = T::png(5, 5);
    const QString path =
        T::writeMp3(QStringLiteral("w23.mp3"),
                    T::tag(3,
                           {text("TIT2", QStringLiteral("Old")), tcom, text("TYER", QStringLiteral("1987")),
                            comm, T::frame("APIC", QByteArray("\0image/png\0\x03\0", 13) + png), priv},
                           50),
                    MpegTestFiles::id3v1Trailer({}));
    const QByteArray audioBefore = audioOf(path);
    auto tag = MP3InfoTag::tagAtPath(path);
    ASSERT_TRUE(tag);
    tag->setTitle(QStringLiteral("N\u00e9w \u2603 \U0001F3B5"));
    tag->setArtist(QStringLiteral("Artist"));
    tag->setLyrics(QStringLiteral("la la\nlu"));
    tag->setIsPartOfCompilation(true);
    tag->addImage(ID3Image(QByteArray("\xff\xd8\xff\xe0jpegdata", 12), QString()));
    auto reread = writeAndReread(*tag, path);
    ASSERT_TRUE(reread);
    EXPECT_EQ(reread->readVersion(), QStringLiteral("2.3.0"));
    EXPECT_EQ(reread->title(), QStringLiteral("N\u00e9w \u2603 \U0001F3B5"));
    EXPECT_EQ(reread->year(), QStringLiteral("1987"));
    EXPECT_EQ(reread->lyrics(), QStringLiteral("la la\nlu"));
    EXPECT_TRUE(reread->isPartOfCompilation());
    ASSERT_EQ(reread->numberOfImages(), 2);
    EXPECT_EQ(reread->images().at(0).imageData(), png);
    EXPECT_EQ(reread->images().at(1).mimeFormat(), QStringLiteral("image/jpeg"));
    EXPECT_FALSE(reread->encounteredProblemDecoding());
    const QByteArray file = TestSupport::readFile(path);
    for (const QByteArray& raw : {tcom, comm, priv})
        EXPECT_TRUE(file.contains(raw)) << raw.left(4).constData();
    EXPECT_TRUE(file.left(reread->id3v2Range().length).contains("TYER"));
    EXPECT_FALSE(file.left(reread->id3v2Range().length).contains("TDRC"));
    EXPECT_EQ(audioOf(path), audioBefore);
    // The ID3v1 block was regenerated from the new values.
    EXPECT_EQ(file.right(128).mid(3, 5), QByteArray("N\xe9w ?"));
    EXPECT_EQ(file.right(128).mid(33, 6), QByteArray("Artist"));
}

// Rewriting a v2.2 tag carries the frames we do not interpret (TCM) and
// reads back our own UTF-16 text, terminator and all.
TEST(MP3Write, V22RoundTrip)
{
    const QByteArray png = T::png(2, 2);
    const QByteArray tcm = T::frame22("TCM", T::textBody(QStringLiteral("Composer")));
    const QString path = T::writeMp3(QStringLiteral("w22.mp3"),
                                     T::tag(2, {T::frame22("TT2", T::textBody(QStringLiteral("Two"))), tcm,
                                                T::frame22("PIC", QByteArray("\0PNG\0\0", 6) + png)}));
    const QByteArray audioBefore = audioOf(path);
    auto tag = MP3InfoTag::tagAtPath(path);
    ASSERT_TRUE(tag);
    tag->setArtist(QStringLiteral("\u00c5se \u263a"));
    tag->setLyrics(QStringLiteral("Zw\u00f6lf"));
    tag->setGenres(QStringLiteral("Jazz"));
    auto reread = writeAndReread(*tag, path);
    ASSERT_TRUE(reread);
    EXPECT_EQ(reread->readVersion(), QStringLiteral("2.2.0"));
    EXPECT_EQ(reread->title(), QStringLiteral("Two"));
    EXPECT_EQ(reread->artist(), QStringLiteral("\u00c5se \u263a"));
    EXPECT_EQ(reread->lyrics(), QStringLiteral("Zw\u00f6lf"));
    EXPECT_EQ(reread->genres(), QStringLiteral("Jazz"));
    ASSERT_EQ(reread->numberOfImages(), 1);
    EXPECT_EQ(reread->images().first().imageData(), png);
    EXPECT_TRUE(reread->frameIDs().contains(QStringLiteral("TP1")));
    EXPECT_TRUE(TestSupport::readFile(path).contains(tcm));
    EXPECT_EQ(audioOf(path), audioBefore);
}

TEST(MP3Write, ID3v1OnlyFileStaysID3v1UntilItCannot)
{
    MpegTestFiles::Id3v1Fields fields;
    fields.title = "Short";
    fields.genre = 17;
    const QString path =
        T::writeMp3(QStringLiteral("v1only.mp3"), QByteArray(), MpegTestFiles::id3v1Trailer(fields));
    const qint64 size = TestSupport::readFile(path).size();
    const QByteArray audioBefore = audioOf(path);
    auto tag = MP3InfoTag::tagAtPath(path);
    ASSERT_TRUE(tag);
    tag->setArtist(QStringLiteral("Caf\u00e9"));
    tag->setTrack(QStringLiteral("7"));
    EXPECT_EQ(tag->writeVersion(), QStringLiteral("1.1"));
    auto reread = writeAndReread(*tag, path);
    ASSERT_TRUE(reread);
    QByteArray file = TestSupport::readFile(path);
    EXPECT_EQ(file.size(), size);
    EXPECT_FALSE(file.startsWith("ID3"));
    EXPECT_EQ(reread->readVersion(), QStringLiteral("1.1"));
    EXPECT_EQ(reread->artist(), QStringLiteral("Caf\u00e9"));
    EXPECT_EQ(reread->track(), QStringLiteral("7"));
    EXPECT_EQ(reread->genres(), QStringLiteral("Rock"));

    // A picture does not fit: the file gains an ID3v2.3 tag and keeps a
    // regenerated ID3v1.1 block.
    reread->addImage(ID3Image(T::png(1, 1), QString()));
    EXPECT_EQ(reread->writeVersion(), QStringLiteral("2.3.0"));
    auto upgraded = writeAndReread(*reread, path);
    ASSERT_TRUE(upgraded);
    file = TestSupport::readFile(path);
    EXPECT_TRUE(file.startsWith("ID3\x03"));
    EXPECT_EQ(upgraded->readVersion(), QStringLiteral("2.3.0"));
    EXPECT_EQ(upgraded->numberOfImages(), 1);
    EXPECT_EQ(file.right(128).left(3), QByteArray("TAG"));
    EXPECT_EQ(file.right(128).at(126), 7);
    EXPECT_EQ(audioOf(path), audioBefore);
}

TEST(MP3Write, ID3v11BlockFields)
{
    MP3InfoTag tag;
    tag.setTitle(QStringLiteral("A title that is much longer than thirty characters"));
    tag.setArtist(QStringLiteral("\u2603 Snow"));
    tag.setYear(QStringLiteral("19991"));
    tag.setTrack(QStringLiteral("3/12"));
    tag.setGenres(QStringLiteral("Not A Genre/Rock"));
    QByteArray block = tag.dataForID3v11();
    ASSERT_EQ(block.size(), 128);
    EXPECT_EQ(block.left(3), QByteArray("TAG"));
    EXPECT_EQ(block.mid(3, 30), QByteArray("A title that is much longer th"));
    EXPECT_EQ(block.mid(33, 6), QByteArray("? Snow"));
    EXPECT_EQ(block.mid(93, 4), QByteArray("1999"));
    EXPECT_EQ(block.at(125), 0);
    EXPECT_EQ(block.at(126), 3);
    EXPECT_EQ(static_cast<uchar>(block.at(127)), 255);
    tag.setTrack(QStringLiteral("300"));
    tag.setGenres(QStringLiteral("Rock"));
    block = tag.dataForID3v11();
    EXPECT_EQ(static_cast<uchar>(block.at(126)), 300 & 0xff);
    EXPECT_EQ(block.at(127), 17);
}

TEST(MP3Write, WhatAnID3v11BlockCanHold)
{
    const auto fits = [](const std::function<void(MP3InfoTag&)>& change) {
        MP3InfoTag tag;
        tag.setTitle(QStringLiteral("Title"));
        tag.setGenres(QStringLiteral("rock"));
        change(tag);
        return tag.canWriteID3v11WithoutLoss();
    };
    EXPECT_TRUE(fits([](MP3InfoTag&) {}));
    EXPECT_TRUE(fits([](MP3InfoTag& t) { t.setTitle(QString(30, QLatin1Char('t'))); }));
    EXPECT_FALSE(fits([](MP3InfoTag& t) { t.setTitle(QString(31, QLatin1Char('t'))); }));
    EXPECT_FALSE(fits([](MP3InfoTag& t) { t.setAlbum(QStringLiteral("\u2603")); }));
    EXPECT_FALSE(fits([](MP3InfoTag& t) { t.setYear(QStringLiteral("1999-01")); }));
    EXPECT_FALSE(fits([](MP3InfoTag& t) { t.setTrack(QStringLiteral("1/2")); }));
    EXPECT_FALSE(fits([](MP3InfoTag& t) { t.setGenres(QStringLiteral("Rock/Pop")); }));
    EXPECT_FALSE(
        fits([](MP3InfoTag& t) { t.addImage(ID3Image(QByteArray("x"), QStringLiteral("image/png"))); }));
    EXPECT_FALSE(fits([](MP3InfoTag& t) { t.appendFrame(QStringLiteral("COMM"), QByteArray(8, '\0')); }));
    // Values ID3v1 has no field for would be lost too.
    EXPECT_FALSE(fits([](MP3InfoTag& t) { t.setLyrics(QStringLiteral("words")); }));
    EXPECT_FALSE(fits([](MP3InfoTag& t) { t.setBPM(QStringLiteral("120")); }));
}

TEST(MP3Write, FilesThatMustNotBeWrittenStayUntouched)
{
    // 100 bytes of audio or fewer.
    const QByteArray tagBytes = T::tag(3, {text("TIT2", QStringLiteral("t"))}, 40);
    QString path = T::scratchPath(QStringLiteral("short-audio.mp3"));
    TestSupport::writeFile(path, tagBytes + QByteArray(100, '\x11'));
    auto tag = MP3InfoTag::tagAtPath(path);
    ASSERT_TRUE(tag);
    tag->setTitle(QStringLiteral("changed"));
    QString error;
    EXPECT_FALSE(tag->modifySongFileAtPath(path, &error));
    EXPECT_FALSE(error.isEmpty());
    EXPECT_EQ(TestSupport::readFile(path), tagBytes + QByteArray(100, '\x11'));

    // A file whose tag cannot be read.
    path = T::writeMp3(QStringLiteral("unreadable.mp3"), T::tag(5, {text("TIT2", QStringLiteral("t"))}));
    const QByteArray before = TestSupport::readFile(path);
    error.clear();
    EXPECT_FALSE(tag->modifySongFileAtPath(path, &error));
    EXPECT_FALSE(error.isEmpty());
    EXPECT_EQ(TestSupport::readFile(path), before);

    EXPECT_FALSE(tag->modifySongFileAtPath(T::scratchPath(QStringLiteral("gone.mp3")), &error));
}

TEST(MP3Write, SameLengthChangeTouchesOnlyThoseBytes)
{
    const QString path =
        T::writeMp3(QStringLiteral("same.mp3"), T::tag(3, {T::frame("TIT2", QByteArray("\0AAAA\0", 6)),
                                                           T::frame("TPE1", QByteArray("\0Band\0", 6))}));
    const QByteArray before = TestSupport::readFile(path);
    auto tag = MP3InfoTag::tagAtPath(path);
    ASSERT_TRUE(tag);
    tag->setTitle(QStringLiteral("BBBB"));
    auto reread = writeAndReread(*tag, path);
    ASSERT_TRUE(reread);
    const QByteArray after = TestSupport::readFile(path);
    ASSERT_EQ(after.size(), before.size());
    qsizetype differing = 0;
    for (qsizetype i = 0; i < after.size(); ++i)
        differing += after[i] != before[i] ? 1 : 0;
    EXPECT_EQ(differing, 4);
    EXPECT_EQ(reread->title(), QStringLiteral("BBBB"));
}
