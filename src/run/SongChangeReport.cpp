#include "SongChangeReport.h"

#include "history/ChangeText.h"
#include "tags/AudioInfoTag.h"

QStringList SongChangeReport::changesTo(const AudioInfoTag& tag,
                                        const QHash<TagAttribute, ChangeOrigin>& origins) const
{
    const TagSnapshot after = TagSnapshot::of(tag);
    QStringList lines;
    for (TagAttribute attribute : after.differencesFrom(mBefore)) {
        QString line = ChangeText::change(attribute, mBefore, after);
        if (const auto origin = origins.constFind(attribute); origin != origins.constEnd())
            line += QStringLiteral("  (") + ChangeText::origin(*origin) + QLatin1Char(')');
        lines.append(line);
    }
    return lines;
}
