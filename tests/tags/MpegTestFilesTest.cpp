#include "MpegTestFiles.h"
#include "TestSupport.h"

#include <QProcess>

#include <gtest/gtest.h>

using Spec = MpegTestFiles::FrameSpec;

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
