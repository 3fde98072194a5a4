#include "iTunesScriptRunner.h"

#include "support/WMLog.h"

#include <QProcess>
#include <QStandardPaths>

#include <atomic>
#include <chrono>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

// Process-wide state. Everything here is trivially destructible, so that a
// worker thread still running at exit never touches a destroyed object.
std::atomic<bool> gLocked{false};
std::atomic<double> gLockTimeoutSeconds{10.0};
std::atomic<int> gRunningState{-1};  // 1 running, 0 not running, -1 unknown
std::atomic<int> gResponseState{-1}; // 1 answered, -1 did not, 0 check in progress
std::atomic<int> gProcessStarts{0};
std::atomic<int> gActiveWorkers{0};
std::mutex gTimingsMutex;
iTunesScriptRunner::Timings gTimings;

constexpr int kStartMilliseconds = 10000;
constexpr int kKillWaitMilliseconds = 5000;

const QString& versionScript()
{
    static const QString script = QStringLiteral("tell app \"iTunes\"\rreturn version as string\rend tell");
    return script;
}

void sleepSeconds(double seconds)
{
    if (seconds > 0)
        std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

double secondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

int milliseconds(double seconds)
{
    const double ms = seconds * 1000.0;
    if (ms >= static_cast<double>(std::numeric_limits<int>::max()))
        return std::numeric_limits<int>::max();
    return ms < 1.0 ? 1 : static_cast<int>(ms);
}

enum class Failure
{
    None = 0,
    NotStarted = 1,
    NoLock = 2,
    ScriptError = 3,
    TimedOut = 4
};

// What became of one run: the output text, or why there is none.
struct Outcome
{
    Failure failure = Failure::None;
    QString text;
};

Outcome runProcess(const QString& program, const QStringList& arguments, const QByteArray* input)
{
    const double cap = iTunesScriptRunner::timings().hardCapSeconds;
    QProcess process;
    process.setProgram(program);
    process.setArguments(arguments);
    process.setProcessChannelMode(QProcess::SeparateChannels);
    if (!input)
        process.setStandardInputFile(QProcess::nullDevice());
    gProcessStarts.fetch_add(1);
    process.start();
    if (!process.waitForStarted(kStartMilliseconds))
        return {Failure::NotStarted, process.errorString()};
    if (input) {
        process.write(*input);
        process.closeWriteChannel();
    }
    if (!process.waitForFinished(milliseconds(cap))) {
        process.kill();
        process.waitForFinished(kKillWaitMilliseconds);
        return {Failure::TimedOut, WMFormat::string("%@ killed after %.1f seconds", program, cap)};
    }
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        QString error = QString::fromUtf8(process.readAllStandardError()).trimmed();
        if (error.isEmpty())
            error = process.exitStatus() == QProcess::NormalExit
                        ? WMFormat::string("exit code %d", process.exitCode())
                        : process.errorString();
        return {Failure::ScriptError, error};
    }
    QString text = QString::fromUtf8(process.readAllStandardOutput());
    if (text.endsWith(QLatin1Char('\n')))
        text.chop(1);
    return {Failure::None, text};
}

// Finds osascript, takes the lock, runs the source, releases the lock.
Outcome runLocked(const QString& source)
{
    const QString program = iTunesScriptRunner::osascriptPath();
    if (program.isEmpty())
        return {Failure::NotStarted, QStringLiteral("no osascript")};
    if (!iTunesScriptRunner::lock())
        return {Failure::NoLock, QStringLiteral("iTunes lock not had")};
    const QByteArray input = source.toUtf8();
    Outcome outcome = runProcess(program, {}, &input);
    iTunesScriptRunner::unlock();
    return outcome;
}

// Runs the work on a new detached thread; false when no thread could be made.
bool startWorker(std::function<void()> work)
{
    gActiveWorkers.fetch_add(1);
    try {
        std::thread([work = std::move(work)] {
            work();
            gActiveWorkers.fetch_sub(1);
        }).detach();
        return true;
    } catch (const std::system_error& error) {
        gActiveWorkers.fetch_sub(1);
        WMLog("!!! no worker thread: %s", error.what());
        return false;
    }
}

// The result slot a worker fills and the caller polls.
struct WorkerResult
{
    std::mutex mutex;
    std::optional<Outcome> outcome;
};

} // namespace

int iTunesScriptRunner::Descriptor::intValue() const
{
    qsizetype i = 0;
    const qsizetype n = stringValue.size();
    while (i < n && stringValue.at(i).isSpace())
        ++i;
    bool negative = false;
    if (i < n && (stringValue.at(i) == QLatin1Char('-') || stringValue.at(i) == QLatin1Char('+')))
        negative = stringValue.at(i++) == QLatin1Char('-');
    long long value = 0;
    for (; i < n && stringValue.at(i) >= QLatin1Char('0') && stringValue.at(i) <= QLatin1Char('9'); ++i) {
        value = value * 10 + (stringValue.at(i).unicode() - u'0');
        if (value > std::numeric_limits<int>::max())
            return negative ? std::numeric_limits<int>::min() : std::numeric_limits<int>::max();
    }
    return static_cast<int>(negative ? -value : value);
}

bool iTunesScriptRunner::lock()
{
    const Clock::time_point start = Clock::now();
    while (gLocked.exchange(true)) {
        if (secondsSince(start) >= gLockTimeoutSeconds.load())
            return false;
        sleepSeconds(timings().lockPollSeconds);
    }
    return true;
}

void iTunesScriptRunner::unlock()
{
    gLocked.store(false);
}

