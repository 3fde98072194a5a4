// Writes a deterministic corpus of MP3 files for the tag benchmarks: MPEG-1
// Layer III frames (128 kbit/s, 44.1 kHz) behind an ID3v2.3 tag with the
// usual text frames, about 1 KB of lyrics and a 100 KB JPEG picture (made
// with QImage), followed by an ID3v1.1 trailer. The tag has no padding.
//
//   bench_tool_mp3corpus FOLDER [COUNT=500] [AUDIO_KB=1024]
#include "BenchCover.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QtEndian>

#include <cstdio>

namespace {

constexpr int kFrameLength = 417; // 144000 * 128 / 44100
constexpr int kPictureTarget = 100 * 1024;

QByteArray frameBytes(int serial)
{
    QByteArray frame(kFrameLength, '\0');
    frame[0] = char(0xFF);
    frame[1] = char(0xFB);
    frame[2] = char(0x90);
    frame[3] = char(0x40); // joint stereo
    quint32 state = 0x2545F491u ^ (quint32(serial) * 2654435761u);
    for (int i = 36; i < kFrameLength; ++i) {
        state = state * 1103515245u + 12345u;
        frame[i] = char((state >> 16) % 255); // never a sync byte
    }
    return frame;
}

QByteArray be32(quint32 value)
{
    QByteArray bytes(4, '\0');
    qToBigEndian(value, bytes.data());
    return bytes;
}

QByteArray frame23(const char* id, const QByteArray& body)
{
    return QByteArray(id, 4) + be32(quint32(body.size())) + QByteArray(2, '\0') + body;
}

QByteArray textFrame(const char* id, const QByteArray& text)
{
    return frame23(id, '\0' + text);
}

QByteArray lyricsText(int index)
{
    QByteArray text;
    int line = 0;
    while (text.size() < 1000) {
        text += "Verse line " + QByteArray::number(++line) + " of song " + QByteArray::number(index) +
                ", sung slowly and then faster\n";
    }
    return text;
}

QByteArray id3v23Tag(int index, const QByteArray& jpeg)
{
    const QByteArray number = QByteArray::number(index).rightJustified(5, '0');
    QByteArray frames;
    frames += textFrame("TIT2", "Song title " + number);
    frames += textFrame("TPE1", "Artist " + QByteArray::number(index % 37));
    frames += textFrame("TALB", "Album " + QByteArray::number(index / 12));
    frames += textFrame("TYER", QByteArray::number(1960 + index % 60));
    frames += textFrame("TRCK", QByteArray::number(index % 12 + 1) + "/12");
    frames += textFrame("TCON", "(17)");
    frames += frame23("USLT", QByteArray("\0eng\0", 5) + lyricsText(index));
    frames += frame23("APIC", QByteArray("\0image/jpeg\0\x03\0", 14) + jpeg);
    const quint32 size = quint32(frames.size());
    QByteArray header("ID3\x03\0\0", 6);
    header += char((size >> 21) & 0x7F);
    header += char((size >> 14) & 0x7F);
    header += char((size >> 7) & 0x7F);
    header += char(size & 0x7F);
    return header + frames;
}

QByteArray id3v1Trailer(int index)
{
    const auto field = [](const QByteArray& text, int length) {
        return text.left(length) + QByteArray(length - qMin<int>(length, text.size()), '\0');
    };
    QByteArray tag = "TAG";
    tag += field("Song title " + QByteArray::number(index).rightJustified(5, '0'), 30);
    tag += field("Artist " + QByteArray::number(index % 37), 30);
    tag += field("Album " + QByteArray::number(index / 12), 30);
    tag += field(QByteArray::number(1960 + index % 60), 4);
    tag += field("", 28);
    tag += '\0';
    tag += char(index % 12 + 1);
    tag += char(17);
    return tag;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 2) {
        std::fprintf(stderr, "usage: %s FOLDER [COUNT=500] [AUDIO_KB=1024]\n", argv[0]);
        return 2;
    }
    const QString folder = args[1];
    const int count = args.size() > 2 ? args[2].toInt() : 500;
    const int audioKB = args.size() > 3 ? args[3].toInt() : 1024;
    if (count <= 0 || audioKB <= 0 || !QDir().mkpath(folder)) {
        std::fprintf(stderr, "bad arguments\n");
        return 2;
    }
    const QByteArray jpeg = BenchCover::makeJpeg(kPictureTarget);
    if (jpeg.isEmpty()) {
        std::fprintf(stderr, "no JPEG writer available\n");
        return 1;
    }
    const int frameCount = audioKB * 1024 / kFrameLength;
    QByteArray audio;
    audio.reserve(frameCount * kFrameLength);
    for (int i = 0; i < frameCount; ++i)
        audio += frameBytes(i);

    for (int index = 1; index <= count; ++index) {
        QFile file(QStringLiteral("%1/song%2.mp3").arg(folder).arg(index, 5, 10, QLatin1Char('0')));
        const QByteArray tag = id3v23Tag(index, jpeg);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(tag) != tag.size() ||
            file.write(audio) != audio.size() || file.write(id3v1Trailer(index)) != 128) {
            std::fprintf(stderr, "cannot write %s\n", qPrintable(file.fileName()));
            return 1;
        }
    }
    std::printf("%d files, picture %lld bytes, audio %lld bytes each\n", count, qint64(jpeg.size()),
                qint64(audio.size()));
    return 0;
}
