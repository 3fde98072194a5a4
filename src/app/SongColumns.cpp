#include "SongColumns.h"

#include "support/LocalizedStrings.h"

#include <array>

namespace {

struct ColumnInfo
{
    const char* identifier;
    bool descendingFirst;
    bool editableText;
    bool icon;
    bool numeric;
    int widthInCharacters;
    bool hidden;
};

constexpr std::array<ColumnInfo, SongColumns::kCount> kColumns = {{
    {"active", false, false, true, false, 3, false},
    {"index", false, false, false, true, 5, false},
    {"compilation", true, false, false, false, 7, true},
    {"artist", false, true, false, false, 24, false},
    {"title", false, true, false, false, 30, false},
    {"album", false, true, false, false, 26, false},
    {"track", false, true, false, true, 7, false},
    {"year", true, true, false, true, 7, false},
    {"genre", false, true, false, false, 16, false},
    {"version", false, false, false, false, 8, true},
    {"bpm", false, true, false, true, 6, true},
    {"formattedDuration", true, false, false, true, 7, false},
    {"lyrics", true, false, true, false, 7, false},
    {"art", true, false, true, false, 6, false},
}};

const ColumnInfo& info(SongColumn column)
{
    return kColumns.at(static_cast<size_t>(column));
}

} // namespace

QString SongColumns::identifier(SongColumn column)
{
    return QLatin1String(info(column).identifier);
}

int SongColumns::indexOf(const QString& identifier)
{
    for (int i = 0; i < kCount; ++i) {
        if (identifier == QLatin1String(kColumns.at(size_t(i)).identifier))
            return i;
    }
    return -1;
}

QString SongColumns::title(SongColumn column)
{
    // The status column is too narrow for a word.
    if (column == SongColumn::Active)
        return {};
    return LocalizedStrings::text(QStringLiteral("SongsTableTitle_") + identifier(column));
}

QString SongColumns::accessibleTitle(SongColumn column)
{
    const QString shown = title(column);
    return shown.isEmpty() ? LocalizedStrings::text(QStringLiteral("SongsTableName_") + identifier(column))
                           : shown;
}

QString SongColumns::headerToolTip(SongColumn column)
{
    return LocalizedStrings::text(QStringLiteral("SongsTableHeader_") + identifier(column));
}

bool SongColumns::sortsDescendingFirst(SongColumn column)
{
    return info(column).descendingFirst;
}

bool SongColumns::isSortable(SongColumn column)
{
    return column != SongColumn::Active;
}

bool SongColumns::isEditableText(SongColumn column)
{
    return info(column).editableText;
}

bool SongColumns::isIconColumn(SongColumn column)
{
    return info(column).icon;
}

bool SongColumns::isNumeric(SongColumn column)
{
    return info(column).numeric;
}

int SongColumns::defaultWidthInCharacters(SongColumn column)
{
    return info(column).widthInCharacters;
}

bool SongColumns::isHiddenByDefault(SongColumn column)
{
    return info(column).hidden;
}
