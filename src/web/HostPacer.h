#pragma once

#include <QElapsedTimer>
#include <QHash>
#include <QString>

// When the HTTP queue may contact a host again: hosts that failed to
// connect are avoided for five minutes, a host may ask for a minimum
// interval between request starts, and a "Retry-After" answer pauses a host
// until then. Times are milliseconds on a monotonic clock. Host names are
// compared in lower case.
class HostPacer
{
public:
    HostPacer();

    qint64 now() const { return mClock.elapsed(); }

    void recordFailure(const QString& host);
    void forgetFailure(const QString& host);
    // True while the host's last failure lies less than kFailurePauseMs back.
    bool hasRecentFailure(const QString& host) const;

    // 0 or less removes the host's interval.
    void setMinimumInterval(const QString& host, double seconds);
    void recordStart(const QString& host);
    void pauseFor(const QString& host, qint64 seconds);

    // Milliseconds until a request to the host may start; 0 when it may now.
    qint64 delayBeforeStart(const QString& host) const;
    // Milliseconds left of the host's "Retry-After" pause; 0 when none.
    qint64 pauseRemaining(const QString& host) const;

    static constexpr qint64 kFailurePauseMs = 300 * 1000;

private:
    QElapsedTimer mClock;
    QHash<QString, qint64> mConnFailureTimes;
    QHash<QString, qint64> mIntervals;
    QHash<QString, qint64> mLastStarts;
    QHash<QString, qint64> mPausedUntil;
};
