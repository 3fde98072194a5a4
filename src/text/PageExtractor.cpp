#include "PageExtractor.h"

namespace {

// First occurrence of marker, ignoring case, lying wholly inside [from, to);
// -1 when there is none. An empty marker is never found.
qsizetype find(QStringView page, const QString& marker, qsizetype from, qsizetype to)
{
    if (marker.isEmpty() || from < 0 || to > page.size() || to - from < marker.size())
        return -1;
    const qsizetype found = page.mid(from, to - from).indexOf(marker, 0, Qt::CaseInsensitive);
    return found < 0 ? -1 : from + found;
}

} // namespace

std::optional<QList<QStringList>> PageExtractor::parsedContentsOfHTML(const QString& html,
                                                                      const QVariantMap& parseDescription)
{
    static const QString keys[] = {QStringLiteral("listBegin"), QStringLiteral("listEnd"),
                                   QStringLiteral("entryBegin"), QStringLiteral("textBegin"),
                                   QStringLiteral("textEnd")};
    QString markers[5];
    for (int i = 0; i < 5; ++i) {
        const auto it = parseDescription.constFind(keys[i]);
        if (it == parseDescription.cend())
            return std::nullopt;
        markers[i] = it->toString();
    }
    if (html.isEmpty())
        return std::nullopt;
    const QString& listBegin = markers[0];
    const QString& listEnd = markers[1];
    const QString& entryBegin = markers[2];
    const QString& textBegin = markers[3];
    const QString& textEnd = markers[4];
    const QStringView page(html);
    const qsizetype length = page.size();

    QList<QStringList> result;
    const qsizetype listStart = find(page, listBegin, 0, length);
    if (listStart < 0)
        return result;
    qsizetype position = listStart + listBegin.size();
    const qsizetype listStop = find(page, listEnd, position, length);
    if (listStop <= position)
        return result;

    for (;;) {
        const qsizetype entryStart = find(page, entryBegin, position, listStop);
        if (entryStart < 0)
            break;
        qsizetype entryStop = find(page, entryBegin, entryStart + 1, listStop);
        if (entryStop < 0)
            entryStop = listStop;
        QStringList pieces;
        qsizetype cursor = entryStart;
        for (;;) {
            const qsizetype pieceStart = find(page, textBegin, cursor, entryStop);
            const qsizetype pieceEnd = find(page, textEnd, cursor, entryStop);
            if (pieceStart < 0 || pieceEnd < 0 || pieceStart >= pieceEnd)
                break;
            cursor = pieceEnd + textEnd.size();
            pieces.append(page.mid(pieceStart, cursor - pieceStart).toString());
        }
        if (!pieces.isEmpty())
            result.append(pieces);
        position = entryStop;
        if (entryStop >= listStop)
            break;
    }
    return result;
}
