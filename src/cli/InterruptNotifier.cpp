#include "InterruptNotifier.h"

#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {

// The pipe's ends; the handler may only use async-signal-safe calls.
int gPipe[2] = {-1, -1};
struct sigaction gPrevious;

void onInterrupt(int)
{
    const int saved = errno;
    const char byte = 1;
    // A full pipe already holds enough news.
    [[maybe_unused]] const ssize_t written = ::write(gPipe[1], &byte, 1);
    errno = saved;
}

} // namespace

InterruptNotifier::InterruptNotifier(QObject* parent) : QObject(parent)
{
    if (gPipe[0] >= 0 || ::pipe2(gPipe, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    struct sigaction action = {};
    action.sa_handler = onInterrupt;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    if (::sigaction(SIGINT, &action, &gPrevious) != 0) {
        ::close(gPipe[0]);
        ::close(gPipe[1]);
        gPipe[0] = gPipe[1] = -1;
        return;
    }
    mInstalled = true;
    mNotifier = std::make_unique<QSocketNotifier>(gPipe[0], QSocketNotifier::Read);
    connect(mNotifier.get(), &QSocketNotifier::activated, this, &InterruptNotifier::readPipe);
}

InterruptNotifier::~InterruptNotifier()
{
    if (!mInstalled)
        return;
    mNotifier.reset();
    ::sigaction(SIGINT, &gPrevious, nullptr);
    ::close(gPipe[0]);
    ::close(gPipe[1]);
    gPipe[0] = gPipe[1] = -1;
}

void InterruptNotifier::readPipe()
{
    char bytes[16];
    ssize_t got = 0;
    while ((got = ::read(gPipe[0], bytes, sizeof bytes)) > 0) {
        for (ssize_t i = 0; i < got; ++i)
            emit interrupted(++mCount);
    }
}
