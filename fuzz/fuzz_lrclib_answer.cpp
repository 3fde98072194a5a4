// One answer of the lyrics service, read as an exact answer and as a search
// answer, and ranked against a fixed song.
#include "web/LrclibAnswerReader.h"

#include <QByteArray>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray body(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    LrclibAnswerReader::Wanted wanted;
    wanted.artists = {QStringLiteral("quietengines")};
    wanted.title = QStringLiteral("slowtide");
    wanted.album = QStringLiteral("paperlanterns");
    wanted.duration = size % 2 ? 200.0 : 0.0;
    wanted.allowSubstrings = size % 3 == 0;

    if (const auto record = LrclibAnswerReader::recordOfGetAnswer(body)) {
        const bool fits = LrclibAnswerReader::recordFits(*record, wanted);
        const QString text = LrclibAnswerReader::lyricsText(*record);
        if (record->instrumental && !text.isNull())
            std::abort();
        (void)fits;
    }
    const auto records = LrclibAnswerReader::recordsOfSearchAnswer(body);
    if (records.size() > LrclibAnswerReader::kMaxSearchResults)
        std::abort();
    const QList<qsizetype> ranked = LrclibAnswerReader::rankedCandidates(records, wanted);
    for (const qsizetype index : ranked) {
        if (index < 0 || index >= records.size() || records.at(index).instrumental ||
            !LrclibAnswerReader::durationFits(records.at(index), wanted))
            std::abort();
    }
    return 0;
}
