#pragma once

#include <QString>
#include <QStringView>

#include <optional>

// The transliteration behind plainASCIIString: any script to Latin,
// combining marks stripped, then Latin to ASCII. The ICU transliterator does
// the work; one is kept per thread because they are not thread-safe. Text
// made only of ASCII and of Latin letters, combining marks and punctuation
// takes a table of the transliterator's own per-character answers instead,
// which is many times faster and gives the same result.
class LatinFolding
{
public:
    // The text through the transliterator; a null string when none could be
    // made.
    static QString transliterated(QStringView text);
    // The same result from the table, or none when a character of the text
    // is not in it (or depends on its neighbours).
    static std::optional<QString> transliteratedByTable(QStringView text);
};
