#pragma once

#include <QByteArrayView>
#include <QVariant>

#include <optional>
#include <string>

// The value of one leaf element of an XML property list, read from the raw
// bytes between its tags exactly as libplist reads it, for the reader that
// takes libplist's place on well-formed XML (ExpatPlistParser). The bytes
// hold no markup but comments, which are left out.
//
// The common forms are read here: texts with the five named and the numeric
// character references, decimal integers, dates of the form
// "YYYY-MM-DDTHH:MM:SSZ" and padded base64 data. libplist has its own way
// with everything else (octal and hexadecimal integers, blanks around a sign,
// dates it fills in or moves, data with stray characters, every real number),
// and such a value is handed to libplist on its own, so that the answer is
// libplist's by construction. An answer of nothing means that libplist
// refuses the value, and with it the whole document.
class PlistLeafReader
{
public:
    // The text of a key or string: references replaced, comments left out.
    // The bytes answered point into `raw` or into `scratch`.
    static std::optional<QByteArrayView> text(QByteArrayView raw, std::string* scratch);

    // int, or qlonglong when it does not fit.
    static std::optional<QVariant> integer(QByteArrayView raw);
    static std::optional<QVariant> real(QByteArrayView raw);
    // QDateTime in UTC.
    static std::optional<QVariant> date(QByteArrayView raw);
    static std::optional<QVariant> data(QByteArrayView raw);
    // A true or false element that holds something.
    static std::optional<QVariant> boolean(bool value, QByteArrayView raw);

    // The bytes with every comment taken out; nothing when a comment is not
    // closed or other markup is found.
    static std::optional<QByteArrayView> withoutComments(QByteArrayView raw, std::string* scratch);

private:
    // libplist's reading of "<tag>raw</tag>" on its own.
    static std::optional<QVariant> throughLibplist(const char* tag, QByteArrayView raw);
};
