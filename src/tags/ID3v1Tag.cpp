#include "ID3v1Tag.h"

#include "GenreList.h"
#include "ID3FrameReader.h"
#include "ID3TextCodec.h"
#include "MP3InfoTag.h"

#include <QSet>

namespace {

void copyField(QByteArray& block, qsizetype offset, qsizetype maxLength, const QString& value)
{
    const QByteArray bytes = ID3TextCodec::latin1Lossy(value).left(maxLength);
    std::copy(bytes.cbegin(), bytes.cend(), block.begin() + offset);
}

} // namespace

void ID3v1Tag::read(MP3InfoTag& tag, QByteArrayView block)
{
    if (block.size() < kSize)
        throw ID3ReadError(QStringLiteral("getAttributesFromID3v1"), "NSObjectNotAvailableException");
    const bool v22 = tag.readVersion().startsWith(QLatin1String("2.2"));
    const auto id = [v22](const char* id23, const char* id22) {
        return QString::fromLatin1(v22 ? id22 : id23);
    };
    const auto store = [&tag](const QString& frameID, const QString& value) {
        if (!value.isEmpty() && tag.indexOfFrame(frameID) < 0)
            tag.setStringForID(frameID, value);
    };
    const auto present = [&block](qsizetype offset) {
        return block[offset] != 0;
    };

    if (present(3))
        store(id("TIT2", "TT2"), ID3TextCodec::id3v1StringIn(block, 3, 30));
    if (present(33))
        store(id("TPE1", "TP1"), ID3TextCodec::id3v1StringIn(block, 33, 30));
    if (present(63))
        store(id("TALB", "TAL"), ID3TextCodec::id3v1StringIn(block, 63, 30));
    if (present(93)) {
        const QString year = ID3TextCodec::id3v1StringIn(block, 93, 4);
        if (ID3TextCodec::integerValue(year) >= 1001)
            store(id("TDRC", "TYE"), year);
    }
    if (present(97) && !v22 && tag.indexOfFrame(QStringLiteral("COMM")) < 0) {
        const QString comment = ID3TextCodec::id3v1StringIn(block, 97, 28);
        if (!comment.isEmpty()) {
            // Flags, encoding, language, empty descriptor, text.
            const int encoding = ID3TextCodec::writingEncodingFor({comment});
            QByteArray frame("\0\0", 2);
            frame += static_cast<char>(encoding);
            frame += "eng";
            frame += ID3TextCodec::encodedString(QString(), encoding) + ID3TextCodec::terminator(encoding);
            frame += ID3TextCodec::encodedString(comment, encoding);
            tag.appendFrame(QStringLiteral("COMM"), frame);
        }
    }
    const bool hasTrack = block[125] == 0 && block[126] != 0;
    if (hasTrack)
        store(id("TRCK", "TRK"), QString::number(static_cast<uchar>(block[126])));
    const int genre = static_cast<uchar>(block[127]);
    if (genre < GenreList::allGenres().size())
        store(id("TCON", "TCO"), GenreList::expandedGenres(QStringLiteral("(%1)").arg(genre)));
    if (tag.readVersion().isEmpty())
        tag.setReadVersion(hasTrack ? QStringLiteral("1.1") : QStringLiteral("1.0"));
}

QByteArray ID3v1Tag::data(const MP3InfoTag& tag)
{
    QByteArray block(kSize, '\0');
    block[0] = 'T';
    block[1] = 'A';
    block[2] = 'G';
    copyField(block, 3, 30, tag.title());
    copyField(block, 33, 30, tag.artist());
    copyField(block, 63, 30, tag.album());
    copyField(block, 93, 4, tag.year());
    const QString track = tag.track();
    qsizetype digits = 0;
    while (digits < track.size() && track.at(digits).isDigit() && track.at(digits).unicode() < 128)
        ++digits;
    block[126] = static_cast<char>(track.left(digits).toLongLong() & 0xff);
    const QString firstGenre = tag.genres().section(QLatin1Char('/'), 0, 0);
    const qint64 index = GenreList::indexOfGenre(firstGenre);
    block[127] = static_cast<char>(index < 255 ? index : 255);
    return block;
}

bool ID3v1Tag::canHoldWithoutLoss(const MP3InfoTag& tag)
{
    // Only the frames the block has fields for; anything else (pictures,
    // comments, lyrics, tempo, kept frames) would be lost.
    static const QSet<QString> fieldIDs = {
        QStringLiteral("TIT2"), QStringLiteral("TPE1"), QStringLiteral("TALB"), QStringLiteral("TDRC"),
        QStringLiteral("TRCK"), QStringLiteral("TCON"), QStringLiteral("TT2"),  QStringLiteral("TP1"),
        QStringLiteral("TAL"),  QStringLiteral("TYE"),  QStringLiteral("TRK"),  QStringLiteral("TCO")};
    for (const QString& frameID : tag.frameIDs()) {
        if (!fieldIDs.contains(frameID))
            return false;
    }
    if (tag.numberOfImages() > 0)
        return false;
    for (const QString& value : {tag.title(), tag.artist(), tag.album()}) {
        if (value.size() > 30 || !ID3TextCodec::isLatin1Convertible(value))
            return false;
    }
    // The block's year field is read back only from 1001 on.
    const QString year = tag.year();
    if (year.size() > 4 || (!year.isEmpty() && ID3TextCodec::integerValue(year) < 1001))
        return false;
    const QString track = tag.track();
    if (track.contains(QLatin1Char('/')))
        return false;
    if (!track.isEmpty() &&
        (ID3TextCodec::integerValue(track) < 1 || ID3TextCodec::integerValue(track) > 255 ||
         QString::number(ID3TextCodec::integerValue(track)) != track))
        return false;
    const QString genre = tag.genres();
    return genre.isEmpty() || GenreList::indexOfGenre(genre) < 255;
}
