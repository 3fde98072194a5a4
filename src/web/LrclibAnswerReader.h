#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// Reading the answers of the open synced-lyrics service: one track record
// for an exact request, a list of them for a search, and the choice of the
// record that stands for the wanted song. Hostile answers are size-capped
// and only the first entries of a list are looked at.
class LrclibAnswerReader
{
public:
    // One track as the service describes it.
    struct Record
    {
        QString trackName;
        QString artistName;
        QString albumName;
        // Seconds; negative when the record gives none.
        double duration = -1.0;
        bool instrumental = false;
        QString plainLyrics;
        QString syncedLyrics;
    };

    // What the wanted song is compared with. Names are compared simplified.
    struct Wanted
    {
        QStringList artists;   // simplified artist and alternate artist
        QString title;         // simplified
        QString album;         // simplified; empty when unknown
        double duration = 0.0; // seconds; 0 or less when unknown
        double maxDurationDifference = 2.0;
        bool allowSubstrings = false;
    };

    // Answers longer than this are not parsed.
    static constexpr qsizetype kMaxAnswerLength = 8 * 1024 * 1024;
    // Most entries of a search answer that are looked at.
    static constexpr qsizetype kMaxSearchResults = 100;

    // The record of an exact request (a JSON object with a "trackName");
    // none for anything else, such as the not-found answer.
    static std::optional<Record> recordOfGetAnswer(const QByteArray& body);
    // The records of a search answer (a JSON array), in answer order.
    static QList<Record> recordsOfSearchAnswer(const QByteArray& body);
    static std::optional<Record> recordFromObject(const QJsonObject& object);

    // The record's text: the plain lyrics, else the synced lyrics without
    // their time tags. Null for an instrumental track.
    static QString lyricsText(const Record& record);
    // Synced lyrics ("[01:02.03] line") as plain lines; tag lines such as
    // "[ar: ...]" are dropped.
    static QString plainTextFromSynced(const QString& synced);

    // Artist and title fit, and the duration lies within the allowed
    // difference when both are known.
    static bool recordFits(const Record& record, const Wanted& wanted);
    static bool durationFits(const Record& record, const Wanted& wanted);
    // The indices of the fitting records that have lyrics, best first: an
    // equal title before a partial one, the wanted album before others, the
    // nearer duration before a farther one.
    static QList<qsizetype> rankedCandidates(const QList<Record>& records, const Wanted& wanted);
};
