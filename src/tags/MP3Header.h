#pragma once

#include <QByteArray>
#include <QString>

class QIODevice;

// The first MPEG audio frame of an MP3 file: finds it after the ID3v2 tag,
// decodes its four header bytes and, when a "Xing" header follows, its frame
// count, and derives playing time and bit rate. Reads at most three blocks of
// 8192 bytes of the file, whatever the file holds.
class MP3Header
{
public:
    static constexpr int kBufferSize = 8192;
    static constexpr int kHashSpan = 6144;

    MP3Header() = default;

    // Opens the file and reads its first frame; `tagLength` is the total
    // length of the ID3v2 tag including its ten-byte header (0 without one).
    // False (with a log line) when no frame is found or the file is too short.
    bool openFile(const QString& path, qint64 tagLength);
    // The same on a device already open for reading (for example the file a
    // tag reader holds); `path` only names the file in log lines.
    bool openDevice(QIODevice& device, qint64 tagLength, const QString& path);
    // Clears every value before a new file.
    void releaseAttributes();

    // Searches the buffer for the first frame (see the .cpp for the rules);
    // sets startFrame and the decoded values. Exposed for tests and fuzzing.
    bool findHeader();
    // Decodes the header at `position` of the buffer (and a Xing header there).
    void decodeHeader(int position);
    // Loads raw bytes as if they had been read from a file at `offsetInFile`
    // of a file of `fileSize` bytes (tests and fuzzing).
    void setBuffer(const QByteArray& bytes, qint64 offsetInFile, qint64 fileSize);

    // The header fields by the published MPEG audio tables. Version: 1 MPEG 1,
    // 2 MPEG 2, 3 MPEG 2.5, 0 reserved; layer 1 to 3, 0 reserved (both from
    // the second header byte). Bit rate in kbit/s: 0 for the free-format
    // index 0 or a reserved version or layer, -1 for the "bad" index 15.
    // Frequency in Hz, 0 for the reserved index 3 or version.
    static int versionOf(uchar headerByte1);
    static int layerOf(uchar headerByte1);
    static int bitRateFor(int version, int layer, int rateIndex);
    static int frequencyFor(int version, int frequencyIndex);

    qint64 fileSize() const { return mFileSize; }
    int getSeconds() const { return mSeconds; }
    int getVersion() const { return mVersion; }
    int getLayer() const { return mLayer; }
    int getBitRate() const { return mBitRate; }
    int getFrequency() const { return mFrequency; }
    int getChannels() const { return mChannels; }
    quint32 getNumberOfFrames() const { return mNumberOfFrames; }
    bool getXINGHeaderFound() const { return mXINGHeaderFound; }
    quint32 startFrame() const { return mStartFrame; }
    // A stable hash of the first 6144 bytes of audio; 0 when the buffer does
    // not hold that many bytes from the first frame.
    quint32 getHash() const;

    QString getSecondsString() const;
    QString getVersionString() const;
    QString getLayerString() const;
    QString getBitRateString() const;
    QString getFrequencyString() const;
    QString getChannelString() const;
    QString getEncodingString() const;

private:
    bool readBlock(QIODevice& device, qint64 offset);
    bool isCandidate(int position) const;

    QByteArray mBuffer;
    mutable quint32 mHash = 0;
    mutable bool mHashComputed = false;
    quint32 mStartFrame = 0;
    quint32 mBufferOffsetInFile = 0;
    qint64 mFileSize = 0;
    int mVersion = 0;
    int mLayer = 0;
    int mBitRate = 0;
    int mFrequency = 0;
    int mChannels = 0;
    int mSeconds = 0;
    quint32 mNumberOfFrames = 0;
    bool mXINGHeaderFound = false;
};
