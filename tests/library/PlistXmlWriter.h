#pragma once

#include <QByteArray>
#include <QVariant>

#include <random>

// Random property lists in the XML form, for comparing readers: nested
// dictionaries and arrays of every kind of value, texts with references,
// non-ASCII letters and line ends, blanks of every sort between the tags.
class PlistXmlWriter
{
public:
    enum class Forms
    {
        // Everything libplist reads: comments inside values, empty-element
        // tags, blanks inside tags, odd dates, attributes.
        Any,
        // Only the forms our own tolerant reader reads as libplist does.
        Plain,
    };

    static QByteArray document(std::mt19937& random, Forms forms);

    // Equal types and values throughout, to the bit (QVariant's own
    // comparison takes an int for a qlonglong of the same value).
    static bool sameTree(const QVariant& a, const QVariant& b);

    // The tree as our own tolerant reader gives it: no reals, no data, no
    // empty strings, integers cut to 32 bits.
    static QVariant asManualReaderSees(const QVariant& tree);
};
