#pragma once

#include <QString>
#include <QStringList>
#include <QVariantMap>

// The clean-up every lyrics source applies to text scraped from a web page
// before it may go into a tag. In the application it belongs to the lyrics
// window; it lives here in the core so that the sources (and the command-line
// program) can use it without a window.
class LyricsCleaner
{
public:
    // Sentence case for lines written all in one case, a blank after
    // punctuation that lacks one, the "lyricsSubstitutions" table of the live
    // resources (loaded once per process), stray chunk-size lines of a
    // chunked page removed, double spacing collapsed. Answers a null string
    // when the result is shorter than 100 characters: that is not lyrics.
    static QString cleanUpLyrics(const QString& text);

    // The same with an explicit substitution table (for tests and tools).
    static QString cleanUpLyrics(const QString& text, const QVariantMap& substitutions);

    // Longest text taken at all; longer input is not lyrics either.
    static constexpr qsizetype kMaxInputLength = 2 * 1024 * 1024;
    // Shortest text answered.
    static constexpr qsizetype kMinResultLength = 100;

private:
    static QString cleanedLine(const QString& line, const QVariantMap& substitutions);
    static bool isChunkSizeLine(const QString& line);
    static void dropEmptyLinesAtStart(QStringList& lines);
    static void dropEmptyLinesAtEnd(QStringList& lines);
};
