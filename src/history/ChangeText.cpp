#include "ChangeText.h"

#include "support/LocalizedStrings.h"

#include <QFileInfo>

namespace {

// Lyrics are shown as their first line, cut short.
constexpr qsizetype kLyricsPreview = 40;

QString quoted(const QString& value)
{
    return QLatin1Char('"') + value + QLatin1Char('"');
}

QString lyricsPreview(const QString& lyrics)
{
    if (lyrics.isEmpty())
        return LocalizedStrings::text(QStringLiteral("ChangeNone"));
    QString first = lyrics.section(QLatin1Char('\n'), 0, 0).trimmed();
    if (first.size() > kLyricsPreview || first.size() < lyrics.trimmed().size())
        first = first.left(kLyricsPreview) + QStringLiteral("…");
    return LocalizedStrings::format(
        QStringLiteral("ChangeLyricsLines"), quoted(first),
        LocalizedStrings::count(QStringLiteral("CountLines"), lyrics.count(QLatin1Char('\n')) + 1));
}

} // namespace

QString ChangeText::value(const TagSnapshot& values, TagAttribute attribute)
{
    if (attribute == TagAttribute::Lyrics)
        return lyricsPreview(values.lyrics);
    if (attribute == TagAttribute::Artwork) {
        if (values.pictures.isEmpty())
            return LocalizedStrings::text(QStringLiteral("ChangeNone"));
        qint64 bytes = 0;
        for (const ID3Image& picture : values.pictures)
            bytes += picture.imageData().size();
        return LocalizedStrings::format(
            QStringLiteral("ChangePictures"),
            LocalizedStrings::count(QStringLiteral("CountPictures"), values.pictures.size()), bytes);
    }
    return quoted(values.text(attribute));
}

QString ChangeText::change(TagAttribute attribute, const TagSnapshot& before, const TagSnapshot& after)
{
    return TagSnapshot::nameOf(attribute) + QStringLiteral(": ") + value(before, attribute) + QStringLiteral(" → ") +
           value(after, attribute);
}

QString ChangeText::origin(const ChangeOrigin& origin)
{
    switch (origin.kind) {
    case ChangeOrigin::Kind::User:
        return LocalizedStrings::text(QStringLiteral("OriginUser"));
    case ChangeOrigin::Kind::Sibling:
        return LocalizedStrings::format(QStringLiteral("OriginSibling"), QFileInfo(origin.detail).fileName());
    case ChangeOrigin::Kind::WebSource:
        return LocalizedStrings::format(QStringLiteral("OriginWeb"), origin.detail);
    case ChangeOrigin::Kind::RebuiltTag:
        return LocalizedStrings::text(QStringLiteral("OriginRebuilt"));
    case ChangeOrigin::Kind::Undo:
        return LocalizedStrings::format(QStringLiteral("OriginUndo"), origin.detail);
    case ChangeOrigin::Kind::FilePath:
        return LocalizedStrings::text(QStringLiteral("OriginPath"));
    }
    return QString();
}
