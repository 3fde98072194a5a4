#include "MpegTestFiles.h"
#include "TestSupport.h"

#include "support/WMLog.h"
#include "tags/MP3FrameScanner.h"
#include "tags/MP3Header.h"

#include <QBuffer>

#include <gtest/gtest.h>

using Spec = MpegTestFiles::FrameSpec;
using Version = MpegTestFiles::Version;

namespace {

QString headerFile(const QString& name, const QByteArray& prefix, const QByteArray& audio)
{
    const QString path = TestSupport::scratchFolder() + QStringLiteral("/header/") + name;
    EXPECT_TRUE(MpegTestFiles::writeFile(path, prefix, audio));
    return path;
}

// A header whose time works out to `seconds`: 8 kbit/s over seconds x 1000 bytes.
MP3Header headerLasting(int seconds)
{
    MP3Header header;
    const QByteArray frame = MpegTestFiles::frameHeader(Spec{Version::Mpeg2, 3, 8, 22050});
    header.setBuffer(frame, 0, qint64(seconds) * 1000);
    header.decodeHeader(0);
    return header;
}

// A header decoded from the first bytes of a buffer of 1000 bytes.
MP3Header decoded(const QByteArray& bytes)
{
    MP3Header header;
    header.setBuffer(bytes, 0, 1000);
    header.decodeHeader(0);
    return header;
}

QString lastLogLines()
{
    return QString::fromUtf8(TestSupport::readFile(WMLogLocation()).right(2000));
}

} // namespace

TEST(MP3Header, XingFrameCountGivesTimeAndAverageRate)
{
    QByteArray audio = MpegTestFiles::xingFrame(Spec(), 10000, 0) + MpegTestFiles::frames(Spec(), 100);
    const QString path = headerFile(QStringLiteral("xing.mp3"), QByteArray(), audio);
    MP3Header header;
    ASSERT_TRUE(header.openFile(path, 0));
    EXPECT_TRUE(header.getXINGHeaderFound());
    EXPECT_EQ(header.getNumberOfFrames(), 10000u);
    EXPECT_EQ(header.getSeconds(), 261);
    EXPECT_EQ(header.startFrame(), 0u);
    // (bytes x 7952 / (frames x 26) + 500) / 1000
    EXPECT_EQ(header.getBitRate(), int((qint64(audio.size()) * 7952 / 260000 + 500) / 1000));

    // "Info" is not a Xing header, nor is a Xing text without its frames flag.
    QByteArray info = MpegTestFiles::xingFrame(Spec(), 10000, 0, true) + MpegTestFiles::frames(Spec(), 100);
    ASSERT_TRUE(header.openFile(headerFile(QStringLiteral("info.mp3"), QByteArray(), info), 0));
    EXPECT_FALSE(header.getXINGHeaderFound());
    QByteArray noFlag = audio;
    noFlag[36 + 7] = 0x02;
    ASSERT_TRUE(header.openFile(headerFile(QStringLiteral("noflag.mp3"), QByteArray(), noFlag), 0));
    EXPECT_FALSE(header.getXINGHeaderFound());
}

TEST(MP3Header, SearchLimitsAndFallbacks)
{
    MP3Header header;
    // Too short: tag + 16384 bytes are needed.
    const QString shortFile =
        headerFile(QStringLiteral("short.mp3"), QByteArray(10, 'T'), MpegTestFiles::frames(Spec(), 39));
    EXPECT_FALSE(header.openFile(shortFile, 10));
    EXPECT_EQ(header.getBitRate(), 0);

    // A lone frame in a buffer of zeros: the first candidate stands.
    QByteArray lone = QByteArray(5000, '\0') + MpegTestFiles::frame(Spec()) + QByteArray(20000, '\0');
    ASSERT_TRUE(header.openFile(headerFile(QStringLiteral("lone.mp3"), QByteArray(), lone), 0));
    EXPECT_EQ(header.startFrame(), 5000u);

    // Frames only in the second block, which starts 8191 bytes after the tag.
    QByteArray late = QByteArray(9000, '\0') + MpegTestFiles::frames(Spec(), 40);
    ASSERT_TRUE(header.openFile(headerFile(QStringLiteral("late.mp3"), QByteArray(), late), 0));
    EXPECT_EQ(header.startFrame(), 9000u + 4 * 417);

    // Beyond the second block nothing is searched.
    QByteArray tooLate = QByteArray(17000, '\0') + MpegTestFiles::frames(Spec(), 40);
    EXPECT_FALSE(header.openFile(headerFile(QStringLiteral("toolate.mp3"), QByteArray(), tooLate), 0));
    EXPECT_TRUE(lastLogLines().contains(QStringLiteral("MP3 header: invalid MPEG header")));

    EXPECT_FALSE(header.openFile(TestSupport::scratchFolder() + QStringLiteral("/header/missing.mp3"), 0));
    EXPECT_TRUE(lastLogLines().contains(QStringLiteral("MP3 header: no fileHandleForReadingAtPath")));

    // A tag length past the end of the file or past 4 GB finds nothing.
    EXPECT_FALSE(header.openFile(headerFile(QStringLiteral("lone2.mp3"), QByteArray(), lone), 0xFFFFFFFFLL));
    EXPECT_FALSE(header.openFile(headerFile(QStringLiteral("lone3.mp3"), QByteArray(), lone), 1LL << 40));
}