bool iTunesScriptRunner::isLocked()
{
    return gLocked.load();
}

void iTunesScriptRunner::setTimeoutSeconds(float seconds)
{
    gLockTimeoutSeconds.store(static_cast<double>(seconds));
}

float iTunesScriptRunner::timeoutSeconds()
{
    return static_cast<float>(gLockTimeoutSeconds.load());
}

void iTunesScriptRunner::reset()
{
    gLocked.store(false);
    gRunningState.store(-1);
    gResponseState.store(-1);
}

bool iTunesScriptRunner::isiTunesInstalled()
{
    return !osascriptPath().isEmpty();
}

bool iTunesScriptRunner::isiTunesRunning()
{
    const int known = gRunningState.load();
    if (known != -1)
        return known == 1;
    bool running = false;
#ifdef Q_OS_MACOS
    if (isiTunesInstalled()) {
        const auto answer = stringFromScript(QStringLiteral("application \"iTunes\" is running"));
        running = answer && answer->trimmed() == QLatin1String("true");
    }
#endif
    gRunningState.store(running ? 1 : 0);
    return running;
}

void iTunesScriptRunner::resetIsiTunesRunning()
{
    gRunningState.store(-1);
}

bool iTunesScriptRunner::isiTunesResponsive()
{
    if (!isiTunesInstalled())
        return false;
    int state = gResponseState.load();
    do {
        if (state == 0)
            return false; // an earlier check still waits for its answer
    } while (!gResponseState.compare_exchange_weak(state, 0));

    const bool started = startWorker([] {
        const std::optional<QString> version = versionString();
        gResponseState.store(version && !version->isEmpty() ? 1 : -1);
    });
    if (!started) {
        gResponseState.store(-1);
        return false;
    }
    const Timings wait = timings();
    const Clock::time_point start = Clock::now();
    while (gResponseState.load() == 0 && secondsSince(start) < wait.responsiveWaitSeconds)
        sleepSeconds(wait.responsivePollSeconds);
    const bool answered = gResponseState.load() == 1;
    if (!answered)
        WMLog("iTunes did not answer within %.1f seconds", wait.responsiveWaitSeconds);
    return answered;
}

std::optional<QString> iTunesScriptRunner::versionString()
{
    return stringFromScript(versionScript());
}

int iTunesScriptRunner::iTunesMajorVersion()
{
    const std::optional<QString> version = versionString();
    if (!version)
        return 0;
    return Descriptor{version->section(QLatin1Char('.'), 0, 0)}.intValue();
}

std::optional<iTunesScriptRunner::Descriptor> iTunesScriptRunner::descFromScript(const QString& source,
                                                                                 float timeoutSeconds)
{
    if (!isiTunesInstalled())
        return std::nullopt;

    Outcome outcome;
    if (timeoutSeconds <= 0) {
        outcome = runLocked(source);
    } else {
        auto result = std::make_shared<WorkerResult>();
        const bool started = startWorker([result, source] {
            Outcome ran = runLocked(source);
            const std::lock_guard<std::mutex> guard(result->mutex);
            result->outcome = std::move(ran);
        });
        if (!started) {
            outcome = {Failure::NotStarted, QStringLiteral("no worker thread")};
        } else {
            const double poll = timings().scriptPollSeconds;
            const Clock::time_point start = Clock::now();
            for (;;) {
                {
                    const std::lock_guard<std::mutex> guard(result->mutex);
                    if (result->outcome) {
                        outcome = *result->outcome;
                        break;
                    }
                }
                if (secondsSince(start) >= timeoutSeconds) {
                    outcome = {Failure::TimedOut, QStringLiteral("timed out")};
                    break;
                }
                sleepSeconds(poll);
            }
        }
    }

    if (outcome.failure == Failure::None)
        return Descriptor{outcome.text};
    if (outcome.failure == Failure::ScriptError && timeoutSeconds > 0)
        WMLog("!!! descFromScript %@ from script %@", outcome.text, source);
    else
        WMLog("!!! descFromScript nil (%.1f) [%@] from script %@", timeoutSeconds, outcome.text, source);
    return std::nullopt;
}

std::optional<QString> iTunesScriptRunner::stringFromScript(const QString& source)
{
    const std::optional<Descriptor> result = descFromScript(source, 0);
    if (!result)
        return std::nullopt;
    return result->stringValue;
}

int iTunesScriptRunner::intFromScript(const QString& source)
{
    const std::optional<Descriptor> result = descFromScript(source, 0);
    return result ? result->intValue() : 0;
}

bool iTunesScriptRunner::runTool(const QString& program, const QStringList& arguments, QString* error)
{
    const Outcome outcome = runProcess(program, arguments, nullptr);
    if (outcome.failure == Failure::None)
        return true;
    if (error)
        *error = outcome.text;
    return false;
}

QString iTunesScriptRunner::osascriptPath()
{
    return QStandardPaths::findExecutable(QStringLiteral("osascript"));
}

iTunesScriptRunner::Timings iTunesScriptRunner::timings()
{
    const std::lock_guard<std::mutex> guard(gTimingsMutex);
    return gTimings;
}

void iTunesScriptRunner::setTimings(const Timings& timings)
{
    const std::lock_guard<std::mutex> guard(gTimingsMutex);
    gTimings = timings;
}

int iTunesScriptRunner::processStartCount()
{
    return gProcessStarts.load();
}

int iTunesScriptRunner::activeWorkerCount()
{
    return gActiveWorkers.load();
}
