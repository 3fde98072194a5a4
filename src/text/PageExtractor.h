#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <optional>

// Cuts a web page into entries and text pieces by plain-text markers taken
// from the resources ("listBegin", "listEnd", "entryBegin", "textBegin",
// "textEnd"), so that a site's layout can change without a new program.
class PageExtractor
{
public:
    // The entries of the first list of the page; each entry is a non-empty
    // list of pieces running from a "textBegin" marker through the end of
    // the following "textEnd" marker. Markers match ignoring case. None when
    // a marker is missing from the description or the page is empty; an
    // empty list when the page has no list.
    static std::optional<QList<QStringList>> parsedContentsOfHTML(const QString& html,
                                                                  const QVariantMap& parseDescription);
};
