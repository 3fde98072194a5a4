#pragma once

#include <QByteArrayView>
#include <QString>
#include <QVariant>

// The reader of the XML property-list form that is tried before libplist.
// expat checks that the data are well-formed XML (UTF-8, names, references,
// nesting) and says which bytes every tag covers, without recursion and in
// memory bounded by the nesting; the tree is built as the elements close,
// and the values are read from the bytes between the tags the way libplist
// reads them (PlistLeafReader), with libplist's rules for keys and the text
// shared as in SystemPlistParser's conversion. So the tree is the one
// libplist's path gives, in about half the time and without libplist's own
// tree beside it. Like libplist, it stops reading where the root closes.
//
// What it cannot be sure to read as libplist would, it declines, and
// libplist reads the data instead: XML that is not well-formed or not UTF-8
// (libplist takes bytes as they come), fewer than 8 bytes, a byte-order mark
// or blanks before the first tag, unknown elements, markup other than
// comments inside a value or between elements, references to entities of a
// document type, attributes holding ">", a value without a key, a root that
// is not a container, values after a root written as an empty element, a
// plist element inside another, and values libplist refuses.
class ExpatPlistParser
{
public:
    struct Result
    {
        QVariant root;    // the root container; null when declined
        QString declined; // why libplist is left to read the data; empty when read
    };

    // `maxDepth` bounds the nesting of containers as PlistShapeCheck does.
    static Result parse(QByteArrayView data, int maxDepth);
};
