#include "CliProcess.h"

#include <QDir>

namespace {

QString home()
{
    return QDir::homePath();
}

} // namespace

QProcessEnvironment CliProcess::environment()
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("HOME"), home());
    env.insert(QStringLiteral("XDG_CONFIG_HOME"), home() + QStringLiteral("/.config"));
    env.insert(QStringLiteral("XDG_CACHE_HOME"), home() + QStringLiteral("/.cache"));
    env.insert(QStringLiteral("XDG_DATA_HOME"), home() + QStringLiteral("/.local/share"));
    env.insert(QStringLiteral("QUILLBEAT_RESOURCES"),
               QStringLiteral(QB_SOURCE_DIR "/tools/demo-resources.plist"));
    return env;
}

bool CliProcess::start(QProcess& process, const QStringList& arguments)
{
    process.setProcessEnvironment(environment());
    process.start(QStringLiteral(QB_CLI_PATH), arguments);
    return process.waitForStarted();
}

CliProcess::Outcome CliProcess::run(const QStringList& arguments, int timeoutMs, const QString& program)
{
    Outcome outcome;
    QProcess process;
    process.setProcessEnvironment(environment());
    process.start(program.isEmpty() ? QStringLiteral(QB_CLI_PATH) : program, arguments);
    if (!process.waitForStarted())
        return outcome;
    outcome.finished = process.waitForFinished(timeoutMs);
    if (!outcome.finished) {
        process.kill();
        process.waitForFinished();
    }
    outcome.crashed = process.exitStatus() == QProcess::CrashExit;
    outcome.status = process.exitCode();
    outcome.out = process.readAllStandardOutput();
    outcome.err = process.readAllStandardError();
    return outcome;
}

QString CliProcess::settingsPath()
{
    return home() + QStringLiteral("/.config/Wendmark/Quillbeat.conf");
}
