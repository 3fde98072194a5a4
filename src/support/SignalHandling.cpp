#include "SignalHandling.h"

#include "BundleInfo.h"
#include "CrashReporterLauncher.h"
#include "WMLog.h"

#include <QSettings>
#include <QStringList>

#include <array>
#include <atomic>
#include <csetjmp>
#include <cstdlib>
#include <execinfo.h>
#include <ucontext.h>

namespace {

struct SignalName
{
    int number;
    const char* name;
};

// Keyed by this system's own signal numbers.
constexpr std::array<SignalName, 10> kSignalNames{{{SIGABRT, "SIGABRT"},
                                                   {SIGBUS, "SIGBUS"},
                                                   {SIGFPE, "SIGFPE"},
                                                   {SIGILL, "SIGILL"},
                                                   {SIGPIPE, "SIGPIPE"},
                                                   {SIGSEGV, "SIGSEGV"},
                                                   {SIGSYS, "SIGSYS"},
                                                   {SIGTERM, "SIGTERM"},
                                                   {SIGTRAP, "SIGTRAP"},
                                                   {SIGQUIT, "SIGQUIT"}}};

constexpr std::array<int, 9> kHandledSignals{SIGBUS, SIGFPE,  SIGILL,  SIGPIPE, SIGSEGV,
                                             SIGSYS, SIGTERM, SIGTRAP, SIGQUIT};

constexpr int kMaxFrames = 240;

std::atomic<bool> gInHandler{false};
static_assert(std::atomic<bool>::is_always_lock_free);
volatile sig_atomic_t gCurrentSignal = 0;
std::atomic<void (*)(int)> gProbe{nullptr};

// The jump point and the ignore flag belong to the thread doing the risky
// work: a fault on another thread must never jump onto this one's stack.
thread_local sigjmp_buf* tJumpPoint = nullptr;
thread_local volatile sig_atomic_t tIgnoreSignals = 0;

struct PreviousActions
{
    bool saved = false;
    std::array<struct sigaction, kHandledSignals.size()> actions{};
};

PreviousActions& previousActions()
{
    static PreviousActions p;
    return p;
}

// The instruction that was interrupted, from the machine context.
void* interruptedInstruction(void* context)
{
    if (!context)
        return nullptr;
    const auto* uc = static_cast<const ucontext_t*>(context);
#if defined(__x86_64__) && defined(REG_RIP)
    return reinterpret_cast<void*>(uc->uc_mcontext.gregs[REG_RIP]);
#elif defined(__i386__) && defined(REG_EIP)
    return reinterpret_cast<void*>(uc->uc_mcontext.gregs[REG_EIP]);
#elif defined(__aarch64__)
    return reinterpret_cast<void*>(uc->uc_mcontext.pc);
#else
    (void)uc;
    return nullptr;
#endif
}

// Faults that happen again when the handler returns to the instruction.
bool isSynchronousFault(int signal, const siginfo_t* info)
{
    const bool faultSignal = signal == SIGSEGV || signal == SIGBUS || signal == SIGFPE || signal == SIGILL;
    return faultSignal && info && info->si_code > 0;
}

// Restores the previous ignore state when the risky work ends, however it ends.
class IgnoreScope
{
public:
    IgnoreScope() : mPreviousJump(tJumpPoint), mPreviousIgnore(tIgnoreSignals) {}
    ~IgnoreScope()
    {
        tIgnoreSignals = 0;
        tJumpPoint = mPreviousJump;
        tIgnoreSignals = mPreviousIgnore;
    }
    IgnoreScope(const IgnoreScope&) = delete;
    IgnoreScope& operator=(const IgnoreScope&) = delete;

private:
    sigjmp_buf* mPreviousJump;
    sig_atomic_t mPreviousIgnore;
};

} // namespace

void SignalHandling::configureToHandleSignals()
{
    // The first backtrace() loads the unwinder; do it now rather than in a
    // handler.
    void* warmUp[4];
    ::backtrace(warmUp, 4);

    struct sigaction action = {};
    action.sa_sigaction = &SignalHandling::mySignalHandler;
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    sigemptyset(&action.sa_mask);
    PreviousActions& previous = previousActions();
    for (size_t i = 0; i < kHandledSignals.size(); ++i)
        ::sigaction(kHandledSignals[i], &action, previous.saved ? nullptr : &previous.actions[i]);
    previous.saved = true;
}

void SignalHandling::removeSignalHandlers()
{
    PreviousActions& previous = previousActions();
    if (!previous.saved)
        return;
    for (size_t i = 0; i < kHandledSignals.size(); ++i)
        ::sigaction(kHandledSignals[i], &previous.actions[i], nullptr);
    previous.saved = false;
}

std::vector<int> SignalHandling::handledSignals()
{
    return {kHandledSignals.begin(), kHandledSignals.end()};
}

const char* SignalHandling::signalName(int signal)
{
    for (const SignalName& entry : kSignalNames) {
        if (entry.number == signal)
            return entry.name;
    }
    return "unknown";
}

void SignalHandling::setHandlerProbe(void (*probe)(int))
{
    gProbe.store(probe);
}

void SignalHandling::mySignalHandler(int signal, siginfo_t* info, void* context)
{
    if (gInHandler.exchange(true)) {
        // Returning would run a faulting instruction again and again; let
        // that one end the process the default way instead.
        if (isSynchronousFault(signal, info))
            ::signal(signal, SIG_DFL);
        return;
    }
    gCurrentSignal = signal;
    const bool ignoring = tIgnoreSignals != 0 && tJumpPoint != nullptr;

    // Logging and the settings are not async-signal-safe: this is a best
    // effort at the moment the process fails, and nothing here may throw.
    try {
        WMLog("Signal %d (%@) received %@", signal, signalName(signal), ignoring ? "AND IGNORED" : "");
        if (void (*probe)(int) = gProbe.load())
            probe(signal);
        QSettings().sync();

        void* frames[kMaxFrames];
        const int count = ::backtrace(frames, kMaxFrames);
        // Frame 0 is this handler, frame 1 the kernel's return trampoline;
        // frame 2 becomes the exact instruction that was interrupted.
        if (void* pc = interruptedInstruction(context); pc && count > 2)
            frames[2] = pc;
        QStringList parts;
        for (int i = 2; i < count; ++i)
            parts.append(QString::asprintf("%p", frames[i]));
        WMLog("Signal stack trace (%d, %@):\n%@", signal, BundleInfo::version(),
              parts.join(QStringLiteral("  ")));
    } catch (...) {
    }

    if (ignoring) {
        // Abandon the risky work. A lock it held when the signal came stays
        // held by this thread.
        gInHandler.store(false);
        siglongjmp(*tJumpPoint, 1);
    }
    CrashReporterLauncher::launchFromSignalHandler();
    std::abort();
}

bool SignalHandling::runIgnoringSignals(const std::function<void()>& work)
{
    IgnoreScope scope;
    sigjmp_buf jumpPoint;
    if (sigsetjmp(jumpPoint, 1) != 0)
        return false;
    tJumpPoint = &jumpPoint;
    tIgnoreSignals = 1;
    if (work)
        work();
    return true;
}

void ConfigureToHandleSignals()
{
    SignalHandling::configureToHandleSignals();
}

void MySignalHandler(int signal, siginfo_t* info, void* context)
{
    SignalHandling::mySignalHandler(signal, info, context);
}

bool runIgnoringSignals(const std::function<void()>& work)
{
    return SignalHandling::runIgnoringSignals(work);
}
