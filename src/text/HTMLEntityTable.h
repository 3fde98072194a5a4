#pragma once

#include <QString>

#include <optional>

// The character entity names of HTML 4.01 plus a few spellings met in the
// wild ("LT", "GT", "AMP", "QUOT", "apos", "percnt", "supl"), in both
// directions. Built once, read-only afterwards.
class HTMLEntityTable
{
public:
    // Code point of a name (case-sensitive), or none.
    static std::optional<char16_t> codePointForName(QStringView name);
    // Name of a code point, or a null string. Where two names share a code
    // point the later one in the list wins (185 -> "supl", 60 -> "lt").
    static QString nameForCodePoint(char16_t codePoint);
    // Number of names in the table.
    static int count();
};
