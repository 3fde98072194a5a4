// Reading ID3 tags from files: the tolerance rules, the version dispatch,
// ID3v1 and what damaged files give.
#include "ID3TestData.h"
#include "MpegTestFiles.h"
#include "TestSupport.h"

#include "support/WMLog.h"
#include "tags/AudioInfoTag.h"
#include "tags/MP3InfoTag.h"

#include <QFile>

#include <gtest/gtest.h>

namespace {

using T = ID3TestData;

QByteArray text(const char* id, const QString& value, int encoding = 0)
{
    return T::frame(id, T::textBody(value, encoding));
}

QString logText()
{
    return QString::fromUtf8(TestSupport::readFile(WMLogLocation()));
}

// Restores the class-wide reader switches after a test.
struct SwitchGuard
{
    ~SwitchGuard()
    {
        AudioInfoTag::setShouldDiscardMalformedInfo(false);
        AudioInfoTag::setShouldDiscardUnrecognizedInfo(false);
    }
};

std::unique_ptr<MP3InfoTag> read(const QString& name, const QByteArray& tag,
                                 const QByteArray& trailer = QByteArray())
{
    return MP3InfoTag::tagAtPath(T::writeMp3(name, tag, trailer));
}

} // namespace

TEST(MP3Read, TooSmallFileHasNoTag)
{
    const QString path = T::scratchPath(QStringLiteral("tiny.mp3"));
    TestSupport::writeFile(path, QByteArray(100, '\0'));
    EXPECT_FALSE(MP3InfoTag::tagAtPath(path));
    EXPECT_TRUE(logText().contains(QStringLiteral("MP3 only 100 bytes in ") + path));
    EXPECT_FALSE(MP3InfoTag::tagAtPath(T::scratchPath(QStringLiteral("missing.mp3"))));
}

