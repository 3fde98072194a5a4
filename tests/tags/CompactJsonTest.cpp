// `tags --json` writes its lines itself; they must be byte for byte what
// QJsonDocument writes for the same object.
#include "cli/CompactJson.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

QString units(std::initializer_list<char16_t> codes)
{
    QString text;
    for (const char16_t code : codes)
        text.append(QChar(code));
    return text;
}

} // namespace

TEST(CompactJson, WritesWhatQJsonDocumentWrites)
{
    const struct
    {
        const char* name;
        QString text;
    } texts[] = {
        {"plain", QStringLiteral("Song title 00001")},
        {"quotes and backslashes", QStringLiteral("a \"b\" \\c\\")},
        {"control characters", units({1, 8, 9, 10, 12, 13, 0x1F, 0x7F, 'x'})},
        {"Latin-1", QStringLiteral("Caf\u00E9 \u00A9")},
        {"three-byte characters", QStringLiteral("\u6771\u4EAC \u20AC")},
        {"a pair of surrogates", units({'a', 0xD83C, 0xDFB5, 'b'})},
        {"a lone high surrogate at the end", units({'a', 0xD83C})},
        {"a high surrogate before a letter", units({0xD83C, 'a'})},
        {"a lone low surrogate", units({0xDFB5, 'z'})},
        {"empty", QString(QLatin1String(""))},
    };
    for (const auto& row : texts) {
        CompactJson ours;
        ours.add(QLatin1String("text"), row.text);
        const QJsonObject qt{{QStringLiteral("text"), row.text}};
        EXPECT_EQ(ours.toJson(), QJsonDocument(qt).toJson(QJsonDocument::Compact)) << row.name;
    }

    const double numbers[] = {163.84,
                              163.0,
                              0.1,
                              1e21,
                              1e-7,
                              -0.0,
                              123456789.125,
                              3.0e300,
                              std::numeric_limits<double>::quiet_NaN(),
                              std::numeric_limits<double>::infinity()};
    for (const double number : numbers) {
        CompactJson ours;
        ours.add(QLatin1String("n"), number);
        EXPECT_EQ(ours.toJson(),
                  QJsonDocument(QJsonObject{{QStringLiteral("n"), number}}).toJson(QJsonDocument::Compact))
            << number;
    }

    // Members in any order, every kind of value, objects in an array.
    CompactJson picture;
    picture.add(QLatin1String("width"), 600);
    picture.addNull(QLatin1String("height"));
    picture.add(QLatin1String("bytes"), qint64(101357));
    CompactJson ours;
    ours.add(QLatin1String("readable"), true);
    ours.addText(QLatin1String("title"), QString());
    ours.add(QLatin1String("problem"), false);
    ours.addRaw(QLatin1String("pictures"), CompactJson::arrayOf({picture.toJson(), picture.toJson()}));
    ours.addRaw(QLatin1String("none"), CompactJson::arrayOf({}));
    ours.add(QLatin1String("readVersion"), qint64(-12));
    ours.add(QLatin1String("pictureCount"), 2);
    const QJsonObject qtPicture{{QStringLiteral("width"), 600},
                                {QStringLiteral("height"), QJsonValue()},
                                {QStringLiteral("bytes"), qint64(101357)}};
    const QJsonObject qt{{QStringLiteral("readable"), true},
                         {QStringLiteral("title"), QJsonValue()},
                         {QStringLiteral("problem"), false},
                         {QStringLiteral("pictures"), QJsonArray{qtPicture, qtPicture}},
                         {QStringLiteral("none"), QJsonArray()},
                         {QStringLiteral("readVersion"), -12},
                         {QStringLiteral("pictureCount"), 2}};
    EXPECT_EQ(ours.toJson(), QJsonDocument(qt).toJson(QJsonDocument::Compact));
}
