#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>
#include <QVariant>
#include <QVariantList>
#include <QVariantMap>

#include <memory>

// Usage notes (which part of the program did what, e.g. which web source
// answered) collected in memory and, when the user allows it (setting
// "postStatistics", off by default), posted every ten minutes as one XML
// property list to the statistics endpoint named by the live resource
// "statisticsEndpoint" (empty by default: then nothing is ever posted).
// Used on the main thread only; notes not posted before quit are lost.
class WMUsage : public QObject
{
    Q_OBJECT
public:
    // The one shared instance, made on first use with an empty queue.
    static WMUsage* sharedInstance();

    explicit WMUsage(QObject* parent = nullptr);
    ~WMUsage() override;

    // Queues the note (className, description, key, info) unless an equal
    // note waits already, and starts the purge timer if none is recorded.
    void addUsageNoteForClass(const QString& className, const QString& description, const QString& key,
                              const QVariant& info);
    bool hasQueue() const { return !mQueue.isEmpty(); }
    // The waiting notes, each a list of the four values.
    QVariantList queuedNotes() const { return mQueue; }

    // The timer's action: posts the waiting notes when allowed. A timer that
    // fired while posting was not allowed stays recorded, so no new timer is
    // started for the rest of the run (kept deliberately).
    void purgeQueue();
    // The HTTP queue's answer to the post: success clears the queue and
    // forgets the timer; anything else (also an empty answer) retries in ten
    // minutes.
    Q_INVOKABLE void didPost(const QVariantMap& answer);

    // True while a purge timer is recorded (running or fired).
    bool hasTimer() const { return mPurgeTimer != nullptr; }
    bool isTimerActive() const { return mPurgeTimer && mPurgeTimer->isActive(); }

    // The statistics endpoint from the live resources, or an empty URL.
    static QUrl endpoint();
    // The report for these notes: an XML property list {"quillbeat": short
    // version, "os": "major.minor.bugfix", "submissions": notes} whose
    // line feeds are all replaced by carriage returns.
    static QByteArray reportData(const QVariantList& notes);
    // The operating system version as "%d.%d.%d" (computed once).
    static QString systemVersion();

    static constexpr int kPurgeIntervalMs = 600 * 1000;

private:
    void startTimer(int ms);

    QVariantList mQueue;
    std::unique_ptr<QTimer> mPurgeTimer;
};
