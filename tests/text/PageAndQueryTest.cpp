#include "TestSupport.h"

#include "text/WMCompressionExtensions.h"
#include "web/WMUtility.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

#include <random>

namespace {

QVariantMap tableDescription()
{
    return {{QStringLiteral("listBegin"), QStringLiteral("<tr")},
            {QStringLiteral("listEnd"), QStringLiteral("</table")},
            {QStringLiteral("entryBegin"), QStringLiteral("<tr")},
            {QStringLiteral("textBegin"), QStringLiteral("<td")},
            {QStringLiteral("textEnd"), QStringLiteral("</td>")}};
}

QString page(const char* body)
{
    return QString::fromUtf8(body);
}

// The entries parsed from a page, each in brackets, cells joined by "|".
QString entries(const QString& html, const QVariantMap& description = tableDescription())
{
    const auto parsed = WMUtility::parsedContentsOfHTML(html, description);
    if (!parsed)
        return QStringLiteral("(refused)");
    QStringList joined;
    for (const QStringList& entry : *parsed)
        joined << QLatin1Char('[') + entry.join(QLatin1Char('|')) + QLatin1Char(']');
    return joined.join(QString());
}

} // namespace

TEST(PageExtraction, PiecesStopAtStrayEndsAndEntryBounds)
{
    const QString html = page("<tr>"
                              "<tr></td><td>dropped</td>"     // end before begin: no pieces
                              "<tr><td>a</td></td><td>b</td>" // a stray end stops the entry after "a"
                              "<tr><td>open"                  // its end lies in the next entry
                              "<tr><td>c</td>"
                              "</table>");
    EXPECT_EQ(entries(html), QStringLiteral("[<td>a</td>][<td>c</td>]"));
}

TEST(QueryEncoding, HTTPFromDictionary)
{
    const QVariantMap values{{QStringLiteral("a"), QStringLiteral("1 2")},
                             {QStringLiteral("b"), QStringLiteral("x")},
                             {QStringLiteral("q"), QString::fromUtf16(u"é&\"")}};
    EXPECT_EQ(WMUtility::HTTPFromDictionary(values, QStringList{QStringLiteral("b"), QStringLiteral("a")}),
              QByteArray("b=x&a=1+2"));
    EXPECT_EQ(WMUtility::HTTPFromDictionary(values, QStringList{QStringLiteral("c"), QStringLiteral("b")}),
              QByteArray("b=x"));
    EXPECT_EQ(WMUtility::HTTPFromDictionary(values, std::nullopt), QByteArray("a=1+2&b=x&q=%C3%A9&%22"));
    EXPECT_EQ(WMUtility::HTTPFromDictionary({}, std::nullopt), QByteArray(""));
}

TEST(TextCompression, RoundTripAndPassThrough)
{
    std::mt19937 random(7);
    QByteArray data;
    for (int i = 0; i < 200000; ++i)
        data.append(static_cast<char>("abcdefgh"[random() % 8]));
    const QByteArray packed = WMCompressionExtensions::compressedData(data);
    ASSERT_GE(packed.size(), 2);
    EXPECT_EQ(static_cast<quint8>(packed.at(0)), 0x1F);
    EXPECT_EQ(static_cast<quint8>(packed.at(1)), 0x8B);
    EXPECT_LT(packed.size(), data.size());
    EXPECT_EQ(WMCompressionExtensions::decompressedData(packed), data);
    EXPECT_EQ(WMCompressionExtensions::copyDecompressedData(packed), data);

    const QByteArray plain("not compressed at all");
    EXPECT_EQ(WMCompressionExtensions::decompressedData(plain), plain);
    EXPECT_EQ(WMCompressionExtensions::copyDecompressedData(QByteArray()), std::nullopt);
    EXPECT_EQ(WMCompressionExtensions::decompressedData(QByteArray()), QByteArray());
    EXPECT_TRUE(
        WMCompressionExtensions::decompressedData(WMCompressionExtensions::compressedData({})).isEmpty());
    // A cut-off stream gives what could be read, never more than was there.
    const QByteArray cut = WMCompressionExtensions::decompressedData(packed.left(packed.size() / 2));
    EXPECT_LE(cut.size(), data.size());
    EXPECT_TRUE(data.startsWith(cut.left(1000)));
}

TEST(TextDirectoryWalk, SkipsHiddenPackagesAndLoops)
{
    const QString root = TestSupport::scratchFolder() + QStringLiteral("/walk");
    QDir(root).removeRecursively();
    for (const char* file :
         {"a.mp3", "sub/b.mp3", "sub/deeper/c.m4a", ".hidden/d.mp3", ".e.mp3", "thing.app/f.mp3", "z.mp3"})
        ASSERT_TRUE(TestSupport::writeFile(root + QLatin1Char('/') + QString::fromUtf8(file), "x"));
    ASSERT_TRUE(QFile::link(root, root + QStringLiteral("/sub/loop")));
    QDir().mkpath(root + QStringLiteral("/empty"));

    const QString p = root + QLatin1Char('/');
    EXPECT_EQ(WMUtility::recursiveFilePathsInDirectory(root, false, 1000),
              (QStringList{p + QStringLiteral("a.mp3"), p + QStringLiteral("sub/b.mp3"),
                           p + QStringLiteral("sub/deeper/c.m4a"), p + QStringLiteral("z.mp3")}));
    const QStringList withPackages = WMUtility::recursiveFilePathsInDirectory(root, true, 1000);
    EXPECT_EQ(withPackages.size(), 5);
    EXPECT_TRUE(withPackages.contains(p + QStringLiteral("thing.app/f.mp3")));
    EXPECT_EQ(WMUtility::recursiveFilePathsInDirectory(root, false, 2),
              (QStringList{p + QStringLiteral("a.mp3"), p + QStringLiteral("sub/b.mp3")}));
    EXPECT_TRUE(WMUtility::recursiveFilePathsInDirectory(root, false, 0).isEmpty());
    EXPECT_TRUE(
        WMUtility::recursiveFilePathsInDirectory(root + QStringLiteral("/missing"), true, 10).isEmpty());
}
