#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

// The platform property-list parser and the conversion of its tree into
// QVariantMap / QVariantList / QString / int or qlonglong / double / bool /
// QDateTime (UTC) / QByteArray. The XML form is read by ExpatPlistParser,
// which gives libplist's tree; what it declines, and the binary form, are
// read by libplist.
class SystemPlistParser
{
public:
    // Containers nested deeper than this are refused rather than converted.
    static constexpr int kMaxDepth = 512;

    // Answers the root container, or a null QVariant with `error` set when
    // the data cannot be read or its root is not a dictionary or an array.
    // libplist's own tree is taken apart while it is converted, and keys and
    // values that repeat share their text, so that a library of tens of
    // thousands of tracks is never held twice over.
    static QVariant parse(const QByteArray& data, QString* error);

    // The same with libplist alone, after the same check of the bytes.
    static QVariant parseWithLibplist(const QByteArray& data, QString* error);

    // Converts a libplist tree (a `plist_t`, passed untyped so that callers
    // need not include libplist) of any kind, leaving it as it is; null with
    // `error` set when it is nested too deeply.
    static QVariant convert(const void* node, QString* error);
};
