#include "HostPacer.h"

#include <algorithm>

HostPacer::HostPacer()
{
    mClock.start();
}

void HostPacer::recordFailure(const QString& host)
{
    mConnFailureTimes.insert(host.toLower(), now());
}

void HostPacer::forgetFailure(const QString& host)
{
    mConnFailureTimes.remove(host.toLower());
}

bool HostPacer::hasRecentFailure(const QString& host) const
{
    const auto failed = mConnFailureTimes.constFind(host.toLower());
    return failed != mConnFailureTimes.constEnd() && *failed > now() - kFailurePauseMs;
}

void HostPacer::setMinimumInterval(const QString& host, double seconds)
{
    if (!(seconds > 0.0))
        mIntervals.remove(host.toLower());
    else
        mIntervals.insert(host.toLower(), static_cast<qint64>(std::min(seconds, 3600.0) * 1000.0));
}

void HostPacer::recordStart(const QString& host)
{
    mLastStarts.insert(host.toLower(), now());
}

void HostPacer::pauseFor(const QString& host, qint64 seconds)
{
    const QString name = host.toLower();
    const qint64 until = now() + std::max<qint64>(seconds, 0) * 1000;
    mPausedUntil.insert(name, std::max(mPausedUntil.value(name, 0), until));
}

qint64 HostPacer::pauseRemaining(const QString& host) const
{
    return std::max<qint64>(mPausedUntil.value(host.toLower(), 0) - now(), 0);
}

qint64 HostPacer::delayBeforeStart(const QString& host) const
{
    const QString name = host.toLower();
    const qint64 current = now();
    qint64 delay = pauseRemaining(name);
    const auto interval = mIntervals.constFind(name);
    const auto lastStart = mLastStarts.constFind(name);
    if (interval != mIntervals.constEnd() && lastStart != mLastStarts.constEnd())
        delay = std::max(delay, *lastStart + *interval - current);
    return delay;
}
