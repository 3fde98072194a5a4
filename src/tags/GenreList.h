#pragma once

#include <QString>
#include <QStringList>

#include <limits>

// The genre names by ID3v1 index (the "genres" list of the live resources)
// and the operations that turn genre texts into names of that list.
class GenreList
{
public:
    // The largest signed 64-bit value: "no such genre".
    static constexpr qint64 NotFound = std::numeric_limits<qint64>::max();

    // The list, read once per process from the live resources.
    static const QStringList& allGenres();
    // The name at an index, or a null string out of range.
    static QString genreForIndex(qint64 index);
    // The first index whose name equals the trimmed text ignoring case.
    static qint64 indexOfGenre(const QString& name);
    // The longest genre whose simplified name occurs in the simplified text
    // (ties to the higher index); null when none or the text is too short.
    static QString standardizedGenreFrom(const QString& text);
    // Replaces numeric references "(n)" (and a bare number) by genre names
    // and drops repeated names: "(17)(4)" gives "Rock/Disco".
    static QString expandedGenres(const QString& text);
};
