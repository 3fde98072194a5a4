#include "MpegTestFiles.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

using Spec = MpegTestFiles::FrameSpec;

// The MPEG material the header and tag tests are built on must be what an
// independent parser accepts: mutagen measures the same sample rate, bit rate
// and length as the frames were built with.
TEST(MpegTestFiles, MutagenAcceptsTheFrames)
{
    if (TestSupport::pythonWithMutagen().isEmpty())
        GTEST_SKIP() << "mutagen is not installed";
    const QString plain = TestSupport::scratchFolder() + QStringLiteral("/factory/plain.mp3");
    const QString xing = TestSupport::scratchFolder() + QStringLiteral("/factory/xing.mp3");
    Spec lowRate{MpegTestFiles::Version::Mpeg2, 3, 64, 24000, MpegTestFiles::ChannelMode::Mono};
    ASSERT_TRUE(MpegTestFiles::writeFile(plain, MpegTestFiles::id3v2Header(3, 0),
                                         MpegTestFiles::frames(Spec(), 400),
                                         MpegTestFiles::id3v1Trailer({})));
    ASSERT_TRUE(MpegTestFiles::writeFile(xing, QByteArray(), MpegTestFiles::audio(lowRate, 1000, true)));
    const QStringList lines =
        QString::fromUtf8(
            TestSupport::runPython("import sys, mutagen.mp3\n"
                                   "for f in sys.argv[1:]:\n"
                                   "    i = mutagen.mp3.MP3(f).info\n"
                                   "    print(i.sample_rate, i.bitrate, i.channels, round(i.length, 2))\n",
                                   {plain, xing}))
            .split(QLatin1Char('\n'));
    ASSERT_GE(lines.size(), 2);
    // Without Xing the length is estimated from the audio bytes (400 x 417 at
    // 128 kbit/s); with Xing it is 1000 frames of 576 samples at 24 kHz.
    EXPECT_EQ(lines[0].toStdString(), "44100 128000 2 10.43");
    EXPECT_EQ(lines[1].toStdString(), "24000 64000 1 24.0");
}
