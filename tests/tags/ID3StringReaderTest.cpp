// The string readers of the ID3 tags and the embedded picture parser.
#include "tags/ID3Image.h"
#include "tags/ID3TextCodec.h"
#include "tags/MP3InfoTag.h"

#include <QIODevice>

#include <gtest/gtest.h>

namespace {

QByteArray bytes(std::initializer_list<int> values)
{
    QByteArray b;
    for (int v : values)
        b += static_cast<char>(v);
    return b;
}

} // namespace

TEST(ID3StringReader, FixedFieldsStopAtZeroAndDropTrailingControlBytes)
{
    const QByteArray field = QByteArray("Abbey Road  \t\x01", 14) + QByteArray(16, '\0');
    EXPECT_EQ(ID3TextCodec::id3v1StringIn(field, 0, 30), QStringLiteral("Abbey Road"));
    EXPECT_EQ(ID3TextCodec::id3v1StringIn(QByteArray("Help!xyz"), 0, 5), QStringLiteral("Help!"));
    EXPECT_TRUE(ID3TextCodec::id3v1StringIn(QByteArray("   \0abc", 7), 0, 7).isNull());
    // Valid UTF-8 is taken as such, anything else as ISO-8859-1.
    EXPECT_EQ(ID3TextCodec::id3v1StringIn(QByteArray("Bj\xc3\xb6rk"), 0, 30), QStringLiteral("Bj\u00f6rk"));
    EXPECT_EQ(ID3TextCodec::id3v1StringIn(QByteArray("Bj\xf6rk"), 0, 30), QStringLiteral("Bj\u00f6rk"));
    // Offsets and limits outside the data give nothing, never a read past it.
    EXPECT_TRUE(ID3TextCodec::id3v1StringIn(QByteArray("abc"), 5, 30).isNull());
    EXPECT_EQ(ID3TextCodec::id3v1StringIn(QByteArray("abc"), 1, 300), QStringLiteral("bc"));
}

TEST(ID3StringReader, TextFramesWithOddEncodingBytes)
{
    // An encoding byte that is really the first letter.
    const QByteArray noEncoding("Artist");
    EXPECT_EQ(ID3TextCodec::id3v23StringsIn(noEncoding, 0, noEncoding.size()),
              QStringList{QStringLiteral("Artist")});
    // An unknown small encoding is skipped and the text read as ISO-8859-1.
    const QByteArray five("\5Caf\xe9", 5);
    EXPECT_EQ(ID3TextCodec::id3v23StringsIn(five, 0, five.size()), QStringList{QStringLiteral("Caf\u00e9")});
    // Several strings; empty ones are dropped.
    const QByteArray several = QByteArray("\x00Rock\x00\x00Pop\x00", 11);
    EXPECT_EQ(ID3TextCodec::id3v23StringsIn(several, 0, several.size()),
              (QStringList{QStringLiteral("Rock"), QStringLiteral("Pop")}));
    EXPECT_TRUE(ID3TextCodec::id3v23StringsIn(several, 5, 10).isEmpty()); // beyond the data
}

TEST(ID3StringReader, TextBlocks)
{
    const QByteArray latin = QByteArray("\0engdesc\0\0\0Line one\nLine two", 28);
    const QVariantMap block = ID3TextCodec::textBlockIn(latin, 0, latin.size());
    EXPECT_EQ(block.value(QStringLiteral("lang")).toString(), QStringLiteral("eng"));
    EXPECT_EQ(block.value(QStringLiteral("desc")).toString(), QStringLiteral("desc"));
    EXPECT_EQ(block.value(QStringLiteral("text")).toString(), QStringLiteral("Line one\nLine two"));

    QByteArray utf16 = bytes({1, 'd', 'e', 'u', 0xff, 0xfe, 0, 0, 0xff, 0xfe});
    for (const QChar c : QStringLiteral("Stra\u00dfe"))
        utf16 += QByteArray(reinterpret_cast<const char*>(&c), 2);
    const QVariantMap unicode = ID3TextCodec::textBlockIn(utf16, 0, utf16.size());
    EXPECT_EQ(unicode.value(QStringLiteral("lang")).toString(), QStringLiteral("deu"));
    EXPECT_FALSE(unicode.contains(QStringLiteral("desc")));
    EXPECT_EQ(unicode.value(QStringLiteral("text")).toString(), QStringLiteral("Stra\u00dfe"));

    // Too short, an unknown encoding, no text.
    for (const QByteArray& bad :
         {QByteArray("\0eng\0", 5), QByteArray("\4engxx\0text", 11), QByteArray("\0eng\0\0\0", 7)})
        EXPECT_TRUE(ID3TextCodec::textBlockIn(bad, 0, bad.size()).isEmpty()) << bad.toHex().constData();
}

