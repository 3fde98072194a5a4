// Speed of the matching operations over realistic names: a library of
// 50,000 songs runs each of them tens of thousands of times per scan.
#include "text/WendmarkTextExtensions.h"

#include <QStringList>

#include <benchmark/benchmark.h>

namespace {

const QStringList& names()
{
    static const QStringList list = {
        QStringLiteral("The Beatles"),
        QStringLiteral("Abbey Road (Remastered)"),
        QStringLiteral("Here Comes the Sun"),
        QStringLiteral("Simon & Garfunkel"),
        QStringLiteral("Bridge Over Troubled Water"),
        QString::fromUtf16(u"Motörhead"),
        QString::fromUtf16(u"Ace of Spades – Live at Hammersmith"),
        QString::fromUtf16(u"Sigur Rós"),
        QString::fromUtf16(u"Ágætis byrjun"),
        QString::fromUtf16(u"Beyoncé"),
        QString::fromUtf16(u"Déjà Vu (feat. Jay-Z)"),
        QStringLiteral("AC/DC"),
        QStringLiteral("Back in Black"),
        QStringLiteral("The Best of Both Worlds, Vol. 2"),
        QString::fromUtf16(u"Кино"),
        QString::fromUtf16(u"Группа крови"),
        QString::fromUtf16(u"東京事変"),
        QString::fromUtf16(u"Ελευθερία"),
        QStringLiteral("Sgt. Pepper's Lonely Hearts Club Band"),
        QStringLiteral("Wish You Were Here"),
    };
    return list;
}

const QStringList& asciiNames()
{
    static const QStringList list = [] {
        QStringList ascii;
        for (const QString& name : names()) {
            bool plain = true;
            for (QChar c : name)
                plain = plain && c.unicode() < 0x80;
            if (plain)
                ascii.append(name);
        }
        return ascii;
    }();
    return list;
}

void installTable(bool withTable)
{
    QVariantMap table;
    if (withTable) {
        const char* pairs[][2] = {
            {" & ", " and "}, {" + ", " and "},      {" n ", " and "}, {" ii ", " 2 "},
            {" iii ", " 3 "}, {" iv ", " 4 "},       {" vol ", " "},   {" volume ", " "},
            {" feat ", " "},  {" pt ", " part "},    {" one ", " 1 "}, {" two ", " 2 "},
            {"'", ""},        {" remastered ", " "}, {" live ", " "},  {" edition ", " "}};
        for (const auto& pair : pairs)
            table.insert(QString::fromLatin1(pair[0]), QString::fromLatin1(pair[1]));
    }
    WendmarkTextExtensions::setSimplifiersDictionary(table, false);
}

void BM_Simplified(benchmark::State& state)
{
    installTable(state.range(0) != 0);
    const QStringList& list = names();
    qsizetype i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(WendmarkTextExtensions::simplified(list.at(i)));
        i = (i + 1) % list.size();
    }
    installTable(false);
}
BENCHMARK(BM_Simplified)->Arg(0)->Arg(1)->ArgName("table");

void BM_SimplifiedAscii(benchmark::State& state)
{
    installTable(true);
    const QStringList& list = asciiNames();
    qsizetype i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(WendmarkTextExtensions::simplified(list.at(i)));
        i = (i + 1) % list.size();
    }
    installTable(false);
}
BENCHMARK(BM_SimplifiedAscii);

void BM_Metaphone(benchmark::State& state)
{
    const QStringList& list = names();
    qsizetype i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(WendmarkTextExtensions::metaphone(list.at(i)));
        i = (i + 1) % list.size();
    }
}
BENCHMARK(BM_Metaphone);

void BM_MetaphoneAscii(benchmark::State& state)
{
    const QStringList& list = asciiNames();
    qsizetype i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(WendmarkTextExtensions::metaphone(list.at(i)));
        i = (i + 1) % list.size();
    }
}
BENCHMARK(BM_MetaphoneAscii);

void BM_LevenshteinWord(benchmark::State& state)
{
    const QStringList& list = names();
    qsizetype i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            WendmarkTextExtensions::levenshteinCompareWithWord(list.at(i), list.at((i + 7) % list.size())));
        i = (i + 1) % list.size();
    }
}
BENCHMARK(BM_LevenshteinWord);

void BM_LevenshteinPhrase(benchmark::State& state)
{
    const QStringList& list = names();
    qsizetype i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(WendmarkTextExtensions::threadedLevenshteinCompare(
            list.at(i), list.at((i + 3) % list.size()), 1.0f));
        i = (i + 1) % list.size();
    }
}
BENCHMARK(BM_LevenshteinPhrase);

} // namespace

BENCHMARK_MAIN();