TEST(MP3Header, DecodingTablesAndTexts)
{
    // Channel text follows the low two bits of the fourth byte, not the mode.
    Spec mono;
    mono.channelMode = MpegTestFiles::ChannelMode::Mono;
    const char* channelTexts[] = {"Stereo", "Joined Stereo", "Dual Channel", "Single Channel"};
    for (int emphasis = 0; emphasis < 4; ++emphasis) {
        mono.emphasis = emphasis;
        const MP3Header header = decoded(MpegTestFiles::frameHeader(mono));
        EXPECT_EQ(header.getChannels(), emphasis);
        EXPECT_EQ(header.getChannelString(), QLatin1String(channelTexts[emphasis]));
    }

    // Bad bit-rate index, reserved version, layer I and MPEG 2.5.
    MP3Header header = decoded(QByteArray::fromHex("fffbf000"));
    EXPECT_EQ(header.getBitRate(), -1);
    EXPECT_EQ(header.getSeconds(), 0);
    EXPECT_EQ(header.getBitRateString(), QStringLiteral("-1 kbps"));
    header = decoded(QByteArray::fromHex("ffeb9000"));
    EXPECT_EQ(header.getVersionString(), QStringLiteral("UNKNOWN"));
    EXPECT_EQ(header.getBitRate(), 0);
    EXPECT_EQ(header.getFrequency(), 0);
    header = decoded(MpegTestFiles::frameHeader(Spec{Version::Mpeg1, 1, 448, 48000}));
    EXPECT_EQ(header.getLayerString(), QStringLiteral("Layer 1"));
    EXPECT_EQ(header.getBitRate(), 448);
    EXPECT_EQ(header.getFrequencyString(), QStringLiteral("48,0 kHz"));
    EXPECT_EQ(decoded(MpegTestFiles::frameHeader(Spec{Version::Mpeg25, 2, 160, 8000})).getEncodingString(),
              QStringLiteral("MPEG 2.5, Layer 2, 160bps, 8000Hz, Stereo."));
}

TEST(MP3Header, SecondsTextThresholds)
{
    // Hours of the day only, below two days.
    const std::pair<int, const char16_t*> rows[] = {
        {118, u"118"},        {119, u"1:59"},          {7198, u"59:58"},     {7199, u"1:59:59"},
        {100000, u"3:46:40"}, {172799, u"1:23:59:59"}, {172805, u"2:0:0:05"}};
    for (const auto& [seconds, text] : rows)
        EXPECT_EQ(headerLasting(seconds).getSecondsString(), str(text)) << seconds;
}

TEST(MP3Header, HashCoversTheAudioOnly)
{
    const QByteArray audio = MpegTestFiles::frames(Spec(), 60);
    MP3Header a, b, c;
    ASSERT_TRUE(a.openFile(headerFile(QStringLiteral("h1.mp3"), QByteArray(100, 'x'), audio), 100));
    ASSERT_TRUE(b.openFile(headerFile(QStringLiteral("h2.mp3"), QByteArray(5000, 'y'), audio), 5000));
    EXPECT_NE(a.getHash(), 0u);
    EXPECT_EQ(a.getHash(), b.getHash());
    QByteArray changed = audio;
    changed[4 * 417 + 3000] = char(changed[4 * 417 + 3000] ^ 1);
    ASSERT_TRUE(c.openFile(headerFile(QStringLiteral("h3.mp3"), QByteArray(100, 'x'), changed), 100));
    EXPECT_NE(a.getHash(), c.getHash());

    MP3Header tooShort;
    tooShort.setBuffer(audio.left(6000), 0, 100000);
    ASSERT_TRUE(tooShort.findHeader());
    EXPECT_EQ(tooShort.getHash(), 0u);
}

namespace {

// A buffer that counts the bytes read from it.
class CountingBuffer : public QBuffer
{
public:
    explicit CountingBuffer(const QByteArray& bytes)
    {
        setData(bytes);
        open(QIODevice::ReadOnly);
    }
    qint64 bytesRead = 0;

protected:
    qint64 readData(char* data, qint64 length) override
    {
        const qint64 n = QBuffer::readData(data, length);
        bytesRead += qMax<qint64>(0, n);
        return n;
    }
};

} // namespace

// The frame scan stays within its read bounds on long streams and junk, and
// steps over a short damaged stretch.
TEST(MP3FrameScanner, BoundedReadsDamageAndLongStreams)
{
    const double perFrame = 1152 / 44100.0;
    const QByteArray frame = MpegTestFiles::frame(Spec());
    struct Row
    {
        const char* name;
        QByteArray bytes;
        double seconds; // < 0: no frames found
        int bitRate;    // the audio bytes, junk included, over the time
    };
    const int longCount = int((MP3FrameScanner::kMaxWalk + 600000) / frame.size());
    const Row rows[] = {
        {"longer than the walk", QByteArray(20000, '\0') + MpegTestFiles::frames(Spec(), longCount),
         longCount * perFrame, 128},
        {"damaged stretch",
         MpegTestFiles::frames(Spec(), 40) + QByteArray(300, '\x11') + MpegTestFiles::frames(Spec(), 40),
         80 * perFrame, 129},
        {"frames beyond the search",
         QByteArray(MP3FrameScanner::kMaxSearch + 1000, '\0') + MpegTestFiles::frames(Spec(), 20), -1, 0},
        {"a lone free-format frame", QByteArray("\xff\xfb\x00\x00", 4) + QByteArray(400, '\x22'), -1, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        CountingBuffer device(row.bytes);
        const auto scanned = MP3FrameScanner::scan(device, 0, row.bytes.size());
        EXPECT_LE(device.bytesRead, MP3FrameScanner::kMaxSearch + MP3FrameScanner::kMaxWalk + 256 * 1024);
        if (row.seconds < 0) {
            EXPECT_FALSE(scanned);
            continue;
        }
        ASSERT_TRUE(scanned);
        EXPECT_NEAR(scanned->seconds, row.seconds, 0.05);
        EXPECT_EQ(scanned->bitRate, row.bitRate);
    }
}
