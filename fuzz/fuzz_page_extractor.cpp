// A page and its parse description both come from the input: the first five
// pieces separated by 0x01 bytes are the markers, the rest is the page.
#include "text/PageExtractor.h"

#include <QByteArray>
#include <QList>

#include <algorithm>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const QList<QByteArray> parts = bytes.split('\x01');
    static const char* const keys[] = {"listBegin", "listEnd", "entryBegin", "textBegin", "textEnd"};
    QVariantMap description;
    qsizetype used = 0;
    for (int i = 0; i < 5 && i < parts.size() - 1; ++i) {
        description.insert(QString::fromLatin1(keys[i]), QString::fromUtf8(parts.at(i)));
        used += parts.at(i).size() + 1;
    }
    const QString page = QString::fromUtf8(bytes.mid(used));
    const auto parsed = PageExtractor::parsedContentsOfHTML(page, description);
    if (description.size() < 5 || page.isEmpty()) {
        if (parsed)
            std::abort();
        return 0;
    }
    if (!parsed)
        std::abort();
    const QString textBegin = description.value(QStringLiteral("textBegin")).toString();
    const QString textEnd = description.value(QStringLiteral("textEnd")).toString();
    qsizetype total = 0;
    for (const QStringList& entry : *parsed) {
        if (entry.isEmpty())
            std::abort();
        for (const QString& piece : entry) {
            // A piece starts where "textBegin" was found and ends with
            // "textEnd", which may lie inside the begin marker itself.
            const qsizetype common = std::min(piece.size(), textBegin.size());
            if (QStringView(piece).left(common).compare(QStringView(textBegin).left(common),
                                                        Qt::CaseInsensitive) != 0 ||
                !piece.endsWith(textEnd, Qt::CaseInsensitive))
                std::abort();
            total += piece.size();
        }
    }
    // Pieces never overlap, so together they are no longer than the page.
    if (total > page.size())
        std::abort();
    return 0;
}
