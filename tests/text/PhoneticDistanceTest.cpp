#include "TestSupport.h"

#include "text/WendmarkTextExtensions.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QObject>
#include <QThread>
#include <QTimer>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

using namespace WendmarkTextExtensions;

namespace {

// The textbook full-matrix edit distance, as an independent reference.
int referenceDistance(const QString& a, const QString& b)
{
    std::vector<std::vector<int>> d(size_t(a.size() + 1), std::vector<int>(size_t(b.size() + 1)));
    for (qsizetype i = 0; i <= a.size(); ++i)
        d[size_t(i)][0] = int(i);
    for (qsizetype j = 0; j <= b.size(); ++j)
        d[0][size_t(j)] = int(j);
    for (qsizetype i = 1; i <= a.size(); ++i) {
        for (qsizetype j = 1; j <= b.size(); ++j) {
            const int cost = a.at(i - 1) == b.at(j - 1) ? 0 : 1;
            d[size_t(i)][size_t(j)] =
                std::min({d[size_t(i - 1)][size_t(j)] + 1, d[size_t(i)][size_t(j - 1)] + 1,
                          d[size_t(i - 1)][size_t(j - 1)] + cost});
        }
    }
    return d[size_t(a.size())][size_t(b.size())];
}

} // namespace

// Receives scores on the thread it lives on.
class ScoreReceiver : public QObject
{
    Q_OBJECT
public:
    std::vector<float> scores;
    std::vector<QThread*> threads;
    size_t expected = 1;
    QEventLoop* loop = nullptr;

    Q_INVOKABLE void gotScore(float score)
    {
        scores.push_back(score);
        threads.push_back(QThread::currentThread());
        if (loop && scores.size() >= expected)
            loop->quit();
    }
};

TEST(Metaphone, WordKeys)
{
    expectEach(metaphoneWord,
               {{u"knight", u"nikt"}, {u"wright", u"nikt"}, {u"phone", u"fn"},      {u"thomas", u"0ms"},
                {u"x", u"s"},         {u"xx", u"s"},        {u"xavier", u"ksfr"},   {u"smith", u"sm0h"},
                {u"occur", u"okr"},   {u"science", u"sns"}, {u"judge", u"jj"},      {u"gnome", u"nom"},
                {u"aeon", u"eon"},    {u"who", u"wo"},      {u"wrap", u"nap"},      {u"bomb", u"bm"},
                {u"nation", u"nxn"},  {u"church", u"krkh"}, {u"laugh", u"lh"},      {u"edge", u"ej"},
                {u"shh", u"xh"},      {u"ahead", u"aht"},   {u"ohm", u"om"},        {u"cia", u"x"},
                {u"cow", u"kw"},      {u"swan", u"swn"},    {u"awkward", u"akwrt"}, {u"back", u"bkk"},
                {u"backs", u"bks"},   {u"ghost", u"kst"},   {u"gig", u"jk"},        {u"signed", u"snt"},
                {u"u2", u"u2"},       {u"b", u"b"},         {u"e", u"e"},           {u"", u""},
                {u"Café", u"kf"},     {u"SMITH", u"sm0h"},  {u"y", u"y"},           {u"zyx", u"syks"}});
}

TEST(Levenshtein, MatchesTheFullMatrix)
{
    // An empty word is no match at all: 0, not its length.
    EXPECT_EQ(levenshteinCompareWithWord(QString(), QStringLiteral("abc")), 0.0f);
    EXPECT_EQ(levenshteinCompareWithWord(QStringLiteral("abc"), QString()), 0.0f);
    std::mt19937 random(1234);
    const char16_t alphabet[] = {u'a', u'b', u'c', u'A', u'\u00e9', u'\u0416', 0xD83C};
    for (int round = 0; round < 400; ++round) {
        QString a, b;
        const int lengthA = int(random() % 14) + 1;
        const int lengthB = int(random() % 14) + 1;
        for (int i = 0; i < lengthA; ++i)
            a.append(QChar(alphabet[random() % std::size(alphabet)]));
        for (int i = 0; i < lengthB; ++i)
            b.append(QChar(alphabet[random() % std::size(alphabet)]));
        ASSERT_EQ(levenshteinCompareWithWord(a, b), float(referenceDistance(a, b))) << a.toStdString();
    }
}

TEST(Levenshtein, AsyncScoresArriveOnTheMainThread)
{
    ScoreReceiver receiver;
    QEventLoop loop;
    receiver.loop = &loop;
    receiver.expected = 3;
    asyncLevenshteinCompareWithString(QStringLiteral("kitten"), QStringLiteral("sitting"), 5, &receiver,
                                      "gotScore");
    asyncLevenshteinCompareWithString(QStringLiteral("Abbey Road"), QStringLiteral("abbey road"), 5,
                                      &receiver, "gotScore");
    asyncLevenshteinCompareWithString(QString(), QStringLiteral("x"), 5, &receiver, "gotScore");
    QTimer::singleShot(60000, &loop, &QEventLoop::quit); // guard against a lost delivery only
    loop.exec();
    ASSERT_EQ(receiver.scores.size(), 3u);
    std::vector<float> sorted = receiver.scores;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(sorted, (std::vector<float>{0.0f, 3.0f, 42.0f}));
    for (QThread* thread : receiver.threads)
        EXPECT_EQ(thread, QCoreApplication::instance()->thread());
}

TEST(Levenshtein, DeliveryToAGoneTargetIsSkipped)
{
    auto receiver = std::make_unique<ScoreReceiver>();
    QPointer<QObject> target(receiver.get());
    receiver.reset();
    std::atomic<bool> done{false};
    std::thread worker([&] {
        threadedLevenshteinCompareWithParameters(QStringLiteral("a"), QStringLiteral("b"), 5, target,
                                                 "gotScore");
        done = true;
    });
    while (!done)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    worker.join();
    // Called on the main thread itself, the score is delivered directly.
    ScoreReceiver direct;
    threadedLevenshteinCompareWithParameters(QStringLiteral("ab"), QStringLiteral("ab c"), 5, &direct,
                                             "gotScore");
    ASSERT_EQ(direct.scores.size(), 1u);
    EXPECT_EQ(direct.scores[0], 0.042f);
}

#include "PhoneticDistanceTest.moc"
