#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <optional>

// Turns search texts and dictionaries into the forms put into query URLs and
// form-encoded request bodies.
class QueryEncoder
{
public:
    // ASCII, blanks as "+", "&+" removed (or, with alphaNumericOnly, all but
    // letters, digits and "+" removed), every "+" replaced by spaceString,
    // then escaped once.
    static QString stringForPost(const QString& text, bool alphaNumericOnly, const QString& spaceString);

    // "key=value&..." for the keys of order (or all keys sorted when none),
    // skipping keys without a value; blanks in values become "+".
    static std::optional<QByteArray> HTTPFromDictionary(const QVariantMap& dictionary,
                                                        const std::optional<QStringList>& order);
};