TEST(MP3Read, OddFramesAreReadAsWritersMeantThem)
{
    struct Row
    {
        const char* name;
        QByteArray tag;
        TestSupport::TagValues values;
        bool problem;
    };
    const QString x299(299, QLatin1Char('x')), y199(199, QLatin1Char('y'));
    const Row rows[] = {
        // 00 00 02 2C: the plain reading (556) would end in the middle of nothing.
        {"a v2.3 frame size written sync-safe",
         T::tag(3, {T::frame("TIT2", T::textBody(x299), true), text("TPE1", QStringLiteral("After"))}),
         {{"title", x299}, {"artist", QStringLiteral("After")}},
         false},
        {"a v2.4 frame size written plain",
         T::tag(4, {T::frame("TIT2", T::textBody(y199), false), text("TPE1", QStringLiteral("Next"))}),
         {{"title", y199}, {"artist", QStringLiteral("Next")}},
         false},
        {"a frame running past the tag stops the reading, earlier frames kept",
         T::tag(3, {text("TIT2", QStringLiteral("Kept")),
                    QByteArray("TPE1") + T::bigEndian32(90) + QByteArray(2, '\0') + QByteArray("\0abc", 4)}),
         {{"title", QStringLiteral("Kept")}, {"artist", QString()}},
         true},
        {"an encoding byte that is the first letter",
         T::tag(3, {T::frame("TIT2", QByteArray("Abc"))}),
         {{"title", QStringLiteral("Abc")}},
         false},
        {"a year and a track out of range",
         T::tag(3, {text("TYER", QStringLiteral("0999")), text("TRCK", QStringLiteral("0/12"))}),
         {{"year", QString()}, {"track", QString()}},
         false},
        {"a whole v2.4 date",
         T::tag(4, {text("TDRC", QStringLiteral("1999-04-01"))}),
         {{"year", QStringLiteral("1999-04-01")}},
         false},
        {"a v2.2 id inside a v2.3 tag, read under its v2.3 id",
         T::tag(3, {T::frame("TT2\0", T::textBody(QStringLiteral("Up")))}),
         {{"title", QStringLiteral("Up")}},
         false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        auto tag = read(QStringLiteral("odd.mp3"), row.tag);
        ASSERT_TRUE(tag);
        TestSupport::expectTagValues(*tag, row.values);
        EXPECT_EQ(tag->encounteredProblemDecoding(), row.problem);
    }
}

TEST(MP3Read, ImplausibleSizeKeepsOrDiscards)
{
    SwitchGuard guard;
    // 0x00 0x00 0x01 0xF4 (500 plain, 244 sync-safe): neither end is a frame.
    const QByteArray broken = QByteArray("TPE1") + ID3TestData::bigEndian32(500) + QByteArray(2, '\0') +
                              T::textBody(QString(290, QLatin1Char('z')));
    const QByteArray tagBytes = T::tag(3, {text("TIT2", QStringLiteral("First")), broken});
    auto tag = read(QStringLiteral("implausible.mp3"), tagBytes);
    ASSERT_TRUE(tag);
    EXPECT_TRUE(tag->encounteredProblemDecoding());
    EXPECT_EQ(tag->title(), QStringLiteral("First"));
    EXPECT_EQ(tag->artist().size(), 290); // the rest of the tag
    AudioInfoTag::setShouldDiscardMalformedInfo(true);
    tag = read(QStringLiteral("implausible.mp3"), tagBytes);
    ASSERT_TRUE(tag);
    EXPECT_TRUE(tag->artist().isNull());
    EXPECT_EQ(tag->title(), QStringLiteral("First"));
}

TEST(MP3Read, UnsupportedVersionAndBadSizesMakeTheFileUnreadable)
{
    const QByteArray v5 = T::tag(5, {text("TIT2", QStringLiteral("x"))});
    EXPECT_FALSE(read(QStringLiteral("v25.mp3"), v5));
    EXPECT_TRUE(logText().contains(QStringLiteral("cannot read ID3v2.5.0")));
    // A size larger than the file: refused without allocating it.
    const QByteArray huge = MpegTestFiles::id3v2Header(3, (1u << 28) - 1) + text("TIT2", QStringLiteral("x"));
    EXPECT_FALSE(read(QStringLiteral("huge.mp3"), huge));
    const QByteArray tiny = MpegTestFiles::id3v2Header(3, 6) + QByteArray(6, '\0');
    EXPECT_FALSE(read(QStringLiteral("small.mp3"), tiny));
    EXPECT_TRUE(logText().contains(QStringLiteral("MP3 tag length wrong for file:")));
}

TEST(MP3Read, HeaderWithHighSizeByteIsIgnoredForID3v1)
{
    QByteArray header = MpegTestFiles::id3v2Header(3, 20);
    header[9] = '\x80';
    MpegTestFiles::Id3v1Fields fields;
    fields.title = "V1 Title";
    fields.year = "1001";
    fields.track = 5;
    fields.genre = 13;
    auto tag =
        read(QStringLiteral("high9.mp3"), header + QByteArray(20, 'x'), MpegTestFiles::id3v1Trailer(fields));
    ASSERT_TRUE(tag);
    TestSupport::expectTagValues(*tag, {{"title", QStringLiteral("V1 Title")},
                                        {"year", QStringLiteral("1001")},
                                        {"track", QStringLiteral("5")},
                                        {"genre", QStringLiteral("Pop")}});
    EXPECT_EQ(tag->readVersion(), QStringLiteral("1.1"));
    EXPECT_EQ(tag->id3v2Range(), ID3Range{});
}

TEST(MP3Read, ExtendedHeaderAndDataLengthIndicator)
{
    // An extended header of 6 bytes after its size: frames start at 10 + 4 + 6.
    const QByteArray extended = ID3TestData::bigEndian32(6) + QByteArray(6, '\0');
    auto tag = read(QStringLiteral("extended.mp3"),
                    T::tag(3, {extended, text("TIT2", QStringLiteral("Ext"))}, 0, 0x40));
    ASSERT_TRUE(tag);
    EXPECT_EQ(tag->title(), QStringLiteral("Ext"));

    const QByteArray absurd = ID3TestData::bigEndian32(0xfffffff0u) + QByteArray(6, '\0');
    tag = read(QStringLiteral("absurd.mp3"), T::tag(3, {absurd, text("TIT2", QStringLiteral("x"))}, 0, 0x40));
    ASSERT_TRUE(tag);
    EXPECT_TRUE(tag->encounteredProblemDecoding());

    const QByteArray body = MpegTestFiles::synchSafe(200) + T::textBody(QString(195, QLatin1Char('d')));
    // The indicator moves the data start but not the size, so the frame
    // reads into what follows it (padding here).
    tag = read(QStringLiteral("dli.mp3"), T::tag(4, {T::frame("TIT2", body, true, 0x01)}, 10));
    ASSERT_TRUE(tag);
    EXPECT_EQ(tag->title(), QString(195, QLatin1Char('d')));
}

TEST(MP3Read, FrameIDUpgrade)
{
    expectEach(
        MP3InfoTag::frameIDUpgrade,
        {{u"TYE", u"TYER"}, {u"PIC", u"APIC"}, {u"TT3", u"TIT3"}, {u"TIT3", u"TIT3"}, {u"ZZZ", u"ZZZ"}});
}

TEST(MP3Read, V22FramesRunningPastTheTag)
{
    SwitchGuard guard;
    const QByteArray title = T::frame22("TT2", T::textBody(QStringLiteral("T")));
    // A frame claiming 50 bytes with 6 left: cut to what is there.
    QByteArray cut = T::frame22("TAL", T::textBody(QStringLiteral("Album")));
    cut[5] = 50;
    auto tag = read(QStringLiteral("v22cut.mp3"), T::tag(2, {title, cut}));
    ASSERT_TRUE(tag);
    EXPECT_EQ(tag->album(), QStringLiteral("Album"));
    EXPECT_TRUE(tag->encounteredProblemDecoding());
    // A frame header as the very last bytes of the tag.
    tag = read(QStringLiteral("v22end.mp3"), T::tag(2, {title, QByteArray("TAL\0\0\x05", 6)}));
    ASSERT_TRUE(tag);
    EXPECT_EQ(tag->title(), QStringLiteral("T"));
    EXPECT_TRUE(tag->album().isNull());
    AudioInfoTag::setShouldDiscardMalformedInfo(true);
    tag = read(QStringLiteral("v22cut.mp3"), T::tag(2, {title, cut}));
    ASSERT_TRUE(tag);
    EXPECT_TRUE(tag->album().isNull());
}
