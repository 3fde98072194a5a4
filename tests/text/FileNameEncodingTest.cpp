#include "text/FileNameEncoding.h"

#include <gtest/gtest.h>

TEST(FileNameEncoding, BytesThatAreNotUtf8AreShownAsBashQuotesThem)
{
    struct Row
    {
        QByteArray raw;
        QString shown;
        bool representable;
    };
    const Row rows[] = {
        {"caf\xc3\xa9.mp3", QStringLiteral("caf\u00e9.mp3"), true},
        {"caf\xe9.mp3", QStringLiteral("caf$'\\351'.mp3"), false},
        {"a\xe9\xe8z", QStringLiteral("a$'\\351\\350'z"), false},
        {"\xff", QStringLiteral("$'\\377'"), false},
        {"tab\there", QStringLiteral("tab$'\\011'here"), true},
        {"overlong \xc0\xaf", QStringLiteral("overlong $'\\300\\257'"), false},
        {"surrogate \xed\xa0\x80", QStringLiteral("surrogate $'\\355\\240\\200'"), false},
        {"cut \xe2\x82", QStringLiteral("cut $'\\342\\202'"), false},
        {"\xf0\x9f\x8e\xb5 ok", QStringLiteral("\U0001F3B5 ok"), true},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(FileNameEncoding::shellQuoted(row.raw), row.shown) << row.raw.toHex().constData();
        EXPECT_EQ(FileNameEncoding::isRepresentable(row.raw), row.representable)
            << row.raw.toHex().constData();
    }
}
