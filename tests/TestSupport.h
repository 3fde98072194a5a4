#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <gtest/gtest.h>

#include <initializer_list>
#include <utility>

class AudioInfoTag;
class QJsonObject;

// Helpers shared by the test suites.
class TestSupport
{
public:
    // A scratch folder that lives for the whole test program.
    static QString scratchFolder();
    // An empty folder `group/<name of the running test>` in the scratch folder.
    static QString testFolder(const QString& group);
    // The folder of shared web fixtures, or an empty string when absent
    // (tests over real answers skip themselves then).
    static QString fixturesFolder();
    static QByteArray readFile(const QString& path);
    static bool writeFile(const QString& path, const QByteArray& bytes);
    // Writes `bytes` to `relative` in the scratch folder (folders made as
    // needed; a failure fails the test) and gives the file's path.
    static QString scratchFile(const QString& relative, const QByteArray& bytes);
    // `size` bytes that differ from position to position and from seed to
    // seed, so that any misplaced byte shows.
    static QByteArray pattern(qsizetype size, int seed = 0);
    // An interpreter that can import mutagen, or an empty string.
    static QString pythonWithMutagen();
    // Standard output of `script` run by that interpreter; a failure of the
    // script is a failure of the test (with its errors) and gives nothing.
    static QByteArray runPython(const char* script, const QStringList& arguments);
    // Whether `now` is what a whole write gives: the same bytes but for the
    // modification times an MPEG-4 write stamps into the movie (at most three
    // 32-bit fields, from the second of the write).
    static bool isCompleteWrite(const QByteArray& now, const QByteArray& complete);

    // Writes the tag into the file; a refusal fails the test with its reason.
    static bool save(AudioInfoTag& tag, const QString& path);
    // Tag values by name: "title", "artist", "album", "year", "genre",
    // "track", "lyrics", "bpm".
    using TagValues = QList<std::pair<const char*, QString>>;
    static void setTagValues(AudioInfoTag& tag, const TagValues& values);
    // Each value as the tag reads it, a null value as null; a failure names
    // the value.
    static void expectTagValues(const AudioInfoTag& tag, const TagValues& values);
    // Each value as text under its name in a JSON object (numbers as digits,
    // an array of numbers as "3/12", a null value as null or absent); a
    // failure names the value.
    static void expectJsonValues(const QJsonObject& object, const TagValues& values);
};

// A text written as a literal; a null pointer stands for a null string.
inline QString str(const char16_t* literal)
{
    return literal ? QStringView(literal).toString() : QString();
}

// A table of texts and what `function` makes of them, each failure named by
// its input.
using TextRows = std::initializer_list<std::pair<const char16_t*, const char16_t*>>;
template <typename Function> void expectEach(Function function, TextRows rows)
{
    for (const auto& [input, expected] : rows)
        EXPECT_EQ(function(str(input)), str(expected)) << "for " << str(input).toStdString();
}
