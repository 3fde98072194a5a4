#include "WendmarkTextExtensions.h"

#include "LatinFolding.h"
#include "PhoneticKey.h"

#include "support/WMLog.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QPointer>
#include <QThread>
#include <QVarLengthArray>

#include <algorithm>
#include <array>
#include <bitset>
#include <chrono>
#include <cstdio>
#include <memory>
#include <mutex>
#include <thread>

namespace WendmarkTextExtensions {

namespace {

// The simplifier table with its keys in application order (longest first).
// Keys and values are kept case-folded so that matching can be a plain
// search on the case-folded text.
struct SimplifierTable
{
    struct Entry
    {
        QString key;
        QString value;
        char16_t first = 0;
    };
    QList<Entry> entries;
};

std::recursive_mutex& simplifierLock()
{
    static std::recursive_mutex lock;
    return lock;
}

std::shared_ptr<const SimplifierTable>& simplifierTableStorage()
{
    static std::shared_ptr<const SimplifierTable> table = std::make_shared<SimplifierTable>();
    return table;
}

const QStringList& minorWordList()
{
    static const QStringList words = {QStringLiteral("a"),  QStringLiteral("an"),  QStringLiteral("and"),
                                      QStringLiteral("of"), QStringLiteral("the"), QStringLiteral("is")};
    return words;
}

QStringList patternsFor(const QStringList& words)
{
    QStringList patterns;
    patterns.reserve(words.size());
    for (const QString& word : words)
        patterns.append(QLatin1Char(' ') + word + QLatin1Char(' '));
    return patterns;
}

const QStringList& minorWordPatterns()
{
    static const QStringList patterns = patternsFor(minorWordList());
    return patterns;
}

// Cache of the patterns of the last other word list used.
struct PatternCache
{
    std::mutex lock;
    QStringList words;
    QStringList patterns;
};

PatternCache& patternCache()
{
    static PatternCache cache;
    return cache;
}

QStringList patternsForWords(const QStringList& words)
{
    if (words == minorWordList())
        return minorWordPatterns();
    PatternCache& cache = patternCache();
    std::lock_guard<std::mutex> guard(cache.lock);
    if (cache.words != words) {
        cache.words = words;
        cache.patterns = patternsFor(words);
    }
    return cache.patterns;
}

bool isAsciiOnly(QStringView s)
{
    for (QChar c : s) {
        if (c.unicode() >= 0x80)
            return false;
    }
    return true;
}

// Replaces every occurrence of an ASCII pattern, ignoring case, by one
// blank: left to right without overlap, as QString::replace does, without
// building a matcher for every call. Answers false (and does nothing) for a
// pattern that is not ASCII.
bool replaceAsciiPatternIgnoringCase(QString& text, const QString& pattern)
{
    const qsizetype m = pattern.size();
    char16_t lowered[32];
    if (m == 0 || m > qsizetype(std::size(lowered)))
        return false;
    for (qsizetype k = 0; k < m; ++k) {
        char16_t p = pattern.at(k).unicode();
        if (p >= 0x80)
            return false;
        if (p >= u'A' && p <= u'Z')
            p += u'a' - u'A';
        lowered[k] = p;
    }
    auto same = [](char16_t t, char16_t p) {
        if (t < 0x80) {
            if (t >= u'A' && t <= u'Z')
                t += u'a' - u'A';
            return t == p;
        }
        // A few non-ASCII letters fold to ASCII ones (long s, Kelvin sign).
        return QChar::isLetter(t) && !QChar::isSurrogate(t) && QChar::toCaseFolded(t) == p;
    };
    const char16_t* data = reinterpret_cast<const char16_t*>(text.utf16());
    const qsizetype n = text.size();
    QString result;
    qsizetype last = 0;
    for (qsizetype i = 0; i + m <= n;) {
        qsizetype k = 0;
        while (k < m && same(data[i + k], lowered[k]))
            ++k;
        if (k < m) {
            ++i;
            continue;
        }
        if (result.isNull())
            result.reserve(n);
        result.append(QStringView(data + last, i - last));
        result.append(QLatin1Char(' '));
        i += m;
        last = i;
    }
    if (!result.isNull()) {
        result.append(QStringView(data + last, n - last));
        text = std::move(result);
    }
    return true;
}

} // namespace

QStringList minorWords()
{
    return minorWordList();
}

void setSimplifiersDictionary(const QVariantMap& table, bool removeTrailingS)
{
    std::lock_guard<std::recursive_mutex> guard(simplifierLock());
    QList<std::pair<QString, QString>> pairs;
    pairs.reserve(table.size() + 1);
    const QString trailingS = QStringLiteral("s ");
    for (auto it = table.cbegin(); it != table.cend(); ++it) {
        if (it.key() == trailingS)
            continue;
        pairs.append({it.key(), it.value().toString()});
    }
    if (removeTrailingS)
        pairs.append({trailingS, QStringLiteral(" ")});
    // Longest first; equal lengths keep the dictionary's key order.
    std::stable_sort(pairs.begin(), pairs.end(),
                     [](const auto& a, const auto& b) { return a.first.size() > b.first.size(); });
    auto fresh = std::make_shared<SimplifierTable>();
    fresh->entries.reserve(pairs.size());
    for (const auto& [key, value] : pairs) {
        if (key.isEmpty())
            continue;
        SimplifierTable::Entry entry;
        entry.key = key.toCaseFolded();
        entry.value = value.toCaseFolded();
        entry.first = entry.key.at(0).unicode();
        fresh->entries.append(std::move(entry));
    }
    simplifierTableStorage() = std::move(fresh);
}

QString stringWithoutWords(const QString& s, const QStringList& words)
{
    const QStringList patterns = patternsForWords(words);
    QString text;
    text.reserve(s.size() + 2);
    text.append(QLatin1Char(' '));
    text.append(s);
    text.append(QLatin1Char(' '));
    const QString blank = QStringLiteral(" ");
    for (const QString& pattern : patterns) {
        if (!replaceAsciiPatternIgnoringCase(text, pattern))
            text.replace(pattern, blank, Qt::CaseInsensitive);
    }
    return text.trimmed();
}

QString simplified(const QString& s)
{
    if (s.isEmpty())
        return s;
    std::shared_ptr<const SimplifierTable> table;
    {
        std::lock_guard<std::recursive_mutex> guard(simplifierLock());
        table = simplifierTableStorage();
    }
    const QString ascii = plainASCIIString(stringWithoutWords(s, minorWordList()).trimmed());
    QString text;
    text.reserve(ascii.size() + 2);
    text.append(QLatin1Char(' '));
    text.append(ascii);
    text.append(QLatin1Char(' '));
    if (!table->entries.isEmpty()) {
        text = text.toCaseFolded();
        // Which ASCII characters may be in the text: a key whose first
        // character is absent cannot match. Bits are only ever added, so the
        // set stays a superset of the text's characters.
        std::bitset<128> present;
        for (QChar c : text) {
            if (c.unicode() < 128)
                present.set(c.unicode());
        }
        for (const SimplifierTable::Entry& entry : table->entries) {
            if (entry.first < 128 && !present.test(entry.first))
                continue;
            const qsizetype at = QStringView(text).indexOf(entry.key);
            if (at < 0)
                continue;
            text.replace(entry.key, entry.value);
            for (QChar c : entry.value) {
                if (c.unicode() < 128)
                    present.set(c.unicode());
            }
        }
    }
    QString result;
    result.reserve(text.size());
    for (QChar c : std::as_const(text)) {
        const char16_t u = c.unicode();
        if ((u >= u'a' && u <= u'z') || (u >= u'0' && u <= u'9'))
            result.append(c);
        else if (u >= u'A' && u <= u'Z')
            result.append(QChar(u + (u'a' - u'A')));
    }
    if (result.isEmpty())
        return s.toLower();
    return result;
}

bool isSimpleEqualTo(const QString& s, const QString& other)
{
    if (other.isNull())
        return false;
    if (s == other)
        return true;
    return simplified(s) == simplified(other);
}

QString plainASCIIString(const QString& s)
{
    if (isAsciiOnly(s))
        return s;
    try {
        std::optional<QString> folded = LatinFolding::transliteratedByTable(s);
        const QString transformed = folded ? *folded : LatinFolding::transliterated(s);
        if (transformed.isNull())
            return s;
        QString ascii;
        ascii.reserve(transformed.size());
        for (QChar c : transformed) {
            if (c.unicode() < 0x80)
                ascii.append(c);
        }
        if (!ascii.isEmpty())
            return ascii;
        if (!transformed.isEmpty())
            return transformed;
        return s;
    } catch (...) {
        return QString::fromUtf8(s.toUtf8());
    }
}

QString precomposedWMString(const QString& s)
{
    const QString composed = s.normalized(QString::NormalizationForm_C);
    if (composed.isNull() && !s.isNull())
        return s;
    return composed;
}

bool containsString(const QString& s, const QString& other)
{
    if (other.isEmpty())
        return false;
    return s.contains(other, Qt::CaseInsensitive);
}

QString metaphoneWord(const QString& s)
{
    const QString lower = plainASCIIString(s).toLower();
    if (lower.isEmpty())
        return QString(QLatin1String(""));
    // Collapse runs of the same character.
    QVarLengthArray<char16_t, 64> w;
    w.reserve(lower.size());
    for (QChar c : lower) {
        if (w.isEmpty() || w.back() != c.unicode())
            w.append(c.unicode());
    }
    QString key;
    key.reserve(w.size() + 4);
    qsizetype start = 0;
    if (w.size() >= 2) {
        const char16_t a = w[0];
        const char16_t b = w[1];
        char16_t prefix = 0;
        if (a == u'a' && b == u'e')
            prefix = u'e';
        else if ((a == u'g' || a == u'k' || a == u'p') && b == u'n')
            prefix = u'n';
        else if (a == u'w' && b == u'r')
            prefix = u'n';
        else if (a == u'w' && b == u'h')
            prefix = u'w';
        if (prefix) {
            key.append(QChar(prefix));
            start = 2;
        }
    } else if (w[0] == u'x') {
        return QStringLiteral("s");
    }
    PhoneticKey::appendKey(w.constData() + start, w.size() - start, key);
    return key;
}

QString metaphoneWithoutMinorWords(const QString& s, bool dropMinorWords)
{
    QString text = s.trimmed();
    if (dropMinorWords)
        text = stringWithoutWords(text, minorWordList());
    if (!text.contains(QLatin1Char(' ')))
        return metaphoneWord(text);
    QString key;
    key.reserve(text.size());
    bool first = true;
    for (QStringView piece : QStringView(text).split(QLatin1Char(' '))) {
        if (!first)
            key.append(QLatin1Char(' '));
        first = false;
        key.append(metaphoneWord(piece.toString()));
    }
    return key;
}

QString metaphone(const QString& s)
{
    return metaphoneWithoutMinorWords(s, false);
}

QString metaphoneNoMinorWords(const QString& s)
{
    return metaphoneWithoutMinorWords(s, true);
}

int smallestOf(int a, int b, int c)
{
    return std::min(a, std::min(b, c));
}

float levenshteinCompareWithWord(const QString& s, const QString& other)
{
    const qsizetype m = s.size();
    const qsizetype n = other.size();
    if (m == 0 || n == 0)
        return 0.0f;
    // One row of the classic matrix, indexed by position in s; the column
    // runs over other. Same result as the full matrix.
    const char16_t* a = reinterpret_cast<const char16_t*>(s.utf16());
    const char16_t* b = reinterpret_cast<const char16_t*>(other.utf16());
    QVarLengthArray<qint32, 128> row(m + 1);
    for (qsizetype i = 0; i <= m; ++i)
        row[i] = static_cast<qint32>(i);
    for (qsizetype j = 1; j <= n; ++j) {
        qint32 diagonal = row[0];
        row[0] = static_cast<qint32>(j);
        const char16_t bj = b[j - 1];
        for (qsizetype i = 1; i <= m; ++i) {
            const qint32 above = row[i];
            const qint32 cost = a[i - 1] == bj ? 0 : 1;
            row[i] = smallestOf(above + 1, row[i - 1] + 1, diagonal + cost);
            diagonal = above;
        }
    }
    return static_cast<float>(row[m]);
}

namespace {

QStringList levenshteinWords(const QString& s)
{
    QStringList words;
    for (const QString& piece : s.toLower().split(QLatin1Char(' '))) {
        if (!piece.trimmed().isEmpty())
            words.append(piece);
    }
    return words;
}

} // namespace

float threadedLevenshteinCompare(const QString& s, const QString& other, float maxSeconds)
{
    const auto start = std::chrono::steady_clock::now();
    if (s.compare(other, Qt::CaseInsensitive) == 0)
        return 0.0f;
    const QStringList wordsA = levenshteinWords(s);
    const QStringList wordsB = levenshteinWords(other);
    float score = 0.0f;
    if (wordsA.isEmpty() != wordsB.isEmpty()) {
        score = 42.0f;
    } else if (!wordsA.isEmpty()) {
        const auto deadline = start + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                          std::chrono::duration<double>(std::max(0.0f, maxSeconds)));
        const qsizetype count = wordsA.size();
        const qsizetype stride = 100;
        const qsizetype offsets = std::min(count, stride);
        float sum = 0.0f;
        qsizetype compared = 0;
        bool outOfTime = false;
        for (qsizetype offset = 0; offset < offsets && !outOfTime; ++offset) {
            for (qsizetype index = offset; index < count; index += stride) {
                float best = 100000000.0f;
                for (const QString& word : wordsB)
                    best = std::min(best, levenshteinCompareWithWord(wordsA.at(index), word));
                sum += best;
                ++compared;
                if (std::chrono::steady_clock::now() > deadline) {
                    outOfTime = true;
                    break;
                }
            }
        }
        score = sum / static_cast<float>(compared);
    }
    if (score == 0.0f)
        score = 0.042f;
    return score;
}

