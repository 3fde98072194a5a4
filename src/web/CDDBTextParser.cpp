#include "web/CDDBTextParser.h"

#include <QStringView>

#include <vector>

namespace {

// A value is taken when it starts with a character at or above `lowest`.
bool startsAtOrAbove(QStringView value, char16_t lowest)
{
    return !value.isEmpty() && value.front().unicode() >= lowest;
}

// The track index of a "TTITLE<n>=" line, or -1. Numbers are written without
// leading zeros, as the layout does.
int trackIndexOfLine(QStringView line, qsizetype* valueStart)
{
    static const QLatin1String prefix("TTITLE");
    if (!line.startsWith(prefix))
        return -1;
    qsizetype i = prefix.size();
    const qsizetype digitsStart = i;
    int number = 0;
    while (i < line.size() && line.at(i).isDigit() && line.at(i).unicode() < 128) {
        if (i - digitsStart >= 4)
            return -1;
        number = number * 10 + (line.at(i).unicode() - u'0');
        ++i;
    }
    const qsizetype digits = i - digitsStart;
    if (digits == 0 || i >= line.size() || line.at(i) != QLatin1Char('='))
        return -1;
    if (digits > 1 && line.at(digitsStart) == QLatin1Char('0'))
        return -1;
    *valueStart = i + 1;
    return number;
}

} // namespace

CDDBTextParser::Result CDDBTextParser::parse(const QByteArray& data)
{
    Result result;
    const QString text = QString::fromLatin1(data.left(MaximumBytes));
    const QStringView all(text);

    bool sawTitle = false;
    bool sawYear = false;
    bool sawGenre = false;
    std::vector<QStringView> trackValues(MaximumTracks);
    std::vector<bool> sawTrack(MaximumTracks, false);

    qsizetype lineStart = 0;
    int lineCount = 0;
    while (lineStart <= all.size() && lineCount < MaximumLines) {
        qsizetype lineEnd = lineStart;
        while (lineEnd < all.size() && all.at(lineEnd) != QLatin1Char('\r') &&
               all.at(lineEnd) != QLatin1Char('\n'))
            ++lineEnd;
        const QStringView line = all.mid(lineStart, lineEnd - lineStart);
        ++lineCount;
        lineStart = lineEnd + 1;

        if (line.startsWith(QLatin1String("DTITLE="))) {
            if (sawTitle)
                continue;
            sawTitle = true;
            const QStringView value = line.mid(7);
            // The title must begin with a visible character; year and genre
            // below accept a leading space.
            if (!startsAtOrAbove(value, 33))
                continue;
            const qsizetype slash = value.indexOf(QLatin1String(" / "));
            if (slash >= 0) {
                result.artist = value.left(slash).toString();
                result.name = value.mid(slash + 3).toString();
            } else {
                result.artist = value.toString();
                result.name = result.artist;
            }
        } else if (line.startsWith(QLatin1String("DYEAR="))) {
            if (!sawYear && startsAtOrAbove(line.mid(6), 32))
                result.year = line.mid(6).toString();
            sawYear = true;
        } else if (line.startsWith(QLatin1String("DGENRE="))) {
            if (!sawGenre && startsAtOrAbove(line.mid(7), 32))
                result.genre = line.mid(7).toString();
            sawGenre = true;
        } else {
            qsizetype valueStart = 0;
            const int index = trackIndexOfLine(line, &valueStart);
            if (index < 0 || index >= MaximumTracks || sawTrack[size_t(index)])
                continue;
            sawTrack[size_t(index)] = true;
            trackValues[size_t(index)] = line.mid(valueStart);
        }
    }

    for (size_t i = 0; i < trackValues.size(); ++i) {
        if (!sawTrack[i] || !startsAtOrAbove(trackValues[i], 32))
            break;
        result.tracks.append(trackValues[i].toString());
    }
    return result;
}
