#include "LyricsCleaner.h"

#include "library/LiveResources.h"
#include "support/WMLog.h"

namespace {

// Characters that want a blank behind them.
bool wantsBlankBehind(QChar c)
{
    switch (c.unicode()) {
    case '!':
    case '?':
    case '.':
    case ',':
    case ')':
    case ']':
    case ':':
    case ';':
        return true;
    default:
        return false;
    }
}

bool isBlankLine(const QString& line)
{
    for (QChar c : line) {
        if (!c.isSpace())
            return false;
    }
    return true;
}

const QVariantMap& liveSubstitutions()
{
    static const QVariantMap table = LiveResources::shared().resources()
                                         .value(QStringLiteral("lyricsSubstitutions"))
                                         .toMap();
    return table;
}

} // namespace

QString LyricsCleaner::cleanUpLyrics(const QString& text)
{
    return cleanUpLyrics(text, liveSubstitutions());
}

void LyricsCleaner::dropEmptyLinesAtStart(QStringList& lines)
{
    qsizetype blank = 0;
    while (blank < lines.size() && lines.at(blank).isEmpty())
        ++blank;
    lines.remove(0, blank);
}

void LyricsCleaner::dropEmptyLinesAtEnd(QStringList& lines)
{
    while (!lines.isEmpty() && lines.constLast().isEmpty())
        lines.removeLast();
}

QString LyricsCleaner::cleanedLine(const QString& line, const QVariantMap& substitutions)
{
    QString result = line;

    // Capitals up to the first letter; a line written all in one case (a
    // shouted one, typically) becomes sentence case.
    qsizetype firstLetter = -1;
    for (qsizetype i = 0; i < result.size(); ++i) {
        if (result.at(i).isLetter()) {
            firstLetter = i;
            break;
        }
    }
    if (firstLetter >= 0) {
        const bool oneCase = result == result.toLower() || result == result.toUpper();
        const QString head = result.left(firstLetter + 1).toUpper();
        const QString rest = result.mid(firstLetter + 1);
        result = head + (oneCase ? rest.toLower() : rest);
    }

    // A blank after punctuation that lacks one; nothing after the last
    // character. Digits get it too ("3.5" -> "3. 5"), which is accepted.
    QString spaced;
    spaced.reserve(result.size() + result.size() / 8);
    for (qsizetype i = 0; i < result.size(); ++i) {
        const QChar c = result.at(i);
        spaced.append(c);
        if (i + 1 < result.size() && wantsBlankBehind(c) && result.at(i + 1) != QLatin1Char(' '))
            spaced.append(QLatin1Char(' '));
    }
    result = spaced;

    for (auto it = substitutions.cbegin(); it != substitutions.cend(); ++it) {
        if (!it.key().isEmpty())
            result.replace(it.key(), it.value().toString(), Qt::CaseSensitive);
    }
    return result.trimmed();
}

bool LyricsCleaner::isChunkSizeLine(const QString& line)
{
    if (line.isEmpty() || line.size() > 2)
        return false;
    for (QChar c : line) {
        const char16_t u = c.unicode();
        const bool hex = (u >= '0' && u <= '9') || (u >= 'A' && u <= 'F') || (u >= 'a' && u <= 'f');
        if (!hex)
            return false;
    }
    return true;
}

QString LyricsCleaner::cleanUpLyrics(const QString& text, const QVariantMap& substitutions)
{
    if (text.isEmpty())
        return QString();
    if (text.size() > kMaxInputLength) {
        WMLog("Lyrics of %ld characters are too long to be lyrics", static_cast<long>(text.size()));
        return QString();
    }

    QStringList lines = text.split(QLatin1Char('\n'));
    for (QString& line : lines) {
        if (isBlankLine(line))
            line.clear();
    }
    dropEmptyLinesAtStart(lines);
    dropEmptyLinesAtEnd(lines);

    for (QString& line : lines) {
        if (line.size() > 1)
            line = cleanedLine(line, substitutions);
    }

    // Chunk sizes of a chunked answer that ended up in the text: only when
    // there are many of them, so that a short line of a song survives.
    qsizetype chunkLines = 0;
    for (const QString& line : lines) {
        if (isChunkSizeLine(line))
            ++chunkLines;
    }
    if (chunkLines > lines.size() / 4) {
        // From the last line upwards: each such line goes, and with it an
        // empty line directly before it.
        QList<bool> removed(lines.size(), false);
        for (qsizetype i = lines.size() - 1; i >= 0; --i) {
            if (removed.at(i) || !isChunkSizeLine(lines.at(i)))
                continue;
            removed[i] = true;
            if (i > 0 && lines.at(i - 1).isEmpty())
                removed[i - 1] = true;
        }
        QStringList kept;
        kept.reserve(lines.size() - chunkLines);
        for (qsizetype i = 0; i < lines.size(); ++i) {
            if (!removed.at(i))
                kept.append(lines.at(i));
        }
        lines = kept;
        dropEmptyLinesAtStart(lines);
    }
    dropEmptyLinesAtEnd(lines);

    // Double spacing: every second line empty.
    bool doubleSpaced = lines.size() > 1;
    for (qsizetype i = 1; i < lines.size() && doubleSpaced; i += 2)
        doubleSpaced = lines.at(i).isEmpty();
    if (doubleSpaced) {
        QStringList single;
        single.reserve(lines.size() / 2 + 1);
        for (qsizetype i = 0; i < lines.size(); i += 2)
            single.append(lines.at(i));
        lines = single;
    }

    const QString joined = lines.join(QLatin1Char('\n'));
    if (joined.size() < kMinResultLength)
        return QString();
    return joined;
}