void threadedLevenshteinCompareWithParameters(const QString& s, const QString& other, float maxSeconds,
                                              const QPointer<QObject>& target, const QByteArray& method)
{
    const float score = threadedLevenshteinCompare(s, other, maxSeconds);
    QCoreApplication* app = QCoreApplication::instance();
    if (!app) {
        WMLog("Levenshtein score %f has no main thread to go to", score);
        return;
    }
    // The guard is only read on the main thread, where the target lives, so
    // it cannot go away between the test and the call.
    auto deliver = [&target, &method, score]() {
        if (!target)
            return;
        if (!QMetaObject::invokeMethod(target.data(), method.constData(), Qt::DirectConnection,
                                       Q_ARG(float, score)))
            WMLog("Couldn't deliver the Levenshtein score to %@", QString::fromLatin1(method));
    };
    if (QThread::currentThread() == app->thread())
        deliver();
    else
        QMetaObject::invokeMethod(app, deliver, Qt::BlockingQueuedConnection);
}

void asyncLevenshteinCompareWithString(const QString& s, const QString& other, float maxSeconds,
                                       QObject* target, const char* method)
{
    // The guard is made here, on the caller's thread, while the target is
    // certainly alive.
    QPointer<QObject> guardedTarget(target);
    QByteArray methodName(method ? method : "");
    try {
        std::thread worker([s, other, maxSeconds, guardedTarget = std::move(guardedTarget),
                            methodName = std::move(methodName)]() {
            threadedLevenshteinCompareWithParameters(s, other, maxSeconds, guardedTarget, methodName);
        });
        worker.detach();
    } catch (const std::exception& e) {
        WMLog("Couldn't start a Levenshtein thread: %@", e.what());
    }
}

