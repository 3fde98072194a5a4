#pragma once

#include <QByteArrayView>
#include <QString>

// A cheap look at a property list's bytes before libplist is given them.
// libplist's readers and the release of its tree recurse once per level of
// nesting (a few hundred thousand nested arrays end the process), and its
// binary reader copies an object shared by several references once for each
// of them (a chain of arrays that each hold the next twice unfolds to 2^n
// values). The check walks the XML tags, or the binary form's object table,
// without building anything and in memory proportional to the nesting (XML)
// or to the number of objects (binary), and says whether the bytes are safe
// to hand over: nested no deeper than the limit, complete, and, for the
// binary form, unfolding to no more values than the file has bytes.
class PlistShapeCheck
{
public:
    enum class Verdict
    {
        Fine = 0,
        TooDeep = 1,   // containers nested deeper than the limit
        Truncated = 2, // the bytes end inside the document (or before </plist>)
        Damaged = 3,   // a closing tag that closes nothing open, a broken binary table, a loop
        TooLarge = 4,  // a binary file whose shared objects unfold without bound
        Unusual = 5,   // XML forms (CDATA, markup inside comments, an internal DTD) not checked
    };

    struct Result
    {
        Verdict verdict = Verdict::Fine;
        qsizetype position = 0; // where the XML check stopped, or the offending binary object's offset
        int depth = 0;          // the deepest container nesting seen
    };

    // Binary ("bplist00") data gets the binary check, anything else the XML one.
    static Result check(QByteArrayView data, int maxDepth);
    static Result checkXml(QByteArrayView data, int maxDepth);
    static Result checkBinary(QByteArrayView data, int maxDepth);

    // The reason in words, for error texts and the log; empty for Fine.
    static QString describe(const Result& result, int maxDepth);
};