TEST(ID3StringReader, SynchSafeAndNumbers)
{
    EXPECT_EQ(MP3InfoTag::getSynchSafeIntIn(bytes({0, 0, 2, 0x2c}), 0), 300u);
    EXPECT_EQ(MP3InfoTag::getSynchSafeIntIn(bytes({0x7f, 0x7f, 0x7f, 0x7f}), 0), (1u << 28) - 1);
    EXPECT_EQ(MP3InfoTag::getSynchSafeIntIn(bytes({1, 2, 3}), 0), 0u);
    EXPECT_EQ(ID3TextCodec::integerValue(u" 1999-05-01"), 1999);
    EXPECT_EQ(ID3TextCodec::integerValue(u"0999"), 999);
    EXPECT_EQ(ID3TextCodec::integerValue(u"-3"), -3);
    EXPECT_EQ(ID3TextCodec::integerValue(u"abc"), 0);
    EXPECT_EQ(ID3TextCodec::integerValue(u"99999999999999999999999"), 999999999999999999);
}

TEST(ID3Picture, PICFrames)
{
    EXPECT_FALSE(ID3Image::imageWithID3v22Frame(bytes({0, 'J', 'P', 'G', 3, 0})).has_value());
    const auto plain = ID3Image::imageWithID3v22Frame(bytes({0, 'J', 'P', 'G', 3, 0, 0xff, 0xd8}));
    ASSERT_TRUE(plain.has_value());
    EXPECT_EQ(plain->mimeFormat(), QStringLiteral("image/jpg"));
    EXPECT_EQ(plain->pictureType(), 3);
    EXPECT_EQ(plain->imageData(), bytes({0xff, 0xd8}));
    // With a description the data begin at its terminator, which stays in.
    const auto described =
        ID3Image::imageWithID3v22Frame(bytes({0, 'P', 'N', 'G', 0, 'h', 'i', 0, 0x89, 'P'}));
    ASSERT_TRUE(described.has_value());
    EXPECT_EQ(described->pictureDescription(), QStringLiteral("hi"));
    EXPECT_EQ(described->imageData(), bytes({0, 0x89, 'P'}));
}

TEST(ID3Picture, DetectionSuffixArchiveAndCopy)
{
    EXPECT_EQ(ID3Image(bytes({0xff, 0xd8, 0xff, 0xe0, 1}), QString()).mimeFormat(),
              QStringLiteral("image/jpeg"));
    // Exif JPEG is not recognised by detection.
    EXPECT_TRUE(ID3Image(bytes({0xff, 0xd8, 0xff, 0xe1, 1}), QString()).mimeFormat().isEmpty());
    EXPECT_EQ(ID3Image(bytes({0x89, 'P', 'N', 'G'}), QString()).mimeFormat(), QStringLiteral("image/png"));
    EXPECT_EQ(ID3Image(QByteArray("x"), QStringLiteral("image/jpeg")).filenameSuffix(),
              QStringLiteral("JPG"));
    EXPECT_TRUE(ID3Image(QByteArray("x"), QString()).filenameSuffix().isNull());
    EXPECT_FALSE(ID3Image::imageWithData(QByteArray()).has_value());

    ID3Image picture(QByteArray("data"), QStringLiteral("image/png"));
    picture.setPictureDescription(QStringLiteral("front"));
    picture.setPictureType(3);
    picture.setTextEncoding(1);
    EXPECT_EQ(ID3Image::fromArchive(picture.archived()), picture);
    QByteArray stream;
    {
        QDataStream out(&stream, QIODevice::WriteOnly);
        picture.encode(out);
    }
    QDataStream in(stream);
    EXPECT_EQ(ID3Image::decode(in), picture);
    const ID3Image copy = picture.copy();
    EXPECT_TRUE(copy.pictureDescription().isNull());
    EXPECT_EQ(copy.pictureType(), 3);
    EXPECT_EQ(copy.textEncoding(), 1);
    EXPECT_EQ(copy.imageData(), picture.imageData());
}