std::optional<QDateTime> plistDateValue(const QString& s)
{
    if (s.size() != 20) {
        std::fprintf(stderr, "!! plistDateValue format '%s\n", s.toUtf8().constData());
        return std::nullopt;
    }
    // Leading digits of a field, as a number; no digits give 0.
    auto field = [&s](qsizetype at, qsizetype length) {
        int value = 0;
        for (qsizetype i = at; i < at + length; ++i) {
            const char16_t c = s.at(i).unicode();
            if (c < u'0' || c > u'9')
                break;
            value = value * 10 + (c - u'0');
        }
        return value;
    };
    const int year = field(0, 4);
    const int month = field(5, 2);
    const int day = field(8, 2);
    const int hour = field(11, 2);
    const int minute = field(14, 2);
    const int second = field(17, 2);
    if (year <= 0 || month < 1 || month > 12 || day < 1 || day > 31 || hour > 24 || minute > 59 ||
        second > 59) {
        std::fprintf(stderr, "!! plistDateValue out of range '%s\n", s.toUtf8().constData());
        return std::nullopt;
    }
    // Days and hours past the end of their month or day roll over.
    const QDate date = QDate(year, month, 1).addDays(day - 1);
    QDateTime moment(date, QTime(0, 0), Qt::UTC);
    return moment.addSecs(qint64(hour) * 3600 + minute * 60 + second);
}

QString capitalizedPhraseString(const QString& s)
{
    if (s.size() < 2)
        return s;
    return s.left(1).toUpper() + s.mid(1).toLower();
}

namespace {

bool isZeroWidth(QChar c)
{
    const char16_t u = c.unicode();
    return u == 0x200B || u == 0x200C || u == 0x200D || u == 0xFEFF;
}

} // namespace

bool containsZeroWidthCharacter(const QString& s)
{
    return std::any_of(s.cbegin(), s.cend(), isZeroWidth);
}

QString stringWithVisibleZeroWidthCharacters(const QString& s)
{
    QString result = s;
    for (QChar& c : result) {
        if (isZeroWidth(c))
            c = QChar(0x2423);
    }
    return result;
}

bool containsRedundantWhitespace(const QString& s)
{
    return s.contains(QLatin1String("  "));
}

} // namespace WendmarkTextExtensions
