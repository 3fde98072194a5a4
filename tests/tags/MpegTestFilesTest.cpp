#include "MpegTestFiles.h"
#include "TestSupport.h"

#include <QProcess>

#include <gtest/gtest.h>

using Spec = MpegTestFiles::FrameSpec;

TEST(MpegTestFiles, FrameLengthsFollowTheMpegFormulas)
{
    Spec spec;
    EXPECT_EQ(MpegTestFiles::frameLength(spec), 417);
    spec.padding = true;
    EXPECT_EQ(MpegTestFiles::frameLength(spec), 418);
    spec = Spec{MpegTestFiles::Version::Mpeg2, 3, 64, 22050};
    EXPECT_EQ(MpegTestFiles::frameLength(spec), 208); // 72000 * 64 / 22050
    spec = Spec{MpegTestFiles::Version::Mpeg1, 1, 384, 48000};
    EXPECT_EQ(MpegTestFiles::frameLength(spec), 384); // (12000 * 384 / 48000) * 4
    spec = Spec{MpegTestFiles::Version::Mpeg25, 3, 8, 8000};
    EXPECT_EQ(MpegTestFiles::frameLength(spec), 72);
    spec = Spec{MpegTestFiles::Version::Mpeg1, 3, 8, 44100}; // 8 kbit/s is not an MPEG-1 rate
    EXPECT_EQ(MpegTestFiles::frameLength(spec), 0);
    EXPECT_TRUE(MpegTestFiles::frameHeader(spec).isEmpty());
}

TEST(MpegTestFiles, HeaderBitsAndPayloadWithoutSync)
{
    Spec spec;
    spec.channelMode = MpegTestFiles::ChannelMode::JointStereo;
    spec.emphasis = 1;
    EXPECT_EQ(MpegTestFiles::frameHeader(spec), QByteArray::fromHex("fffb9041"));
    spec = Spec{MpegTestFiles::Version::Mpeg25, 3, 32, 12000, MpegTestFiles::ChannelMode::Mono, true};
    EXPECT_EQ(MpegTestFiles::frameHeader(spec), QByteArray::fromHex("ffe346c0"));

    const QByteArray audio = MpegTestFiles::frames(Spec(), 20);
    ASSERT_EQ(audio.size(), 20 * 417);
    for (int i = 0; i < audio.size(); ++i) {
        if (uchar(audio[i]) == 0xFF) {
            ASSERT_EQ(i % 417, 0) << "sync byte inside a payload at " << i;
        }
    }
    EXPECT_NE(audio.mid(100, 200), audio.mid(517, 200)); // frames differ
}

TEST(MpegTestFiles, XingAndId3v1Layout)
{
    const QByteArray xing = MpegTestFiles::xingFrame(Spec(), 10000, 4170000);
    ASSERT_EQ(xing.size(), 417);
    EXPECT_EQ(xing.mid(36, 4), QByteArrayLiteral("Xing"));
    EXPECT_EQ(xing.mid(40, 12), QByteArray::fromHex("00000003"
                                                    "00002710"
                                                    "003fa110"));

    MpegTestFiles::Id3v1Fields fields;
    fields.title = "A title that is longer than thirty bytes";
    fields.comment = "comment";
    fields.track = 7;
    fields.genre = 17;
    const QByteArray v11 = MpegTestFiles::id3v1Trailer(fields);
    ASSERT_EQ(v11.size(), 128);
    EXPECT_EQ(v11.mid(3, 30), fields.title.left(30));
    EXPECT_EQ(v11[125], '\0');
    EXPECT_EQ(v11[126], char(7));
    EXPECT_EQ(v11[127], char(17));
    fields.track = 0;
    EXPECT_EQ(MpegTestFiles::id3v1Trailer(fields).mid(97, 30),
              QByteArrayLiteral("comment") + QByteArray(23, '\0'));
}

// An independent parser must accept the frames: mutagen measures the same
// sample rate, bit rate and length as the frames were built with.
TEST(MpegTestFiles, MutagenAcceptsTheFrames)
{
    const QString python = TestSupport::pythonWithMutagen();
    if (python.isEmpty())
        GTEST_SKIP() << "mutagen is not installed";
    const QString plain = TestSupport::scratchFolder() + QStringLiteral("/factory/plain.mp3");
    const QString xing = TestSupport::scratchFolder() + QStringLiteral("/factory/xing.mp3");
    Spec lowRate{MpegTestFiles::Version::Mpeg2, 3, 64, 24000, MpegTestFiles::ChannelMode::Mono};
    ASSERT_TRUE(MpegTestFiles::writeFile(plain, MpegTestFiles::id3v2Header(3, 0),
                                         MpegTestFiles::frames(Spec(), 400),
                                         MpegTestFiles::id3v1Trailer({})));
    ASSERT_TRUE(MpegTestFiles::writeFile(xing, QByteArray(), MpegTestFiles::audio(lowRate, 1000, true)));
    QProcess p;
    p.start(python, {QStringLiteral("-c"),
                     QStringLiteral("import sys, mutagen.mp3\n"
                                    "for f in sys.argv[1:]:\n"
                                    "    i = mutagen.mp3.MP3(f).info\n"
                                    "    print(i.sample_rate, i.bitrate, i.channels, round(i.length, 2))\n"),
                     plain, xing});
    ASSERT_TRUE(p.waitForFinished(60000));
    const QStringList lines = QString::fromUtf8(p.readAllStandardOutput()).split(QLatin1Char('\n'));
    ASSERT_GE(lines.size(), 2) << p.readAllStandardError().constData();
    // Without Xing the length is estimated from the audio bytes (400 x 417 at
    // 128 kbit/s); with Xing it is 1000 frames of 576 samples at 24 kHz.
    EXPECT_EQ(lines[0].toStdString(), "44100 128000 2 10.43");
    EXPECT_EQ(lines[1].toStdString(), "24000 64000 1 24.0");
}
