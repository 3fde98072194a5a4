#include "ClosedOutputNotifier.h"

#include "CliOutput.h"

#include <QSocketNotifier>

#include <poll.h>
#include <sys/stat.h>

ClosedOutputNotifier::ClosedOutputNotifier(std::FILE* stream, QObject* parent)
    : QObject(parent), mStream(stream)
{
    const int fd = ::fileno(stream);
    struct stat info = {};
    if (fd < 0 || ::fstat(fd, &info) != 0 || !S_ISFIFO(info.st_mode))
        return;
    // The writing end of a pipe is never readable; the event loop reports
    // its error condition (no reader left) to a read notifier.
    mPipe = std::make_unique<QSocketNotifier>(fd, QSocketNotifier::Read);
    connect(mPipe.get(), &QSocketNotifier::activated, this, &ClosedOutputNotifier::pipeActivated);
}

ClosedOutputNotifier::~ClosedOutputNotifier() = default;

bool ClosedOutputNotifier::check()
{
    if (!mClosed && CliOutput::hasFailed(mStream))
        markClosed();
    return mClosed;
}

void ClosedOutputNotifier::pipeActivated()
{
    pollfd descriptor = {::fileno(mStream), POLLOUT, 0};
    if (::poll(&descriptor, 1, 0) == 1 && (descriptor.revents & (POLLERR | POLLHUP)) != 0)
        markClosed();
    // Either way the notifier has said what it can: it must not fire again
    // and again for a condition that stays.
    mPipe->setEnabled(false);
}

void ClosedOutputNotifier::markClosed()
{
    if (mClosed)
        return;
    mClosed = true;
    emit closed();
}
