#include "WMException.h"

#include "WMStackTrace.h"

#include <atomic>
#include <execinfo.h>

namespace {

constexpr int kMaxFrames = 128;

std::atomic<quint64> gNextSerial{1};

} // namespace

WMException::WMException(const QString& name, const QString& reason, const QVariantMap& userInfo)
    : std::runtime_error(reason.toStdString()), mName(name), mReason(reason), mUserInfo(userInfo),
      mSerial(gNextSerial.fetch_add(1, std::memory_order_relaxed))
{
    void* frames[kMaxFrames];
    const int count = ::backtrace(frames, kMaxFrames);
    // Frame 0 is this constructor.
    if (count > 1)
        mFrames.assign(frames + 1, frames + count);
}

QStringList WMException::callStackSymbols() const
{
    return WMStackTrace::symbolsForAddresses(mFrames.data(), static_cast<int>(mFrames.size()));
}

QString WMException::stackTraceKey()
{
    return QStringLiteral("WMStackTrace");
}

QString WMException::affectedObjectsKey()
{
    return QStringLiteral("WMAffectedObjects");
}
