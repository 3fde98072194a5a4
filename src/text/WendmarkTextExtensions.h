#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <optional>

// The string operations on which album and title matching rests: a
// canonical "simplified" key that ignores case, accents, punctuation, spacing
// and filler words; a phonetic key of the Metaphone family with our own
// rules; and a word-by-word edit distance that may run on a worker thread.
// All functions take the receiver first and never change it. Everything here
// is safe to call from any thread.
namespace WendmarkTextExtensions {

// "a", "an", "and", "of", "the", "is", in this order.
QStringList minorWords();

// Replaces the process-wide simplifier table (search string -> replacement,
// applied longest key first, ignoring case, on the blank-padded text). With
// removeTrailingS the entry "s " -> " " is added, so that a word's final "s"
// is dropped; without it any such entry is removed.
void setSimplifiersDictionary(const QVariantMap& table, bool removeTrailingS);

// The receiver without the given whole words (case-insensitive), trimmed.
// Matches are found left to right without overlap, so of two adjacent equal
// words sharing a blank only the first goes ("x a a y" keeps one "a").
QString stringWithoutWords(const QString& s, const QStringList& words);

// Canonical matching key: lower-case ASCII letters and digits only, after
// removing minor words and applying the simplifier table. When nothing
// survives, the receiver in lower case.
QString simplified(const QString& s);

// True when equal as they stand or when their simplified forms are equal;
// false when other is null.
bool isSimpleEqualTo(const QString& s, const QString& other);

// Transliterated to Latin, combining marks stripped, then reduced to ASCII
// (characters without an ASCII form are dropped). Pure ASCII is answered as
// it is without touching the transliterator.
QString plainASCIIString(const QString& s);

// Canonical composition (NFC), or the receiver when that fails.
QString precomposedWMString(const QString& s);

// True when other occurs in the receiver ignoring case; false for a null or
// empty other.
bool containsString(const QString& s, const QString& other);

// Phonetic key of one word (our own Metaphone variant).
QString metaphoneWord(const QString& s);
// Phonetic key of a phrase: the word keys joined by one blank; empty pieces
// between double blanks give empty keys.
QString metaphoneWithoutMinorWords(const QString& s, bool dropMinorWords);
QString metaphone(const QString& s);
QString metaphoneNoMinorWords(const QString& s);

// Classic edit distance over UTF-16 code units, case-sensitive, not
// normalised. An empty side gives 0 (counts as identical at this level).
float levenshteinCompareWithWord(const QString& s, const QString& other);

// Mean best per-word distance of the words of s against those of other,
// bounded by a time budget: 0 only for phrases equal ignoring case, 0.042 for
// word-for-word equal phrases, 42 when exactly one side has no words.
float threadedLevenshteinCompare(const QString& s, const QString& other, float maxSeconds);

// Worker body: computes threadedLevenshteinCompare and hands the score to
// target's Q_INVOKABLE method(float) on the main thread, waiting until it has
// run. A target destroyed in the meantime is skipped.
void threadedLevenshteinCompareWithParameters(const QString& s, const QString& other, float maxSeconds,
                                              const QPointer<QObject>& target, const QByteArray& method);

// Starts a detached thread that runs threadedLevenshteinCompareWithParameters.
// The target must live on the main thread.
void asyncLevenshteinCompareWithString(const QString& s, const QString& other, float maxSeconds,
                                       QObject* target, const char* method);

int smallestOf(int a, int b, int c);

// A property-list date "YYYY-MM-DDTHH:MM:SSZ" (20 characters, fields taken by
// position) as a UTC moment; none when the length or a field is wrong.
std::optional<QDateTime> plistDateValue(const QString& s);

// First character upper case, the rest lower case; shorter than 2 as is.
QString capitalizedPhraseString(const QString& s);

// U+200B, U+200C, U+200D or U+FEFF present.
bool containsZeroWidthCharacter(const QString& s);
// Each zero-width character replaced by U+2423 (visible open box).
QString stringWithVisibleZeroWidthCharacters(const QString& s);
// Two blanks in a row present.
bool containsRedundantWhitespace(const QString& s);

} // namespace WendmarkTextExtensions
